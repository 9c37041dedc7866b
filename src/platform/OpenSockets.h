// The connections that a library of somebody else's holds open inside this process: found by what appears
// while the library connects, watched for silence, and broken off where the library waits for ever and knows
// no limit of its own.  linux/ implements it; windows/ knows of none.
// Safe from any thread; never throws.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace korvane::platform {

struct OpenSocket {
  int Descriptor = -1;
  std::uint64_t Identity = 0;  // tells it from a later one with the same descriptor

  friend bool operator==(const OpenSocket&, const OpenSocket&) = default;
};

// The connected stream sockets of this process.
std::vector<OpenSocket> ConnectedSockets();
// With whom it is connected, in a form fit for comparing only; empty when it is not there any more.
std::string PeerOf(const OpenSocket& socket);
// Since the other side sent anything; nothing where the system does not say.
std::optional<std::chrono::milliseconds> SilentFor(const OpenSocket& socket);
// Ends it in both directions: whoever waits for it fails at once, and closes it.  Nothing when it is not
// there any more.
void BreakOff(const OpenSocket& socket);

}  // namespace korvane::platform
