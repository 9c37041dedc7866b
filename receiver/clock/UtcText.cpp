#include "receiver/clock/UtcText.h"

#include <fmt/format.h>

#include <ctime>

namespace korvane::receiver {

std::string UtcText(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  gmtime_r(&time, &parts);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} UTC", parts.tm_year + 1900, parts.tm_mon + 1,
                     parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

}  // namespace korvane::receiver
