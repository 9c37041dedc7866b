// Where the frame window stood when the console was last closed, kept in the per-user settings.
// Lengths are twips (1/1440 inch), 15 to a logical pixel.
#pragma once

#include <cstdint>

#include "platform/Platform.h"

namespace korvane::app {

inline constexpr float kTwipsPerPixel = 15.0F;

inline constexpr std::int16_t kStateNormal = 0;
inline constexpr std::int16_t kStateMinimised = 1;
inline constexpr std::int16_t kStateMaximised = 2;

struct WindowPlacement {
  float Left = 1000;
  float Top = 1000;
  float Width = 6500;
  float Height = 6500;
  std::int16_t State = kStateMaximised;
  bool operator==(const WindowPlacement&) const = default;
};

// A value that is missing or no number keeps its default.
WindowPlacement RestorePlacement(platform::SettingsStore& settings);

// A minimised window saves nothing, so that the next start restores what the operator last saw; a maximised
// one saves only its state, so that un-maximising gets the old size back.
void SavePlacement(platform::SettingsStore& settings, const WindowPlacement& placement);

}  // namespace korvane::app
