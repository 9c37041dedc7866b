#include "platform/Identity.h"

#include <fmt/format.h>

#include <array>

#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"

namespace korvane::platform {
namespace {

constexpr DWORD kLongestName = 1024;

std::string LoginName() {
  std::array<wchar_t, kLongestName> name{};
  DWORD units = kLongestName;
  return GetUserNameW(name.data(), &units) == 0 ? "" : Narrow(name.data());
}

std::string MachineName() {
  std::array<wchar_t, kLongestName> name{};
  DWORD units = kLongestName;
  return GetComputerNameExW(ComputerNameDnsHostname, name.data(), &units) == 0 ? "" : Narrow(name.data());
}

// A number of a process is given again, but not at the same moment.
std::uint64_t StartOfProcess() {
  FILETIME created{};
  FILETIME ended{};
  FILETIME kernel{};
  FILETIME user{};
  GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
  return std::uint64_t{created.dwHighDateTime} << 32 | created.dwLowDateTime;
}

}  // namespace

Identity ThisProcess() {
  const std::string machine = MachineName();
  return {LoginName(), machine, fmt::format("{}:{}:{}", machine, GetCurrentProcessId(), StartOfProcess())};
}

}  // namespace korvane::platform
