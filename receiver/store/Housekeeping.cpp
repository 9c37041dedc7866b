#include "receiver/store/Housekeeping.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
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
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::receiver {
namespace {

constexpr std::int64_t kSecondsOfAnHour = 3600;
constexpr std::int64_t kSecondsOfADay = 86400;

constexpr std::int64_t kMinute = 60;

// 0 for a number that says never.
std::int64_t AgeOf(std::int32_t count, std::int64_t seconds) {
  return count < 1 ? 0 : count * seconds;
}

std::string LengthText(std::int64_t seconds) {
  return seconds >= 2 * kSecondsOfADay     ? fmt::format("{} days", seconds / kSecondsOfADay)
         : seconds >= 2 * kSecondsOfAnHour ? fmt::format("{} hours", seconds / kSecondsOfAnHour)
                                           : fmt::format("{} minutes", seconds / kMinute);
}

std::int64_t AcknowledgeOld(store::Connection& connection, const store::TrapSelection& traps) {
  const std::int64_t rows =
      connection.Execute(fmt::format("UPDATE {} SET EventAck = 1 WHERE EventAck = 0 AND {}",
                                     store::kEventTrap, store::NumbersCondition(traps.Numbers)));
  store::NoteChange(connection, store::ChangeKind::Acknowledged, traps, rows);
  return rows;
}

std::int64_t DeleteRows(store::Connection& connection, std::string_view table, std::string_view condition) {
  return connection.Execute(fmt::format("DELETE FROM {} WHERE {}", table, condition));
}

// In two statements, since the log says how many of them nobody had acknowledged.
std::int64_t PurgeOld(store::Connection& connection, const store::TrapSelection& traps) {
  const std::string condition = store::NumbersCondition(traps.Numbers);
  const std::int64_t fresh = DeleteRows(connection, store::kEventTrap, "EventAck = 0 AND " + condition);
  const std::int64_t others = DeleteRows(connection, store::kEventTrap, condition);
  store::NoteChange(connection, store::ChangeKind::Purged, traps, fresh);
  return fresh + others;
}

std::int64_t PurgeLog(store::Connection& connection, const store::TrapSelection& entries) {
  return DeleteRows(connection, store::kChangeLog, store::NumbersCondition(entries.Numbers, "Change_ID"));
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
      options_(options),
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
    Pause(pause, stop);
  }
}

HouseholdWork Housekeeping::Round(const std::stop_token& stop) {
  LookAtClock();
  HouseholdWork work;
  if (purgeAge_ == 0 && ackAge_ == 0) {
    return work;
  }
  if (!connection_.IsOpen()) {
    connection_.Open(dataSource_, {}, {}, kStoreOptions);
    // Nobody did it: the traps are too old.
    store::ChangeAuthor self = connection_.Author();
    self.Operator.clear();
    connection_.WriteAs(std::move(self));
  }
  if (HoldsBack("1 = 1", purgeAge_) || HoldsBack("EventAck = 0", ackAge_)) {
    AskForConfirmation();
  }
  // What is to go need not be acknowledged first.
  if (const auto before = Before(purgeAge_)) {
    work.Purged = ChangeOlder(fmt::format("SELECT SequenceNumber FROM {} WHERE EventTime < {} "
                                          "ORDER BY EventTime, SequenceNumber LIMIT {}",
                                          store::kEventTrap, *before, options_.RowsAtOnce),
                              PurgeOld, stop);
    ChangeOlder(fmt::format("SELECT Change_ID FROM {} WHERE Change_Time < {} ORDER BY Change_ID LIMIT {}",
                            store::kChangeLog, *before, options_.RowsAtOnce),
                PurgeLog, stop);
  }
  if (const auto before = Before(ackAge_)) {
    work.Acknowledged =
        ChangeOlder(fmt::format("SELECT SequenceNumber FROM {} WHERE EventAck = 0 AND EventTime < {} "
                                "ORDER BY EventTime, SequenceNumber LIMIT {}",
                                store::kEventTrap, *before, options_.RowsAtOnce),
                    AcknowledgeOld, stop);
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

// The rows are read first and changed by their numbers: one short statement, which locks only them.
std::int64_t Housekeeping::ChangeOlder(const std::string& select, Change change,
                                       const std::stop_token& stop) {
  std::int64_t changed = 0;
  while (!stop.stop_requested()) {
    std::vector<std::int32_t> numbers;
    for (store::Recordset old = connection_.OpenRecordset(select); old.Next();) {
      numbers.push_back(old.Integer(std::size_t{0}));
    }
    if (numbers.empty()) {
      break;
    }
    const std::int64_t rows = std::ssize(numbers);
    store::Transaction transaction(connection_);
    changed += change(connection_, store::SelectionOf(std::move(numbers)));
    transaction.Commit();
    if (rows < options_.RowsAtOnce) {
      break;
    }
    Pause(options_.Breath, stop);
  }
  return changed;
}

void Housekeeping::Pause(std::chrono::milliseconds time, const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, stop, time, [this] { return confirmed_; });
}

}  // namespace korvane::receiver
