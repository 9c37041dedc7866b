// The text forms of IP addresses.  Safe from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace korvane::platform {

struct AddressBytes {
  std::array<std::uint8_t, 16> Bytes{};  // in network order, from the front; zero behind an IPv4 address
  std::size_t Length = 0;                // 4 or 16; 0: the text is no address
};

// What IsAddressText accepts.  The zone of an IPv6 address takes no part.
AddressBytes BytesOfAddress(std::string_view text);

}  // namespace korvane::platform
