#include "receiver/alerts/AlertRunner.h"
#include "receiver/Configuration.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "common/RegistryValues.h"
#include "store/DatabaseError.h"

namespace korvane::receiver {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kDwordBytes = 4;
constexpr std::size_t kLeastShare = 4096;  // of an alert's summary: room for all but the bindings
constexpr std::size_t kNamedBytes = std::size_t{4} << 20;

bool UpdateIsAsked(platform::RegistryStore& registry) {
  const auto data = registry.QueryValue(platform::RegistryHive::LocalMachine, kManagerKey, kActionUpdateValue,
                                        kReadAccess, kDwordBytes);
  return data && data->Type == platform::RegistryType::Dword && !data->Bytes.empty() && data->Bytes[0] == 1;
}

}  // namespace

AlertRunner::AlertRunner(std::string dataSource, platform::RegistryStore& registry, ServiceLog& log, Act act,
                         AlertRunnerOptions options)
    : dataSource_(std::move(dataSource)),
      registry_(registry),
      log_(log),
      act_(std::move(act)),
      options_(options),
      limiter_(options.Limits) {}

void AlertRunner::Offer(std::span<const SpooledTrap> traps) {
  if (!watching_) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    for (const SpooledTrap& trap : traps) {
      const std::size_t bytes = BytesOf(trap.Row);
      if (queuedBytes_ + bytes > options_.QueueBytes) {
        ++overlooked_;
      } else {
        queuedBytes_ += bytes;
        offered_.push_back(trap.Row);
      }
    }
  }
  changed_.notify_one();
}

void AlertRunner::Run(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    ReadRulesWhenAsked();
    for (std::deque<TrapRow> traps = TakeTraps(stop); !traps.empty(); traps.pop_front()) {
      Look(traps.front());
      queuedBytes_ -= BytesOf(traps.front());
    }
    ActOnSummaries();
  }
}

std::deque<TrapRow> AlertRunner::TakeTraps(const std::stop_token& stop) {
  std::deque<TrapRow> traps;
  std::uint64_t overlooked = 0;
  {
    std::unique_lock lock(mutex_);
    // Until the alerts are known, traps wait.
    changed_.wait_for(lock, stop, options_.AskRegistryEvery,
                      [this] { return rulesRead_ && !offered_.empty(); });
    if (rulesRead_) {
      traps.swap(offered_);
      overlooked = std::exchange(overlooked_, 0);
    }
  }
  if (overlooked > 0) {
    log_.Warning(
        fmt::format("{} traps came too fast to be looked at for alerts; they are stored", overlooked));
  }
  return traps;
}

void AlertRunner::ReadRulesWhenAsked() {
  const bool asked = UpdateIsAsked(registry_);
  if (asked) {
    // Before reading: what is changed from now on asks again.
    SetRegistryDword(registry_, platform::RegistryHive::LocalMachine, kManagerKey, kActionUpdateValue, 0);
  }
  if ((asked || !rulesRead_) && !ReadRules() && asked) {
    rulesRead_ = false;  // tried again with the next turn
  }
}

bool AlertRunner::ReadRules() {
  try {
    if (!connection_.IsOpen()) {
      connection_.Open(dataSource_, {}, {}, kStoreOptions);
    }
    names_.ClearCache();
    std::vector<std::string> problems;
    std::vector<AlertRule> rules = ReadAlertRules(connection_, problems);
    for (const std::string& problem : problems) {
      log_.Warning(problem);
    }
    rules_.clear();
    for (AlertRule& rule : rules) {
      rules_.push_back(std::make_shared<const AlertRule>(std::move(rule)));
    }
    newest_.assign(rules_.size(), {});
    rulesRead_ = true;
    watching_ = !rules_.empty();
    lastFailure_.clear();
    log_.Info(fmt::format("{} alerts are watched", rules_.size()));
    return true;
  } catch (const store::DatabaseError& error) {
    connection_.Close();
    if (lastFailure_ != error.what()) {
      lastFailure_ = error.what();
      log_.Error(fmt::format("the alerts can't be read now: {}", lastFailure_));
    }
    return false;
  }
}

void AlertRunner::Look(const TrapRow& trap) {
  for (std::size_t i = 0; i < rules_.size(); ++i) {
    if (!AlertMatches(*rules_[i], trap)) {
      continue;
    }
    if (limiter_.Admit(rules_[i]->Id, steady_clock::now())) {
      Fire(rules_[i], trap, 0);
    } else {
      newest_[i] = ForSummary(trap);
    }
  }
}

TrapRow AlertRunner::ForSummary(const TrapRow& trap) const {
  const std::size_t share = std::max(kLeastShare, options_.SummaryBytes / rules_.size());
  if (BytesOf(trap) <= share) {
    return trap;
  }
  TrapRow row{.EventTime = trap.EventTime,
              .Source = trap.Source,
              .EnterpriseOid = trap.EnterpriseOid,
              .GenericTrap = trap.GenericTrap,
              .SpecificTrap = trap.SpecificTrap,
              .EventDescription = trap.EventDescription,
              .Event_ExtDescr = {},
              .InformKey = 0};
  std::size_t length = share - std::min(share, BytesOf(row));
  // Not within a character.
  while (length > 0 && (static_cast<unsigned char>(trap.Event_ExtDescr[length]) & 0xC0U) == 0x80U) {
    --length;
  }
  row.Event_ExtDescr = trap.Event_ExtDescr.substr(0, length) + " ...";
  return row;
}

void AlertRunner::ActOnSummaries() {
  for (const AlertLimiter::Summary& summary : limiter_.Due(steady_clock::now())) {
    const auto rule = std::find_if(rules_.begin(), rules_.end(),
                                   [&](const auto& each) { return each->Id == summary.AlertId; });
    if (rule != rules_.end()) {
      Fire(*rule, newest_[static_cast<std::size_t>(rule - rules_.begin())], summary.Suppressed);
    }
  }
}

void AlertRunner::Fire(const std::shared_ptr<const AlertRule>& rule, const TrapRow& trap,
                       std::uint64_t suppressed) {
  auto firing = std::make_shared<AlertFiring>();
  firing->Rule = rule;
  firing->Trap = trap;
  firing->Suppressed = suppressed;
  Name(*firing);
  act_(std::move(firing));
}

void AlertRunner::Name(AlertFiring& firing) {
  // A sender may invent enterprises: what is remembered of them is bounded.
  namedBytes_ += 2 * firing.Trap.EnterpriseOid.size() + 500;
  if (namedBytes_ > kNamedBytes) {
    names_.ClearCache();
    namedBytes_ = 0;
  }
  store::IncomingTrap trap;
  trap.EnterpriseOid = firing.Trap.EnterpriseOid;
  trap.SpecificTrap = firing.Trap.SpecificTrap;
  trap.GenericTrap = firing.Trap.GenericTrap;
  try {
    names_.GetTrapName(trap);
  } catch (const store::DatabaseError&) {
    names_.NameWithoutDefinition(trap);  // the alert matters more than the name
  }
  firing.TrapName = trap.TrapName();
  firing.EnterpriseName = trap.EnterpriseName();
}

}  // namespace korvane::receiver
