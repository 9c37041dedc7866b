// The fixed record of the service library: forty bytes, little-endian, 32-bit fields without padding, texts
// as 32-bit addresses of length-prefixed strings in the ANSI code page.  No platform call takes part, so the
// layout is the same everywhere; the platform lends its string memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "intake/ReceiverLibrary.h"

namespace korvane::intake {

inline constexpr std::size_t kReceivedTrapBytes = 40;

// The memory in which the library leaves its strings.
class StringMemory {
 public:
  virtual ~StringMemory() = default;
  // A string of these bytes; 0 where none could be made.
  virtual std::uint32_t Make(std::string_view bytes) = 0;
  // The bytes that the length prefix in front of the address counts, NULs included.  Never asked for 0.
  virtual std::string Read(std::uint32_t address) = 0;
  virtual void Release(std::uint32_t address) noexcept = 0;
};

using AnsiToUtf8 = std::function<std::string(std::string_view)>;
using Utf8ToAnsi = std::function<std::string(std::string_view)>;

// Windows-1252, the ANSI code page of most installations; its five unassigned bytes become the control
// characters of the same number, as that system converts them.
std::string Windows1252ToUtf8(std::string_view bytes);

// Takes the record over: every string is released once, also when reading one fails (the error is passed on).
// The null address is an empty text.
ReceivedTrap DecodeReceivedTrap(std::span<const std::byte, kReceivedTrapBytes> record, StringMemory& memory,
                                const AnsiToUtf8& toUtf8 = Windows1252ToUtf8);

// What the library is handed before it fills the record: strings of the memory, and an empty text as the null
// address.  The library may put others in their place; DecodeReceivedTrap releases what it left.
void EncodeReceivedTrap(const ReceivedTrap& trap, std::span<std::byte, kReceivedTrapBytes> record,
                        StringMemory& memory, const Utf8ToAnsi& toAnsi);

}  // namespace korvane::intake
