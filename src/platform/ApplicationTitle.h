// The name under which message boxes, per-user settings and the running copy are known.  The frame window's
// caption is this and one blank.
#pragma once

#include <string_view>

namespace korvane::platform {

inline constexpr std::string_view kApplicationTitle = "Korvane Manager Console";

}  // namespace korvane::platform
