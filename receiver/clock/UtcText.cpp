#include "receiver/clock/UtcText.h"

#include <fmt/chrono.h>

#include <ctime>

namespace korvane::receiver {

std::string UtcText(std::int64_t seconds) {
  return fmt::format("{:%Y-%m-%d %H:%M:%S UTC}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

std::string Rfc3339Text(std::int64_t seconds) {
  return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

std::string Rfc5322Text(std::int64_t seconds) {
  return fmt::format("{:%a, %d %b %Y %H:%M:%S +0000}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

std::string LengthText(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 60 * kMinute;
  constexpr std::int64_t kDay = 24 * kHour;
  return seconds >= 2 * kDay    ? fmt::format("{} days", seconds / kDay)
         : seconds >= 2 * kHour ? fmt::format("{} hours", seconds / kHour)
                                : fmt::format("{} minutes", seconds / kMinute);
}

}  // namespace korvane::receiver
