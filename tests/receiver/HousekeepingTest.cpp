// Old traps on every engine: what is acknowledged and deleted, and what that leaves alone.

#include "receiver/store/Housekeeping.h"

#include <gtest/gtest.h>

#include <stop_token>
#include <string>
#include <vector>

#include "store/DatabaseError.h"
#include "store/EngineTest.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

constexpr std::int32_t kNow = 1'700'000'000;
constexpr std::int32_t kHour = 3600;
constexpr std::int32_t kDay = 86400;

struct TestClocks : Clocks {
  ClockReading Read() override { return Now; }
  bool Synchronized() override { return Confirmed; }

  ClockReading Now{.Wall = kNow, .Elapsed = kDay};
  bool Confirmed = true;
};

class HousekeepingTest : public store::EngineTest {
 protected:
  std::int32_t Count(const std::string& condition) {
    return Made->Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
  HouseholdWork Round(Intervals intervals) {
    Housekeeping housekeeping(Made->DataSource(), intervals, Machine, Folder.Path(), Log,
                              {.RowsAtOnce = 10, .Breath = std::chrono::milliseconds(0)});
    return housekeeping.Round(std::stop_source().get_token());
  }

  const test::TempFolder Folder;
  TestClocks Machine;
  std::vector<std::string> Lines;
  ServiceLog Log{[this](LogLevel, std::string_view line) { Lines.emplace_back(line); }};
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

TEST_P(HousekeepingTest, NothingGoesOnTheWordOfOneClock) {
  for (int day = 0; day < 20; ++day) {
    Made->AddTrap({.EventTime = kNow - 30 * kDay - day * kDay});
  }
  Made->AddTrap({.EventTime = kNow + 300 * kDay});  // of a time when the clock was ahead
  const std::stop_source never;
  Machine.Confirmed = false;
  Housekeeping housekeeping(Made->DataSource(), {.AckHours = 12, .PurgeDays = 7}, Machine, Folder.Path(),
                            Log);
  for (int hour = 0; hour <= 24; ++hour) {
    const HouseholdWork work = housekeeping.Round(never.get_token());
    ASSERT_EQ(work.Purged, 0);
    // A clock that went evenly for twelve hours shows that what it calls so old is not from today.
    ASSERT_EQ(work.Acknowledged, hour == 12 ? 20 : 0) << hour;
    Machine.Now.Wall += kHour;
    Machine.Now.Elapsed += kHour;
  }
  ASSERT_EQ(Lines.size(), 2u) << "once, and once a day";
  EXPECT_NE(Lines[0].find("nothing confirms it"), std::string::npos);
  housekeeping.ConfirmClock();
  EXPECT_EQ(housekeeping.Round(never.get_token()).Purged, 20);
  // The next run still knows it, and a clock that was set meanwhile is not believed.
  Made->AddTrap({.EventTime = static_cast<std::int32_t>(Machine.Now.Wall)});
  Machine.Now.Wall += 100 * kDay;
  EXPECT_EQ(Round({.AckHours = 0, .PurgeDays = 7}).Purged, 0);
  Machine.Confirmed = true;
  EXPECT_EQ(Round({.AckHours = 0, .PurgeDays = 7}).Purged, 1);
  EXPECT_EQ(Count("1 = 1"), 1);
}

TEST_P(HousekeepingTest, AStoreThatIsAwayIsUsedAgainAtTheNextRound) {
  Made->AddTrap({.EventTime = 1});
  Housekeeping housekeeping(Made->DataSource(), {.AckHours = 0, .PurgeDays = 1}, Machine, Folder.Path(), Log);
  const std::stop_source never;
  Made->TakeAway();
  EXPECT_THROW(housekeeping.Round(never.get_token()), store::DatabaseError);
  Made->BringBack();
  EXPECT_EQ(housekeeping.Round(never.get_token()).Purged, 1);
}

}  // namespace
}  // namespace korvane::receiver
