#include "receiver/alerts/AlertFiring.h"

#include <fmt/format.h>

#include "common/Text.h"
#include "receiver/clock/UtcText.h"
#include "store/Codes.h"

namespace korvane::receiver {

std::string AlertLine(const AlertFiring& firing) {
  std::string line = fmt::format("Alert '{}': {} from {}", VisibleText(firing.Rule->Description),
                                 VisibleText(firing.TrapName), VisibleText(firing.Trap.Source));
  if (firing.Suppressed > 0) {
    line += fmt::format(" and {} more traps", firing.Suppressed);
  }
  return line;
}

std::string AlertText(const AlertFiring& firing) {
  const TrapRow& trap = firing.Trap;
  std::string text = fmt::format(
      "Alert: {}\n"
      "Received: {}\n"
      "Source: {}\n"
      "Trap: {}\n"
      "Enterprise: {} ({})\n"
      "Generic: {} ({})\n"
      "Specific: {}\n"
      "Variables: {}\n",
      VisibleText(firing.Rule->Description), UtcText(trap.EventTime), VisibleText(trap.Source),
      VisibleText(firing.TrapName), VisibleText(firing.EnterpriseName), VisibleText(trap.EnterpriseOid),
      store::GenericTrapName(trap.GenericTrap), trap.GenericTrap, trap.SpecificTrap,
      VisibleText(trap.EventDescription + trap.Event_ExtDescr));
  if (firing.Suppressed > 0) {
    text += fmt::format(
        "\nThis is a summary: {} further traps met this alert since its last message. The one above is the "
        "newest.\n",
        firing.Suppressed);
  }
  return text;
}

}  // namespace korvane::receiver
