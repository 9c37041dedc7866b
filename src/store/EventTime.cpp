#include "store/EventTime.h"

#include <algorithm>
#include <chrono>
#include <clocale>
#include <ctime>
#include <limits>
#include <string_view>

#include <fmt/format.h>

#include "platform/DateText.h"

namespace korvane::store {
namespace {

std::chrono::sys_days DayOf(const LocalDateTime& local) {
  using namespace std::chrono;
  return year(local.Year) / month(static_cast<unsigned>(local.Month)) / day(static_cast<unsigned>(local.Day));
}

}  // namespace

LocalDateTime EventTimeToLocal(std::int64_t seconds, std::int32_t biasSeconds) {
  using namespace std::chrono;
  const sys_seconds moment{std::chrono::seconds(seconds - biasSeconds)};
  const auto day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(moment - day);
  return {.Year = static_cast<int>(date.year()),
          .Month = static_cast<int>(static_cast<unsigned>(date.month())),
          .Day = static_cast<int>(static_cast<unsigned>(date.day())),
          .Hour = static_cast<int>(time.hours().count()),
          .Minute = static_cast<int>(time.minutes().count()),
          .Second = static_cast<int>(time.seconds().count())};
}

std::int32_t LocalToEventTime(const LocalDateTime& local, std::int32_t biasSeconds) {
  const std::int64_t seconds = std::int64_t{DayOf(local).time_since_epoch().count()} * 86400 +
                               local.Hour * 3600 + local.Minute * 60 + local.Second + biasSeconds;
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(seconds, Limits::min(), Limits::max()));
}

std::string FormatDateTime(const LocalDateTime& local) {
  const char* const name = std::setlocale(LC_TIME, nullptr);  // NOLINT(concurrency-mt-unsafe): a query
  const std::string_view locale = name == nullptr ? "C" : name;
  if (locale == "C" || locale == "POSIX" || locale.starts_with("C.")) {
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", local.Year, local.Month, local.Day, local.Hour,
                       local.Minute, local.Second);
  }
  std::tm parts{};
  parts.tm_year = local.Year - 1900;
  parts.tm_mon = local.Month - 1;
  parts.tm_mday = local.Day;
  parts.tm_hour = local.Hour;
  parts.tm_min = local.Minute;
  parts.tm_sec = local.Second;
  // Some locales' dates name the weekday.
  parts.tm_wday = static_cast<int>(std::chrono::weekday(DayOf(local)).c_encoding());
  parts.tm_isdst = -1;
  return platform::LocaleDateTime(parts);
}

}  // namespace korvane::store
