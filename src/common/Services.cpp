#include "common/Services.h"

#include <fmt/format.h>

#include <memory>

namespace korvane {
namespace {

constexpr std::uint16_t kRequestedVersion = 0x0101;
constexpr int kMinimumSockets = 1;
constexpr int kStopAllowanceMilliseconds = 2000;

}  // namespace

bool StartWinsock(platform::Sockets& sockets, Prompts& prompts) {
  const platform::SocketStartup startup = sockets.Start(kRequestedVersion);
  if (!startup.Started) {
    prompts.Show("ws2_32.dll is not responding.", PromptIcon::Critical);
    return false;
  }
  const int major = startup.Version & 0xFF;
  const int minor = startup.Version >> 8;
  if (major < 1 || (major == 1 && minor < 1)) {
    prompts.Show(fmt::format("Windows Sockets version {}.{}"
                             " is not supported by ws2_32.dll ",
                             major, minor),
                 PromptIcon::Critical);
    return false;
  }
  if (startup.MaxSockets < kMinimumSockets) {
    prompts.Show(fmt::format("This application requires a minimum of {} supported sockets.", kMinimumSockets),
                 PromptIcon::Critical);
    return false;
  }
  return true;
}

void CleanupWinsock(platform::Sockets& sockets, Prompts& prompts) {
  if (const int error = sockets.Cleanup(); error != 0) {
    prompts.Show(fmt::format("Socket error {} occurred in Cleanup", error), PromptIcon::Critical);
  }
}

std::int32_t RestartService(platform::ServiceControl& control, platform::Clock& clock,
                            std::string_view name) {
  const std::unique_ptr<platform::ServiceManager> manager = control.OpenManager();
  if (!manager) {
    return 1;
  }
  const std::unique_ptr<platform::Service> service = manager->OpenService(name);
  if (!service) {
    return 2;
  }
  service->SendStop();
  clock.SleepMilliseconds(kStopAllowanceMilliseconds);
  return service->Start() ? 0 : 3;
}

}  // namespace korvane
