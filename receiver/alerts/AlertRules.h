// The alerts as the receiver knows them: which traps each is about, and what is to be done.  Read from the
// tables that the console's Alerts window writes.  Values; no threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/Text.h"
#include "receiver/spool/TrapRow.h"
#include "store/Connection.h"

namespace korvane::receiver {

struct AlertBeep {
  std::int32_t Count = 0;
  std::int32_t Duration = 0;   // seconds of each beep
  std::int32_t Delay = 0;      // seconds between two
  std::int32_t Frequency = 0;  // hertz
};

struct AlertMail {
  std::string Server;  // host or host:port
  std::string To;      // one address, or several separated by commas or semicolons
  std::string From;
  std::string Subject;
};

struct AlertRule {
  std::int32_t Id = 0;
  std::string Description;
  bool Off = false;  // switched off: it is about no trap, and can still be tried

  std::string Source;                                  // empty: any
  std::string EnterpriseOid;                           // empty: any
  std::int32_t GenericTrap = -1;                       // -1: any
  std::int32_t SpecificTrap = 0;                       // 0: any
  CaseInsensitiveNeedle VarBinds{std::string_view{}};  // empty: any

  std::optional<AlertBeep> Beep;
  std::optional<AlertMail> Mail;
  std::string MessageTo;  // machine; empty: no message
  std::string Program;    // empty: none

  bool HasActions() const { return Beep || Mail || !MessageTo.empty() || !Program.empty(); }
};

// The alerts that have something to do, by their keys.  An alert whose criteria or action row is gone is left
// out, or does without that action, and is named among the problems.  Throws DatabaseError.
std::vector<AlertRule> ReadAlertRules(store::Connection& connection, std::vector<std::string>& problems);

bool AlertMatches(const AlertRule& rule, const TrapRow& trap);

}  // namespace korvane::receiver
