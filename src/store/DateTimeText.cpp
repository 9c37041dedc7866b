#include "store/DateTimeText.h"

#include <algorithm>
#include <chrono>
#include <optional>

namespace korvane::store {
namespace {

constexpr std::int64_t kSecondsPerMinute = 60;
constexpr std::size_t kUnknown = std::string::npos;

void PutDigits(std::string& text, std::size_t place, int second) {
  text[place] = static_cast<char>('0' + second / 10);
  text[place + 1] = static_cast<char>('0' + second % 10);
}

bool HasDigits(std::string_view text, std::size_t place, int second) {
  return text[place] == '0' + second / 10 && text[place + 1] == '0' + second % 10;
}

// One that differs from the second in both digits.
int OtherSecond(int second) {
  return (second / 10 + 1) % 6 * 10 + (second % 10 + 1) % 10;
}

// Where the seconds stand in two texts of one minute whose seconds differ in both digits, when nothing but
// two plain digits tells them apart.
std::optional<std::size_t> PlaceOfSeconds(std::string_view a, int secondOfA, std::string_view b,
                                          int secondOfB) {
  if (a.size() != b.size()) {
    return std::nullopt;
  }
  const auto place = static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin());
  if (place + 2 > a.size() || !HasDigits(a, place, secondOfA) || !HasDigits(b, place, secondOfB) ||
      a.substr(place + 2) != b.substr(place + 2)) {
    return std::nullopt;
  }
  return place;
}

// How a locale writes a second does not depend on the rest of the time, so one minute answers for all:
// some have digits of their own, for some of the numbers or for all.
bool WritesPlainSeconds(DateTimeText::Format format) {
  LocalDateTime local{.Year = 2001, .Month = 2, .Day = 3, .Hour = 4, .Minute = 56, .Second = 0};
  std::string text = format(local);
  local.Second = OtherSecond(0);
  const auto place = PlaceOfSeconds(text, 0, format(local), local.Second);
  if (!place) {
    return false;
  }
  for (local.Second = 0; local.Second < kSecondsPerMinute; ++local.Second) {
    PutDigits(text, *place, local.Second);
    if (format(local) != text) {
      return false;
    }
  }
  return true;
}

}  // namespace

DateTimeText::DateTimeText(std::int32_t biasSeconds, Format format)
    : bias_(biasSeconds), format_(format), plainSeconds_(WritesPlainSeconds(format)), minutes_(kMinutes) {}

std::string_view DateTimeText::Of(std::int32_t eventTime) {
  using namespace std::chrono;
  const seconds moment(std::int64_t{eventTime} - bias_);
  const auto start = floor<minutes>(moment);
  const std::int64_t number = start.count();
  const int second = static_cast<int>((moment - start).count());
  Minute& minute = minutes_[static_cast<std::uint64_t>(number) % kMinutes];
  if (minute.Number != number || !plainSeconds_) {
    if (minute.Number != number || minute.Second != second) {
      minute = {.Number = number,
                .Second = second,
                .Place = kUnknown,
                .Text = format_(EventTimeToLocal(eventTime, bias_))};
    }
  } else if (minute.Second != second) {
    if (minute.Place == kUnknown) {
      FindPlace(minute, EventTimeToLocal(eventTime, bias_));
    } else {
      PutDigits(minute.Text, minute.Place, second);
    }
    minute.Second = second;
  }
  return minute.Text;
}

// With the second text of a minute, which is where looking for the place of its seconds pays.
void DateTimeText::FindPlace(Minute& minute, const LocalDateTime& local) const {
  minute.Text = format_(local);
  LocalDateTime other = local;
  other.Second = OtherSecond(local.Second);
  minute.Place = PlaceOfSeconds(minute.Text, local.Second, format_(other), other.Second).value_or(kUnknown);
}

}  // namespace korvane::store
