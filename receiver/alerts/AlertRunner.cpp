#include "receiver/alerts/AlertRunner.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <ctime>
#include <system_error>
#include <utility>

#include "receiver/Configuration.h"
#include "store/Codes.h"
#include "store/DatabaseError.h"

namespace korvane::receiver {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kLeastShare = 4096;  // of an alert's summary: room for all but the bindings
constexpr std::size_t kNamedBytes = std::size_t{4} << 20;
constexpr std::size_t kMostPassedOver = 10'000;
constexpr std::size_t kCatchUpRows = 1000;
constexpr std::size_t kCatchUpBytes = std::size_t{4} << 20;
constexpr ActionSet kLimitedActions = kBeepAction | kMailAction | kMessageAction;
constexpr auto kAfterSpoolFailure = std::chrono::seconds(30);
// While there is no alert nothing is lost by an old mark but the time to read a little more.
constexpr auto kRememberIdle = std::chrono::minutes(1);

}  // namespace

AlertRunner::AlertRunner(std::string dataSource, platform::RegistryStore& registry, Spool& spool,
                         AlertOutcomes& outcomes, ServiceLog& log, Lanes lanes, AlertRunnerOptions options)
    : dataSource_(std::move(dataSource)),
      spool_(spool),
      outcomes_(outcomes),
      log_(log),
      lanes_(std::move(lanes)),
      options_(options),
      signal_(registry, log),
      limiter_(options.Limits),
      programLimiter_(options.ProgramLimits),
      looked_(spool.RememberedStored()) {
  names_.UseVerdicts(verdicts_);
  if (std::optional<AlertMemory> memory = ReadAlertMemory(spool_.Folder())) {
    looked_ = memory->Looked;
    pending_ = std::move(memory->Pending);
  }
  rememberedLooked_ = looked_;
  rememberedPending_ = !pending_.empty();
  spool_.MarkLooked(looked_);
}

void AlertRunner::Offer(std::span<const SpooledTrap> traps) {
  {
    const std::lock_guard lock(mutex_);
    for (const SpooledTrap& trap : traps) {
      const std::size_t bytes = BytesOf(trap.Row);
      behind_ = behind_ || queuedBytes_ + bytes > options_.QueueBytes;
      if (behind_) {
        break;
      }
      queuedBytes_ += bytes;
      offered_.push_back(trap);
    }
  }
  changed_.notify_one();
}

void AlertRunner::PassOver(std::span<const SpooledTrap> traps) {
  {
    const std::lock_guard lock(mutex_);
    const std::uint64_t first = traps.front().Number;
    const std::uint64_t last = traps.back().Number;
    if (!passedOver_.empty() && passedOver_.back().second + 1 == first) {
      passedOver_.back().second = last;
    } else {
      passedOver_.emplace_back(first, last);
    }
    if (passedOver_.size() > kMostPassedOver) {
      passedOver_.pop_front();
    }
  }
  changed_.notify_one();
}

bool AlertRunner::WasPassedOver(std::uint64_t number) {
  const std::lock_guard lock(mutex_);
  while (!passedOver_.empty() && passedOver_.front().second < number) {
    passedOver_.pop_front();
  }
  return !passedOver_.empty() && passedOver_.front().first <= number;
}

// With nothing else in front of them.
void AlertRunner::LeavePassedOver() {
  const std::lock_guard lock(mutex_);
  if (!behind_ && offered_.empty() && !passedOver_.empty()) {
    looked_ = std::max(looked_, passedOver_.back().second);
    passedOver_.clear();
  }
}

void AlertRunner::Run(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    Follow();
    std::deque<SpooledTrap> traps = TakeTraps(stop);
    std::size_t bytes = 0;
    for (; !traps.empty() && !stop.stop_requested(); traps.pop_front()) {
      Look(traps.front());
      bytes += BytesOf(traps.front().Row);
    }
    {
      const std::lock_guard lock(mutex_);
      queuedBytes_ -= bytes;
    }
    if (traps.empty()) {
      ReadFromSpool(stop);
      LeavePassedOver();
    }
    ActOnSummaries();
    Remember(steady_clock::now());
  }
}

std::deque<SpooledTrap> AlertRunner::TakeTraps(const std::stop_token& stop) {
  std::deque<SpooledTrap> traps;
  std::unique_lock lock(mutex_);
  // Until the alerts are known, traps wait.
  changed_.wait_for(lock, stop, options_.FollowEvery, [this] {
    return rulesRead_ && (!offered_.empty() || (!behind_ && !passedOver_.empty()) ||
                          (behind_ && spool_.StoredNumber() > looked_));
  });
  if (rulesRead_) {
    traps.swap(offered_);
  }
  return traps;
}

