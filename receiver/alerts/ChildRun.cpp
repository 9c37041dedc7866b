#include "receiver/alerts/ChildRun.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "platform/linux/FileDescriptor.h"

extern char** environ;

namespace korvane::receiver {
namespace {

using platform::FileDescriptor;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLook{100};
constexpr milliseconds kGrace{500};

std::string Reason(int error) {
  return std::generic_category().message(error);
}

// A file in memory: written whole before the program begins, so that no pipe can fill up.
FileDescriptor InputOf(std::string_view bytes) {
  FileDescriptor file(memfd_create("input", MFD_CLOEXEC));
  while (!bytes.empty()) {
    const ssize_t written = write(file.Number(), bytes.data(), bytes.size());
    if (written <= 0) {
      break;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  lseek(file.Number(), 0, SEEK_SET);
  return file;
}

class SpawnSettings {
 public:
  explicit SpawnSettings(int input) {
    posix_spawn_file_actions_init(&Actions);
    if (input >= 0) {
      posix_spawn_file_actions_adddup2(&Actions, input, 0);
    } else {
      posix_spawn_file_actions_addopen(&Actions, 0, "/dev/null", O_RDONLY, 0);
    }
    posix_spawn_file_actions_addopen(&Actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&Actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&Actions, 3);
    posix_spawnattr_init(&Attributes);
    posix_spawnattr_setflags(&Attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&Attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&Attributes, &signals);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&Actions);
    posix_spawnattr_destroy(&Attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawn_file_actions_t Actions{};
  posix_spawnattr_t Attributes{};
};

// False when the time is over first.
bool EndsBefore(const FileDescriptor& process, steady_clock::time_point until, const std::stop_token& stop) {
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now());
    if (left.count() <= 0 || stop.stop_requested()) {
      return false;
    }
    pollfd entry{.fd = process.Number(), .events = POLLIN, .revents = 0};
    if (poll(&entry, 1, static_cast<int>(std::min(left, kLook).count())) > 0) {
      return true;
    }
  }
}

void EndSession(pid_t leader, const FileDescriptor& process) {
  kill(-leader, SIGTERM);
  EndsBefore(process, steady_clock::now() + kGrace, std::stop_token());
  kill(-leader, SIGKILL);
}

}  // namespace

std::string RunChild(const ChildTask& task, const std::stop_token& stop) {
  std::vector<char*> vector = {const_cast<char*>(task.File.c_str())};
  for (const std::string& argument : task.Arguments) {
    vector.push_back(const_cast<char*>(argument.c_str()));
  }
  vector.push_back(nullptr);
  const FileDescriptor input = task.Input.empty() ? FileDescriptor() : InputOf(task.Input);
  const SpawnSettings settings(input.Number());
  pid_t child = 0;
  if (const int error = posix_spawn(&child, task.File.c_str(), &settings.Actions, &settings.Attributes,
                                    vector.data(), environ);
      error != 0) {
    return fmt::format("'{}' can't be started: {}", task.File, Reason(error));
  }
  // By its number: the C library of 2022 declares the call for C only.
  const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
  const bool ended = EndsBefore(process, steady_clock::now() + task.Longest, stop);
  if (!ended) {
    EndSession(child, process);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!ended) {
    return stop.stop_requested()
               ? fmt::format("'{}' was ended because the receiver stops", task.File)
               : fmt::format("'{}' was not done in {} ms and was ended", task.File, task.Longest.count());
  }
  if (WIFSIGNALED(status)) {
    return fmt::format("'{}' was ended by signal {}", task.File, WTERMSIG(status));
  }
  return WEXITSTATUS(status) == 0 ? std::string()
                                  : fmt::format("'{}' ended with status {}", task.File, WEXITSTATUS(status));
}

}  // namespace korvane::receiver
