#include "TrapQueue.h"

#include <iterator>
#include <utility>

namespace korvane::receiver {
namespace {

std::size_t BytesOf(const QueuedTrap& trap) {
  return sizeof trap + trap.Row.Source.size() + trap.Row.EnterpriseOid.size() +
         trap.Row.EventDescription.size() + trap.Row.Event_ExtDescr.size();
}

}  // namespace

void TrapQueue::Push(std::vector<QueuedTrap> traps) {
  std::size_t bytes = 0;
  for (const QueuedTrap& trap : traps) {
    bytes += BytesOf(trap);
  }
  const std::lock_guard lock(mutex_);
  bytes_ += bytes;
  if (traps_.empty()) {
    traps_ = std::move(traps);
  } else {
    traps_.insert(traps_.end(), std::make_move_iterator(traps.begin()), std::make_move_iterator(traps.end()));
  }
  changed_.notify_one();
}

bool TrapQueue::HasRoom() const {
  const std::lock_guard lock(mutex_);
  return bytes_ < maxBytes_;
}

std::vector<QueuedTrap> TrapQueue::TakeAll(std::chrono::milliseconds longest) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, longest, [&] { return !traps_.empty() || closed_; });
  bytes_ = 0;
  return std::exchange(traps_, {});
}

void TrapQueue::Close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

bool TrapQueue::Closed() const {
  const std::lock_guard lock(mutex_);
  return closed_;
}

bool TrapQueue::ClosedAndEmpty() const {
  const std::lock_guard lock(mutex_);
  return closed_ && traps_.empty();
}

}  // namespace korvane::receiver
