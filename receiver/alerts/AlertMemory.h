// What alerts must remember from one run of the receiver to the next: how far stored traps have been looked
// at, and what was still to be carried out.  One file of the spool folder, replaced whole, so that after a
// kill both are of one moment: what follows that moment is done again, and nothing is left out.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "receiver/alerts/AlertFiring.h"

namespace korvane::receiver {

struct PendingFiring {
  std::int32_t AlertId = 0;
  ActionSet Actions = 0;
  AlertSummary Summary = {};
  SpooledTrap Trap = {};
};

struct AlertMemory {
  std::uint64_t Looked = 0;  // number of the last trap of the spool that was looked at
  std::vector<PendingFiring> Pending = {};
};

// Nothing when there is no such file, or a damaged one.
std::optional<AlertMemory> ReadAlertMemory(const std::filesystem::path& folder);
// Throws std::system_error.
void WriteAlertMemory(const std::filesystem::path& folder, const AlertMemory& memory);

}  // namespace korvane::receiver
