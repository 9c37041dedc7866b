// Conversion between EventTime (signed 32-bit seconds since 1970-01-01 00:00:00 UTC) and local time, with the
// one bias that was read at start-up: UTC = local time + bias.
#pragma once

#include <cstdint>
#include <string>

namespace korvane::store {

struct LocalDateTime {
  int Year = 1970;
  int Month = 1;  // 1 to 12
  int Day = 1;    // 1 to 31
  int Hour = 0;
  int Minute = 0;
  int Second = 0;
  bool operator==(const LocalDateTime&) const = default;
};

// Seconds beyond 32 bits are those of a clock, after 2038.
LocalDateTime EventTimeToLocal(std::int64_t seconds, std::int32_t biasSeconds);
// Held at the ends of the 32-bit range.
std::int32_t LocalToEventTime(const LocalDateTime& local, std::int32_t biasSeconds);

// The general date and time format of the process's locale (year-month-day in the "C" locale).
std::string FormatDateTime(const LocalDateTime& local);

}  // namespace korvane::store