// What was stored and not offered, until that is caught up with.
void AlertRunner::ReadFromSpool(const std::stop_token& stop) {
  {
    const std::lock_guard lock(mutex_);
    if (!rulesRead_ || !behind_ || !offered_.empty()) {
      return;
    }
  }
  const std::uint64_t stored = spool_.StoredNumber();
  if (rules_.empty()) {
    looked_ = std::max(looked_, stored);
    return;
  }
  const std::uint64_t before = looked_;
  const std::optional<std::vector<SpooledTrap>> traps = StoredTraps(stop);
  if (!traps) {
    return;
  }
  for (const SpooledTrap& trap : *traps) {
    if (trap.Number > stored || stop.stop_requested()) {
      break;
    }
    CountMissing(trap.Number);
    if (WasPassedOver(trap.Number)) {
      looked_ = trap.Number;
    } else {
      Look(trap);
    }
  }
  if (looked_ == before && stored > looked_ && !stop.stop_requested()) {
    CountMissing(stored + 1);  // none of them is there
    looked_ = stored;
  }
  if (const std::uint64_t missing = std::exchange(missing_, 0); missing > 0) {
    log_.Warning(fmt::format(
        "{} traps were stored and could not be looked at for alerts: the spool does not hold them any more",
        missing));
  }
  const std::lock_guard lock(mutex_);
  behind_ = looked_ < spool_.StoredNumber();
}

std::optional<std::vector<SpooledTrap>> AlertRunner::StoredTraps(const std::stop_token& stop) {
  try {
    return spool_.ReadAgain(place_, looked_, kCatchUpRows, kCatchUpBytes);
  } catch (const std::system_error& error) {
    log_.Error(fmt::format("the alerts can't read the spool: {}", error.what()));
  }
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, stop, kAfterSpoolFailure, [] { return false; });
  return std::nullopt;
}

// Within one run of the receiver the numbers of the spool are consecutive.
void AlertRunner::CountMissing(std::uint64_t number) {
  const std::uint64_t before = std::max(looked_, Spool::StartOfRun(number));
  missing_ += number > before + 1 ? number - before - 1 : 0;
}

void AlertRunner::Look(const SpooledTrap& trap) {
  if (trap.Number <= looked_) {
    return;  // stored once more, after the store lost its last commits
  }
  const auto now = steady_clock::now();
  for (const std::shared_ptr<const AlertRule>& rule : rules_) {
    if (rule->Off || !AlertMatches(*rule, trap.Row)) {
      continue;
    }
    const ActionSet wanted = ActionsOf(*rule);
    ActionSet actions = 0;
    if ((wanted & kLimitedActions) != 0 && limiter_.Admit(rule->Id, trap.Row.Source, now)) {
      actions |= kLimitedActions;
    }
    if ((wanted & kProgramAction) != 0 && programLimiter_.Admit(rule->Id, trap.Row.Source, now)) {
      actions |= kProgramAction;
    }
    if ((wanted & ~actions) != 0) {
      newest_.insert_or_assign(rule->Id, ForSummary(trap));
    }
    if (actions != 0) {
      Act(rule, trap, actions, {});
    }
  }
  looked_ = trap.Number;
}

SpooledTrap AlertRunner::ForSummary(const SpooledTrap& trap) const {
  const std::size_t share = std::max(kLeastShare, options_.SummaryBytes / rules_.size());
  if (BytesOf(trap.Row) <= share) {
    return trap;
  }
  SpooledTrap part{.Number = trap.Number,
                   .Row = {.EventTime = trap.Row.EventTime,
                           .Source = trap.Row.Source,
                           .EnterpriseOid = trap.Row.EnterpriseOid,
                           .GenericTrap = trap.Row.GenericTrap,
                           .SpecificTrap = trap.Row.SpecificTrap,
                           .EventDescription = trap.Row.EventDescription,
                           .Event_ExtDescr = {},
                           .InformKey = 0}};
  std::size_t length = share - std::min(share, BytesOf(part.Row));
  // Not within a character.
  while (length > 0 && (static_cast<unsigned char>(trap.Row.Event_ExtDescr[length]) & 0xC0U) == 0x80U) {
    --length;
  }
  part.Row.Event_ExtDescr = trap.Row.Event_ExtDescr.substr(0, length) + " ...";
  return part;
}

