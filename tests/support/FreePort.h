// Ports for the servers of a test.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace korvane::test {

// A port of loopback that nobody uses at this moment.
inline std::uint16_t FreePort(int family, int type = SOCK_DGRAM) {
  const int descriptor = socket(family, type, 0);
  sockaddr_in6 v6{};
  v6.sin6_family = AF_INET6;
  v6.sin6_addr = in6addr_loopback;
  sockaddr_in v4{};
  v4.sin_family = AF_INET;
  v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* address = family == AF_INET6 ? reinterpret_cast<sockaddr*>(&v6) : reinterpret_cast<sockaddr*>(&v4);
  socklen_t length = family == AF_INET6 ? sizeof v6 : sizeof v4;
  const bool bound = bind(descriptor, address, length) == 0 && getsockname(descriptor, address, &length) == 0;
  close(descriptor);
  if (!bound) throw std::runtime_error("no free port");
  return ntohs(family == AF_INET6 ? v6.sin6_port : v4.sin_port);
}

}  // namespace korvane::test
