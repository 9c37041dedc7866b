// Runs the parsing process and hands on what it writes.
#pragma once

#include <chrono>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::mibc {

// Empty when the process ended with status 0 within the time; else what became of it.  On a stop, too long a
// run or too much output it is killed.
std::string RunParserProcess(const std::string& program, const std::vector<std::string>& arguments,
                             std::chrono::milliseconds longest, const std::stop_token& stop,
                             const std::function<void(std::string_view)>& take);

}  // namespace korvane::mibc
