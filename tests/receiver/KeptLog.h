// A log whose lines a test looks at, from any thread.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "receiver/ServiceLog.h"

namespace korvane::receiver {

class KeptLog : public ServiceLog {
 public:
  KeptLog()
      : ServiceLog([this](LogLevel, std::string_view line) {
          const std::lock_guard lock(mutex_);
          lines_.emplace_back(line);
        }) {}
  std::vector<std::string> Lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  bool Holds(std::string_view words) const {
    return fmt::format("{}", fmt::join(Lines(), "\n")).find(words) != std::string::npos;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace korvane::receiver
