// Which stored traps the Systems window and the Traps windows load.  Computed once while the Systems window
// loads at start-up, read by every later load; both kinds of window use the same bounds, so counts and rows
// agree.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

#include "intake/OwnAcknowledgements.h"
#include "intake/SequenceSet.h"
#include "intake/StoreAnchor.h"

namespace korvane::intake {

// The program-wide view option.  NotAsked: few enough unacknowledged traps, all are loaded.
enum class ViewOption : int { NotAsked = 0, ShowOnlyNewTraps = 14, LoadRecentTraps = 15 };

struct LoadBounds {
  // Until the Systems window's first load has settled the rest, nothing can be loaded.
  bool Settled = false;
  ViewOption Option = ViewOption::NotAsked;
  std::int32_t StartMark = 0;  // the newest EventTime when the console started
  // The largest SequenceNumber before the first load began: the receiver link delivers all that is stored
  // later, whatever its time.
  std::int32_t StartNumber = std::numeric_limits<std::int32_t>::max();
  std::int32_t StartChange = 0;  // the same of Change_ID: later changes are told by the change log
  StoreAnchor StartState{};      // what the store was like then
  bool StartedOver = false;      // since then it was found in another state, and everything loaded anew
  std::optional<std::int32_t> LowerBound{};  // exclusive; set for LoadRecentTraps
  // Until the intake's first tick: nothing from the start mark on has been delivered before it.
  bool InitialLoad = true;

  // Delivered traps whose time lies at or below the lower bound of later loads: a receiver that catches up
  // stores old times.  With them a reload still finds what a window open from the start has shown.
  SequenceSet LateTraps{};
  std::int32_t OldestLateTime = std::numeric_limits<std::int32_t>::max();

  OwnAcknowledgements Own{};

  // Traps that were logged before the start are not shown, though some are of the same second as the mark.
  bool OnlyNew() const {
    return Option == ViewOption::ShowOnlyNewTraps && !StartedOver &&
           StartNumber != std::numeric_limits<std::int32_t>::max();
  }

  // From which time on the receiver link delivers traps up to StartNumber.  Those of a store that went back
  // behind the start were logged before it, its newest second too.
  std::int32_t DeliveredFrom(std::int32_t intakeMark) const {
    if (OnlyNew()) {
      return std::numeric_limits<std::int32_t>::max();
    }
    return Option == ViewOption::ShowOnlyNewTraps ? std::max(intakeMark, StartMark) : intakeMark;
  }
};

// What one load reads: the bounds of its statement, both exclusive, and the rows of it that count.
struct LoadRange {
  std::int32_t Upper = 0;
  std::optional<std::int32_t> Lower;      // of the statement
  std::optional<std::int32_t> LateBelow;  // rows at or below it count only when they were delivered

  bool Wants(const LoadBounds& bounds, std::int32_t eventTime, std::int32_t sequenceNumber) const {
    const bool logged = bounds.OnlyNew() && sequenceNumber <= bounds.StartNumber;
    const bool late = LateBelow && eventTime <= *LateBelow;
    return (!logged && !late) || bounds.LateTraps.Contains(sequenceNumber);
  }
};

// intakeMark: gLastTrapTime.  The initial load stays strictly below the mark at start-up, where the receiver
// link begins; a later one reaches up to the newest trap that was delivered.
LoadRange RangeOfLoad(const LoadBounds& bounds, std::int32_t intakeMark);

// Call for every delivered trap, filtered or not; calling it twice does no harm.
void NoteDelivered(LoadBounds& bounds, std::int32_t eventTime, std::int32_t sequenceNumber);

}  // namespace korvane::intake
