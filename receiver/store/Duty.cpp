#include "receiver/store/Duty.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "platform/Identity.h"
#include "receiver/spool/StateFile.h"
#include "store/Recordset.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::receiver {
namespace {

using Action = DutyVerdict::Action;

// What is on its way from the network to the spool, and the second in which it came.
constexpr std::int32_t kOnItsWay = 2;
// Of clocks that a time service keeps.
constexpr std::int32_t kClocksApart = 2;
constexpr std::size_t kRowsAtOnce = 5000;
constexpr int kPortionsOfALook = 40;
// Rows are read in the order of their numbers; those of a time may have come a little later.
constexpr int kOldestRows = 5000;
constexpr std::size_t kOwnRows = 4000;
constexpr std::size_t kOwnBytes = std::size_t{4} << 20;
constexpr std::uint64_t kManyWaiting = 10'000;
constexpr int kManyFarApart = 50;

std::uint64_t Seed() {
  const std::string octets = RandomOctets(sizeof(std::uint64_t));
  std::uint64_t seed = 0;
  std::memcpy(&seed, octets.data(), sizeof seed);
  return seed;
}

// The number before that of the first row of this time or later; nothing: there is none.
std::optional<std::int32_t> NumberBefore(store::Connection& connection, std::int32_t time) {
  store::Recordset rows = connection.OpenRecordset(fmt::format(
      "SELECT SequenceNumber FROM {} WHERE EventTime >= {} ORDER BY EventTime, SequenceNumber LIMIT {}",
      store::kEventTrap, time, kOldestRows));
  std::optional<std::int32_t> first;
  while (rows.Next()) {
    first = std::min(rows.Integer(std::size_t{0}), first.value_or(std::numeric_limits<std::int32_t>::max()));
  }
  return first ? std::optional(*first - 1) : std::nullopt;
}

}  // namespace

Duty::Duty(Spool& spool, TrapStore& store, ServiceLog& log, DutyOptions options)
    : spool_(spool),
      store_(store),
      log_(log),
      options_(std::move(options)),
      machine_(platform::ThisProcess().Machine),
      start_(UtcNow()),
      filter_(Seed()) {}

std::int32_t Duty::UtcNow() const {
  const std::int64_t now = options_.Clock ? options_.Clock()
                                          : std::chrono::duration_cast<std::chrono::seconds>(
                                                std::chrono::system_clock::now().time_since_epoch())
                                                .count();
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(now, 0, std::numeric_limits<std::int32_t>::max()));
}

DutyClaim Duty::MyClaim(std::optional<std::int32_t> through) const {
  return {.Group = options_.Group,
          .Holder = std::string(Self()),
          .Term = seen_.Term,
          .Additions = std::nullopt,
          .Through = through};
}

void Duty::Connected(std::uint64_t stored) {
  stored_ = stored;
  doubted_ = holds_;
  fails_ = everConnected_;
  everConnected_ = true;
  lastLook_ = {};
  filterBegun_ = false;
  if (!holds_) {
    seen_ = {};
  }
}

void Duty::Look() {
  const auto now = Clock::now();
  if (Alone() || (!doubted_ && now - lastLook_ < options_.LookEvery)) {
    return;
  }
  const auto sinceLook = now - std::exchange(lastLook_, now);
  if (holds_ && !doubted_) {
    Beat();
    return;
  }
  std::optional<DutyRow> row;
  store_.With([&](store::Connection& connection) { row = ReadDuty(connection, options_.Group); });
  const bool doubted = std::exchange(doubted_, false);
  if (holds_) {
    if (row && row->Holder == Self() && row->Term == seen_.Term) {
      See(*row);
      return;
    }
    holds_ = false;
    EndFilter();
    if (IsToBeTold()) {
      log_.Warning(fmt::format("the duty to store of the group {} was lost to the receiver on {}",
                               options_.Group, row ? row->Machine : std::string()));
      toldHolder_.clear();
    }
    seen_ = {};
  }
  Watch(row, doubted ? Clock::duration(0) : sinceLook);
}

