#include "platform/linux/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>

extern char** environ;

namespace korvane::platform {
namespace {

constexpr std::size_t kMostOutput = 64U * 1024;

struct Pipe {
  FileDescriptor Reading;
  FileDescriptor Writing;
};

std::optional<Pipe> MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

std::vector<char*> ArgumentVector(const std::string& file, const std::vector<std::string>& arguments) {
  std::vector<char*> vector;
  vector.push_back(const_cast<char*>(file.c_str()));
  for (const std::string& argument : arguments) {
    vector.push_back(const_cast<char*>(argument.c_str()));
  }
  vector.push_back(nullptr);
  return vector;
}

bool HoldsNul(const std::string& file, const std::vector<std::string>& arguments) {
  bool holds = file.find('\0') != std::string::npos;
  for (const std::string& argument : arguments) {
    holds = holds || argument.find('\0') != std::string::npos;
  }
  return holds;
}

// From here to the execution only async-signal-safe calls: other threads may hold any lock.
[[noreturn]] void BecomeProgram(char* const* arguments, int errorPipe) {
  const int null = open("/dev/null", O_RDWR);
  for (int standard = 0; null >= 0 && standard < 3; ++standard) {
    dup2(null, standard);
  }
  // The pipe closes by itself when the program is executed, everything else must not get there.
  close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) {
    sigaction(number, &usual, nullptr);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  execv(arguments[0], arguments);
  const char failed = 1;
  [[maybe_unused]] const ssize_t told = write(errorPipe, &failed, 1);
  _exit(127);
}

Child Spawn(const std::string& file, const std::vector<std::string>& arguments, int input, int output) {
  Child child;
  if (HoldsNul(file, arguments)) {
    child.Error = EINVAL;
    return child;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const std::array<int, 3> standard = {input, output, -1};
  for (int number = 0; number < 3; ++number) {
    if (const int from = standard.at(static_cast<std::size_t>(number)); from >= 0) {
      posix_spawn_file_actions_adddup2(&actions, from, number);
    } else {
      posix_spawn_file_actions_addopen(&actions, number, "/dev/null", O_RDWR, 0);
    }
  }
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  child.Error = posix_spawn(&child.Process, file.c_str(), &actions, &attributes,
                            ArgumentVector(file, arguments).data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  return child;
}

}  // namespace

std::optional<std::string> FindProgram(std::string_view name) {
  if (name.empty() || name.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  if (name.find('/') != std::string_view::npos) {
    return std::string(name);
  }
  const char* path = std::getenv("PATH");
  std::string_view folders = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
  while (!folders.empty()) {
    const std::size_t end = std::min(folders.find(':'), folders.size());
    std::string file = std::string(folders.substr(0, end)).append("/").append(name);
    if (folders.front() == '/' && access(file.c_str(), X_OK) == 0) {
      return file;
    }
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return std::nullopt;
}

bool StartDetached(const std::string& file, const std::vector<std::string>& arguments) {
  std::optional<Pipe> failure = MakePipe();
  if (!failure || HoldsNul(file, arguments)) {
    return false;
  }
  const std::vector<char*> vector = ArgumentVector(file, arguments);
  const pid_t middle = fork();
  if (middle < 0) {
    return false;
  }
  if (middle == 0) {
    setsid();
    const pid_t program = fork();  // its parent ends at once, so that the system's first process adopts it
    if (program == 0) {
      BecomeProgram(vector.data(), failure->Writing.Number());
    }
    const char failed = 1;
    if (program < 0) {
      [[maybe_unused]] const ssize_t told = write(failure->Writing.Number(), &failed, 1);
    }
    _exit(0);
  }
  failure->Writing.Close();
  WaitForEnd(middle);
  char failed = 0;
  ssize_t got = 0;
  while ((got = read(failure->Reading.Number(), &failed, 1)) < 0 && errno == EINTR) {
  }
  return got == 0;
}

Child StartChild(const std::string& file, const std::vector<std::string>& arguments, int input) {
  return Spawn(file, arguments, input, -1);
}

ReadableChild StartReadable(const std::string& file, const std::vector<std::string>& arguments) {
  ReadableChild child;
  std::optional<Pipe> output = MakePipe();
  if (!output) {
    child.Error = errno;
    return child;
  }
  static_cast<Child&>(child) = Spawn(file, arguments, -1, output->Writing.Number());
  child.Output = std::move(output->Reading);
  return child;
}

int WaitForEnd(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

std::optional<std::string> RunAndRead(const std::string& file, const std::vector<std::string>& arguments,
                                      int waitMilliseconds) {
  const ReadableChild child = StartReadable(file, arguments);
  if (child.Error != 0) {
    return std::nullopt;
  }
  std::string text;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMilliseconds);
  bool ended = false;
  while (!ended && text.size() < kMostOutput) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd waiting{.fd = child.Output.Number(), .events = POLLIN, .revents = 0};
    const int ready = left.count() <= 0 ? 0 : poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) {
      continue;
    }
    if (ready <= 0) {
      break;
    }
    std::array<char, 4096> block{};
    const ssize_t got = read(child.Output.Number(), block.data(), block.size());
    ended = got == 0;
    text.append(block.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
  }
  if (!ended) {
    kill(child.Process, SIGKILL);
  }
  WaitForEnd(child.Process);
  return ended ? std::optional(text) : std::nullopt;
}

}  // namespace korvane::platform
