// Sockets, working directory and clock: a few system calls each.
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/LinuxPlatform.h"

namespace korvane::platform {
namespace {

// The newest version of the socket interface that the system's own is a superset of.
constexpr std::uint16_t kNewestVersion = 0x0202;

// Versions carry the major number in the low byte.
std::uint16_t Ordered(std::uint16_t version) {
  return static_cast<std::uint16_t>((version & 0xFF) << 8 | version >> 8);
}

int SocketLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
    return 0;
  }
  return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, std::numeric_limits<int>::max()));
}

class LinuxSockets : public Sockets {
 public:
  SocketStartup Start(std::uint16_t requestedVersion) override {
    FileDescriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!probe.IsOpen() && errno != EMFILE && errno != ENFILE) {
      probe = FileDescriptor(socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    }
    const bool noneLeft = !probe.IsOpen() && (errno == EMFILE || errno == ENFILE);
    if (!probe.IsOpen() && !noneLeft) {
      return {};
    }
    ++starts_;
    const std::uint16_t version =
        Ordered(requestedVersion) < Ordered(kNewestVersion) ? requestedVersion : kNewestVersion;
    return {.Started = true, .Version = version, .MaxSockets = noneLeft ? 0 : SocketLimit()};
  }

  int Cleanup() override {
    if (starts_ == 0) {
      return ENOTCONN;
    }
    --starts_;
    return 0;
  }

 private:
  int starts_ = 0;
};

class LinuxDirectories : public Directories {
 public:
  bool SetCurrentDirectory(std::string_view path) override {
    return path.find('\0') == std::string_view::npos && chdir(std::string(path).c_str()) == 0;
  }
};

class LinuxClock : public Clock {
 public:
  std::int64_t UtcSeconds() override { return Now(CLOCK_REALTIME).tv_sec; }

  std::int64_t MonotonicMilliseconds() override {
    const timespec now = Now(CLOCK_MONOTONIC);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
  }

  void SleepMilliseconds(int milliseconds) override {
    timespec left{.tv_sec = milliseconds / 1000, .tv_nsec = (milliseconds % 1000) * 1'000'000L};
    while (milliseconds > 0 && clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
  }

  int TimeZoneBiasMinutes() override {
    const std::time_t now = Now(CLOCK_REALTIME).tv_sec;
    std::tm local{};
    tzset();
    return localtime_r(&now, &local) == nullptr ? 0 : static_cast<int>(-local.tm_gmtoff / 60);
  }

 private:
  static timespec Now(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now;
  }
};

}  // namespace

std::unique_ptr<Sockets> MakeSockets() {
  return std::make_unique<LinuxSockets>();
}
std::unique_ptr<Directories> MakeDirectories() {
  return std::make_unique<LinuxDirectories>();
}
std::unique_ptr<Clock> MakeClock() {
  return std::make_unique<LinuxClock>();
}

}  // namespace korvane::platform
