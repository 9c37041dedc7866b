// Where traps go that the trap store refuses: a text file, one line each with the reason, so that nothing is
// lost without a trace and an administrator can read it.  Used from the writer's thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "SpoolRecord.h"

namespace korvane::receiver {

class Quarantine {
 public:
  explicit Quarantine(std::filesystem::path file) : file_(std::move(file)) {}

  // Adds a line and syncs it.  Throws std::system_error; the trap must then stay where it is.
  void Add(const SpooledTrap& trap, std::string_view reason);
  const std::filesystem::path& File() const { return file_; }

 private:
  std::filesystem::path file_;
};

// Without control characters and with quotes and backslashes escaped.
std::string QuarantineLine(const SpooledTrap& trap, std::string_view reason);

}  // namespace korvane::receiver
