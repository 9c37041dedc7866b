// What the listener must know of a message without the SNMP library's parsing it: for which user and engine
// the library has to have keys before it reads the message, and how an inform becomes its own answer.  Pure
// functions on the bytes of one packet; whatever they hold, the result is right or nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvane::receiver {

struct UsmHeader {
  std::string_view EngineId;  // of the message's authoritative engine; octets of the packet
  std::string_view User;
};

// Of an SNMPv3 message of the user-based security model (RFC 3414, 2.4); nothing for any other packet.
std::optional<UsmHeader> ReadUsmHeader(std::string_view packet);

// The response to an inform: the same message with another type of PDU and without an error (RFC
// 3416, 4.2.7). Empty when the packet is no message with a community and an inform.
std::string ResponseTo(std::string_view packet);

}  // namespace korvane::receiver
