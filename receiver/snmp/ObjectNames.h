// The names of objects of the standard MIBs that accompany traps, so that a description reads
// "ifDescr.3 = eth0" without any MIB file.  An object that is not among them is shown by its OID.
#pragma once

#include <string>

#include "receiver/snmp/Notification.h"

namespace korvane::receiver {

// The name and the rest of the OID, or the dotted OID.
std::string ObjectText(const Oid& name);

}  // namespace korvane::receiver
