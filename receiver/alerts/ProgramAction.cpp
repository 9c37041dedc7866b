#include "receiver/alerts/ProgramAction.h"

#include <fmt/format.h>

#include "common/Text.h"
#include "receiver/alerts/ChildRun.h"

namespace korvane::receiver {

std::string ProgramAction::Carry(const AlertFiring& firing, const std::stop_token& stop) {
  const TrapRow& trap = firing.Trap;
  // An argument ends at the first NUL, whatever the trap says.
  return RunChild({.File = firing.Rule->Program,
                   .Arguments = {std::string(TrimAtNul(trap.Source)),
                                 std::string(TrimAtNul(trap.EnterpriseOid)), std::string(),
                                 fmt::to_string(trap.GenericTrap), std::string(TrimAtNul(firing.TrapName))},
                   .Longest = longest_},
                  stop);
}

}  // namespace korvane::receiver
