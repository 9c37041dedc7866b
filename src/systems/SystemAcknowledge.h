// Acknowledging all traps of one system, asked for by closing its window or in the Systems window's pop-up
// menu.  User-interface thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "intake/ViewServices.h"

namespace korvane::systems {

enum class SystemAcknowledgement { Declined, Done, Refused };

// shownAs: how the question names the system.  beforeTime: the exclusive bound, taken after a Yes.
// One statement per source text of the system, all of them or none; a failure is reported with the database's
// text and leaves everything as it was.  What was done leaves every window through ViewWindows.
SystemAcknowledgement AskAndAcknowledgeSystem(intake::ViewServices& services, intake::ViewWindows& windows,
                                              const intake::System& system, std::string_view shownAs,
                                              const std::function<std::int32_t()>& beforeTime);

}  // namespace korvane::systems
