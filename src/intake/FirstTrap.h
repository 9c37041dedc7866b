// What an operator is told who has no trap yet: where the receiver listens, and how a first trap is sent.
#pragma once

#include <string>
#include <string_view>

namespace korvane::intake {

// listenAddresses: the receiver's setting, "udp:PORT", "udp:ADDRESS:PORT", "udp6:PORT" and
// "udp6:[ADDRESS]:PORT" between commas or blanks; where it is empty the receiver has its defaults.
// Several lines of plain text, the last one a command.
std::string HowToSendATrap(std::string_view listenAddresses);

}  // namespace korvane::intake
