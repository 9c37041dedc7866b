// From a notification of any version to the row that is stored, by RFC 3584: the same event gives the same
// row whichever version carried it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "receiver/snmp/Notification.h"
#include "receiver/spool/TrapRow.h"

namespace korvane::receiver {

// EventDescription takes whole bindings up to this many bytes; the others go to Event_ExtDescr.
inline constexpr std::size_t kDescriptionBytes = 255;

// Nothing for an SNMPv2 or v3 notification that names no trap (snmpTrapOID.0 missing or of another type).
//
// Source: the agent address of an SNMPv1 trap or snmpTrapAddress.0, unless it is 0.0.0.0; else the sender's.
// SNMPv2 trap OID (RFC 3584, 3.2): the six of RFC 3418 become generic 0 to 5 with the enterprise of
// snmpTrapEnterprise.0, else snmpTraps; any other becomes generic 6, its last number the specific code (as
// signed 32 bits), what precedes it the enterprise, less a 0 between the two.
// The bindings that these columns are made from, sysUpTime.0 and the community are left out of the list.
std::optional<TrapRow> MapNotification(const Notification& notification);

}  // namespace korvane::receiver
