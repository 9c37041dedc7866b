// Sockets, working directory and clock: a few system calls each.
#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"
#include "platform/windows/WindowsPlatform.h"

namespace korvane::platform {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;  // of a file time, of 100 ns each
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

class WindowsSockets : public Sockets {
 public:
  SocketStartup Start(std::uint16_t requestedVersion) override {
    WSADATA data{};
    if (WSAStartup(requestedVersion, &data) != 0) {
      return {};
    }
    return {.Started = true, .Version = data.wVersion, .MaxSockets = data.iMaxSockets};
  }
  int Cleanup() override { return WSACleanup() == 0 ? 0 : WSAGetLastError(); }
};

class WindowsDirectories : public Directories {
 public:
  bool SetCurrentDirectory(std::string_view path) override {
    const std::optional<std::wstring> wide = WideWithoutNul(path);
    return wide && SetCurrentDirectoryW(wide->c_str()) != 0;
  }
};

class WindowsClock : public Clock {
 public:
  std::int64_t UtcSeconds() override {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t ticks = std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
    return static_cast<std::int64_t>(ticks / kTicksPerSecond) - kSecondsFrom1601To1970;
  }
  std::int64_t MonotonicMilliseconds() override { return static_cast<std::int64_t>(GetTickCount64()); }
  void SleepMilliseconds(int milliseconds) override {
    if (milliseconds > 0) {
      Sleep(static_cast<DWORD>(milliseconds));
    }
  }
  int TimeZoneBiasMinutes() override {
    TIME_ZONE_INFORMATION zone{};
    const DWORD season = GetTimeZoneInformation(&zone);
    if (season == TIME_ZONE_ID_INVALID) {
      return 0;
    }
    const LONG more = season == TIME_ZONE_ID_DAYLIGHT   ? zone.DaylightBias
                      : season == TIME_ZONE_ID_STANDARD ? zone.StandardBias
                                                        : 0;
    return static_cast<int>(zone.Bias + more);
  }
};

}  // namespace

std::unique_ptr<Sockets> MakeSockets() {
  return std::make_unique<WindowsSockets>();
}
std::unique_ptr<Directories> MakeDirectories() {
  return std::make_unique<WindowsDirectories>();
}
std::unique_ptr<Clock> MakeClock() {
  return std::make_unique<WindowsClock>();
}

}  // namespace korvane::platform
