#include "platform/OpenSockets.h"

namespace korvane::platform {

// The system lists the connections of a process but not by which handle it holds them, so that none can be
// broken off.  The limits that the drivers have of their own stand alone here.
std::vector<OpenSocket> ConnectedSockets() {
  return {};
}
std::string PeerOf(const OpenSocket& /*socket*/) {
  return {};
}
std::optional<std::chrono::milliseconds> SilentFor(const OpenSocket& /*socket*/) {
  return std::nullopt;
}
void BreakOff(const OpenSocket& /*socket*/) {}

}  // namespace korvane::platform
