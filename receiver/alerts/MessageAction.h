// Sends a message to a machine: one line to its syslog service (RFC 5424 over UDP, RFC 5426), which every
// system can receive, with the trap's severity as its priority.  The destination is a name or address, with
// ":port" behind it where it is not 514.
#pragma once

#include <string>

#include "receiver/alerts/AlertAction.h"

namespace korvane::receiver {

class MessageAction : public AlertAction {
 public:
  ActionSet Kind() const override { return kMessageAction; }
  std::string_view Name() const override { return "a message"; }
  std::string Carry(const AlertFiring& firing, const std::stop_token& stop) override;
};

struct MachineAddress {
  std::string Host;
  std::string Port;
};
// "host", "host:port", "[address]:port", or an IPv6 address alone.
MachineAddress SplitMachine(std::string_view destination, std::string_view usualPort);

}  // namespace korvane::receiver
