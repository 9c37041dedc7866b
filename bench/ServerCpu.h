// What a database server of this machine has spent on the processor, to the nanosecond: a client that only
// waits for it measures the neighbours as well.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace korvane::bench {

// In milliseconds, of the server whose main process has its number in the first line of pidFile, and of its
// child processes; what has ended by now (of a connection that was closed) is not in it.  0 without a server.
inline double ServerCpuMilliseconds(const std::filesystem::path& pidFile) {
  pid_t server = 0;
  if (!(std::ifstream(pidFile) >> server)) return 0;
  const std::string main = std::to_string(server);
  std::vector<std::string> processes = {main};
  std::ifstream children("/proc/" + main + "/task/" + main + "/children");
  for (std::string child; children >> child;) processes.push_back(child);
  double nanoseconds = 0;
  for (const std::string& process : processes) {
    std::error_code ended;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + process + "/task", ended)) {
      std::int64_t ran = 0;
      if (std::ifstream(task.path() / "schedstat") >> ran) nanoseconds += static_cast<double>(ran);
    }
  }
  return nanoseconds / 1e6;
}

}  // namespace korvane::bench
