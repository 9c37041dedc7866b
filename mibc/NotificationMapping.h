// From what a module says of a notification to what its traps look like in the store.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace korvane::mibc {

struct MappedOid {
  std::size_t EnterpriseLength = 0;  // leading numbers of the OID that name the enterprise
  std::int32_t SpecificTrap = 0;
};

// Enterprise and specific code of a notification by RFC 3584, section 3.2: the same rule by which the
// receiver maps what arrives.  A code above the 32-bit range becomes the negative number of the same bits, as
// it does there.
MappedOid MapNotificationOid(std::span<const unsigned> oid);

// The traps that SMIv1 numbers 0 to 5 under "snmp" are the notifications 1 to 6 below snmpTraps (RFC 3584,
// section 3.1), and are stored as these.
bool IsGenericTrap(std::span<const unsigned> oid);
inline constexpr std::string_view kStandardTrapsOid = "1.3.6.1.6.3.1.1.5";
inline constexpr std::string_view kStandardTrapsName = "snmpTraps";

std::string DottedOid(std::span<const unsigned> oid);

// The text of a DESCRIPTION for people: indentation and line ends of the module's source are gone, each
// paragraph and each item of a list is one line, control characters are blanks.  Bytes that are no UTF-8 make
// the whole text Latin-1, which old modules are written in.
std::string DescriptionText(std::string_view source);

}  // namespace korvane::mibc
