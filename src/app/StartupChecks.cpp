#include "app/StartupChecks.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "common/Text.h"
#include "mainwnd/FrameCaption.h"

namespace korvane::app {
namespace {

constexpr std::size_t kMostGroups = 501;

}  // namespace

bool IsUserAdministrator(platform::AccountGroups& groups) {
  const std::optional<std::vector<std::string>> names = groups.GroupNames();
  if (!names || names->empty()) {
    return false;
  }
  const std::optional<std::string> administrators = groups.AdministratorsName();
  if (!administrators) {
    return false;
  }
  const auto end = names->begin() + static_cast<std::ptrdiff_t>(std::min(names->size(), kMostGroups));
  return std::find(names->begin(), end, *administrators) != end;
}

bool ActivatePreviousInstance(platform::RunningInstance& instance) {
  return instance.FindTopLevelWindow(mainwnd::kFrameCaption) && instance.BringToForeground() &&
         instance.ShowMaximised();
}

bool AsksForDebugMode(std::string_view commandLine) {
  return ContainsIgnoreCase(commandLine, "Debug");
}

}  // namespace korvane::app
