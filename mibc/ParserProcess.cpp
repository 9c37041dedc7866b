#include "ParserProcess.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fmt/format.h>

#include "platform/linux/ChildProcess.h"

namespace korvane::mibc {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLook{50};  // how soon a stop is noticed
constexpr std::size_t kMostOutput = std::size_t{64} << 20U;

std::string ReasonOf(int status) {
  if (WIFSIGNALED(status)) {
    return WTERMSIG(status) == SIGXCPU || WTERMSIG(status) == SIGKILL
               ? std::string("the parser took too long over this file")
               : fmt::format("this file made the parser crash (signal {})", WTERMSIG(status));
  }
  return WEXITSTATUS(status) == 0 ? std::string()
                                  : fmt::format("the parser gave up (status {})", WEXITSTATUS(status));
}

}  // namespace

std::string RunParserProcess(const std::string& program, const std::vector<std::string>& arguments,
                             milliseconds longest, const std::stop_token& stop,
                             const std::function<void(std::string_view)>& take) {
  const platform::ReadableChild child = platform::StartReadable(program, arguments);
  if (child.Error != 0) {
    return fmt::format("the parser can't be started: {}", std::generic_category().message(child.Error));
  }
  const auto deadline = steady_clock::now() + longest;
  std::size_t total = 0;
  std::string reason;
  std::array<char, 65536> block{};
  for (bool ended = false; !ended && reason.empty();) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    pollfd waiting{.fd = child.Output.Number(), .events = POLLIN, .revents = 0};
    const int ready = poll(&waiting, 1, static_cast<int>(std::clamp(left, milliseconds(0), kLook).count()));
    if (ready > 0) {
      const ssize_t got = read(child.Output.Number(), block.data(), block.size());
      ended = got == 0 || (got < 0 && errno != EINTR);
      total += got > 0 ? static_cast<std::size_t>(got) : 0;
      take({block.data(), got > 0 ? static_cast<std::size_t>(got) : 0});
    }
    if (stop.stop_requested()) {
      reason = "stopped";
    } else if (!ended && left.count() <= 0) {
      reason = fmt::format("the parser was not done with this file in {} seconds",
                           std::chrono::ceil<std::chrono::seconds>(longest).count());
    } else if (total > kMostOutput) {
      reason = "the parser finds no end in this file";
    }
  }
  if (!reason.empty()) {
    kill(child.Process, SIGKILL);
  }
  const int status = platform::WaitForEnd(child.Process);
  return reason.empty() ? ReasonOf(status) : reason;
}

}  // namespace korvane::mibc
