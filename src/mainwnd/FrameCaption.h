// The caption of the frame window.  A later start finds the running copy by exactly this text, so it is set
// once and nothing ever appends to it.
#pragma once

#include <string_view>

namespace korvane::mainwnd {

inline constexpr std::string_view kFrameCaption = "Korvane Manager Console ";

}  // namespace korvane::mainwnd