void AlertRunner::ActOnSummaries() {
  const auto now = steady_clock::now();
  const auto act = [&](AlertLimiter& limiter, ActionSet actions) {
    for (auto& [id, summary] : limiter.Due(now)) {
      const auto* rule = RuleOf(id);
      const auto newest = newest_.find(id);
      if (rule != nullptr && newest != newest_.end()) {
        Act(*rule, newest->second, actions, std::move(summary));
      }
    }
  };
  act(limiter_, kLimitedActions);
  act(programLimiter_, kProgramAction);
}

void AlertRunner::Act(const std::shared_ptr<const AlertRule>& rule, const SpooledTrap& trap,
                      ActionSet actions, AlertSummary summary, AlertTest test) {
  auto firing = std::make_shared<AlertFiring>();
  firing->Rule = rule;
  firing->Trap = trap;
  firing->Actions = actions;
  firing->Summary = std::move(summary);
  firing->Test = std::move(test);
  Name(*firing);
  lanes_.Act(std::move(firing));
}

void AlertRunner::Name(AlertFiring& firing) {
  const TrapRow& row = firing.Trap.Row;
  // A sender may invent enterprises: what is remembered of them is bounded.
  namedBytes_ += 2 * row.EnterpriseOid.size() + 500;
  if (namedBytes_ > kNamedBytes) {
    names_.ClearCache();
    namedBytes_ = 0;
  }
  const std::string bindings = row.EventDescription + row.Event_ExtDescr;
  store::IncomingTrap trap;
  trap.Source = trap.SystemName = trap.SystemAddress = row.Source;
  trap.EnterpriseOid = row.EnterpriseOid;
  trap.VarBinds = bindings;
  trap.SpecificTrap = row.SpecificTrap;
  trap.GenericTrap = row.GenericTrap;
  try {
    names_.GetTrapName(trap);
  } catch (const store::DatabaseError&) {
    names_.NameWithoutDefinition(trap);  // the alert matters more than the name
  }
  firing.TrapName = trap.TrapName();
  firing.EnterpriseName = trap.EnterpriseName();
  firing.Severity = trap.Severity;
}

// Signal, change log, tests and outcomes.  A store that is away only delays them: traps are not stored then.
void AlertRunner::Follow() {
  const auto now = steady_clock::now();
  if (now < nextFollow_) {
    return;
  }
  nextFollow_ = now + options_.FollowEvery;
  if (signal_.Asked(now)) {
    rulesRead_ = false;  // until they are read, traps wait
  }
  try {
    Open();
    std::string changes = ChangesMark(connection_);
    if (!rulesRead_ || changes != changes_) {
      ReadRules();
      changes_ = std::move(changes);
      rulesRead_ = true;
      ActOnPending();
    }
    TryAskedAlerts();
    WriteOutcomes();
    lastFailure_.clear();
  } catch (const store::DatabaseError& error) {
    connection_.Close();
    if (lastFailure_ != error.what()) {
      lastFailure_ = error.what();
      log_.Error(fmt::format("the alerts can't be read now: {}", lastFailure_));
    }
  }
}

void AlertRunner::Open() {
  if (!connection_.IsOpen()) {
    connection_.Open(dataSource_, {}, {}, kStoreOptions);
  }
}

void AlertRunner::ReadRules() {
  std::vector<std::string> problems;
  std::vector<AlertRule> rules = ReadAlertRules(connection_, problems);
  if (const store::ReadOutcome read = categories_.ReloadCategoryInformation(connection_); !read) {
    problems.push_back(fmt::format("the categories, which grade traps, can't be read: {}", read.Cause()));
  }
  names_.ClearCache();
  for (const std::string& problem : problems) {
    log_.Warning(problem);
  }
  rules_.clear();
  for (AlertRule& rule : rules) {
    rules_.push_back(std::make_shared<const AlertRule>(std::move(rule)));
  }
  const auto isThere = [this](std::int32_t id) { return RuleOf(id) != nullptr && !(*RuleOf(id))->Off; };
  limiter_.KeepOnly(isThere);
  programLimiter_.KeepOnly(isThere);
  std::erase_if(newest_, [&](const auto& entry) { return !isThere(entry.first); });
  const auto off = std::count_if(rules_.begin(), rules_.end(), [](const auto& rule) { return rule->Off; });
  if (rules_.empty()) {
    const std::lock_guard lock(mutex_);
    behind_ = true;  // nothing needs to be offered
  }
  log_.Info(fmt::format("{} alerts are watched, {} are switched off",
                        rules_.size() - static_cast<std::size_t>(off), off));
}

