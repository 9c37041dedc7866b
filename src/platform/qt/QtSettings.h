// Per-user settings over QSettings, kept under the application's title with the section as group.
// A value is on disk when SaveSetting returns.
#pragma once

#include <string>
#include <string_view>

#include "platform/Platform.h"

namespace korvane::platform {

class QtSettings : public SettingsStore {
 public:
  std::string GetSetting(std::string_view section, std::string_view name,
                         std::string_view defaultText) override;
  void SaveSetting(std::string_view section, std::string_view name, std::string_view text) override;
};

}  // namespace korvane::platform
