#include "intake/TrapFollower.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "store/Recordset.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::intake {

namespace {

constexpr std::int64_t kBelowAllNumbers =
    static_cast<std::int64_t>(std::numeric_limits<std::int32_t>::min()) - 1;
constexpr std::size_t kGapsPerStatement = 64;
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

TrapFollower::TrapFollower(std::int32_t highWaterMark, TrapFollowerLimits limits, std::int32_t knownNumber)
    : highWaterMark_(highWaterMark), knownNumber_(knownNumber), limits_(limits) {}

TrapFollower::Progress TrapFollower::Read(store::Connection& connection, TimePoint now) {
  const std::int64_t highest = NumberOf(connection, "MAX").value_or(kBelowAllNumbers);
  if (!position_.Started) {
    Start(connection, highest, now);
  }
  Position position = position_;
  position.Watched += std::min<Duration>(now - position.LastRead, limits_.LongestStep);
  position.LastRead = now;
  if (highest < position.Last) {
    // The newest rows are gone: removed, or another state of the store was put in its place.  Everything is
    // looked through again, and what was there before is told by its number and time.
    position.Before = {position.Last, position.LastTime};
    position.Last = kBelowAllNumbers;
    position.Gaps.clear();
  }
  Progress progress;
  ReadGaps(connection, position, progress);
  if (!progress.More) {
    ReadNew(connection, highest, position, progress);
  }
  if (position.Gaps.size() > limits_.MostGaps) {
    position.Gaps.erase(position.Gaps.begin(),
                        position.Gaps.end() - static_cast<std::ptrdiff_t>(limits_.MostGaps));
  }
  position_ = std::move(position);
  return progress;
}

void TrapFollower::Start(store::Connection& connection, std::int64_t highest, TimePoint now) {
  const std::optional<std::int64_t> oldestNew =
      NumberOf(connection, "MIN", fmt::format(" WHERE EventTime >= {} AND EventAck = 0", highWaterMark_));
  Position position;
  position.Started = true;
  position.LastRead = now;
  const std::int64_t known = std::min(highest, knownNumber_);
  position.Last = std::max(known - limits_.LookBack, kBelowAllNumbers);
  if (oldestNew) {
    position.Last = std::min(position.Last, *oldestNew - 1);
  }
  position.Before = {known, static_cast<std::int64_t>(highWaterMark_) - 1};
  position_ = std::move(position);
}

void TrapFollower::ReadGaps(store::Connection& connection, Position& position, Progress& progress) const {
  std::vector<Gap> left;
  std::span<const Gap> gaps = position.Gaps;
  while (!gaps.empty() && !progress.More) {
    gaps = gaps.subspan(
        ReadSomeGaps(connection, gaps.first(std::min(gaps.size(), kGapsPerStatement)), left, progress));
  }
  left.insert(left.end(), gaps.begin(), gaps.end());
  // Only what was just looked for in vain may be given up.
  std::erase_if(left, [&](const Gap& gap) {
    return gap.First > gap.Last || (!progress.More && position.Watched - gap.Noticed >= limits_.GapLife);
  });
  position.Gaps = std::move(left);
}

std::size_t TrapFollower::ReadSomeGaps(store::Connection& connection, std::span<const Gap> gaps,
                                       std::vector<Gap>& left, Progress& progress) const {
  std::string condition;
  for (const Gap& gap : gaps) {
    condition += fmt::format("{}(SequenceNumber >= {} AND SequenceNumber <= {})",
                             condition.empty() ? "" : " OR ", gap.First, gap.Last);
  }
  store::TrapReader reader(connection, RowsStatement(condition));
  std::size_t at = 0;
  Gap open = gaps[at];  // what is left of the gap that the rows have reached
  store::IncomingTrap row;
  while (reader.Next(row)) {
    while (open.Last < row.SequenceNumber && at + 1 < gaps.size()) {
      left.push_back(open);
      open = gaps[++at];
    }
    left.push_back({open.First, row.SequenceNumber - 1, open.Noticed});
    open.First = row.SequenceNumber + 1;
    ++progress.Rows;
    if (row.EventAck == 0) {
      Append(progress, row);
    }
    if (progress.Bytes >= limits_.BytesPerRead) {
      progress.More = true;
      break;
    }
  }
  left.push_back(open);
  if (progress.More) {
    return at + 1;
  }
  left.insert(left.end(), gaps.begin() + static_cast<std::ptrdiff_t>(at) + 1, gaps.end());
  return gaps.size();
}

void TrapFollower::ReadNew(store::Connection& connection, std::int64_t highest, Position& position,
                           Progress& progress) const {
  if (position.Last >= highest) {
    return;
  }
  const std::int64_t above = position.Last;
  bool any = above != kBelowAllNumbers && ReadRange(connection, above, highest, position, progress);
  if (!any && (above == kBelowAllNumbers || above + limits_.NumbersPerRead < highest)) {
    // The first rows of all, or a long stretch of numbers that were purged or never used: step over it.
    const auto next = NumberOf(connection, "MIN", fmt::format(" WHERE SequenceNumber > {}", above));
    any = next && ReadRange(connection, *next - 1, highest, position, progress);
  }
  progress.More = any && position.Last < highest;
}

bool TrapFollower::ReadRange(store::Connection& connection, std::int64_t above, std::int64_t highest,
                             Position& position, Progress& progress) const {
  const std::int64_t to = std::min(above + limits_.NumbersPerRead, highest);
  store::TrapReader reader(
      connection, RowsStatement(fmt::format("SequenceNumber > {} AND SequenceNumber <= {}", above, to)));
  bool any = false;
  store::IncomingTrap row;
  while (progress.Bytes < limits_.BytesPerRead && reader.Next(row)) {
    any = true;
    ++progress.Rows;
    const std::int64_t number = row.SequenceNumber;
    if (number > position.Last + 1) {
      position.Gaps.push_back(
          {std::max(position.Last + 1, number - limits_.LookBack), number - 1, position.Watched});
    }
    position.Last = number;
    position.LastTime = row.EventTime;
    const bool known = number <= position.Before.Number && row.EventTime <= position.Before.Time;
    if (!known && row.EventAck == 0) {
      Append(progress, row);
    }
  }
  return any;
}

}  // namespace korvane::intake
