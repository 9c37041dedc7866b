// Child processes and waiting for them, a full disk, free ports.
#pragma once

#include <arpa/inet.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "support/Files.h"

namespace korvane::test {

// Starts the work in a child process, which ends with status 0 when it answers true.
inline pid_t InChild(const std::function<bool()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    [&]() noexcept { _exit(work() ? 0 : 1); }();
  }
  return child;
}

inline bool EndedWell(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// What the work answers when a user without any rights of its own does it.  The tests may run as the
// superuser, whom no file mode stops.
inline bool AsUnprivilegedUser(const std::function<bool()>& work, uid_t user = 65534, gid_t group = 65534) {
  return EndedWell(InChild([&] {
    const bool privileged = geteuid() == 0;
    return (!privileged || (setgroups(0, nullptr) == 0 && setgid(group) == 0 && setuid(user) == 0)) && work();
  }));
}

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

// A full disk for the length of a scope: no file of this process grows beyond the limit.
class SmallFiles {
 public:
  explicit SmallFiles(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{bytes, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  }
  ~SmallFiles() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  SmallFiles(const SmallFiles&) = delete;
  SmallFiles& operator=(const SmallFiles&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

}  // namespace korvane::test
