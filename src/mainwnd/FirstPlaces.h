// Where the first two child windows, Systems and All Traps, stand in the frame: as edges in ten-thousandths
// of the area, so that they fit a frame of any size and windows that touched still touch.  Kept as text in
// the per-user settings.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace korvane::mainwnd {

inline constexpr int kWholeArea = 10000;

struct Place {
  int Left = 0;
  int Top = 0;
  int Right = kWholeArea;  // exclusive, as Bottom is
  int Bottom = kWholeArea;
  bool operator==(const Place&) const = default;
};

using FirstPlaces = std::array<Place, 2>;

// Systems above All Traps, filling the area.
inline constexpr FirstPlaces kFreshPlaces = {{{.Bottom = 3800}, {.Top = 3800}}};

std::string ToText(const FirstPlaces& places);

// Nothing when the text is none of ours, or a window would be too small or too far out to be found again.
std::optional<FirstPlaces> PlacesFromText(std::string_view text);

}  // namespace korvane::mainwnd
