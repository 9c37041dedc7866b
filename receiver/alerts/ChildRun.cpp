#include "receiver/alerts/ChildRun.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <system_error>

#include "platform/linux/ChildProcess.h"
#include "platform/linux/FileDescriptor.h"

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
  const FileDescriptor input = task.Input.empty() ? FileDescriptor() : InputOf(task.Input);
  const platform::Child child = platform::StartChild(task.File, task.Arguments, input.Number());
  if (child.Error != 0) {
    return fmt::format("'{}' can't be started: {}", task.File, Reason(child.Error));
  }
  // By its number: the C library of 2022 declares the call for C only.
  const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, child.Process, 0)));
  const bool ended = EndsBefore(process, steady_clock::now() + task.Longest, stop);
  if (!ended) {
    EndSession(child.Process, process);
  }
  const int status = platform::WaitForEnd(child.Process);
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
