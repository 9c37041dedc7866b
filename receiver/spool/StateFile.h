// What the receiver must remember about itself between two runs: who it is towards the trap store and SNMP,
// how often it was started, and how far its clock was vouched for.  Small text files in the spool folder,
// replaced whole and synced.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "receiver/clock/ClockWitness.h"

namespace korvane::receiver {

struct ReceiverState {
  std::string SpoolId;       // names this spool in the trap store; made at random at the first start
  std::string EngineId;      // SNMP engine ID (RFC 3411), raw octets
  std::uint32_t Starts = 0;  // also the engine's boots (RFC 3414), so it must never fall
  bool New = false;          // there was no file, or a damaged one
};

// From the machine's own source.
std::string RandomOctets(std::size_t count);
// Two hexadecimal digits for each octet.
std::string HexDigits(std::string_view octets);
// The octets that these digits stand for; nothing when they are no such digits.
std::optional<std::string> OctetsOf(std::string_view hexDigits);

// Reads the file, or makes a new identity when there is none or it is damaged; counts the start and writes it
// back.  Throws std::system_error when that can't be done: without it traps could be taken for older ones.
ReceiverState CountStart(const std::filesystem::path& folder);

// The file "clock".  Nothing when there is none that can be read: then nothing is vouched for.
std::optional<ClockMemory> ReadClockMemory(const std::filesystem::path& folder);
// Throws std::system_error.
void WriteClockMemory(const std::filesystem::path& folder, const ClockMemory& memory);

}  // namespace korvane::receiver
