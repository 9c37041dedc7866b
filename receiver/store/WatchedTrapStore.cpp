#include "receiver/store/WatchedTrapStore.h"

#include <utility>

namespace korvane::receiver {

using std::chrono::steady_clock;

class WatchedTrapStore::Call {
 public:
  explicit Call(WatchedTrapStore& watched) : watched_(watched) { Set(steady_clock::now()); }
  ~Call() { Set(std::nullopt); }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  void Set(std::optional<steady_clock::time_point> since) {
    const std::lock_guard lock(watched_.mutex_);
    watched_.since_ = since;
  }

  WatchedTrapStore& watched_;
};

WatchedTrapStore::WatchedTrapStore(TrapStore& store, std::chrono::milliseconds longest, Late late)
    : store_(store), longest_(longest), late_(std::move(late)), thread_([this] { Watch(); }) {}

WatchedTrapStore::~WatchedTrapStore() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  ended_.notify_all();
  thread_.join();
}

void WatchedTrapStore::Watch() {
  constexpr int kLooks = 10;  // in the time that a call may take
  std::unique_lock lock(mutex_);
  while (!ended_.wait_for(lock, longest_ / kLooks, [this] { return ending_; })) {
    const auto now = steady_clock::now();
    if (since_ && now - *since_ >= longest_) {
      late_(std::chrono::duration_cast<std::chrono::seconds>(now - *since_));
    }
  }
}

std::uint64_t WatchedTrapStore::Open(std::string_view spoolId, std::uint64_t highestPossible,
                                     std::uint64_t remembered) {
  const Call call(*this);
  return store_.Open(spoolId, highestPossible, remembered);
}

void WatchedTrapStore::Store(std::span<const SpooledTrap> traps, std::uint64_t previous) {
  const Call call(*this);
  store_.Store(traps, previous);
}

void WatchedTrapStore::Skip(std::uint64_t number, std::uint64_t previous) {
  const Call call(*this);
  store_.Skip(number, previous);
}

void WatchedTrapStore::With(const std::function<void(store::Connection&)>& work) {
  const Call call(*this);
  store_.With(work);
}

void WatchedTrapStore::Probe() {
  const Call call(*this);
  store_.Probe();
}

void WatchedTrapStore::Beat(const store::ReceiverCondition& condition, bool stopped) {
  const Call call(*this);
  store_.Beat(condition, stopped);
}

void WatchedTrapStore::Close() noexcept {
  const Call call(*this);
  store_.Close();
}

}  // namespace korvane::receiver
