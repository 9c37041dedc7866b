#include "receiver/alerts/MessageAction.h"

#include <fmt/format.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <system_error>

#include "platform/linux/FileDescriptor.h"
#include "receiver/clock/UtcText.h"

namespace korvane::receiver {
namespace {

constexpr std::string_view kSyslogPort = "514";
constexpr int kLocal0 = 16 * 8;
// What every receiver must take (RFC 5424, section 6.1).
constexpr std::size_t kMostBytes = 2048;

// The severities of alarms as RFC 5674, section 2, maps them.  A trap that nobody graded is a warning:
// somebody wanted to hear of it.
int SyslogSeverity(std::int32_t severity) {
  constexpr std::array<int, 6> kSeverities = {4, 3, 6, 2, 4, 1};  // Clear, Minor, Information, Major, ...
  const auto code = static_cast<std::size_t>(severity);
  return kSeverities[code < kSeverities.size() ? code : 0];
}

std::string SyslogLine(const AlertFiring& firing) {
  std::array<char, 256> host{"-"};
  gethostname(host.data(), host.size() - 1);
  std::string text = AlertText(firing);
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::string line = fmt::format("<{}>1 {} {} kvreceiver {} alert - \xEF\xBB\xBF{} {}",
                                 kLocal0 + SyslogSeverity(firing.Severity), Rfc3339Text(std::time(nullptr)),
                                 host[0] == '\0' ? "-" : host.data(), getpid(), AlertLine(firing), text);
  if (line.size() > kMostBytes) {
    std::size_t end = kMostBytes;
    while ((static_cast<unsigned char>(line[end]) & 0xC0U) == 0x80U) {
      --end;
    }
    line.resize(end);
  }
  return line;
}

}  // namespace

MachineAddress SplitMachine(std::string_view destination, std::string_view usualPort) {
  const auto from = destination.find_first_not_of(" \t");
  if (from == std::string_view::npos) {
    return {};
  }
  destination = destination.substr(from, destination.find_last_not_of(" \t") + 1 - from);
  if (destination.front() == '[') {
    const std::size_t end = destination.find(']');
    if (end != std::string_view::npos) {
      const std::string_view rest = destination.substr(end + 1);
      return {.Host = std::string(destination.substr(1, end - 1)),
              .Port = std::string(rest.size() > 1 && rest.front() == ':' ? rest.substr(1) : usualPort)};
    }
  }
  const std::size_t colon = destination.find(':');
  if (colon == std::string_view::npos || destination.find(':', colon + 1) != std::string_view::npos) {
    return {.Host = std::string(destination), .Port = std::string(usualPort)};
  }
  return {.Host = std::string(destination.substr(0, colon)),
          .Port = std::string(destination.substr(colon + 1))};
}

std::string MessageAction::Carry(const AlertFiring& firing, const std::stop_token&) {
  const MachineAddress machine = SplitMachine(firing.Rule->MessageTo, kSyslogPort);
  addrinfo hints{};
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(machine.Host.c_str(), machine.Port.c_str(), &hints, &found); error != 0) {
    return fmt::format("'{}': {}", firing.Rule->MessageTo, gai_strerror(error));
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
  const std::string line = SyslogLine(firing);
  std::string failure;
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    const platform::FileDescriptor sending(
        socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol));
    if (sendto(sending.Number(), line.data(), line.size(), MSG_NOSIGNAL, address->ai_addr,
               address->ai_addrlen) >= 0) {
      return {};
    }
    failure = fmt::format("'{}': {}", firing.Rule->MessageTo, std::generic_category().message(errno));
  }
  return failure;
}

}  // namespace korvane::receiver
