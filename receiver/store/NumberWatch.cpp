#include "receiver/store/NumberWatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "receiver/clock/UtcText.h"
#include "store/Recordset.h"
#include "store/Tables.h"
#include "store/TrapNumbers.h"

namespace korvane::receiver {
namespace {

constexpr std::int64_t kOneDay = 86400;
// A batch of the writer.  A server has perhaps given the last numbers to one that it then refused.
constexpr std::int64_t kMostAtOnce = 4000;
constexpr std::int64_t kWarnFrom = store::kLastTrapNumber / 10 * 9;

// How many seconds so many numbers last at the pace of the day before the newest trap; nothing: can't be
// told.
std::optional<std::int64_t> HowLong(store::Connection& connection, std::int64_t newest, std::int64_t left) {
  store::Recordset last = connection.OpenRecordset(
      fmt::format("SELECT EventTime FROM {} WHERE SequenceNumber = {}", store::kEventTrap, newest));
  if (!last.Next()) return std::nullopt;
  const std::int64_t time = last.Integer("EventTime");
  store::Recordset first =
      connection.OpenRecordset(fmt::format("SELECT SequenceNumber, EventTime FROM {} WHERE EventTime >= {} "
                                           "ORDER BY EventTime, SequenceNumber LIMIT 1",
                                           store::kEventTrap, time - kOneDay));
  if (!first.Next()) return std::nullopt;
  const std::int64_t seconds = time - first.Integer("EventTime");
  const std::int64_t used = newest - first.Integer("SequenceNumber");
  if (seconds <= 0 || used <= 0) return std::nullopt;
  return left * seconds / used;
}

}  // namespace

void NumberWatch::Look(store::Connection& connection, std::int64_t now, ServiceLog& log) {
  const std::int64_t newest = store::NewestTrapNumber(connection);
  if (newest < kWarnFrom || (warned_ && now - *warned_ < kOneDay)) return;
  warned_ = now;
  const std::int64_t left = store::kLastTrapNumber - newest;
  if (left < kMostAtOnce) {
    log.Error(fmt::format(
        "the trap store has {} numbers left, fewer than one transaction may take: traps wait in the spool.  "
        "Run korvane-renumber",
        std::max<std::int64_t>(left, 0)));
    return;
  }
  const std::optional<std::int64_t> lasts = HowLong(connection, newest, left);
  log.Warning(fmt::format(
      "the trap store has used {} % of its numbers, {} are left{}.  Run korvane-renumber before they end; "
      "behind the last one traps wait in the spool",
      newest * 100 / store::kLastTrapNumber, left,
      lasts ? fmt::format(": at the pace of the last day they last {}", LengthText(*lasts)) : ""));
}

}  // namespace korvane::receiver
