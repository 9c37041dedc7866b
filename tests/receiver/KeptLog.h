// A log whose lines a test looks at, from any thread.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

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
    const std::lock_guard lock(mutex_);
    const auto holds = [&](const std::string& line) { return line.find(words) != line.npos; };
    return std::ranges::any_of(lines_, holds);
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace korvane::receiver
