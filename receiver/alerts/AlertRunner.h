// Follows the traps that were stored and lets the alerts act that they meet, each trap once: how far it has
// come is remembered from run to run, with what was still to be carried out (AlertMemory).  Offer is called
// by the storing thread and never waits; what finds no room, and what was stored while nobody looked, is read
// from the spool again.  Run goes on a thread of its own with a connection of its own; it reads the alerts at
// its start and whenever the signal in the registry or the change log says that they changed.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "params/CategoryInformation.h"
#include "params/DefinitionVerdicts.h"
#include "params/TrapFilters.h"
#include "platform/Platform.h"
#include "receiver/ServiceLog.h"
#include "receiver/WriteTurns.h"
#include "receiver/alerts/AlertFiring.h"
#include "receiver/alerts/AlertLimiter.h"
#include "receiver/alerts/AlertMemory.h"
#include "receiver/alerts/AlertOutcomes.h"
#include "receiver/alerts/AlertReports.h"
#include "receiver/alerts/AlertRules.h"
#include "receiver/alerts/UpdateSignal.h"
#include "receiver/spool/Spool.h"
#include "receiver/spool/SpoolRecord.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::receiver {

struct AlertRunnerOptions {
  LimiterOptions Limits;
  // Of the custom program, which is to see every trap.
  LimiterOptions ProgramLimits{.PerSource = 600, .PerAlert = 600, .StormsStayQuiet = false};
  // Traps that wait to be looked at, and those that are just being looked at.  More are read from the spool.
  std::size_t QueueBytes = std::size_t{16} << 20;
  // For the newest trap of each alert that waits for its summary; the bindings are cut to an alert's share.
  std::size_t SummaryBytes = std::size_t{8} << 20;
  std::chrono::milliseconds FollowEvery{2000};  // of signal, change log and tests
  std::chrono::milliseconds RememberEvery{1000};
  WriteTurns* Turns = nullptr;  // of an embedded store
};

class AlertRunner {
 public:
  using Firing = std::shared_ptr<const AlertFiring>;
  struct Lanes {
    std::function<void(Firing)> Act;  // takes a firing and returns at once
    // What is still to be carried out: the firing, and which of its actions.
    std::function<std::vector<std::pair<Firing, ActionSet>>()> Waiting;
  };

  AlertRunner(std::string dataSource, platform::RegistryStore& registry, Spool& spool,
              AlertOutcomes& outcomes, ServiceLog& log, Lanes lanes, AlertRunnerOptions options = {});

  // Of the storing thread: these were stored.
  void Offer(std::span<const SpooledTrap> traps);
  // Another receiver stored these, and looks at them.
  void PassOver(std::span<const SpooledTrap> traps);
  void Run(const std::stop_token& stop);
  // Once Run and the lanes have ended.
  void RememberForNextRun();

 private:
  void Follow();
  void Open();
  void ReadRules();
  const std::shared_ptr<const AlertRule>* RuleOf(std::int32_t id) const;
  void TryAskedAlerts();
  void WriteOutcomes();
  void ActOnPending();

  std::deque<SpooledTrap> TakeTraps(const std::stop_token& stop);
  void ReadFromSpool(const std::stop_token& stop);
  // Those after the last one that was looked at; nothing, after a pause, when they can't be read now.
  std::optional<std::vector<SpooledTrap>> StoredTraps(const std::stop_token& stop);
  void CountMissing(std::uint64_t number);
  bool WasPassedOver(std::uint64_t number);
  void LeavePassedOver();
  void Look(const SpooledTrap& trap);
  SpooledTrap ForSummary(const SpooledTrap& trap) const;
  void ActOnSummaries();
  void Act(const std::shared_ptr<const AlertRule>& rule, const SpooledTrap& trap, ActionSet actions,
           AlertSummary summary, AlertTest test = {});
  void Name(AlertFiring& firing);
  AlertMemory Memory() const;
  void Remember(std::chrono::steady_clock::time_point now);

  std::string dataSource_;
  Spool& spool_;
  AlertOutcomes& outcomes_;
  ServiceLog& log_;
  Lanes lanes_;
  AlertRunnerOptions options_;

  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<SpooledTrap> offered_;
  std::size_t queuedBytes_ = 0;  // of offered_ and of those that Run has in hand
  // Numbers that are not to be looked at: first and last, ascending, those beyond looked_.  The oldest are
  // forgotten when there are too many: then two receivers act.
  std::deque<std::pair<std::uint64_t, std::uint64_t>> passedOver_;
  bool behind_ = true;  // what follows those is to be read from the spool

  // Of the running thread.
  UpdateSignal signal_;
  store::Connection connection_;
  params::CategoryInformation categories_;
  params::TrapFilters filters_;  // none: what the console hides, alerts still see
  params::DefinitionVerdicts verdicts_{filters_, categories_};
  store::TrapNames names_{connection_};
  std::vector<std::shared_ptr<const AlertRule>> rules_;
  std::unordered_map<std::int32_t, SpooledTrap> newest_;  // of each alert, for its summary
  AlertLimiter limiter_;
  AlertLimiter programLimiter_;
  std::vector<PendingFiring> pending_;  // of the run before
  SpoolPlace place_;
  std::uint64_t looked_ = 0;
  std::uint64_t missing_ = 0;   // of what was to be read from the spool
  std::size_t namedBytes_ = 0;  // at most what names_ has taken in since it was cleared
  bool rulesRead_ = false;
  std::string changes_;  // the mark of the change log that the rules were read at
  std::string lastFailure_;
  std::chrono::steady_clock::time_point nextFollow_;
  std::chrono::steady_clock::time_point nextRemember_;
  bool memoryFails_ = false;
  std::uint64_t rememberedLooked_ = 0;
  bool rememberedPending_ = false;
};

}  // namespace korvane::receiver
