// One time that an alert acts: the alert, the trap that made it act, and what the actions say about both.
// Shared by the lanes that carry the actions out; nobody changes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "receiver/alerts/AlertRules.h"
#include "receiver/spool/TrapRow.h"

namespace korvane::receiver {

struct AlertFiring {
  std::shared_ptr<const AlertRule> Rule;
  TrapRow Trap;                // the last one, in a summary
  std::string TrapName;        // from the trap-name table, else of the generic trap or the notification's OID
  std::string EnterpriseName;  // the OID when the enterprise has no name
  std::uint64_t Suppressed = 0;  // above 0: a summary of so many further traps
};

// What a queue counts for it.  The rule is the runner's.
inline std::size_t BytesOf(const AlertFiring& firing) {
  return BytesOf(firing.Trap) + sizeof firing + firing.TrapName.size() + firing.EnterpriseName.size();
}

// One line: "Alert 'Line down': linkDown from 10.0.0.1".
std::string AlertLine(const AlertFiring& firing);
// Several lines with LF between them, every text of the trap on its own line and visible.
std::string AlertText(const AlertFiring& firing);

}  // namespace korvane::receiver
