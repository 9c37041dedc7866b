// Which rows the follower calls new, on a real store, with the time handed in.
#include "intake/TrapFollower.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "store/DatabaseError.h"
#include "support/TestStore.h"

namespace korvane::intake {
namespace {

using std::chrono::seconds;
using Numbers = std::vector<std::int32_t>;

class TrapFollowerTest : public testing::Test {
 protected:
  TrapFollowerTest() { store_.Connect(connection_); }

  void Add(std::int32_t number, std::int32_t time = 1000, std::int32_t ack = 0) {
    store_.AddTrap({.SequenceNumber = number, .EventTime = time, .EventAck = ack});
  }
  // Everything there is to read now, in small steps.
  Numbers ReadAll(TrapFollower& follower) {
    Numbers numbers;
    bool more = true;
    while (more) {
      const TrapFollower::Progress read = follower.Read(connection_, now_);
      for (const ReceivedTrap& trap : read.Traps) numbers.push_back(trap.SequenceNumber);
      more = read.More;
    }
    return numbers;
  }

  test::SqliteStore store_;
  store::Connection connection_;
  std::chrono::steady_clock::time_point now_{seconds(1'000'000)};
  TrapFollowerLimits small_{.NumbersPerRead = 7,
                            .BytesPerRead = 4000,
                            .LookBack = 50,
                            .MostGaps = 100,
                            .GapLife = seconds(70),
                            .LongestStep = seconds(10)};
};

TEST_F(TrapFollowerTest, ItBeginsWithUnacknowledgedTrapsAtOrAfterTheMark) {
  Add(1, 999);
  Add(2, 1000);
  Add(3, 1000, 1);
  Add(4, 998);  // stored late, but before the start: the first load has it
  Add(5, 1001);
  TrapFollower follower(1000, small_);
  EXPECT_EQ(ReadAll(follower), (Numbers{2, 5}));
  EXPECT_EQ(ReadAll(follower), Numbers{});
  Add(6, 10);  // from now on a trap is new whatever its time
  Add(7, 2000, 1);
  Add(8, 2000);
  EXPECT_EQ(ReadAll(follower), (Numbers{6, 8}));
}

// A receiver that catches up stores old times.  What it stores after the console took note of the newest
// number is new, though the console's load may not have seen it any more.
TEST_F(TrapFollowerTest, WhatIsStoredBetweenTheLoadAndTheFirstReadIsNewWhateverItsTime) {
  Add(1, 990);
  Add(2, 1000);
  Add(3, 991);
  Add(4, 992, 1);
  TrapFollower follower(1000, {}, 2);
  EXPECT_EQ(ReadAll(follower), (Numbers{2, 3}));
  Add(5, 10);
  EXPECT_EQ(ReadAll(follower), Numbers{5});
}

TEST_F(TrapFollowerTest, EveryFieldOfTheRowArrives) {
  const std::string longText(70'000, 'x');
  store_.AddTrap({.SequenceNumber = 5,
                  .EventTime = 1234,
                  .Source = "it's \xc3\xa4 <b>",
                  .EnterpriseOid = "1.3.6.1",
                  .GenericTrap = 3,
                  .SpecificTrap = -7,
                  .EventDescription = "desc",
                  .Event_ExtDescr = longText});
  TrapFollower follower(0);
  const TrapFollower::Progress read = follower.Read(connection_, now_);
  ASSERT_EQ(read.Traps.size(), 1U);
  const ReceivedTrap& trap = read.Traps.front();
  EXPECT_EQ(trap.Source, "it's \xc3\xa4 <b>");
  EXPECT_EQ(trap.EnterpriseOid, "1.3.6.1");
  EXPECT_EQ(trap.SpecificTrap, -7);
  EXPECT_EQ(trap.GenericTrap, 3);
  EXPECT_EQ(trap.SequenceNumber, 5);
  EXPECT_EQ(trap.EventTime, 1234);
  EXPECT_EQ(trap.TimeKey, 1234);
  EXPECT_EQ(trap.EventDescription, "desc");
  EXPECT_EQ(trap.VarBindsFirst + trap.VarBindsSecond, longText);
  EXPECT_GE(read.Bytes, longText.size());
}

TEST_F(TrapFollowerTest, ANumberThatIsCommittedLateIsStillFoundForAWhile) {
  Add(100);
  Add(103);
  TrapFollower follower(1000, small_);
  EXPECT_EQ(ReadAll(follower), (Numbers{100, 103}));
  Add(99, 1);  // was under way when following began
  Add(102);
  EXPECT_EQ(ReadAll(follower), (Numbers{99, 102}));
  Add(110);
  EXPECT_EQ(ReadAll(follower), (Numbers{110}));
  for (int i = 0; i < 59; ++i) {
    now_ += seconds(1);
    EXPECT_EQ(ReadAll(follower), Numbers{});
  }
  now_ += seconds(3600);  // an hour without the store ages nothing but by one step
  Add(101, 1000, 1);      // acknowledged by somebody else already
  Add(105);
  EXPECT_EQ(ReadAll(follower), (Numbers{105}));
  now_ += seconds(1);
  Add(106);  // looked for once more before it is given up
  EXPECT_EQ(ReadAll(follower), (Numbers{106}));
  Add(107);
  EXPECT_EQ(ReadAll(follower), Numbers{});
}

TEST_F(TrapFollowerTest, PurgedRowsAndUnusedNumbersAreSteppedOver) {
  for (std::int32_t number = 1; number <= 40; ++number) Add(number);
  TrapFollower follower(0, small_);
  EXPECT_EQ(ReadAll(follower).size(), 40U);
  store_.Execute("DELETE FROM EventTrap WHERE SequenceNumber <= 39");
  Add(2'000'000);
  Add(2'000'001);
  EXPECT_EQ(ReadAll(follower), (Numbers{2'000'000, 2'000'001}));
  Add(2'147'483'647);
  EXPECT_EQ(ReadAll(follower), Numbers{2'147'483'647});
}

TEST_F(TrapFollowerTest, NumbersThatBeginAgainAreNewAndWhatComesBackIsNot) {
  for (std::int32_t number = 1; number <= 20; ++number) Add(number, 1000 + number);
  TrapFollower follower(0, small_);
  EXPECT_EQ(ReadAll(follower).size(), 20U);
  store_.Execute("UPDATE EventTrap SET SequenceNumber = SequenceNumber + 1000000, EventAck = 1");
  store_.Execute("UPDATE EventTrap SET SequenceNumber = SequenceNumber - 1000000, EventAck = 0");
  EXPECT_EQ(ReadAll(follower), Numbers{});  // as if the rows had been away and returned
  store_.Execute("DELETE FROM EventTrap WHERE SequenceNumber > 10");
  EXPECT_EQ(ReadAll(follower), Numbers{});
  store_.Execute("DELETE FROM EventTrap");
  EXPECT_EQ(ReadAll(follower), Numbers{});
  Add(1, 5000);
  Add(2, 5001);
  EXPECT_EQ(ReadAll(follower), (Numbers{1, 2}));
  Add(3, 5001);
  EXPECT_EQ(ReadAll(follower), (Numbers{3}));
}

TEST_F(TrapFollowerTest, OneReadStaysWithinItsBounds) {
  for (std::int32_t number = 1; number <= 30; ++number) {
    store_.AddTrap({.SequenceNumber = number, .EventDescription = std::string(1500, 'x')});
  }
  TrapFollower follower(0, small_);
  std::size_t most = 0;
  Numbers numbers;
  for (bool more = true; more;) {
    const TrapFollower::Progress read = follower.Read(connection_, now_);
    most = std::max(most, read.Traps.size());
    for (const ReceivedTrap& trap : read.Traps) numbers.push_back(trap.SequenceNumber);
    more = read.More;
  }
  EXPECT_EQ(most, 3U);  // the third trap passes 4000 bytes
  EXPECT_EQ(numbers.size(), 30U);
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
}

// Several writers take numbers in order and commit in any order, traps are purged and acknowledged, and the
// table is away now and then: whoever is stored unacknowledged is delivered once, and nobody twice.
TEST_F(TrapFollowerTest, NoneIsLostAndNoneDoubledWhateverTheOrderOfCommits) {
  std::mt19937 random(7);
  const auto below = [&](int end) { return std::uniform_int_distribution(0, end - 1)(random); };
  TrapFollower follower(1000, small_);
  Numbers expected;
  Numbers delivered;
  Numbers underWay;
  std::int32_t next = 1;
  bool away = false;
  for (int step = 0; step < 1500; ++step) {
    if (!away) {
      for (int i = below(4); i > 0; --i) underWay.push_back(next++);
      std::vector<test::StoredTrap> batch;
      for (int i = below(5); i > 0 && !underWay.empty(); --i) {
        // A number waits for at most a few dozen others: what lies longest goes first now and then.
        const std::size_t at =
            below(3) == 0 ? 0 : static_cast<std::size_t>(below(static_cast<int>(underWay.size())));
        const std::int32_t number = underWay[at];
        underWay.erase(underWay.begin() + static_cast<std::ptrdiff_t>(at));
        const bool abandoned = below(20) == 0;
        const std::int32_t ack = below(10) == 0 ? 1 : 0;
        if (abandoned) continue;
        batch.push_back({.SequenceNumber = number, .EventTime = 1000 + below(2000), .EventAck = ack});
        if (ack == 0) expected.push_back(number);
      }
      store_.AddTraps(batch);
    }
    if (below(3) == 0) {
      now_ += seconds(1);
      try {
        const Numbers found = ReadAll(follower);
        EXPECT_FALSE(away);
        delivered.insert(delivered.end(), found.begin(), found.end());
        if (below(10) == 0)
          store_.Execute("DELETE FROM EventTrap WHERE SequenceNumber < " + std::to_string(next - 200));
      } catch (const store::DatabaseError&) {
        EXPECT_TRUE(away);
        now_ += seconds(100);
      }
    }
    if (below(25) == 0) {
      store_.Execute(away ? "ALTER TABLE Elsewhere RENAME TO EventTrap"
                          : "ALTER TABLE EventTrap RENAME TO Elsewhere");
      away = !away;
    }
  }
  if (away) store_.Execute("ALTER TABLE Elsewhere RENAME TO EventTrap");
  const Numbers rest = ReadAll(follower);
  delivered.insert(delivered.end(), rest.begin(), rest.end());
  std::sort(expected.begin(), expected.end());
  std::sort(delivered.begin(), delivered.end());
  EXPECT_GT(expected.size(), 600U);
  Numbers lost;
  std::set_difference(expected.begin(), expected.end(), delivered.begin(), delivered.end(),
                      std::back_inserter(lost));
  EXPECT_EQ(lost, Numbers{});
  EXPECT_EQ(delivered, expected);
}

}  // namespace
}  // namespace korvane::intake
