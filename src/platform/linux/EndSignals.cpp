#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "platform/linux/LinuxPlatform.h"

namespace korvane::platform {
namespace {

// A signal handler has nothing but the signal's number: what it writes to can't be handed to it.
volatile std::sig_atomic_t endPipe = -1;

void TellOfEnd(int) {
  const int before = errno;
  const char asked = 1;
  [[maybe_unused]] const ssize_t told = write(endPipe, &asked, 1);  // full: it was told often enough
  errno = before;
}

}  // namespace

int CatchEndSignals() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    return -1;
  }
  endPipe = ends[1];
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction action {};
    // One that is ignored was meant to be, as by nohup.
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
      action = {};
      action.sa_handler = TellOfEnd;
      action.sa_flags = SA_RESTART;
      sigaction(number, &action, nullptr);
    }
  }
  return ends[0];
}

}  // namespace korvane::platform
