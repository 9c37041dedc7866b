#include "receiver/store/Housekeeping.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "receiver/clock/UtcText.h"
#include "receiver/spool/StateFile.h"
#include "store/ChangeLog.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::receiver {
namespace {

constexpr std::int64_t kSecondsOfAnHour = 3600;
constexpr std::int64_t kSecondsOfADay = 86400;

constexpr std::int64_t kMinute = 60;

// A trap may outlive the age at which it is deleted by this part of it, when it can then be dropped with a
// whole partition: an hour for each day.
constexpr std::int64_t kGraceShare = 24;

// 0 for a number that says never.
std::int64_t AgeOf(std::int32_t count, std::int64_t seconds) {
  return count < 1 ? 0 : count * seconds;
}

// A sum is no column: the rows are found by their numbers, and not by walking all that nobody has
// acknowledged, or all that are older.
constexpr std::string_view kFreshOnes = "EventAck + 0 = 0";

// More make a statement that takes long to understand.
constexpr std::size_t kMostRanges = 200;
constexpr std::int32_t kPurgeGap = 16;

std::string ConditionOf(const store::TrapSelection& traps) {
  std::string condition = store::NumbersCondition(traps.Numbers);
  return traps.BeforeTime ? fmt::format("{} AND EventTime + 0 < {}", condition, *traps.BeforeTime)
                          : condition;
}

std::int64_t AcknowledgeOld(store::Connection& connection, const store::TrapSelection& traps) {
  const std::int64_t rows = connection.Execute(fmt::format(
      "UPDATE {} SET EventAck = 1 WHERE {} AND {}", store::kEventTrap, kFreshOnes, ConditionOf(traps)));
  store::NoteChange(connection, store::ChangeKind::Acknowledged, traps, rows);
  return rows;
}

std::int64_t DeleteRows(store::Connection& connection, std::string_view table, std::string_view condition) {
  return connection.Execute(fmt::format("DELETE FROM {} WHERE {}", table, condition));
}

// In two statements, since the log says how many of them nobody had acknowledged.
std::int64_t PurgeOld(store::Connection& connection, const store::TrapSelection& traps) {
  const std::string condition = ConditionOf(traps);
  const std::int64_t fresh =
      DeleteRows(connection, store::kEventTrap, fmt::format("{} AND {}", kFreshOnes, condition));
  const std::int64_t others = DeleteRows(connection, store::kEventTrap, condition);
  store::NoteChange(connection, store::ChangeKind::Purged, traps, fresh);
  return fresh + others;
}

std::int64_t PurgeLog(store::Connection& connection, const store::TrapSelection& entries) {
  return DeleteRows(connection, store::kChangeLog, store::NumbersCondition(entries.Numbers, "Change_ID"));
}

// 0 without an entry.
std::int32_t HighestChange(store::Connection& connection) {
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT MAX(Change_ID) AS Highest FROM {}", store::kChangeLog));
  return rows.Next() && !rows.IsNull("Highest") ? rows.Integer("Highest") : 0;
}

struct OldRow {
  std::int32_t Number = 0;
  std::int32_t Time = 0;
};

// The oldest from this time on, no more than so many.
std::vector<OldRow> ReadOldest(store::Connection& connection, const OldRows& rows, std::int64_t from,
                               std::int64_t before, std::int64_t most) {
  std::vector<OldRow> found;
  store::Recordset old = connection.OpenRecordset(
      fmt::format("SELECT {0}, {1} FROM {2} WHERE {3}{1} >= {4} AND {1} < {5} ORDER BY {1}, {0} LIMIT {6}",
                  rows.Number, rows.Time, rows.Table, rows.Condition, from, before, most));
  while (old.Next()) {
    found.push_back({old.Integer(std::size_t{0}), old.Integer(std::size_t{1})});
  }
  return found;
}

std::vector<store::NumberRange> WithoutGaps(const std::vector<store::NumberRange>& ranges, std::int32_t gap) {
  std::vector<store::NumberRange> whole;
  for (const store::NumberRange& range : ranges) {
    if (!whole.empty() && range.First - whole.back().Last <= gap) {
      whole.back().Last = range.Last;
    } else {
      whole.push_back(range);
    }
  }
  return whole;
}

// Of the first of these rows, as many as one statement can name; the others are taken out.
store::TrapSelection Portion(std::vector<OldRow>& rows, std::int32_t gap) {
  for (;;) {
    std::vector<std::int32_t> numbers;
    std::ranges::transform(rows, std::back_inserter(numbers), &OldRow::Number);
    store::TrapSelection selection = store::SelectionOf(std::move(numbers));
    selection.Numbers = WithoutGaps(selection.Numbers, gap);
    if (selection.Numbers.size() <= kMostRanges) {
      return selection;
    }
    rows.resize(std::max(kMostRanges, rows.size() * kMostRanges / selection.Numbers.size()));
  }
}

}  // namespace

