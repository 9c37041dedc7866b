// One trap as bytes of a spool file: a mark, the length of the content, a CRC-32 over number and content, the
// trap's number, the content.  Every record can be found and checked by itself, so one damaged record costs
// one trap and a file that ends in the middle of a record loses nothing before it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "receiver/spool/TrapRow.h"

namespace korvane::receiver {

struct SpooledTrap {
  std::uint64_t Number = 0;  // ascending in order of reception, never used twice
  TrapRow Row;
};

void AppendRecord(std::string& bytes, std::uint64_t number, const TrapRow& row);

enum class RecordRead {
  Found,
  Damaged,    // a record could not be read; the position stands where another one may begin
  Incomplete  // what is left is no whole record: more bytes are needed, or the file ends here
};

// Reads the record at the position and moves behind it.  Damaged moves the position to the next mark.
// Incomplete leaves it, unless nothing that is left can be part of a record.
RecordRead ReadRecord(std::string_view bytes, std::size_t& position, SpooledTrap& trap);

// Longer records are never written, so a longer length is damage.
inline constexpr std::size_t kMaxRecordContent = std::size_t{16} << 20;

}  // namespace korvane::receiver
