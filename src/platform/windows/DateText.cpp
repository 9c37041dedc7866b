#include "platform/DateText.h"

#include <array>

#include "platform/windows/SystemHeaders.h"
#include "platform/windows/WideText.h"

namespace korvane::platform {

// The C library here has no UTF-8 locales, and knows nothing of what the user set for dates.
std::string LocaleDateTime(const std::tm& parts) {
  SYSTEMTIME time{};
  time.wYear = static_cast<WORD>(parts.tm_year + 1900);
  time.wMonth = static_cast<WORD>(parts.tm_mon + 1);
  time.wDay = static_cast<WORD>(parts.tm_mday);
  time.wHour = static_cast<WORD>(parts.tm_hour);
  time.wMinute = static_cast<WORD>(parts.tm_min);
  time.wSecond = static_cast<WORD>(parts.tm_sec);
  std::array<wchar_t, 256> day{};
  std::array<wchar_t, 256> hour{};
  GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, day.data(),
                  static_cast<int>(day.size()), nullptr);
  GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, 0, &time, nullptr, hour.data(), static_cast<int>(hour.size()));
  return Narrow(day.data()) + " " + Narrow(hour.data());
}

}  // namespace korvane::platform
