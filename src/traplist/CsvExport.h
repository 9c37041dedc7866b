// A list of traps as a CSV file for spreadsheets and auditors (RFC 4180, UTF-8).  Trap text that a
// spreadsheet would run as a formula is defused.  User-interface thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/Desk.h"
#include "traplist/ShownTraps.h"

namespace korvane::traplist {

// Asks where to, proposing a name of the caption and today's date, writes with progress, and says what went
// wrong; a file that was there is replaced only by a whole new one.  The path of what was written.
std::optional<std::string> ExportTraps(Desk& desk, std::string_view caption, const ShownTraps& traps);

}  // namespace korvane::traplist
