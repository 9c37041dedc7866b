// Runs another program to its end: by argument vector and never through a shell, in a session of its own,
// with nothing of ours open but the given standard input, its output thrown away.  A program that is not done
// in time, or when the stop is asked for, is ended with everything it started.
#pragma once

#include <chrono>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::receiver {

struct ChildTask {
  std::string File;  // a path
  std::vector<std::string> Arguments = {};
  std::string_view Input = {};
  std::chrono::milliseconds Longest{30'000};
};

// An empty text when it ended with status 0; else what became of it.
std::string RunChild(const ChildTask& task, const std::stop_token& stop);

}  // namespace korvane::receiver
