// Notifications as they travel, made by hand: what no honest sender sends can be made with them too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace korvane::receiver {

// BER, as far as these messages need it.
inline std::string Ber(unsigned char tag, std::string_view content) {
  std::string result(1, static_cast<char>(tag));
  if (content.size() < 128) {
    result += static_cast<char>(content.size());
  } else {
    result += {static_cast<char>(0x83), static_cast<char>(content.size() >> 16),
               static_cast<char>(content.size() >> 8), static_cast<char>(content.size())};
  }
  return result.append(content);
}

// A number of one to four octets.
inline std::string BerNumber(std::uint32_t value) {
  std::string octets;
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (value >> shift != 0 || shift == 0) octets += static_cast<char>(value >> shift);
  }
  return Ber(0x02, (octets[0] & 0x80) != 0 ? '\0' + octets : octets);
}

constexpr unsigned char kTrap2 = 0xA7;
constexpr unsigned char kInform = 0xA6;

// The PDU of a notification 1.3.6.1.4.1.99.0.7 with these bindings behind the two it must have.
inline std::string NotificationPdu(unsigned char type, std::uint32_t requestId, std::string_view bindings) {
  using namespace std::string_literals;
  const std::string upTime = Ber(0x30, Ber(0x06, "\x2B\x06\x01\x02\x01\x01\x03\x00"s) + Ber(0x43, "\x01"));
  const std::string trapOid = Ber(0x30, Ber(0x06, "\x2B\x06\x01\x06\x03\x01\x01\x04\x01\x00"s) +
                                            Ber(0x06, "\x2B\x06\x01\x04\x01\x63\x00\x07"s));
  return Ber(type, BerNumber(requestId) + BerNumber(0) + BerNumber(0) +
                       Ber(0x30, (upTime + trapOid).append(bindings)));
}

inline std::string V2Message(std::string_view pdu) {
  return Ber(0x30, (BerNumber(1) + Ber(0x04, "public")).append(pdu));
}

// A v2c trap with one text.
inline std::string V2Trap(std::string_view text) {
  const std::string binding = Ber(0x30, Ber(0x06, "\x2B\x06\x01\x04\x01\x63\x01") + Ber(0x04, text));
  return V2Message(NotificationPdu(kTrap2, 1, binding));
}

// A v3 message without authentication.
inline std::string V3Message(std::string_view user, std::string_view engineId, std::string_view pdu) {
  using namespace std::string_literals;
  const std::string header = Ber(0x30, BerNumber(1) + BerNumber(65507) + Ber(0x04, "\0"s) + BerNumber(3));
  const std::string security = Ber(0x30, Ber(0x04, engineId) + BerNumber(1) + BerNumber(1) + Ber(0x04, user) +
                                             Ber(0x04, "") + Ber(0x04, ""));
  return Ber(0x30, BerNumber(3) + header + Ber(0x04, security) +
                       Ber(0x30, (Ber(0x04, engineId) + Ber(0x04, "")).append(pdu)));
}

// As many bindings as a packet holds: 1.3 = null, seven octets each.
inline std::string SmallestBindings(std::size_t count) {
  std::string bindings;
  for (; count > 0; --count) bindings += std::string_view("\x30\x05\x06\x01\x2B\x05\x00", 7);
  return bindings;
}

}  // namespace korvane::receiver
