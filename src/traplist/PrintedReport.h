// The printed report of a list of traps: one text file of a fixed name in the install directory, which is
// then opened in the text editor.  One routine for Traps and Report windows.  User-interface thread.
#pragma once

#include <string>
#include <string_view>

#include "common/Desk.h"
#include "traplist/ShownTraps.h"

namespace korvane::traplist {

inline constexpr std::string_view kPrintFile = "WindowPrint.txt";

class ReportPrinter {
 public:
  ReportPrinter(Desk& desk, platform::Programs& programs, std::string installPath);

  // Shows progress while it writes; what can't be done is said through the prompts.
  void Print(std::string_view caption, const ShownTraps& traps);

 private:
  Desk& desk_;
  platform::Programs& programs_;
  std::string installPath_;
};

}  // namespace korvane::traplist
