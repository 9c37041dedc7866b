// What can be said of a list of traps that has no rows.
#pragma once

namespace korvane::traplist {

enum class WhyEmpty {
  NoTraps,      // there are none: none unacknowledged, none in the time range
  NoneEver,     // none has ever come in, as far as the store knows
  NoNewTraps,   // and those that were stored before the start are not asked for
  NotSelected,  // there are traps, but the window selects others
  Hidden,       // filters hide what the window selects
  NotLoaded,
};

}  // namespace korvane::traplist