const std::shared_ptr<const AlertRule>* AlertRunner::RuleOf(std::int32_t id) const {
  const auto found =
      std::find_if(rules_.begin(), rules_.end(), [id](const auto& rule) { return rule->Id == id; });
  return found == rules_.end() ? nullptr : &*found;
}

void AlertRunner::TryAskedAlerts() {
  for (AskedTest& asked : TakeAskedTests(connection_, options_.Turns)) {
    const auto* rule = RuleOf(asked.AlertId);
    if (rule == nullptr) {
      WriteNews(connection_,
                {.Alerts = {}, .Tests = {{asked.Id, {.Result = "the alert has no action\n", .Left = 0}}}},
                options_.Turns);
      continue;
    }
    const ActionSet actions = ActionsOf(**rule);
    outcomes_.Expect(asked.Id, std::popcount(actions));
    const AlertRule& criteria = **rule;
    Act(*rule,
        {.Number = 0,
         .Row = {.EventTime = static_cast<std::int32_t>(std::time(nullptr)),
                 .Source = criteria.Source.empty() ? "0.0.0.0" : criteria.Source,
                 .EnterpriseOid = criteria.EnterpriseOid.empty() ? "0.0" : criteria.EnterpriseOid,
                 .GenericTrap =
                     criteria.GenericTrap == -1 ? store::kEnterpriseSpecific : criteria.GenericTrap,
                 .SpecificTrap = criteria.SpecificTrap,
                 .EventDescription = "",
                 .Event_ExtDescr = ""}},
        actions, {}, {.Id = asked.Id, .AskedBy = std::move(asked.AskedBy)});
  }
}

void AlertRunner::WriteOutcomes() {
  AlertNews news = outcomes_.Take();
  if (news.Empty()) {
    return;
  }
  // An alert that was removed meanwhile leaves nothing behind.
  std::erase_if(news.Alerts, [this](const auto& entry) { return RuleOf(entry.first) == nullptr; });
  try {
    WriteNews(connection_, news, options_.Turns);
  } catch (const store::DatabaseError&) {
    outcomes_.GiveBack(std::move(news));
    throw;
  }
}

void AlertRunner::ActOnPending() {
  std::size_t gone = 0;
  for (PendingFiring& firing : std::exchange(pending_, {})) {
    if (const auto* rule = RuleOf(firing.AlertId); rule != nullptr && !(*rule)->Off) {
      Act(*rule, firing.Trap, firing.Actions, std::move(firing.Summary));
    } else {
      ++gone;
    }
  }
  if (gone > 0) {
    log_.Warning(fmt::format("{} actions of the run before are dropped: their alerts are gone", gone));
  }
}

AlertMemory AlertRunner::Memory() const {
  AlertMemory memory{.Looked = looked_, .Pending = pending_};
  const auto add = [&](const AlertLimiter& limiter, ActionSet actions) {
    for (auto& [id, summary] : limiter.Suppressed()) {
      if (const auto newest = newest_.find(id); newest != newest_.end()) {
        memory.Pending.push_back(
            {.AlertId = id, .Actions = actions, .Summary = std::move(summary), .Trap = newest->second});
      }
    }
  };
  add(limiter_, kLimitedActions);
  add(programLimiter_, kProgramAction);
  for (const auto& [firing, actions] : lanes_.Waiting()) {
    if (firing->Test.Id == 0) {
      memory.Pending.push_back({.AlertId = firing->Rule->Id,
                                .Actions = actions,
                                .Summary = firing->Summary,
                                .Trap = firing->Trap});
    }
  }
  return memory;
}

void AlertRunner::Remember(steady_clock::time_point now) {
  if (now < nextRemember_) {
    return;
  }
  const AlertMemory memory = Memory();
  if (memory.Looked == rememberedLooked_ && memory.Pending.empty() && !rememberedPending_) {
    return;
  }
  try {
    WriteAlertMemory(spool_.Folder(), memory);
    rememberedLooked_ = memory.Looked;
    rememberedPending_ = !memory.Pending.empty();
    memoryFails_ = false;
    spool_.MarkLooked(memory.Looked);
  } catch (const std::system_error& error) {
    if (!std::exchange(memoryFails_, true)) {
      log_.Error(fmt::format("how far alerts have looked can't be written down: {}", error.what()));
    }
  }
  // However much there is to write, it is a small part of the time.
  const auto took = steady_clock::now() - now;
  const steady_clock::duration pause = rules_.empty() ? kRememberIdle : options_.RememberEvery;
  nextRemember_ = now + std::max(pause, took * 20);
}

void AlertRunner::RememberForNextRun() {
  nextRemember_ = {};
  Remember(steady_clock::now());
}

}  // namespace korvane::receiver
