#include "store/EventTime.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

#include "store/DateTimeText.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane::store {

namespace {

using Limits = std::numeric_limits<std::int32_t>;

TEST(EventTimeTest, GoesToLocalTimeAndBack) {
  constexpr std::int32_t kNewYork = 300 * 60;
  constexpr std::int32_t kBerlin = -3600;
  struct Case {
    std::int32_t Seconds, Bias;
    LocalDateTime Local;
  };
  const std::vector<Case> cases = {
      {0, kNewYork, {1969, 12, 31, 19, 0, 0}},
      {-1, 0, {1969, 12, 31, 23, 59, 59}},
      {1709164800 - 3600, kBerlin, {2024, 2, 29, 0, 0, 0}},
      {951782399, 0, {2000, 2, 28, 23, 59, 59}},
      {Limits::max(), kBerlin, {2038, 1, 19, 4, 14, 7}},
      {Limits::min(), kNewYork, {1901, 12, 13, 15, 45, 52}},
  };
  for (const Case& each : cases) {
    EXPECT_TRUE(EventTimeToLocal(each.Seconds, each.Bias) == each.Local) << each.Seconds;
    EXPECT_EQ(LocalToEventTime(each.Local, each.Bias), each.Seconds);
  }
  EXPECT_EQ(LocalToEventTime({2100, 1, 1, 0, 0, 0}, 0), Limits::max());
  EXPECT_EQ(LocalToEventTime({1752, 1, 1, 0, 0, 0}, 0), Limits::min());
  EXPECT_EQ(FormatDateTime({2024, 2, 9, 3, 4, 5}), "2024-02-09 03:04:05");
}

// Twelve hours, digits of another script, dates that name the weekday.
TEST(EventTimeTest, IsWrittenInTheLocale) {
  const test::TempFolder folder;
  test::RunProgram({"localedef", "-i", "my_MM", "-f", "UTF-8", (folder / "my_MM").string()});
  setenv("LOCPATH", folder.Path().c_str(), 1);
  ASSERT_NE(std::setlocale(LC_TIME, "my_MM"), nullptr);
  for (std::int32_t day = 0; day < 7; ++day) {
    const std::time_t time = 1'709'164'800 + day * 90'061;
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 200> text{};
    std::strftime(text.data(), text.size(), "%x %X", &parts);
    EXPECT_EQ(FormatDateTime(EventTimeToLocal(time, 0)), text.data());
  }
  std::setlocale(LC_TIME, "C");
  unsetenv("LOCPATH");
}

TEST(DateTimeTextTest, IsWhatTheFormatGivesAndMadeOncePerTime) {
  static int made = 0;
  constexpr std::int32_t kBias = 12'617;
  const auto format = [](const LocalDateTime& at) {
    ++made;
    return FormatDateTime(at);
  };
  DateTimeText texts(kBias, format);
  // Both ends of the range, and times that may have to share a place.
  for (const std::int32_t time : {0, -1, -60, Limits::min(), Limits::max(), 0, 1 << 20, 1 << 28, 1 << 20}) {
    EXPECT_EQ(texts.Of(time), FormatDateTime(EventTimeToLocal(time, kBias))) << time;
  }
  made = 0;
  for (int i = 0; i < 60'000; ++i) {
    texts.Of(1'000'000'000 + i % 100);
  }
  EXPECT_LE(made, 100);
}

}  // namespace

}  // namespace korvane::store
