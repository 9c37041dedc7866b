// The feeder on every engine: transactions that commit out of order, and a store that hangs.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "intake/StoreFeeder.h"
#include "store/EngineTest.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"

namespace korvane::store {
namespace {

using intake::StoreFeeder;
using std::chrono::milliseconds;
using Numbers = std::vector<std::int32_t>;

class FeederEngines : public EngineTest {
 protected:
  StoreFeeder Feeder() {
    intake::StoreFeederOptions options;
    options.PollInterval = milliseconds(10);
    options.FirstRetry = milliseconds(10);
    options.StopPatience = std::chrono::seconds(30);
    return {[source = Made->DataSource()] {
              auto connection = std::make_unique<Connection>();
              connection->Open(source, {}, {});
              return connection;
            },
            std::make_shared<test::FakeHostNames>(), intake::MailSettings{}, options};
  }
  static bool DrainUntil(StoreFeeder& feeder, Numbers& numbers, std::size_t count) {
    const auto drained = [&] {
      intake::ReceivedTrap trap;
      while (feeder.GetEventFromList(trap) != 0) numbers.push_back(trap.SequenceNumber);
      return numbers.size() >= count;
    };
    return test::WaitUntil(drained, std::chrono::seconds(60));
  }
};

TEST_P(FeederEngines, ALowerNumberThatCommitsLaterIsDeliveredToo) {
  StoreFeeder feeder = Feeder();
  Made->AddTrap({.SequenceNumber = 10});
  ASSERT_EQ(feeder.StartRecvEvents(0), intake::kReceiverThreadOk);
  Numbers numbers;
  ASSERT_TRUE(DrainUntil(feeder, numbers, 1));
  const std::string insert =
      "INSERT INTO EventTrap (SequenceNumber, EventTime, EventDescription, Event_ExtDescr, EventNotes) "
      "VALUES ";
  if (GetParam() == Engine::Sqlite) {  // one writer at a time: only the numbers can be out of order
    Db.Execute(insert + "(13, 1000, '', '', '')");
    ASSERT_TRUE(DrainUntil(feeder, numbers, 2));
    Db.Execute(insert + "(11, 1000, '', '', '')");
  } else {
    Connection slow;
    Made->Connect(slow);
    slow.BeginTransaction();
    slow.Execute(insert + "(11, 1000, '', '', '')");
    Db.Execute(insert + "(13, 1000, '', '', '')");
    ASSERT_TRUE(DrainUntil(feeder, numbers, 2));
    slow.Commit();
  }
  ASSERT_TRUE(DrainUntil(feeder, numbers, 3));
  EXPECT_EQ(numbers, (Numbers{10, 13, 11}));
  EXPECT_EQ(feeder.StopRecvEvents(), intake::kReceiverThreadOk);
}

TEST_P(FeederEngines, AStoreThatIsTakenAwayAndGivenBackLosesAndDoublesNothing) {
  StoreFeeder feeder = Feeder();
  Made->TakeAway();  // at the start already
  ASSERT_EQ(feeder.StartRecvEvents(0), intake::kReceiverThreadOk);
  EXPECT_TRUE(test::WaitUntil([&] { return !feeder.LastError().empty(); }));
  Made->BringBack();
  Numbers numbers;
  const std::vector<test::StoredTrap> batch(20);
  for (int round = 1; round <= 3; ++round) {
    Made->AddTraps(batch);  // read before the store goes, or after it is back
    Made->TakeAway();
    EXPECT_TRUE(test::WaitUntil([&] { return !feeder.LastError().empty(); }));
    Made->BringBack();
    Made->AddTraps(batch);
    ASSERT_TRUE(DrainUntil(feeder, numbers, static_cast<std::size_t>(40 * round)));
  }
  EXPECT_TRUE(test::WaitUntil([&] { return feeder.LastError().empty(); }));
  Numbers expected(120);
  std::iota(expected.begin(), expected.end(), 1);
  EXPECT_EQ(numbers, expected);
}

// The embedded engine's readers wait for nobody, so only the servers can hang.
class FeederServers : public FeederEngines {};

TEST_P(FeederServers, AStoreThatHangsDoesNotKeepTheThreadFromStopping) {
  StoreFeeder feeder = Feeder();
  Made->AddTrap({});
  ASSERT_EQ(feeder.StartRecvEvents(0), intake::kReceiverThreadOk);
  Numbers numbers;
  ASSERT_TRUE(DrainUntil(feeder, numbers, 1));
  Connection locker;
  Made->Connect(locker);
  const bool postgres = GetParam() == Engine::PostgreSql;
  if (postgres) locker.BeginTransaction();
  locker.Execute(postgres ? "LOCK TABLE EventTrap IN ACCESS EXCLUSIVE MODE" : "LOCK TABLES EventTrap WRITE");
  std::this_thread::sleep_for(milliseconds(100));  // several polls: the thread hangs in one by now
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(feeder.StopRecvEvents(), intake::kReceiverThreadOk);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_TRUE(locker.IsOpen());  // the lock was held all the while
}

KORVANE_ON_EVERY_ENGINE(FeederEngines);
INSTANTIATE_TEST_SUITE_P(, FeederServers, testing::Values(Engine::PostgreSql, Engine::MariaDb), EngineOf);

}  // namespace
}  // namespace korvane::store
