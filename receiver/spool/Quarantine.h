// Where traps go that the trap store refuses: a text file, one line each with the reason, so that nothing is
// lost without a trace and an administrator can read it.  Bounded in bytes, since senders may know how to
// make such traps; a full file takes more once it was moved away.  Used from the writer's thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "receiver/spool/SpoolRecord.h"

namespace korvane::receiver {

class Quarantine {
 public:
  explicit Quarantine(std::filesystem::path file, std::uint64_t mostBytes = std::uint64_t{64} << 20)
      : file_(std::move(file)), mostBytes_(mostBytes) {}

  // Adds a line and syncs it; false when there is no room.  Throws std::system_error; the trap must then stay
  // where it is.
  bool Add(const SpooledTrap& trap, std::string_view reason);
  // Takes the line of the last Add back, as far as that is possible.
  void TakeBack() noexcept;
  const std::filesystem::path& File() const { return file_; }

 private:
  std::filesystem::path file_;
  std::uint64_t mostBytes_;
  std::uint64_t start_ = 0;  // of the last line
  std::uint64_t end_ = 0;
};

// Without control characters and with quotes and backslashes escaped.
std::string QuarantineLine(const SpooledTrap& trap, std::string_view reason);

}  // namespace korvane::receiver
