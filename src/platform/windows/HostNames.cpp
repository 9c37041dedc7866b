#include "platform/windows/SystemHeaders.h"
// the address calls need what stands above
#include <ws2tcpip.h>

#include <array>
#include <memory>

#include "platform/Addresses.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

constexpr WORD kNewestSockets = MAKEWORD(2, 2);

using AddressList = std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)>;

AddressList Resolve(std::string_view text, int flags, int family = AF_UNSPEC) {
  ADDRINFOW hints{};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = flags;
  ADDRINFOW* list = nullptr;
  const std::optional<std::wstring> wide = WideWithoutNul(text);
  if (text.empty() || !wide || GetAddrInfoW(wide->c_str(), nullptr, &hints, &list) != 0) {
    list = nullptr;
  }
  return {list, &FreeAddrInfoW};
}

std::optional<std::string> NameInfo(const ADDRINFOW& address, int flags) {
  std::array<wchar_t, NI_MAXHOST> name{};
  if (GetNameInfoW(address.ai_addr, static_cast<socklen_t>(address.ai_addrlen), name.data(),
                   static_cast<DWORD>(name.size()), nullptr, 0, flags) != 0) {
    return std::nullopt;
  }
  return Narrow(name.data());
}

// Its own start of the sockets: it works on threads that outlive the console's, and needs the newer calls,
// while the console asks for the oldest version.
class WindowsHostNames : public HostNames {
 public:
  WindowsHostNames() : started_(WSAStartup(kNewestSockets, &data_) == 0) {}
  ~WindowsHostNames() override {
    if (started_) {
      WSACleanup();
    }
  }
  WindowsHostNames(const WindowsHostNames&) = delete;
  WindowsHostNames& operator=(const WindowsHostNames&) = delete;

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
    std::array<wchar_t, NI_MAXHOST> domain{};
    auto units = static_cast<DWORD>(domain.size());
    return GetComputerNameExW(ComputerNameDnsDomain, domain.data(), &units) == 0 ? "" : Narrow(domain.data());
  }

 private:
  WSADATA data_{};
  bool started_;
};

}  // namespace

AddressBytes BytesOfAddress(std::string_view text) {
  // An IPv6 address may name its zone behind a percent sign (RFC 4007).
  const std::size_t percent = text.find('%');
  const std::optional<std::wstring> address = WideWithoutNul(text.substr(0, percent));
  AddressBytes bytes;
  if (!address || address->empty() || percent == text.size() - 1) {
    return bytes;
  }
  if (address->find(L':') != std::wstring::npos) {
    bytes.Length = InetPtonW(AF_INET6, address->c_str(), bytes.Bytes.data()) == 1 ? sizeof(in6_addr) : 0;
  } else if (percent == std::string_view::npos) {
    bytes.Length = InetPtonW(AF_INET, address->c_str(), bytes.Bytes.data()) == 1 ? sizeof(in_addr) : 0;
  }
  return bytes;
}

bool IsAddressText(std::string_view text) {
  return text.find('\0') == std::string_view::npos && BytesOfAddress(text).Length != 0;
}

std::unique_ptr<HostNames> MakeHostNames() {
  return std::make_unique<WindowsHostNames>();
}

}  // namespace korvane::platform