void Duty::Beat() {
  const std::int32_t now = UtcNow();
  // From the network on: what is moved meanwhile is seen further on.
  const bool allStored = (!options_.AllSpooled || options_.AllSpooled()) && spool_.WaitingAfter(stored_) == 0;
  try {
    store_.With([&](store::Connection& connection) {
      RenewDuty(connection, MyClaim(allStored ? std::optional(now - kOnItsWay) : std::nullopt));
    });
  } catch (const DutyLost&) {
    Doubt();
    return;
  }
  if (allStored && now > filterTime_) {
    filters_ = false;
    EndFilter();
  }
}

void Duty::See(const DutyRow& row) {
  if (row.StoredNumber < seen_.StoredNumber) {
    EndFilter();  // the traps were numbered anew, or are not there any more
  }
  seen_ = row;
}

void Duty::Watch(const std::optional<DutyRow>& row, Clock::duration sinceLook) {
  const bool moved =
      !row || row->Term != seen_.Term || row->Beat != seen_.Beat || row->Holder != seen_.Holder;
  // A machine that slept has not watched.
  silent_ =
      moved ? Clock::duration(0) : silent_ + std::min<Clock::duration>(sinceLook, 2 * options_.LookEvery);
  if (!row || row->Holder.empty() || row->Holder == Self() || silent_ >= options_.Silence) {
    TakeOver(row);
  } else {
    See(*row);
  }
  if (holds_) {
    return;
  }
  TellStandingBy();
  if (spool_.WaitingAfter(stored_) == 0) {
    if (!filterBegun_) {
      BeginFilter(UtcNow());
    }
    for (int portion = 0; portion < kPortionsOfALook && ReadRows(nullptr); ++portion) {
    }
  }
}

void Duty::TakeOver(const std::optional<DutyRow>& seen) {
  bool taken = false;
  std::optional<DutyRow> row;
  store_.With([&](store::Connection& connection) {
    taken = TakeDuty(connection, options_.Group, seen, Self(), machine_);
    row = ReadDuty(connection, options_.Group);
  });
  See(row.value_or(DutyRow()));
  holds_ = taken && seen_.Holder == Self();
  const auto silent = std::exchange(silent_, Clock::duration(0));
  if (!holds_) {
    return;
  }
  filters_ = true;
  filterNumber_ = spool_.LastNumber();
  filterTime_ = UtcNow();
  if (!IsToBeTold()) {
    return;
  }
  const std::string group = DutyWords();
  if (!seen || (seen->Holder.empty() && seen->Machine.empty())) {
    log_.Info(fmt::format("{}, as the first one", group));
  } else if (seen->Holder.empty()) {
    log_.Info(fmt::format("{}: the one on {} handed it over", group, seen->Machine));
  } else if (seen->Holder == Self()) {
    log_.Info(fmt::format("{}, as before", group));
  } else {
    log_.Warning(fmt::format("{}: the one on {} has shown nothing for {:.0f} seconds", group, seen->Machine,
                             std::chrono::duration<double>(silent).count()));
  }
}

void Duty::TellStandingBy() {
  if (seen_.Holder != toldHolder_ && !seen_.Holder.empty()) {
    toldHolder_ = seen_.Holder;
    log_.Info(fmt::format("the receiver on {} stores for the group {}; this one stands by", seen_.Machine,
                          options_.Group));
  }
  if (const std::int32_t ahead = seen_.StoredThrough - UtcNow();
      ahead > TwinFilter::kMargin / 2 && IsTime(toldDifference_)) {
    TellDifference(ahead);
  }
  if (const std::uint64_t waiting = spool_.WaitingAfter(stored_);
      waiting > kManyWaiting && IsTime(toldWaiting_)) {
    log_.Warning(fmt::format("{} traps wait in the spool until the receiver on {} has stored them", waiting,
                             seen_.Machine));
  }
  if (alone_ > 0 && IsTime(toldAlone_)) {
    log_.Warning(fmt::format("stored {} traps that the receiver on {} did not get", std::exchange(alone_, 0),
                             seen_.Machine));
  }
}

// A store that refuses every trap has the duty pass from one to the other and back, in case only one of them
// is refused.
bool Duty::IsToBeTold() {
  const bool told = !fails_ || IsTime(toldFailing_);
  untold_ = !told;
  return told;
}

std::string Duty::DutyWords() const {
  return fmt::format("this receiver has the duty to store of the group {}", options_.Group);
}

