// The text of SNMP values as it is stored and shown.  Whatever the network sends, the result is valid UTF-8
// without a NUL, so that every database engine takes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "receiver/snmp/Notification.h"

namespace korvane::receiver {

// Dotted, without a leading dot; "0.0" for an empty one, which is how SNMP writes no object.
std::string OidText(const Oid& oid);

// Four or sixteen octets in network order as an address; anything else in hexadecimal form.
std::string AddressText(std::string_view octets);

// "1d 02:03:04.05" for hundredths of a second; the days only when there are any.
std::string TimeTicksText(std::uint64_t hundredths);

// The text itself when it is valid UTF-8 that can be printed (tab and line breaks count as printable, NULs at
// the end are dropped), else "hex " and its octets.
std::string OctetText(std::string_view octets);

std::string ValueText(const Value& value);

// The longest beginning of valid UTF-8 text that ends between characters and takes at most limit bytes.
std::string_view CutBetweenCharacters(std::string_view text, std::size_t limit);

}  // namespace korvane::receiver
