#include "Housekeeping.h"

#include <fmt/format.h>

#include <ctime>
#include <limits>
#include <optional>
#include <utility>

#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Tables.h"

namespace korvane::receiver {
namespace {

constexpr store::ConnectionOptions kOptions = {.ConnectTimeoutSeconds = 10, .CommandTimeoutSeconds = 60};
constexpr std::int64_t kSecondsOfAnHour = 3600;
constexpr std::int64_t kSecondsOfADay = 86400;

// The time before which a trap is too old; nothing when no trap can be.
std::optional<std::int64_t> Before(std::int64_t now, std::int32_t count, std::int64_t seconds) {
  const std::int64_t before = now - count * seconds;
  return count < 1 || before < std::numeric_limits<std::int32_t>::min() ? std::nullopt
                                                                        : std::optional(before);
}

std::string Acknowledge(std::string_view numbers) {
  return fmt::format("UPDATE {} SET EventAck = 1 WHERE EventAck = 0 AND SequenceNumber IN ({})",
                     store::kEventTrap, numbers);
}

std::string Purge(std::string_view numbers) {
  return fmt::format("DELETE FROM {} WHERE SequenceNumber IN ({})", store::kEventTrap, numbers);
}

}  // namespace

Housekeeping::Housekeeping(std::string dataSource, Intervals intervals, ServiceLog& log,
                           HousekeepingOptions options)
    : dataSource_(std::move(dataSource)), intervals_(intervals), log_(log), options_(options) {}

void Housekeeping::Run(const std::stop_token& stop) {
  std::string lastFailure;
  while (!stop.stop_requested()) {
    std::chrono::milliseconds pause = options_.Every;
    try {
      const HouseholdWork work = Round(std::time(nullptr), stop);
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

HouseholdWork Housekeeping::Round(std::int64_t now, const std::stop_token& stop) {
  HouseholdWork work;
  const auto purgeBefore = Before(now, intervals_.PurgeDays, kSecondsOfADay);
  const auto ackBefore = Before(now, intervals_.AckHours, kSecondsOfAnHour);
  if (!purgeBefore && !ackBefore) {
    return work;
  }
  if (!connection_.IsOpen()) {
    connection_.Open(dataSource_, {}, {}, kOptions);
  }
  // What is to go need not be acknowledged first.
  if (purgeBefore) {
    work.Purged = ChangeOlder(fmt::format("SELECT SequenceNumber FROM {} WHERE EventTime < {} "
                                          "ORDER BY EventTime, SequenceNumber LIMIT {}",
                                          store::kEventTrap, *purgeBefore, options_.RowsAtOnce),
                              Purge, stop);
  }
  if (ackBefore) {
    work.Acknowledged =
        ChangeOlder(fmt::format("SELECT SequenceNumber FROM {} WHERE EventAck = 0 AND EventTime < {} "
                                "ORDER BY EventTime, SequenceNumber LIMIT {}",
                                store::kEventTrap, *ackBefore, options_.RowsAtOnce),
                    Acknowledge, stop);
  }
  return work;
}

// The rows are read first and changed by their numbers: one short statement, which locks only them.
std::int64_t Housekeeping::ChangeOlder(const std::string& select, Change change,
                                       const std::stop_token& stop) {
  std::int64_t changed = 0;
  while (!stop.stop_requested()) {
    std::string numbers;
    std::int32_t rows = 0;
    for (store::Recordset old = connection_.OpenRecordset(select); old.Next(); ++rows) {
      fmt::format_to(std::back_inserter(numbers), "{}{}", rows == 0 ? "" : ",", old.Integer(std::size_t{0}));
    }
    if (rows == 0) {
      break;
    }
    store::Transaction transaction(connection_);
    changed += connection_.Execute(change(numbers));
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
  stopped_.wait_for(lock, stop, time, [] { return false; });
}

}  // namespace korvane::receiver
