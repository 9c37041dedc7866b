// Running a piece of a test in a child process, and waiting for what another process does.
#pragma once

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>

namespace korvane::test {

// Starts the work in a child process, which ends with status 0 when it answers true.
inline pid_t InChild(const std::function<bool()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    [&]() noexcept { _exit(work() ? 0 : 1); }();
  }
  return child;
}

inline bool EndedWell(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// What the work answers when a user without any rights of its own does it.  The tests may run as the
// superuser, whom no file mode stops.
inline bool AsUnprivilegedUser(const std::function<bool()>& work, uid_t user = 65534, gid_t group = 65534) {
  return EndedWell(InChild([&] {
    const bool privileged = geteuid() == 0;
    return (!privileged || (setgroups(0, nullptr) == 0 && setgid(group) == 0 && setuid(user) == 0)) && work();
  }));
}

inline bool WaitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace korvane::test
