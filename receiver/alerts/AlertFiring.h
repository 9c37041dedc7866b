// One time that an alert acts: the alert, the trap that made it act, and what the actions say about both.
// Shared by the lanes that carry the actions out; nobody changes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "receiver/alerts/AlertRules.h"
#include "receiver/spool/SpoolRecord.h"

namespace korvane::receiver {

// Sets of them are sums.
using ActionSet = unsigned;
inline constexpr ActionSet kBeepAction = 1;
inline constexpr ActionSet kMailAction = 2;
inline constexpr ActionSet kMessageAction = 4;
inline constexpr ActionSet kProgramAction = 8;
inline constexpr ActionSet kAllActions = 15;

struct SourceCount {
  std::string Source;
  std::uint64_t Traps = 0;
  bool operator==(const SourceCount&) const = default;
};

// Of the traps that an alert was about and did not act on one by one.
struct AlertSummary {
  std::uint64_t Suppressed = 0;      // all of them; 0: this is no summary
  std::vector<SourceCount> Sources;  // those with the most, most first
  std::uint64_t OtherTraps = 0;      // of sources that are not among them
  bool operator==(const AlertSummary&) const = default;
};

// An operator's wish to see whether an alert reaches anybody.
struct AlertTest {
  std::int32_t Id = 0;  // 0: this is no test
  std::string AskedBy;  // "ann at console1"
};

struct AlertFiring {
  std::shared_ptr<const AlertRule> Rule;
  SpooledTrap Trap;            // the newest one, in a summary; made up, in a test
  std::string TrapName;        // from the trap-name table, else of the generic trap or the notification's OID
  std::string EnterpriseName;  // the OID when the enterprise has no name
  std::int32_t Severity = 0;   // code, see store/Codes.h
  ActionSet Actions = kAllActions;  // which of the alert's are to be carried out
  AlertSummary Summary = {};
  AlertTest Test = {};
};

// What a queue counts for it.  The rule is the runner's.
std::size_t BytesOf(const AlertFiring& firing);

// What an alert asks for.
ActionSet ActionsOf(const AlertRule& rule);

// One line: "Alert 'Line down': linkDown from 10.0.0.1 (Major)".
std::string AlertLine(const AlertFiring& firing);
// Several lines with LF between them, every text of the trap on its own line and visible.
std::string AlertText(const AlertFiring& firing);

}  // namespace korvane::receiver
