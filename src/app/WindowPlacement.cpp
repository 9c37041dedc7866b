#include "app/WindowPlacement.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <string>
#include <string_view>

#include "common/Number.h"

namespace korvane::app {
namespace {

constexpr std::string_view kStateName = "MainWindowState";

struct Length {
  std::string_view Name;
  float WindowPlacement::*Field;
};

constexpr std::array<Length, 4> kLengths = {{{"MainLeft", &WindowPlacement::Left},
                                             {"MainTop", &WindowPlacement::Top},
                                             {"MainWidth", &WindowPlacement::Width},
                                             {"MainHeight", &WindowPlacement::Height}}};

}  // namespace

WindowPlacement RestorePlacement(platform::SettingsStore& settings) {
  WindowPlacement placement;
  for (const Length& length : kLengths) {
    float& field = placement.*length.Field;
    const auto stored = NumberIn<float>(settings.GetSetting(platform::kSettingsSection, length.Name, {}));
    field = stored && std::isfinite(*stored) ? *stored : field;
  }
  placement.State = NumberIn<std::int16_t>(settings.GetSetting(platform::kSettingsSection, kStateName, {}))
                        .value_or(placement.State);
  return placement;
}

void SavePlacement(platform::SettingsStore& settings, const WindowPlacement& placement) {
  if (placement.State == kStateMinimised) {
    return;
  }
  if (placement.State != kStateMaximised) {
    for (const Length& length : kLengths) {
      settings.SaveSetting(platform::kSettingsSection, length.Name,
                           fmt::format("{}", placement.*length.Field));
    }
  }
  settings.SaveSetting(platform::kSettingsSection, kStateName, fmt::to_string(placement.State));
}

}  // namespace korvane::app
