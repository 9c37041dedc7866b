// The feeder on every engine: transactions that commit out of order, a store that goes away or hangs.
#include <gtest/gtest.h>

#include <numeric>

#include "intake/StoreFeeder.h"
#include "store/EngineTest.h"
#include "support/FakePlatform.h"
#include "support/Files.h"

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

TEST_P(FeederOnEnginesTest, LosesAndDoublesNothingWhateverTheStoreDoes) {
  const std::vector<test::StoredTrap> batch(20);
  for (const bool first : {true, false, false}) {
    Made->TakeAway();  // at the start already
    if (first) {
      ASSERT_EQ(Feeder->StartRecvEvents(0), intake::kReceiverThreadOk);
    }
    EXPECT_TRUE(test::WaitUntil([&] { return Feeder->State().Away.has_value(); }));
    Made->BringBack();
    const auto last = static_cast<std::size_t>(Made->AddTraps(batch));
    ASSERT_TRUE(Arrive(last)) << last << " is not there, of " << Numbers.size() << "; replaced "
                              << Feeder->State().Replaced << ", away " << Feeder->State().Away.has_value()
                              << ", waiting for "
                              << Feeder->State().Waiting.value_or(std::chrono::milliseconds(0)).count();
    Made->AddTraps(batch);  // read before the store goes, or after it is back
  }
  ASSERT_TRUE(Arrive(120));
  EXPECT_TRUE(test::WaitUntil([&] { return !Feeder->State().Away; }));
  std::vector<std::int32_t> expected(120);
  std::iota(expected.begin(), expected.end(), 1);
  EXPECT_EQ(Numbers, expected);
  if (GetParam() == Engine::Sqlite) {
    return;  // its writers come one at a time, and its readers wait for nobody
  }

  Made->Freeze();
  EXPECT_TRUE(test::WaitUntil([&] {
    return Feeder->State().Waiting.value_or(std::chrono::milliseconds(0)) > std::chrono::milliseconds(300);
  })) << "a call that is not answered is told from a store that is quiet";
  Made->Thaw();
  EXPECT_TRUE(test::WaitUntil([&] {
    return Feeder->State().Waiting.value_or(std::chrono::milliseconds(0)) < std::chrono::milliseconds(300);
  }));

  Connection other;
  Made->Connect(other);
  other.BeginTransaction();
  other.Execute(
      "INSERT INTO EventTrap (SequenceNumber, EventTime, EventDescription, Event_ExtDescr, EventNotes) "
      "VALUES (121, 1000, '', '', '')");
  Made->AddTrap({.SequenceNumber = 123});
  ASSERT_TRUE(Arrive(121));
  other.Commit();
  ASSERT_TRUE(Arrive(122)) << "what is committed late is found";
  EXPECT_EQ(Numbers.back(), 121);

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
}

KORVANE_ON_EVERY_ENGINE(FeederOnEnginesTest);

}  // namespace
}  // namespace korvane::store
