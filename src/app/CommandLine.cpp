#include "app/CommandLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "app/StartupChecks.h"
#include "common/Text.h"
#include "common/Version.h"
#include "platform/ApplicationTitle.h"

namespace korvane::app {
namespace {

constexpr std::string_view kUsage =
    "Usage: korvane-console [Debug]\n"
    "Watch, acknowledge and report the SNMP traps in the trap store.\n"
    "\n"
    "  Debug       write KVConsole.Log in the installation directory\n"
    "  --help      show this text and end\n"
    "  --version   show the version and end\n"
    "\n"
    "The options of the Qt toolkit, such as -platform and -style, are taken too.\n";

struct ToolkitOption {
  std::string_view Name;
  bool HasValue;
};

// Those that the toolkit's manual names; it takes them with one dash or two, the value behind "=" or as the
// next argument.
constexpr std::array<ToolkitOption, 14> kToolkitOptions = {{{"platform", true},
                                                            {"platformpluginpath", true},
                                                            {"platformtheme", true},
                                                            {"plugin", true},
                                                            {"qwindowgeometry", true},
                                                            {"qwindowicon", true},
                                                            {"qwindowtitle", true},
                                                            {"session", true},
                                                            {"display", true},
                                                            {"geometry", true},
                                                            {"style", true},
                                                            {"stylesheet", true},
                                                            {"reverse", false},
                                                            {"widgetcount", false}}};

// How many arguments the toolkit's option at the first of these takes; 0: it is none.
std::size_t TakenByToolkit(std::string_view argument) {
  if (!argument.starts_with('-')) {
    return 0;
  }
  argument.remove_prefix(argument.starts_with("--") ? 2 : 1);
  const std::string_view name = argument.substr(0, argument.find('='));
  const auto* option = std::ranges::find(kToolkitOptions, name, &ToolkitOption::Name);
  if (option == kToolkitOptions.end() || (!option->HasValue && name != argument)) {
    return 0;
  }
  return option->HasValue && name == argument ? 2 : 1;
}

}  // namespace

std::optional<ImmediateAnswer> AnswerAtOnce(const std::vector<std::string>& arguments) {
  for (std::size_t i = 0; i < arguments.size();) {
    const std::string& argument = arguments[i];
    if (argument == "--help" || argument == "-h") {
      return ImmediateAnswer{std::string(kUsage), 0};
    }
    if (argument == "--version") {
      return ImmediateAnswer{fmt::format("korvane-console {}\n", ProgramVersion()), 0};
    }
    const std::size_t toolkits = TakenByToolkit(argument);
    if (toolkits == 0 && !AsksForDebugMode(argument)) {
      return ImmediateAnswer{fmt::format("korvane-console does not know '{}'; --help shows what it knows.\n",
                                         VisibleText(argument)),
                             2};
    }
    i += std::max<std::size_t>(toolkits, 1);
  }
  return std::nullopt;
}

}  // namespace korvane::app
