// A trap store whose calls are timed.  A server that stands still, or a lock held by somebody, keeps a call
// for minutes or for ever, and no driver is sure to give up.  Such a call is left alone, since what may have
// run must not be repeated, but it is told of.  Used as the store within; owns a thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "receiver/store/TrapStore.h"

namespace korvane::receiver {

class WatchedTrapStore : public TrapStore {
 public:
  // With how long the call has been under way; on a thread of its own, while the caller is held in that call.
  using Late = std::function<void(std::chrono::seconds underWay)>;

  // late: told of a call that takes longer than that, again and again until it ends.
  WatchedTrapStore(TrapStore& store, std::chrono::milliseconds longest, Late late);
  ~WatchedTrapStore() override;
  WatchedTrapStore(const WatchedTrapStore&) = delete;
  WatchedTrapStore& operator=(const WatchedTrapStore&) = delete;

  std::uint64_t Open(std::string_view spoolId, std::uint64_t highestPossible,
                     std::uint64_t remembered) override;
  void Store(std::span<const SpooledTrap> traps, std::uint64_t previous) override;
  void Skip(std::uint64_t number, std::uint64_t previous) override;
  void Claim(std::optional<DutyClaim> claim) override { store_.Claim(std::move(claim)); }
  void With(const std::function<void(store::Connection&)>& work) override;
  void Probe() override;
  void Beat(const store::ReceiverCondition& condition, bool stopped) override;
  std::filesystem::path Folder() const override { return store_.Folder(); }
  void Close() noexcept override;

 private:
  class Call;
  void Watch();

  TrapStore& store_;
  const std::chrono::milliseconds longest_;
  const Late late_;

  std::mutex mutex_;  // held while late_ is told, so that the call does not return meanwhile
  std::condition_variable ended_;
  bool ending_ = false;
  std::optional<std::chrono::steady_clock::time_point> since_;  // the call that is under way

  std::thread thread_;  // the last: it uses the others
};

}  // namespace korvane::receiver
