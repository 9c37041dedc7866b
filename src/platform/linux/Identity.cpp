#include "platform/Identity.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

namespace korvane::platform {
namespace {

constexpr std::size_t kAccountBytes = 16384;
constexpr int kFieldsBeforeStart = 19;  // of /proc/self/stat, behind the program's name

std::string LoginOf(uid_t user) {
  std::vector<char> buffer(kAccountBytes);
  passwd entry{};
  passwd* found = nullptr;
  getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr ? std::string(found->pw_name) : fmt::format("{}", user);
}

std::string HostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

// In ticks since the machine came up: a number of a process is given again, but not at the same moment.
std::string StartTime() {
  std::ifstream file("/proc/self/stat");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::string_view rest = text;
  rest.remove_prefix(std::min(rest.rfind(')'), rest.size()));
  for (int field = 0; field <= kFieldsBeforeStart; ++field) {
    rest.remove_prefix(std::min(rest.find(' '), rest.size()));
    rest.remove_prefix(rest.empty() ? 0 : 1);
  }
  return std::string(rest.substr(0, rest.find(' ')));
}

}  // namespace

Identity ThisProcess() {
  const std::string machine = HostName();
  return {LoginOf(getuid()), machine, fmt::format("{}:{}:{}", machine, getpid(), StartTime())};
}

}  // namespace korvane::platform
