// Start and end of the socket library, and the restart of a service.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/Prompts.h"
#include "platform/Platform.h"

namespace korvane {

// Empty when started; else why the process must end.
std::string StartWinsock(platform::Sockets& sockets);
void CleanupWinsock(platform::Sockets& sockets, Prompts& prompts);

// 0 restarted, 1 service manager not opened, 2 service not opened, 3 start failed.
// Stops, waits a fixed 2000 milliseconds, starts: the state is not polled.
std::int32_t RestartService(platform::ServiceControl& control, platform::Clock& clock, std::string_view name);

}  // namespace korvane
