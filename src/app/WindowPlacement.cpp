#include "app/WindowPlacement.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <string_view>
#include <system_error>

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

// The whole text must be the number: half a value is no placement.
template <typename Number>
Number NumberOr(const std::string& text, Number otherwise) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? number : otherwise;
}

}  // namespace

WindowPlacement RestorePlacement(platform::SettingsStore& settings) {
  WindowPlacement placement;
  for (const Length& length : kLengths) {
    float& field = placement.*length.Field;
    const float stored = NumberOr(
        settings.GetSetting(platform::kSettingsSection, length.Name, fmt::format("{:.0f}", field)), field);
    field = std::isfinite(stored) ? stored : field;
  }
  placement.State =
      NumberOr(settings.GetSetting(platform::kSettingsSection, kStateName, fmt::to_string(placement.State)),
               placement.State);
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
