#include "receiver/alerts/ProgramAction.h"

#include <fmt/format.h>

#include "common/Text.h"
#include "receiver/alerts/ChildRun.h"

namespace korvane::receiver {

// An argument ends at the first NUL, whatever the trap says.
std::vector<std::string> ProgramArguments(const AlertFiring& firing) {
  const TrapRow& trap = firing.Trap.Row;
  std::vector<std::string> arguments = {
      std::string(TrimAtNul(trap.Source)), std::string(TrimAtNul(trap.EnterpriseOid)), std::string(),
      fmt::to_string(trap.GenericTrap), std::string(TrimAtNul(firing.TrapName))};
  if (firing.Test.Id != 0) {
    arguments.emplace_back("test");
  } else if (const AlertSummary& summary = firing.Summary; summary.Suppressed > 0) {
    arguments.emplace_back("summary");
    arguments.push_back(fmt::to_string(summary.Suppressed));
    for (const SourceCount& count : summary.Sources) {
      arguments.push_back(fmt::format("{}={}", count.Traps, TrimAtNul(count.Source)));
    }
    if (summary.OtherTraps > 0) {
      arguments.push_back(fmt::format("{}=", summary.OtherTraps));
    }
  }
  return arguments;
}

std::string ProgramAction::Carry(const AlertFiring& firing, const std::stop_token& stop) {
  return RunChild({.File = firing.Rule->Program, .Arguments = ProgramArguments(firing), .Longest = longest_},
                  stop);
}

}  // namespace korvane::receiver
