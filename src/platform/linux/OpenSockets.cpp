#include "platform/OpenSockets.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace korvane::platform {
namespace {

std::optional<std::uint64_t> IdentityOf(int descriptor) {
  struct stat found {};
  if (fstat(descriptor, &found) != 0 || !S_ISSOCK(found.st_mode)) {
    return std::nullopt;
  }
  return found.st_ino;
}

bool IsStill(const OpenSocket& socket) {
  return IdentityOf(socket.Descriptor) == socket.Identity;
}

std::optional<std::string> PeerAddress(int descriptor) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (getpeername(descriptor, generic, &length) != 0) {
    return std::nullopt;
  }
  return std::string(reinterpret_cast<const char*>(&address), length);
}

bool IsStream(int descriptor) {
  int type = 0;
  socklen_t length = sizeof type;
  return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_STREAM;
}

}  // namespace

std::vector<OpenSocket> ConnectedSockets() {
  std::vector<OpenSocket> found;
  std::error_code error;
  std::filesystem::directory_iterator entry("/proc/self/fd", error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    int descriptor = -1;
    std::from_chars(name.data(), name.data() + name.size(), descriptor);
    const auto identity = IdentityOf(descriptor);
    if (identity && IsStream(descriptor) && PeerAddress(descriptor)) {
      found.push_back({.Descriptor = descriptor, .Identity = *identity});
    }
  }
  return found;
}

std::string PeerOf(const OpenSocket& socket) {
  return IsStill(socket) ? PeerAddress(socket.Descriptor).value_or("") : "";
}

std::optional<std::chrono::milliseconds> SilentFor(const OpenSocket& socket) {
  tcp_info info{};
  socklen_t length = sizeof info;
  if (!IsStill(socket) || getsockopt(socket.Descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) != 0) {
    return std::nullopt;
  }
  return std::chrono::milliseconds(info.tcpi_last_data_recv);
}

void BreakOff(const OpenSocket& socket) {
  if (IsStill(socket)) {
    shutdown(socket.Descriptor, SHUT_RDWR);
  }
}

}  // namespace korvane::platform
