// The feeder on every engine: transactions that commit out of order, a store that goes away or hangs.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <numeric>

#include "intake/StoreFeeder.h"
#include "store/EngineTest.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"

namespace korvane::store {
namespace {

using std::chrono::seconds;

class FeederOnEnginesTest : public EngineTest {
 protected:
  FeederOnEnginesTest() {
    intake::StoreFeederOptions options;
    options.PollInterval = std::chrono::milliseconds(10);
    options.FirstRetry = std::chrono::milliseconds(10);
    options.StopPatience = seconds(20);
    const auto open = [source = Made->DataSource()] {
      auto connection = std::make_unique<Connection>();
      connection->Open(source, {}, {});
      return connection;
    };
    Feeder.emplace(open, std::make_shared<test::FakeHostNames>(), intake::MailSettings(), options);
  }
  bool Arrive(std::size_t count) {
    const auto drained = [&] {
      for (intake::ReceivedTrap trap; Feeder->GetEventFromList(trap) != 0;) {
        Numbers.push_back(trap.SequenceNumber);
      }
      return Numbers.size() >= count;
    };
    return test::WaitUntil(drained, seconds(60));
  }

  std::optional<intake::StoreFeeder> Feeder;
  std::vector<std::int32_t> Numbers;
};

TEST_P(FeederOnEnginesTest, AStoreThatIsTakenAwayAndGivenBackLosesAndDoublesNothing) {
  const std::vector<test::StoredTrap> batch(20);
  std::size_t stored = 0;
  for (const bool first : {true, false, false}) {
    Made->TakeAway();  // at the start already
    if (first) {
      ASSERT_EQ(Feeder->StartRecvEvents(0), intake::kReceiverThreadOk);
    }
    EXPECT_TRUE(test::WaitUntil([&] { return !Feeder->LastError().empty(); }));
    Made->BringBack();
    Made->AddTraps(batch);
    stored += batch.size();
    ASSERT_TRUE(Arrive(stored));
    Made->AddTraps(batch);  // read before the store goes, or after it is back
    stored += batch.size();
  }
  ASSERT_TRUE(Arrive(stored));
  EXPECT_TRUE(test::WaitUntil([&] { return Feeder->LastError().empty(); }));
  std::vector<std::int32_t> expected(stored);
  std::iota(expected.begin(), expected.end(), 1);
  EXPECT_EQ(Numbers, expected);
}

// With the embedded engine writers come one at a time, and readers wait for nobody.
class FeederOnServersTest : public FeederOnEnginesTest {
 protected:
  static void Insert(Connection& connection, std::string_view number) {
    connection.Execute(fmt::format(
        "INSERT INTO EventTrap (SequenceNumber, EventTime, EventDescription, Event_ExtDescr, EventNotes) "
        "VALUES ({}, 1000, '', '', '')",
        number));
  }
};

TEST_P(FeederOnServersTest, ALateCommitIsFoundAndAStoreThatHangsDoesNotKeepTheThreadFromStopping) {
  Made->AddTrap({.SequenceNumber = 10});
  ASSERT_EQ(Feeder->StartRecvEvents(0), intake::kReceiverThreadOk);
  ASSERT_TRUE(Arrive(1));
  Connection other;
  Made->Connect(other);
  other.BeginTransaction();
  Insert(other, "11");
  Insert(Db, "13");
  ASSERT_TRUE(Arrive(2));
  other.Commit();
  ASSERT_TRUE(Arrive(3));
  EXPECT_EQ(Numbers, (std::vector{10, 13, 11}));

  const bool postgres = GetParam() == Engine::PostgreSql;
  if (postgres) {
    other.BeginTransaction();
  }
  other.Execute(postgres ? "LOCK TABLE EventTrap IN ACCESS EXCLUSIVE MODE" : "LOCK TABLES EventTrap WRITE");
  ASSERT_TRUE(test::WaitUntil([&] {
    return Made->Number(postgres ? "SELECT COUNT(*) FROM pg_locks WHERE NOT granted"
                                 : "SELECT COUNT(*) FROM information_schema.PROCESSLIST "
                                   "WHERE STATE LIKE 'Waiting for table%'") == 1;
  })) << "the thread waits in a statement";
  EXPECT_EQ(Feeder->StopRecvEvents(), intake::kReceiverThreadOk) << "its call was given up";
  EXPECT_TRUE(other.IsOpen());  // the lock was held all the while
}

KORVANE_ON_EVERY_ENGINE(FeederOnEnginesTest);
INSTANTIATE_TEST_SUITE_P(, FeederOnServersTest, testing::Values(Engine::PostgreSql, Engine::MariaDb),
                         EngineOf);

}  // namespace
}  // namespace korvane::store