// Where that has changed without a word.
void Duty::TellDuty() {
  toldHolder_.clear();
  if (holds_) {
    log_.Info(DutyWords());
  } else {
    TellStandingBy();
  }
}

bool Duty::IsTime(Clock::time_point& last) {
  const auto now = Clock::now();
  const bool time = last == Clock::time_point() || now - last >= std::chrono::minutes(1);
  last = time ? now : last;
  return time;
}

DutyVerdict Duty::Judge(std::span<const SpooledTrap> traps) {
  if (Alone()) {
    return {.Do = Action::Store, .Count = traps.size()};
  }
  if (!MustFilter(traps.front())) {
    filters_ = false;
    EndFilter();
    store_.Claim(MyClaim(traps.back().Row.EventTime - 1));
    return {.Do = Action::Store, .Count = traps.size()};
  }
  if (!filterBegun_) {
    BeginFilter(traps.front().Row.EventTime);
  }
  std::size_t count = TakeTwins(traps);
  // In portions: whoever has the duty must not forget to show itself.
  for (int portion = 0; count == 0 && portion < kPortionsOfALook && ReadRows(&traps.front()); ++portion) {
    count = TakeTwins(traps);
  }
  if (count > 0) {
    store_.Claim(holds_ ? std::optional(MyClaim(traps[count - 1].Row.EventTime - 1)) : std::nullopt);
    return {.Do = Action::PassOver, .Count = count};
  }
  while (count < traps.size() && MustFilter(traps[count]) &&
         AllIsRead(traps[count].Row.EventTime + TwinFilter::kMargin) &&
         !filter_.TwinOf(TwinOf(traps[count]))) {
    ++count;
  }
  if (count == 0) {
    return {.Do = Action::Wait, .Count = 0};
  }
  // Unless somebody else of the group has added such traps meanwhile.
  DutyClaim claim = MyClaim(holds_ ? std::optional(traps[count - 1].Row.EventTime - 1) : std::nullopt);
  claim.Holder = holds_ ? claim.Holder : "";
  claim.Additions = seen_.Additions;
  store_.Claim(claim);
  return {.Do = Action::Store, .Count = count};
}

void Duty::Done(const DutyVerdict& verdict, std::span<const SpooledTrap> traps) {
  fails_ = false;
  if (holds_) {
    lastLook_ = Clock::now();
  }
  if (std::exchange(untold_, false)) {
    TellDuty();
  }
  if (verdict.Do == Action::Store && filterBegun_) {
    for (const SpooledTrap& trap : traps) {
      filter_.AddOwn(TwinOf(trap));
    }
    alone_ += holds_ ? 0 : traps.size();
    Doubt();  // the row has changed, by this
  }
}

void Duty::HandOver() {
  if (holds_) {
    store_.With(
        [&](store::Connection& connection) { LeaveDuty(connection, options_.Group, Self(), seen_.Term); });
    holds_ = false;
    log_.Info(fmt::format("the duty to store of the group {} is handed over", options_.Group));
  }
}

bool Duty::MustFilter(const SpooledTrap& trap) const {
  return !holds_ || (filters_ && (trap.Number <= filterNumber_ || trap.Row.EventTime <= filterTime_));
}

void Duty::EndFilter() {
  filter_.Clear();
  filterBegun_ = false;
}

void Duty::BeginFilter(std::int32_t firstTime) {
  filter_.Clear();
  tooMany_ = false;
  filterFrom_ = firstTime - TwinFilter::kRepeated;
  AddOwnTraps();
  store_.With([&](store::Connection& connection) {
    readNumber_ = NumberBefore(connection, filterFrom_).value_or(seen_.StoredNumber);
  });
  filterBegun_ = true;
}

// Their rows are no twins of others.  As far as the spool still holds them.
void Duty::AddOwnTraps() {
  SpoolPlace place;
  for (std::uint64_t after = 0;;) {
    const std::vector<SpooledTrap> traps = spool_.ReadAgain(place, after, kOwnRows, kOwnBytes);
    for (const SpooledTrap& trap : traps) {
      if (trap.Number > stored_) {
        return;
      }
      if (trap.Row.EventTime >= filterFrom_) {
        filter_.AddOwn(TwinOf(trap));
      }
    }
    if (traps.empty()) {
      return;
    }
    after = traps.back().Number;
  }
}

