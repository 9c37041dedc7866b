// What the compiler takes out of MIB files, and what it says about them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace korvane::mibc {

// One trap as the store keeps it: a row of EventStructure.  All texts are valid UTF-8.
struct Definition {
  std::string EnterpriseOid;     // dotted, without a leading dot
  std::int32_t RequestType = 0;  // the specific code
  std::string SpecificTrap;      // the trap's name
  std::string Name;              // of the enterprise; its OID where no module names it
  std::string TrapDescription;   // paragraphs, one a line; may be empty

  friend bool operator==(const Definition&, const Definition&) = default;
};

// A reason, and where in which file.  Line 0: of the file as a whole.
struct Fault {
  std::filesystem::path File;
  int Line = 0;
  std::string Reason;
};

// "FILE:LINE: reason", or without the line where there is none.
std::string FaultText(const Fault& fault);

struct Module {
  std::string Name;
  std::vector<Definition> Definitions;
};

// What one file holds.  With a fault nothing of it counts.
struct ReadFile {
  std::vector<Module> Modules;
  std::vector<Fault> Faults;
};

}  // namespace korvane::mibc