Housekeeping::Housekeeping(std::string dataSource, Intervals intervals, Clocks& clocks,
                           std::filesystem::path folder, ServiceLog& log, HousekeepingOptions options)
    : dataSource_(std::move(dataSource)),
      purgeAge_(AgeOf(intervals.PurgeDays, kSecondsOfADay)),
      ackAge_(AgeOf(intervals.AckHours, kSecondsOfAnHour)),
      clocks_(clocks),
      folder_(std::move(folder)),
      log_(log),
      options_(std::move(options)),
      portion_(options_.RowsAtFirst, options_.MostRows, options_.PortionTime),
      partitions_(log),
      witness_(std::chrono::seconds(std::max({purgeAge_, ackAge_, kSecondsOfADay})),
               ReadClockMemory(folder_)) {}

void Housekeeping::Run(const std::stop_token& stop) {
  std::string lastFailure;
  while (!stop.stop_requested()) {
    std::chrono::milliseconds pause = options_.Every;
    try {
      const HouseholdWork work = Round(stop);
      if (work.Acknowledged + work.Purged > 0) {
        log_.Info(
            fmt::format("{} traps acknowledged by their age, {} deleted", work.Acknowledged, work.Purged));
      }
      lastFailure.clear();
    } catch (const store::DatabaseError& error) {
      connection_.Close();
      pause = options_.AfterFailure;
      if (lastFailure != error.what()) {
        lastFailure = error.what();
        log_.Warning(fmt::format("old traps can't be acknowledged or deleted now: {}", lastFailure));
      }
    }
    Pause(pause, stop, true);
  }
}

HouseholdWork Housekeeping::Round(const std::stop_token& stop) {
  LookAtClock();
  HouseholdWork work;
  if (!connection_.IsOpen()) {
    connection_.Open(dataSource_, {}, {}, kStoreOptions);
    // Nobody did it: the traps are too old.
    store::ChangeAuthor self = connection_.Author();
    self.Operator.clear();
    connection_.WriteAs(std::move(self));
  }
  partitions_.MakeAhead(connection_);
  numbers_.Look(connection_, clock_.Elapsed, log_);
  if (HoldsBack("1 = 1", purgeAge_) || HoldsBack("EventAck = 0", ackAge_)) {
    AskForConfirmation();
  }
  // What is to go need not be acknowledged first.
  if (const auto before = Before(purgeAge_)) {
    for (const PurgeTable& table : partitions_.Purge(connection_, *before, purgeAge_ / kGraceShare)) {
      work.Purged += ChangeOlder({.Table = table.Name,
                                  .Number = "SequenceNumber",
                                  .Time = "EventTime",
                                  .Condition = table.Unacknowledged ? "EventAck = 0 AND " : "",
                                  .Gap = kPurgeGap,
                                  .Do = PurgeOld},
                                 *before, stop);
    }
    // The last entry stays, however old: by its number consoles know a log that went back.
    ChangeOlder({.Table = std::string(store::kChangeLog),
                 .Number = "Change_ID",
                 .Time = "Change_Time",
                 .Condition = fmt::format("Change_ID + 0 < {} AND ", HighestChange(connection_)),
                 .Do = PurgeLog},
                *before, stop);
  }
  if (const auto before = Before(ackAge_)) {
    // The log names each of them, since it tells who has acknowledged a trap.
    work.Acknowledged = ChangeOlder({.Table = std::string(store::kEventTrap),
                                     .Number = "SequenceNumber",
                                     .Time = "EventTime",
                                     .Condition = "EventAck = 0 AND ",
                                     .Do = AcknowledgeOld},
                                    *before, stop);
  }
  return work;
}

void Housekeeping::LookAtClock() {
  clock_ = clocks_.Read();
  if (const std::int64_t set = witness_.Look(clock_); set != 0) {
    log_.Warning(
        fmt::format("the clock of this machine was set {} by {}, to {}; traps get the time that it shows",
                    set > 0 ? "forward" : "back", LengthText(std::abs(set)), UtcText(clock_.Wall)));
  }
  bool confirmed = false;
  {
    const std::lock_guard lock(mutex_);
    confirmed = std::exchange(confirmed_, false);
  }
  if (confirmed) {
    witness_.Confirm();
    log_.Info(fmt::format("the administrator confirms the clock: {}", UtcText(clock_.Wall)));
  }
  if (confirmed || !remembered_ || clock_.Elapsed - *remembered_ >= kMinute) {
    RememberClock();
  }
}

