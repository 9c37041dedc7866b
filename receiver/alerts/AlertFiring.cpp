#include "receiver/alerts/AlertFiring.h"

#include <fmt/format.h>

#include "common/Text.h"
#include "receiver/clock/UtcText.h"
#include "store/Codes.h"

namespace korvane::receiver {
namespace {

std::string SummaryText(const AlertSummary& summary) {
  std::string text = fmt::format(
      "\nThis is a summary: {} further traps met this alert since its last message. The one above is the "
      "newest.\n",
      summary.Suppressed);
  for (const SourceCount& count : summary.Sources) {
    text += fmt::format("{} from {}\n", count.Traps, VisibleText(count.Source));
  }
  if (summary.OtherTraps > 0) {
    text += fmt::format("{} from others\n", summary.OtherTraps);
  }
  return text;
}

}  // namespace

std::size_t BytesOf(const AlertFiring& firing) {
  std::size_t bytes = BytesOf(firing.Trap.Row) + sizeof firing + firing.TrapName.size() +
                      firing.EnterpriseName.size() + firing.Test.AskedBy.size();
  for (const SourceCount& count : firing.Summary.Sources) {
    bytes += sizeof count + count.Source.size();
  }
  return bytes;
}

ActionSet ActionsOf(const AlertRule& rule) {
  return (rule.Beep ? kBeepAction : 0U) | (rule.Mail ? kMailAction : 0U) |
         (rule.MessageTo.empty() ? 0U : kMessageAction) | (rule.Program.empty() ? 0U : kProgramAction);
}

std::string AlertLine(const AlertFiring& firing) {
  const std::string name = VisibleText(firing.Rule->Description);
  if (firing.Test.Id != 0) {
    return fmt::format("Test of alert '{}', asked for by {}", name, VisibleText(firing.Test.AskedBy));
  }
  std::string line = fmt::format("Alert '{}': {} from {}", name, VisibleText(firing.TrapName),
                                 VisibleText(firing.Trap.Row.Source));
  // The severity that nobody gave says nothing.
  if (firing.Severity != 0) {
    line += fmt::format(" ({})", store::SeverityName(firing.Severity));
  }
  if (firing.Summary.Suppressed > 0) {
    line += fmt::format(" and {} more traps", firing.Summary.Suppressed);
  }
  return line;
}

std::string AlertText(const AlertFiring& firing) {
  const TrapRow& trap = firing.Trap.Row;
  if (firing.Test.Id != 0) {
    return fmt::format(
        "Alert: {}\n"
        "This is a test, asked for by {} at {}. No trap has arrived.\n",
        VisibleText(firing.Rule->Description), VisibleText(firing.Test.AskedBy), UtcText(trap.EventTime));
  }
  std::string text = fmt::format(
      "Alert: {}\n"
      "Severity: {}\n"
      "Received: {}\n"
      "Source: {}\n"
      "Trap: {}\n"
      "Enterprise: {} ({})\n"
      "Generic: {} ({})\n"
      "Specific: {}\n"
      "Variables: {}\n",
      VisibleText(firing.Rule->Description), store::SeverityName(firing.Severity), UtcText(trap.EventTime),
      VisibleText(trap.Source), VisibleText(firing.TrapName), VisibleText(firing.EnterpriseName),
      VisibleText(trap.EnterpriseOid), store::GenericTrapName(trap.GenericTrap), trap.GenericTrap,
      trap.SpecificTrap, VisibleText(trap.EventDescription + trap.Event_ExtDescr));
  return firing.Summary.Suppressed > 0 ? text + SummaryText(firing.Summary) : text;
}

}  // namespace korvane::receiver
