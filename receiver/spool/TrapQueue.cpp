#include "receiver/spool/TrapQueue.h"

#include <iterator>
#include <utility>

namespace korvane::receiver {
namespace {

// At most about so much is between the queue and the spool, where it is needed twice for a moment.
constexpr std::size_t kTakenBytes = std::size_t{8} << 20;

}  // namespace

void TrapQueue::Push(std::vector<QueuedTrap> traps) {
  std::size_t bytes = 0;
  for (const QueuedTrap& trap : traps) {
    bytes += BytesOf(trap.Row);
  }
  const std::lock_guard lock(mutex_);
  bytes_ += bytes;
  batches_.push_back({std::move(traps), bytes});
  changed_.notify_one();
}

bool TrapQueue::HasRoom() const {
  const std::lock_guard lock(mutex_);
  return bytes_ < maxBytes_;
}

std::vector<QueuedTrap> TrapQueue::Take(std::chrono::milliseconds longest) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, longest, [&] { return !batches_.empty() || closed_; });
  std::vector<QueuedTrap> taken;
  for (std::size_t bytes = 0; !batches_.empty() && bytes < kTakenBytes; batches_.pop_front()) {
    Batch& batch = batches_.front();
    bytes += batch.Bytes;
    bytes_ -= batch.Bytes;
    if (taken.empty()) {
      taken = std::move(batch.Traps);
    } else {
      taken.insert(taken.end(), std::make_move_iterator(batch.Traps.begin()),
                   std::make_move_iterator(batch.Traps.end()));
    }
  }
  return taken;
}

void TrapQueue::Close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

bool TrapQueue::Empty() const {
  const std::lock_guard lock(mutex_);
  return batches_.empty();
}

bool TrapQueue::Closed() const {
  const std::lock_guard lock(mutex_);
  return closed_;
}

bool TrapQueue::ClosedAndEmpty() const {
  const std::lock_guard lock(mutex_);
  return closed_ && batches_.empty();
}

}  // namespace korvane::receiver
