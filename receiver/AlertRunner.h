// Follows the traps that were stored and lets the alerts act that they meet.  Offer is called by the storing
// thread and never waits; Run goes on a thread of its own with a connection of its own, which reads the
// alerts at its start and whenever the console says that they changed.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "AlertFiring.h"
#include "AlertLimiter.h"
#include "AlertRules.h"
#include "ServiceLog.h"
#include "SpoolRecord.h"
#include "platform/Platform.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::receiver {

struct AlertRunnerOptions {
  LimiterOptions Limits;
  std::size_t LongestQueue = 50'000;  // traps; more are not looked at, which is logged
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
  bool Connect();
  void ReadRulesWhenAsked();
  bool ReadRules();
  std::deque<TrapRow> TakeTraps(const std::stop_token& stop);
  void Look(const TrapRow& trap);
  void ActOnSummaries();
  void Fire(const std::shared_ptr<const AlertRule>& rule, const TrapRow& trap, std::uint64_t suppressed);
  void Name(AlertFiring& firing);

  std::string dataSource_;
  platform::RegistryStore& registry_;
  ServiceLog& log_;
  Act act_;
  AlertRunnerOptions options_;

  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<TrapRow> offered_;
  std::uint64_t overlooked_ = 0;

  // Of the running thread.
  store::Connection connection_;
  store::TrapNames names_{connection_};
  std::vector<std::shared_ptr<const AlertRule>> rules_;
  std::vector<TrapRow> newest_;  // of each rule, for its summary
  AlertLimiter limiter_;
  bool rulesRead_ = false;
  std::string lastFailure_;
};

}  // namespace korvane::receiver
