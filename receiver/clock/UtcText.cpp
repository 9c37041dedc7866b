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

}  // namespace korvane::receiver
