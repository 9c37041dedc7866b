#include "intake/LoadBounds.h"

#include <algorithm>

namespace korvane::intake {

namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

std::int32_t OneBelow(std::int32_t time) {
  return time == kLowest ? kLowest : time - 1;
}
std::int32_t OneAbove(std::int32_t time) {
  return time == kHighest ? kHighest : time + 1;
}

// Exclusive.  With "Show Only New Traps" the receiver link starts at the mark, so that is where later loads
// start as well.
std::optional<std::int32_t> LowerBoundOfLaterLoads(const LoadBounds& bounds) {
  switch (bounds.Option) {
    case ViewOption::LoadRecentTraps:
      return bounds.LowerBound;
    case ViewOption::ShowOnlyNewTraps:
      return OneBelow(bounds.StartMark);
    case ViewOption::NotAsked:
      break;
  }
  return std::nullopt;
}

}  // namespace

LoadRange RangeOfLoad(const LoadBounds& bounds, std::int32_t intakeMark) {
  LoadRange range;
  if (bounds.InitialLoad) {
    range.Upper = bounds.Option == ViewOption::ShowOnlyNewTraps ? kLowest : bounds.StartMark;
    range.Lower = bounds.Option == ViewOption::LoadRecentTraps ? bounds.LowerBound : std::nullopt;
    return range;
  }
  range.Upper = OneAbove(intakeMark);
  range.Lower = LowerBoundOfLaterLoads(bounds);
  if (range.Lower && !bounds.LateTraps.Empty()) {
    range.LateBelow = range.Lower;
    range.Lower = std::min(*range.Lower, OneBelow(bounds.OldestLateTime));
  }
  return range;
}

void NoteDelivered(LoadBounds& bounds, std::int32_t eventTime, std::int32_t sequenceNumber) {
  const auto lower = LowerBoundOfLaterLoads(bounds);
  if (!lower || eventTime > *lower) {
    return;
  }
  bounds.LateTraps.Insert(sequenceNumber);
  bounds.OldestLateTime = std::min(bounds.OldestLateTime, eventTime);
}

}  // namespace korvane::intake
