#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>

#include "platform/Addresses.h"
#include "platform/linux/LinuxPlatform.h"

namespace korvane::platform {
namespace {

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

AddressList Resolve(std::string_view text, int flags, int family = AF_UNSPEC) {
  addrinfo hints{};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = flags;
  addrinfo* list = nullptr;
  if (text.empty() || text.find('\0') != std::string_view::npos ||
      getaddrinfo(std::string(text).c_str(), nullptr, &hints, &list) != 0) {
    list = nullptr;
  }
  return {list, &freeaddrinfo};
}

std::optional<std::string> NameInfo(const addrinfo& address, int flags) {
  std::array<char, NI_MAXHOST> name{};
  if (getnameinfo(address.ai_addr, address.ai_addrlen, name.data(), name.size(), nullptr, 0, flags) != 0) {
    return std::nullopt;
  }
  return std::string(name.data());
}

class LinuxHostNames : public HostNames {
 public:
  std::optional<std::string> NameOfAddress(std::string_view address) override {
    const AddressList list = Resolve(address, AI_NUMERICHOST);
    return list ? NameInfo(*list, NI_NAMEREQD) : std::nullopt;
  }

  std::optional<std::string> AddressOfName(std::string_view name) override {
    // Traps carry their agent's IPv4 address where it has one.
    for (const int family : {AF_INET, AF_INET6}) {
      if (const AddressList list = Resolve(name, 0, family)) {
        return NameInfo(*list, NI_NUMERICHOST);
      }
    }
    return std::nullopt;
  }

  std::string DomainOfThisHost() override {
    std::array<char, NI_MAXHOST> name{};
    if (gethostname(name.data(), name.size() - 1) != 0) {
      return {};
    }
    std::string full = name.data();
    if (full.find('.') == std::string::npos) {
      const AddressList list = Resolve(full, AI_CANONNAME);
      if (list && list->ai_canonname != nullptr) {
        full = list->ai_canonname;
      }
    }
    const std::size_t dot = full.find('.');
    return dot == std::string::npos || full.starts_with("localhost.") ? std::string() : full.substr(dot + 1);
  }
};

}  // namespace

AddressBytes BytesOfAddress(std::string_view text) {
  // An IPv6 address may name its zone behind a percent sign (RFC 4007).
  const std::size_t percent = text.find('%');
  const std::string_view address = text.substr(0, percent);
  std::array<char, INET6_ADDRSTRLEN> terminated{};
  AddressBytes bytes;
  if (address.empty() || address.size() >= terminated.size() ||
      address.find('\0') != std::string_view::npos || percent == text.size() - 1) {
    return bytes;
  }
  address.copy(terminated.data(), address.size());
  if (address.find(':') != std::string_view::npos) {
    bytes.Length = inet_pton(AF_INET6, terminated.data(), bytes.Bytes.data()) == 1 ? sizeof(in6_addr) : 0;
  } else if (percent == std::string_view::npos) {
    bytes.Length = inet_pton(AF_INET, terminated.data(), bytes.Bytes.data()) == 1 ? sizeof(in_addr) : 0;
  }
  return bytes;
}

bool IsAddressText(std::string_view text) {
  return text.find('\0') == std::string_view::npos && BytesOfAddress(text).Length != 0;
}

std::unique_ptr<HostNames> MakeHostNames() {
  return std::make_unique<LinuxHostNames>();
}

}  // namespace korvane::platform
