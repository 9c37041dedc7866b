// One trap as it is stored: what the receiver knows of a row of EventTrap.  The database numbers the row, and
// notes and acknowledgement start empty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace korvane::receiver {

struct TrapRow {
  std::int32_t EventTime = 0;  // when it was received, seconds since 1970-01-01 00:00:00 UTC
  std::string Source;          // address of the sending system
  std::string EnterpriseOid;   // dotted, without a leading dot
  std::int32_t GenericTrap = 6;
  std::int32_t SpecificTrap = 0;
  // The list of variable bindings; the second continues the first without anything between them.
  std::string EventDescription;
  std::string Event_ExtDescr;
  // Not a column: the same for copies of one inform and for nothing else; 0 for a trap.
  std::uint64_t InformKey = 0;

  bool operator==(const TrapRow&) const = default;
};

// What a queue counts for it: a little more than the memory it takes.
inline std::size_t BytesOf(const TrapRow& row) {
  return sizeof row + 64 + row.Source.size() + row.EnterpriseOid.size() + row.EventDescription.size() +
         row.Event_ExtDescr.size();
}

}  // namespace korvane::receiver
