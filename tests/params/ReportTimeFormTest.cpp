#include "params/ReportTimeForm.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

#include "support/FakePlatform.h"

namespace korvane::params {
namespace {

using store::LocalDateTime;
using Limits = std::numeric_limits<std::int32_t>;

constexpr std::int32_t kBerlin = -3600;
constexpr std::int32_t kNewYork = 5 * 3600;
constexpr std::int32_t kKolkata = -19800;

// The C library takes local time for what the rule says.
class TimeZoneRule {
 public:
  explicit TimeZoneRule(const char* rule) {
    setenv("TZ", rule, 1);
    tzset();
  }
  ~TimeZoneRule() {
    unsetenv("TZ");
    tzset();
  }
  TimeZoneRule(const TimeZoneRule&) = delete;
  TimeZoneRule& operator=(const TimeZoneRule&) = delete;
};

TEST(TimeRange, BecomesEventTimesByTheOneBias) {
  // The clocks of the rule go forward at 02:00 on the last Sunday of March, back at 03:00 in October.
  const TimeZoneRule summerTime("CET-1CEST,M3.5.0,M10.5.0/3");
  struct Row {
    LocalDateTime Picked;
    std::int32_t Bias, EventTime;
  };
  const std::vector<Row> rows = {
      {{2024, 2, 9, 10, 0, 0}, kBerlin, 1707469200},
      {{2024, 2, 9, 10, 0, 0}, kNewYork, 1707490800},
      {{2024, 2, 29, 5, 30, 0}, kKolkata, 1709164800},
      {{1970, 1, 1, 0, 0, 0}, 0, 0},
      {{1970, 1, 1, 1, 0, 0}, kBerlin, 0},
      {{2038, 1, 19, 3, 14, 7}, 0, Limits::max()},
      {{2038, 1, 19, 23, 59, 59}, 0, Limits::max()},
      {{1901, 12, 13, 0, 0, 0}, 0, Limits::min()},
      // The hour that the rule skips, the one that it has twice, and summer, are hours like any other.
      {{2024, 3, 31, 1, 59, 59}, kBerlin, 1711846799},
      {{2024, 3, 31, 2, 0, 0}, kBerlin, 1711846800},
      {{2024, 3, 31, 3, 0, 0}, kBerlin, 1711850400},
      {{2024, 10, 27, 2, 30, 0}, kBerlin, 1729992600},
      {{2024, 7, 1, 12, 0, 0}, kBerlin, 1719831600},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(TimeRangeToEventTime(row.Picked, row.Bias), row.EventTime) << row.EventTime;
  }
}

TEST(ReportTimeForm, ANewRangeGoesFromLocalMidnightToNow) {
  struct Row {
    std::int64_t Now;
    std::int32_t Bias, FromTime, ToTime;
    LocalDateTime To;
  };
  for (const Row& row : {Row{1700000000, 0, 1699920000, 1700000000, {2023, 11, 14, 22, 13, 20}},
                         Row{1700000000, kKolkata, 1699986600, 1700000000, {2023, 11, 15, 3, 43, 20}},
                         Row{1700006400 + 3600, kNewYork, 1699938000, 1700010000, {2023, 11, 14, 20, 0, 0}},
                         Row{5'000'000'000, 0, 2147472000, Limits::max(), {2038, 1, 19, 3, 14, 7}}}) {
    test::FakeClock clock;
    clock.Utc = row.Now;
    ReportParameters parameters;
    ReportTimeForm form(parameters, clock, row.Bias);
    EXPECT_EQ(form.Controls().FrameCaption, "Select Time Range:");
    EXPECT_EQ(form.Controls().lblFrom, "From:");
    EXPECT_EQ(form.Controls().lblTo, "To:");
    EXPECT_EQ(form.Controls().To, row.To) << row.Now;
    EXPECT_FALSE(form.Controls().ReversedShown);
    form.Ok();
    EXPECT_EQ(parameters.FromTime, row.FromTime) << row.Now;
    EXPECT_EQ(parameters.ToTime, row.ToTime) << row.Now;
  }
}

TEST(ReportTimeForm, AReversedRangeIsToldAndStored) {
  test::FakeClock clock;
  ReportParameters parameters;
  ReportTimeForm form(parameters, clock, kBerlin);
  form.PickFrom({2024, 2, 9, 10, 0, 0});
  EXPECT_TRUE(form.Controls().ReversedShown);
  form.PickTo({2024, 2, 9, 10, 0, 0});  // one second is a range
  EXPECT_FALSE(form.Controls().ReversedShown);
  form.PickTo({2024, 2, 9, 9, 59, 59});
  EXPECT_TRUE(form.Controls().ReversedShown);
  form.Ok();
  EXPECT_EQ(parameters.FromTime, 1707469200);
  EXPECT_EQ(parameters.ToTime, 1707469199);
}

TEST(ReportTimeForm, ARangeIsReadBackAsItWasPicked) {
  test::FakeClock clock;
  ReportParameters parameters;
  ReportTimeForm picked(parameters, clock, kBerlin);
  picked.PickFrom({2024, 3, 31, 2, 30, 0});
  picked.PickTo({2024, 10, 27, 2, 0, 9});
  picked.Ok();
  parameters.Window.Mode = kModeShowParameters;
  ReportTimeForm form(parameters, clock, kBerlin);
  EXPECT_EQ(form.Controls().FrameCaption, "Time Range:");
  EXPECT_EQ(form.Controls().lblFrom, "From: 2024-03-31 02:30:00");
  EXPECT_EQ(form.Controls().lblTo, "To:    2024-10-27 02:00:09");
  EXPECT_FALSE(form.Controls().PickersShown);
  form.PickFrom({2000, 1, 1, 0, 0, 0});
  form.Ok();
  EXPECT_EQ(parameters.FromTime, 1711848600);
  EXPECT_EQ(parameters.ToTime, 1729990809);
}

}  // namespace
}  // namespace korvane::params
