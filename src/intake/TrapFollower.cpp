#include "intake/TrapFollower.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::intake {

namespace {

constexpr std::int64_t kBelowAllNumbers =
    static_cast<std::int64_t>(std::numeric_limits<std::int32_t>::min()) - 1;
constexpr std::size_t kMissedPerStatement = 500;
// Beside the newest rows, which a store that went back has not, or has other traps under their numbers.
constexpr std::int64_t kAnchorEvery = 64;
constexpr std::string_view kColumns =
    "SequenceNumber, EventTime, Source, EnterpriseOid, GenericTrap, SpecificTrap, EventDescription, "
    "Event_ExtDescr, EventNotes, EventAck";

// The result of an aggregate over the numbers; nothing when there are none.
std::optional<std::int64_t> NumberOf(store::Connection& connection, std::string_view aggregate,
                                     std::string_view condition = {}) {
  store::Recordset rows = connection.OpenRecordset(fmt::format(
      "SELECT {}(SequenceNumber) AS FoundNumber FROM {}{}", aggregate, store::kEventTrap, condition));
  if (!rows.Next() || rows.IsNull("FoundNumber")) {
    return std::nullopt;
  }
  return rows.Integer("FoundNumber");
}

std::string RowsStatement(std::string_view condition) {
  return fmt::format("SELECT {} FROM {} WHERE {} ORDER BY SequenceNumber ASC", kColumns, store::kEventTrap,
                     condition);
}

void Append(TrapFollower::Progress& progress, const store::IncomingTrap& row) {
  progress.Bytes +=
      row.Source.size() + row.EnterpriseOid.size() + row.VarBinds.size() + row.EventNotes.size();
  if (!row.EventNotes.empty()) {
    progress.Notes.insert_or_assign(row.SequenceNumber, row.EventNotes);
  }
  progress.Traps.push_back({.Source = std::string(row.Source),
                            .EnterpriseOid = std::string(row.EnterpriseOid),
                            .SpecificTrap = row.SpecificTrap,
                            .VarBindsFirst = std::string(row.Event_ExtDescr()),
                            .VarBindsSecond = {},
                            .SequenceNumber = row.SequenceNumber,
                            .EventDescription = std::string(row.EventDescription()),
                            .GenericTrap = row.GenericTrap,
                            .EventTime = row.EventTime,
                            .TimeKey = row.EventTime});
}

}  // namespace

TrapFollower::TrapFollower(std::int32_t highWaterMark, TrapFollowerLimits limits, std::int32_t knownNumber,
                           StoreAnchor anchor)
    : highWaterMark_(highWaterMark),
      knownNumber_(knownNumber),
      limits_(limits),
      position_{
          .Span = limits.NumbersPerRead, .Gaps = NumberGaps(limits.Gaps), .LastRead = {}, .NextLook = {}},
      anchor_(std::move(anchor)) {}

TrapFollower::Progress TrapFollower::Read(store::Connection& connection, TimePoint now) {
  const std::uint64_t session = connection.Session();
  highest_ = NumberOf(connection, "MAX").value_or(kBelowAllNumbers);
  if (!position_.Started) {
    Start(connection, now);
  }
  Progress progress;
  Step step;
  step.Last = position_.Last;
  step.Span = position_.Span;
  step.Anchor = anchor_;
  if (now >= position_.NextLook) {
    LookBack(connection, now, step, progress);
  }
  if (!progress.More) {
    ReadNew(connection, step, progress);
  }
  // Made anew in the midst of it, the connection may lead to a server that is behind: looked at before more
  // is read.
  if (connection.Session() != session) {
    throw store::DatabaseError("The connection to the database was made anew while traps were read.", "08007",
                               0, {});
  }
  Commit(std::move(step), now);
  return progress;
}

void TrapFollower::Start(store::Connection& connection, TimePoint now) {
  // The sum keeps every engine from walking the numbers from the lowest on, which may take millions of rows:
  // the index on acknowledgement and time has just those that count.
  std::optional<std::int64_t> oldestNew;
  store::Recordset rows = connection.OpenRecordset(
      fmt::format("SELECT MIN(SequenceNumber + 0) AS FoundNumber FROM {} WHERE EventAck = 0 AND EventTime >= "
                  "{}",
                  store::kEventTrap, highWaterMark_));
  if (rows.Next() && !rows.IsNull("FoundNumber")) {
    oldestNew = rows.Integer("FoundNumber");
  }
  rows.Close();
  const std::int64_t known = std::min(highest_, knownNumber_);
  std::int64_t last = std::max(known - limits_.LookBack, kBelowAllNumbers);
  if (oldestNew) {
    last = std::min(last, *oldestNew - 1);
  }
  // Numbers begin with 1.
  position_.Gaps = GapsBetween(connection, store::kEventTrap, "SequenceNumber",
                               std::max<std::int64_t>(known - limits_.LongestGap + 1, 1), last, limits_.Gaps);
  position_.Started = true;
  position_.LastRead = now;
  position_.Last = last;
  position_.Before = known;
}

