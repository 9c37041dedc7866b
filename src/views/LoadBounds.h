// Which stored traps the Systems window and the Traps windows load.  Computed once while the Systems window
// loads at start-up, read by every later load; both kinds of window use the same bounds, so counts and rows
// agree.
#pragma once

#include <cstdint>
#include <optional>

namespace korvane::views {

// The program-wide view option.  NotAsked: few enough unacknowledged traps, all are loaded.
enum class ViewOption : int { NotAsked = 0, ShowOnlyNewTraps = 14, LoadRecentTraps = 15 };

struct LoadBounds {
  ViewOption Option = ViewOption::NotAsked;
  std::int32_t StartMark = 0;              // the newest EventTime when the console started
  std::optional<std::int32_t> LowerBound;  // exclusive; set for LoadRecentTraps
  bool InitialLoad = true;                 // until the receiver link has been started
};

}  // namespace korvane::views
