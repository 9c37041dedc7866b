// Follows the traps that were stored and lets the alerts act that they meet.  Offer is called by the storing
// thread and never waits; Run goes on a thread of its own with a connection of its own, which reads the
// alerts at its start and whenever the console says that they changed.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "receiver/ServiceLog.h"
#include "receiver/alerts/AlertFiring.h"
#include "receiver/alerts/AlertLimiter.h"
#include "receiver/alerts/AlertRules.h"
#include "receiver/spool/SpoolRecord.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::receiver {

struct AlertRunnerOptions {
  LimiterOptions Limits;
  // Traps that wait to be looked at, and those that are just being looked at.  More are not looked at, which
  // is logged.
  std::size_t QueueBytes = std::size_t{16} << 20;
  // For the newest trap of each alert that waits for its summary; the bindings are cut to an alert's share.
  std::size_t SummaryBytes = std::size_t{8} << 20;
  std::chrono::milliseconds AskRegistryEvery{2000};
};

class AlertRunner {
 public:
  using Act = std::function<void(std::shared_ptr<const AlertFiring>)>;

  // act: takes a firing and returns at once.
  AlertRunner(std::string dataSource, platform::RegistryStore& registry, ServiceLog& log, Act act,
              AlertRunnerOptions options = {});

  void Offer(std::span<const SpooledTrap> traps);
  void Run(const std::stop_token& stop);

 private:
  void ReadRulesWhenAsked();
  bool ReadRules();
  std::deque<TrapRow> TakeTraps(const std::stop_token& stop);
  void Look(const TrapRow& trap);
  void ActOnSummaries();
  void Fire(const std::shared_ptr<const AlertRule>& rule, const TrapRow& trap, std::uint64_t suppressed);
  void Name(AlertFiring& firing);
  TrapRow ForSummary(const TrapRow& trap) const;

  std::string dataSource_;
  platform::RegistryStore& registry_;
  ServiceLog& log_;
  Act act_;
  AlertRunnerOptions options_;

  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<TrapRow> offered_;
  std::uint64_t overlooked_ = 0;
  std::atomic<std::size_t> queuedBytes_ = 0;  // of offered_ and of those that Run has in hand
  std::atomic<bool> watching_ = true;         // false: there is no alert that a trap could meet

  // Of the running thread.
  store::Connection connection_;
  store::TrapNames names_{connection_};
  std::vector<std::shared_ptr<const AlertRule>> rules_;
  std::vector<TrapRow> newest_;  // of each rule, for its summary
  AlertLimiter limiter_;
  std::size_t namedBytes_ = 0;  // at most what names_ has taken in since it was cleared
  bool rulesRead_ = false;
  std::string lastFailure_;
};

}  // namespace korvane::receiver