void Housekeeping::RememberClock() {
  remembered_ = clock_.Elapsed;
  try {
    WriteClockMemory(folder_, witness_.Memory());
    memoryFails_ = false;
  } catch (const std::system_error& error) {
    // Then the next run trusts its clock less.
    if (!std::exchange(memoryFails_, true)) {
      log_.Warning(fmt::format("the state of the clock can't be kept for the next run: {}", error.what()));
    }
  }
}

std::optional<std::int64_t> Housekeeping::Before(std::int64_t age) const {
  const std::optional<std::int64_t> present = witness_.Present(age);
  if (age == 0 || !present || *present - age < std::numeric_limits<std::int32_t>::min()) {
    return std::nullopt;
  }
  return *present - age;
}

bool Housekeeping::HoldsBack(std::string_view condition, std::int64_t age) {
  const std::int64_t byWallClock = clock_.Wall - age;
  const std::optional<std::int64_t> before = Before(age);
  if (age == 0 || byWallClock < std::numeric_limits<std::int32_t>::min() ||
      (before && byWallClock - *before < kMinute)) {
    return false;
  }
  return connection_
      .OpenRecordset(
          fmt::format("SELECT SequenceNumber FROM {} WHERE {} AND EventTime < {} AND EventTime >= {} LIMIT 1",
                      store::kEventTrap, condition, byWallClock,
                      before.value_or(std::numeric_limits<std::int32_t>::min())))
      .Next();
}

void Housekeeping::AskForConfirmation() {
  if (clocks_.Synchronized()) {
    witness_.Confirm();
    log_.Info(fmt::format("the machine's time service confirms the clock: {}", UtcText(clock_.Wall)));
    RememberClock();
    return;
  }
  if (reminded_ && clock_.Elapsed - *reminded_ < kSecondsOfADay) {
    return;
  }
  reminded_ = clock_.Elapsed;
  log_.Error(
      fmt::format("the clock of this machine shows {} and nothing confirms it: traps that are too old by "
                  "this clock alone are "
                  "neither acknowledged nor deleted.  Set it right if it is wrong; if it is right, say so "
                  "with: systemctl kill "
                  "--kill-whom=main --signal=USR2 KVReceiver",
                  UtcText(clock_.Wall)));
}

void Housekeeping::ConfirmClock() {
  const std::lock_guard lock(mutex_);
  confirmed_ = true;
  changed_.notify_all();
}

// The rows are read first and changed by ranges of their numbers: one short statement, which locks only them.
std::int64_t Housekeeping::ChangeOlder(const OldRows& rows, std::int64_t before,
                                       const std::stop_token& stop) {
  std::int64_t changed = 0;
  // What was dealt with before is passed over: an engine may still have to look at what it has deleted.
  std::int64_t from = std::numeric_limits<std::int32_t>::min();
  while (!stop.stop_requested()) {
    GiveWay(stop);
    const std::int64_t most = portion_.Rows();
    std::vector<OldRow> found = ReadOldest(connection_, rows, from, before, most);
    if (found.empty()) {
      break;
    }
    const bool last = std::ssize(found) < most;
    const std::size_t read = found.size();
    store::TrapSelection selection = Portion(found, rows.Gap);
    // Always: while this waits for a lock, all numbers may move down, and young traps have those of old ones.
    selection.BeforeTime = static_cast<std::int32_t>(before);
    from = found.back().Time;
    std::chrono::steady_clock::duration took{};
    std::int64_t done = 0;
    {
      const bool embedded = connection_.Kind() == store::Engine::Sqlite;
      const WriteTurns::Turn turn(embedded ? options_.Turns : nullptr);
      const auto begun = std::chrono::steady_clock::now();
      done = store::RetriedOnce(connection_, [&] {
        store::Transaction transaction(connection_);
        const std::int64_t touched = rows.Do(connection_, selection);
        transaction.Commit();
        return touched;
      });
      took = std::chrono::steady_clock::now() - begun;
    }
    changed += done;
    portion_.Took(std::ssize(found), took);
    // None of them: somebody else deals with the same rows, or drops them with their partition.
    if (done == 0 || (last && found.size() == read)) {
      break;
    }
    Pause(std::max(options_.Breath, std::chrono::duration_cast<std::chrono::milliseconds>(took / 4)), stop);
  }
  return changed;
}

// Storing comes first.  Not for ever: in a store that can't take what arrives, old traps have to go too.
void Housekeeping::GiveWay(const std::stop_token& stop) {
  const auto until = std::chrono::steady_clock::now() + options_.Patience;
  while (options_.Waiting && options_.Waiting() > options_.ManyWaiting &&
         std::chrono::steady_clock::now() < until && !stop.stop_requested()) {
    Pause(std::chrono::milliseconds(20), stop);
  }
}

void Housekeeping::Pause(std::chrono::milliseconds time, const std::stop_token& stop, bool unlessConfirmed) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, stop, time, [&] { return unlessConfirmed && confirmed_; });
}

}  // namespace korvane::receiver
