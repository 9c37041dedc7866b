#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

#include "store/EventTime.h"

namespace korvane::store {

namespace {

TEST(EventTimes, GoToLocalTimeAndBack) {
  constexpr std::int32_t kNewYork = 300 * 60;
  constexpr std::int32_t kBerlin = -3600;
  using Limits = std::numeric_limits<std::int32_t>;
  struct Case {
    std::int32_t Seconds, Bias;
    LocalDateTime Local;
  };
  const std::vector<Case> cases = {
      {0, kNewYork, {1969, 12, 31, 19, 0, 0}},
      {0, 0, {1970, 1, 1, 0, 0, 0}},
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

}  // namespace

}  // namespace korvane::store
