// What Traps and Report windows have in common for the commands that work on either.  User-interface thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/OpenForms.h"

namespace korvane::traps {

class ListTools;

class TrapListWindow : public Form {
 public:
  virtual void ShowTrapDetail() = 0;        // of the selected trap, else of the first
  virtual void ShowWindowParameters() = 0;  // read-only
  virtual void Printable() = 0;             // writes the printed report and opens it
  virtual void Custom_Activate() = 0;
  virtual ListTools& Tools() = 0;
  virtual void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) = 0;
};

}  // namespace korvane::traps
