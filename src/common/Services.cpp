#include "common/Services.h"

#include <fmt/format.h>

#include <memory>

#include "common/Translation.h"

namespace korvane {
namespace {

constexpr std::uint16_t kRequestedVersion = 0x0101;
constexpr int kMinimumSockets = 1;
constexpr int kStopAllowanceMilliseconds = 2000;

}  // namespace

std::string StartWinsock(platform::Sockets& sockets) {
  const platform::SocketStartup startup = sockets.Start(kRequestedVersion);
  if (!startup.Started) {
    return Translated("ws2_32.dll is not responding.");
  }
  const int major = startup.Version & 0xFF;
  const int minor = startup.Version >> 8;
  if (major < 1 || (major == 1 && minor < 1)) {
    return Phrase("Windows Sockets version {}.{} is not supported by ws2_32.dll ", major, minor);
  }
  if (startup.MaxSockets < kMinimumSockets) {
    return Phrase("This application requires a minimum of {} supported sockets.", kMinimumSockets);
  }
  return {};
}

void CleanupWinsock(platform::Sockets& sockets, Prompts& prompts) {
  if (const int error = sockets.Cleanup(); error != 0) {
    prompts.Show(Phrase("Socket error {} occurred in Cleanup", error), PromptIcon::Critical);
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
