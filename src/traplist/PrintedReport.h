// The printed report of a list of traps: one text file of a fixed name in the install directory, which is
// then opened in the text editor.  One routine for Traps and Report windows.  User-interface thread.
#pragma once

#include <string_view>

#include "traplist/ShownTraps.h"

namespace korvane::intake {
struct ViewServices;
}

namespace korvane::traplist {

inline constexpr std::string_view kPrintFile = "WindowPrint.txt";

// Shows progress while it writes; what can't be done is said through the prompts.
void PrintTraps(intake::ViewServices& services, std::string_view caption, const ShownTraps& traps);

}  // namespace korvane::traplist
