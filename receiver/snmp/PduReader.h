// From net-snmp's PDU to a Notification: the only place that knows both.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "receiver/capture/CapturedPacket.h"

struct snmp_pdu;

namespace korvane::receiver {

struct Notification;

// Nothing for a PDU that is no trap and no inform.  The caller fills ReceivedSeconds and PeerAddress.
std::optional<Notification> ReadPdu(const snmp_pdu& pdu);

struct Peer {
  std::string Address;  // text; an IPv4 address mapped into IPv6 as the IPv4 one
  std::uint16_t Port = 0;
};

// Who sent a packet over UDP; empty for another kind of address.
Peer PeerOf(const SocketAddress& sender);

}  // namespace korvane::receiver