void TrapFollower::LookBack(store::Connection& connection, TimePoint now, Step& step,
                            Progress& progress) const {
  step.Look = position_.Gaps.Next(
      position_.Watched + std::min<NumberGaps::Watched>(now - position_.LastRead, limits_.LongestStep));
  const std::vector<std::int32_t> missed = FindMissed(connection, store::kEventTrap, "SequenceNumber",
                                                      position_.Gaps, step.Look.Ranges, progress.Looked);
  std::span<const std::int32_t> left = missed;
  while (!left.empty() && !progress.More) {
    const auto some = left.first(std::min(left.size(), kMissedPerStatement));
    left = left.subspan(some.size());
    // A list: hundreds of ranges are slow to plan.
    store::TrapReader reader(connection,
                             RowsStatement(fmt::format("SequenceNumber IN ({})", fmt::join(some, ", "))));
    store::IncomingTrap row;
    while (!progress.More && reader.Next(row)) {
      step.Closed.push_back(row.SequenceNumber);
      ++progress.Rows;
      if (row.EventAck == 0) {
        Append(progress, row);
      }
      progress.More = progress.Bytes >= limits_.BytesPerRead;
    }
  }
  step.LookedAtAll = !progress.More;
}

void TrapFollower::ReadNew(store::Connection& connection, Step& step, Progress& progress) const {
  if (step.Last >= highest_) {
    return;
  }
  const std::int64_t above = step.Last;
  bool any = above != kBelowAllNumbers && ReadRange(connection, above, step, progress);
  if (!any && (above == kBelowAllNumbers || above + step.Span < highest_)) {
    // The first rows of all, or a long stretch of numbers that were purged or never used: step over it.
    const auto next = NumberOf(connection, "MIN", fmt::format(" WHERE SequenceNumber > {}", above));
    any = next && ReadRange(connection, *next - 1, step, progress);
  }
  progress.More = any && step.Last < highest_;
  // Some drivers hold the whole result.
  const bool goesOn = progress.More && progress.Bytes < limits_.BytesPerRead / 8;
  step.Span = goesOn ? std::min<std::int64_t>(2 * step.Span, limits_.LongestRead) : limits_.NumbersPerRead;
}

bool TrapFollower::ReadRange(store::Connection& connection, std::int64_t above, Step& step,
                             Progress& progress) const {
  const std::int64_t to = std::min(above + step.Span, highest_);
  store::TrapReader reader(
      connection, RowsStatement(fmt::format("SequenceNumber > {} AND SequenceNumber <= {}", above, to)));
  bool any = false;
  progress.Traps.reserve(progress.Traps.size() + static_cast<std::size_t>(to - above));
  store::IncomingTrap row;
  while (progress.Bytes < limits_.BytesPerRead && reader.Next(row)) {
    any = true;
    ++progress.Rows;
    const std::int64_t number = row.SequenceNumber;
    if (number > step.Last + 1) {
      step.Opened.emplace_back(std::max(step.Last + 1, number - limits_.LongestGap), number - 1);
    }
    step.Last = number;
    if (number > to - StoreAnchor::kRows || number % kAnchorEvery == 0) {
      step.Anchor.Note(row);
    }
    const bool known = number <= position_.Before && row.EventTime < highWaterMark_;
    if (!known && row.EventAck == 0) {
      Append(progress, row);
    }
  }
  return any;
}

void TrapFollower::Commit(Step step, TimePoint now) {
  position_.Watched += std::min<NumberGaps::Watched>(now - position_.LastRead, limits_.LongestStep);
  position_.LastRead = now;
  for (const std::int32_t number : step.Closed) {
    position_.Gaps.Close(number);
  }
  if (step.LookedAtAll) {
    position_.Gaps.Looked(step.Look, position_.Watched);
    position_.NextLook = now + limits_.LookEvery;
  }
  for (const auto& [first, last] : step.Opened) {
    position_.Gaps.Open(first, last, position_.Watched);
  }
  position_.Last = step.Last;
  position_.Span = step.Span;
  anchor_ = std::move(step.Anchor);
}

}  // namespace korvane::intake
