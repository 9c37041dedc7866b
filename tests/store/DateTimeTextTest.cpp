#include "store/DateTimeText.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane::store {
namespace {

// Bursts, jumps back and forth, both ends of the range, minutes that share a slot of a cache.
std::vector<std::int32_t> ManyTimes() {
  std::mt19937 random(3);
  using Limits = std::numeric_limits<std::int32_t>;
  std::vector<std::int32_t> times = {0, -1, -59, -60, -61, Limits::min(), Limits::max(), 0};
  for (int burst = 0; burst < 300; ++burst) {
    const std::int32_t start = burst % 3 == 0 ? static_cast<std::int32_t>(random())
                                              : 1'709'164'700 + 15'360 * static_cast<int>(random() % 3);
    for (int i = 0; i < 20; ++i) {
      times.push_back(start / 2 + static_cast<std::int32_t>(random() % 150));
    }
  }
  return times;
}

void ExpectWhatIsFormatted(DateTimeText::Format format) {
  for (const std::int32_t bias : {0, -3600, 12'600, 17}) {
    DateTimeText texts(bias, format);
    for (const std::int32_t time : ManyTimes()) {
      ASSERT_EQ(texts.Of(time), format(EventTimeToLocal(time, bias))) << time << " at " << bias;
    }
  }
}

TEST(DateTimeText, IsWhatTheFormatGives) {
  using Local = LocalDateTime;
  const std::vector<DateTimeText::Format> formats = {
      FormatDateTime,
      [](const Local& at) { return fmt::format("{}/{} {:02} {:02}", at.Day, at.Hour, at.Second, at.Minute); },
      [](const Local& at) { return fmt::format("{:02}:{:02}", at.Hour, at.Minute); },
      [](const Local& at) { return fmt::format("{}:{}", at.Minute, at.Second); },
      [](const Local& at) { return fmt::format("{:02}.{:02}.{:02}", at.Second, at.Minute, at.Second); },
      [](const Local& at) { return fmt::format("{}", at.Minute * 60 + at.Second); },
      [](const Local& at) { return fmt::format("{:02} {:02}", at.Minute, 59 - at.Second); },
      [](const Local& at) { return fmt::format("{:02}{}", at.Second, at.Second == 7 ? "!" : ""); },
      // Digits of its own for the first dozen only.
      [](const Local& at) {
        return at.Second < 12 ? fmt::format("{:02} {}", at.Minute, "abcdefghijkl"[at.Second])
                              : fmt::format("{:02} {:02}", at.Minute, at.Second);
      }};
  for (std::size_t i = 0; i < formats.size(); ++i) {
    SCOPED_TRACE(i);
    ExpectWhatIsFormatted(formats[i]);
  }
}

TEST(DateTimeText, FormatsAMinuteOnceOrTwice) {
  static int calls = 0;
  DateTimeText texts(0, [](const LocalDateTime& at) {
    ++calls;
    return FormatDateTime(at);
  });
  calls = 0;
  for (int i = 0; i < 60'000; ++i) {
    texts.Of(1'000'000'000 + i % 100 * 60 + i / 100 % 60);
  }
  EXPECT_LE(calls, 3 * 101);
}

// Twelve hours, digits of another script, dates that name the weekday.
TEST(DateTimeText, FollowsTheLocale) {
  const test::TempFolder folder;
  setenv("LOCPATH", folder.Path().c_str(), 1);
  for (const std::string name : {"en_US", "my_MM"}) {
    SCOPED_TRACE(name);
    test::RunProgram({"localedef", "-i", name, "-f", "UTF-8", (folder / name).string()});
    ASSERT_NE(std::setlocale(LC_TIME, name.c_str()), nullptr);
    for (std::int32_t day = 0; day < 7; ++day) {
      const std::time_t time = 1'709'164'800 + day * 90'061;
      std::tm parts{};
      gmtime_r(&time, &parts);
      parts.tm_isdst = -1;
      std::array<char, 200> text{};
      std::strftime(text.data(), text.size(), "%x %X", &parts);
      EXPECT_EQ(FormatDateTime(EventTimeToLocal(time, 0)), text.data());
    }
    ExpectWhatIsFormatted(FormatDateTime);
    std::setlocale(LC_TIME, "C");
  }
  unsetenv("LOCPATH");
}

}  // namespace
}  // namespace korvane::store
