// A packet as it came from the network, with what only its reception tells.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string_view>

namespace korvane::receiver {

union SocketAddress {
  sockaddr Any;
  sockaddr_in V4;
  sockaddr_in6 V6;
};

struct PacketHead {
  std::int64_t ReceivedAt = 0;   // by the kernel, nanoseconds since 1970-01-01 00:00:00 UTC
  SocketAddress From{.V6 = {}};  // the whole of it is filled, so that equal senders are equal bytes
  in_addr To{};                  // over IPv4: which of our addresses it was sent to, to be answered from
  std::int32_t Interface = 0;    // over IPv4: the index of the one it came through
  std::uint32_t Socket = 0;      // which of those captured from, in the order they were added
};

struct CapturedPacket {
  PacketHead Head;
  std::string_view Bytes;
};

}  // namespace korvane::receiver
