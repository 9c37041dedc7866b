#include "ParserProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fmt/format.h>

#include "platform/linux/FileDescriptor.h"

extern char** environ;

namespace korvane::mibc {
namespace {

using platform::FileDescriptor;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLook{50};  // how soon a stop is noticed
constexpr std::size_t kMostOutput = std::size_t{64} << 20U;

class SpawnActions {
 public:
  explicit SpawnActions(int output) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, output, 1);
    posix_spawn_file_actions_addopen(&actions_, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions_, 3);
  }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

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
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return "the parser can't be started: no pipe";
  }
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  std::vector<char*> vector = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) {
    vector.push_back(const_cast<char*>(argument.c_str()));
  }
  vector.push_back(nullptr);
  const SpawnActions actions(writing.Number());
  pid_t child = 0;
  if (const int error = posix_spawn(&child, program.c_str(), actions.Get(), nullptr, vector.data(), environ);
      error != 0) {
    return fmt::format("the parser can't be started: {}", std::generic_category().message(error));
  }
  writing.Close();
  const auto deadline = steady_clock::now() + longest;
  std::size_t total = 0;
  std::string reason;
  std::array<char, 65536> block{};
  for (bool ended = false; !ended && reason.empty();) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    pollfd waiting{.fd = reading.Number(), .events = POLLIN, .revents = 0};
    const int ready = poll(&waiting, 1, static_cast<int>(std::clamp(left, milliseconds(0), kLook).count()));
    if (ready > 0) {
      const ssize_t got = read(reading.Number(), block.data(), block.size());
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
    kill(child, SIGKILL);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return reason.empty() ? ReasonOf(status) : reason;
}

}  // namespace korvane::mibc