TwinFilter::Trap Duty::TwinOf(const SpooledTrap& trap) const {
  const TrapRow& row = trap.Row;
  const bool earlier = trap.Number <= spool_.RunStart();
  return {.Content = filter_.ContentOf(row.Source, row.EnterpriseOid, row.GenericTrap, row.SpecificTrap,
                                       row.EventDescription, row.Event_ExtDescr),
          .Time = row.EventTime,
          .Inform = row.InformKey != 0,
          .Earliest = earlier ? std::numeric_limits<std::int32_t>::min() : start_ - kClocksApart,
          .Latest = earlier ? spool_.EarlierEnd() + kClocksApart : std::numeric_limits<std::int32_t>::max()};
}

std::size_t Duty::TakeTwins(std::span<const SpooledTrap> traps) {
  std::size_t count = 0;
  for (; count < traps.size() && MustFilter(traps[count]); ++count) {
    const TwinFilter::Trap trap = TwinOf(traps[count]);
    const std::optional<std::int32_t> difference = filter_.TwinOf(trap);
    // While a nearer one may still come, of identical traps, this is perhaps another one's.
    if (!difference ||
        (*difference != 0 && !AllIsRead(trap.Time + std::min(std::abs(*difference), TwinFilter::kMargin)))) {
      break;
    }
    filter_.TakeTwin(trap);
    if (!trap.Inform) {
      NoteDifference(*difference);
    }
  }
  return count;
}

// Some more of those that the group has stored; false when there are none, or no room for them.
bool Duty::ReadRows(const SpooledTrap* waiting) {
  if (readNumber_ >= seen_.StoredNumber) {
    return false;
  }
  if (filter_.Full()) {
    filterFrom_ =
        std::max(filterFrom_, (waiting != nullptr ? waiting->Row.EventTime : UtcNow()) - TwinFilter::kMargin);
    filter_.ForgetBefore(filterFrom_);
    tooMany_ = waiting != nullptr && filter_.Full();
    if (tooMany_) {
      return false;
    }
    if (filter_.Full()) {
      filter_.Clear();
    }
  }
  std::size_t count = 0;
  std::int32_t last = readNumber_;
  store_.With([&](store::Connection& connection) {
    store::TrapReader reader(
        connection,
        fmt::format(
            "SELECT SequenceNumber, EventTime, Source, EnterpriseOid, GenericTrap, SpecificTrap, "
            "EventDescription, Event_ExtDescr FROM {} WHERE SequenceNumber > {} AND SequenceNumber <= {} "
            "ORDER BY SequenceNumber LIMIT {}",
            store::kEventTrap, readNumber_, seen_.StoredNumber, kRowsAtOnce));
    store::IncomingTrap row;
    for (; reader.Next(row); ++count) {
      last = row.SequenceNumber;
      if (row.EventTime >= filterFrom_) {
        filter_.AddRow(
            {.Content = filter_.ContentOf(row.Source, row.EnterpriseOid, row.GenericTrap, row.SpecificTrap,
                                          row.EventDescription(), row.Event_ExtDescr()),
             .Time = row.EventTime});
      }
    }
  });
  readNumber_ = count < kRowsAtOnce ? seen_.StoredNumber : last;
  return true;
}

// Everything that the group has, or ever will have, of this time and before.
bool Duty::AllIsRead(std::int32_t time) const {
  return (readNumber_ >= seen_.StoredNumber || tooMany_) && (holds_ || seen_.StoredThrough >= time);
}

void Duty::NoteDifference(std::int32_t seconds) {
  // Of identical traps a single one may find the twin of another.
  farApart_ = std::abs(seconds) > TwinFilter::kMargin / 2 ? farApart_ + 1 : 0;
  if (farApart_ >= kManyFarApart && IsTime(toldDifference_)) {
    TellDifference(std::abs(seconds));
  }
}

void Duty::TellDifference(std::int32_t seconds) {
  log_.Warning(
      fmt::format("the clocks of this machine and of {} differ by about {} seconds: with more than {} "
                  "traps are stored twice",
                  seen_.Machine, seconds, TwinFilter::kMargin));
}

}  // namespace korvane::receiver
