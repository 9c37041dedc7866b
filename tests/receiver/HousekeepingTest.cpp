// Old traps on every engine: what is acknowledged and deleted, and what that leaves alone.

#include "Housekeeping.h"

#include <gtest/gtest.h>

#include <stop_token>
#include <string>
#include <vector>

#include "store/DatabaseError.h"
#include "store/EngineTest.h"

namespace korvane::receiver {
namespace {

constexpr std::int32_t kNow = 1'700'000'000;
constexpr std::int32_t kHour = 3600;
constexpr std::int32_t kDay = 86400;

class HousekeepingTest : public store::EngineTest {
 protected:
  std::int32_t Count(const std::string& condition) {
    return Made->Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
  HouseholdWork Round(Intervals intervals, std::int64_t now = kNow) {
    Housekeeping housekeeping(Made->DataSource(), intervals, Log,
                              {.RowsAtOnce = 10, .Breath = std::chrono::milliseconds(0)});
    return housekeeping.Round(now, std::stop_source().get_token());
  }

  ServiceLog Log{[](LogLevel, std::string_view) {}};
};
using store::EngineOf;
KORVANE_ON_EVERY_ENGINE(HousekeepingTest);

TEST_P(HousekeepingTest, OldTrapsAreAcknowledgedAndOlderOnesGo) {
  std::vector<test::StoredTrap> traps;
  for (int i = 0; i < 25; ++i) {
    traps.push_back({.EventTime = kNow - 8 * kDay - i, .EventAck = i % 2});
    traps.push_back({.EventTime = kNow - 13 * kHour - i});
    traps.push_back({.EventTime = kNow - i});
  }
  traps.push_back({.EventTime = kNow - 7 * kDay});  // at the bound, not older
  traps.push_back({.EventTime = kNow - 12 * kHour});
  Made->AddTraps(traps);

  const HouseholdWork work = Round({.AckHours = 12, .PurgeDays = 7});
  EXPECT_EQ(work.Purged, 25);
  EXPECT_EQ(work.Acknowledged, 26) << "the one of a week ago is older than twelve hours";
  EXPECT_EQ(Count("1 = 1"), 52);
  EXPECT_EQ(Count("EventAck = 0"), 26);
  EXPECT_EQ(Round({.AckHours = 12, .PurgeDays = 7}).Acknowledged, 0) << "once is enough";
}

TEST_P(HousekeepingTest, ANumberBelowOneDoesNothing) {
  Made->AddTrap({.EventTime = 1});
  for (const Intervals intervals : {Intervals{0, 0}, Intervals{-1, -7}}) {
    const HouseholdWork work = Round(intervals);
    EXPECT_EQ(work.Acknowledged + work.Purged, 0);
  }
  EXPECT_EQ(Round({.AckHours = 2'000'000'000, .PurgeDays = 2'000'000'000}).Purged, 0);
  EXPECT_EQ(Count("EventAck = 0"), 1);
}

TEST_P(HousekeepingTest, AStoreThatIsAwayIsUsedAgainAtTheNextRound) {
  Made->AddTrap({.EventTime = 1});
  Housekeeping housekeeping(Made->DataSource(), {.AckHours = 0, .PurgeDays = 1}, Log);
  const std::stop_source never;
  Made->TakeAway();
  EXPECT_THROW(housekeeping.Round(kNow, never.get_token()), store::DatabaseError);
  Made->BringBack();
  EXPECT_EQ(housekeeping.Round(kNow, never.get_token()).Purged, 1);
}

}  // namespace
}  // namespace korvane::receiver
