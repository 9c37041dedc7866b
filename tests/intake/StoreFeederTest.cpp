// The feeder's thread on a real store: what it delivers, and that nothing it meets holds the console up.
#include "intake/StoreFeeder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <numeric>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "common/RegistryValues.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"
#include "support/TestStore.h"

namespace korvane::intake {
namespace {

using std::chrono::milliseconds;
using Numbers = std::vector<std::int32_t>;

Numbers UpTo(std::int32_t last) {
  Numbers numbers(static_cast<std::size_t>(last));
  std::iota(numbers.begin(), numbers.end(), 1);
  return numbers;
}

class StoreFeederTest : public testing::Test {
 protected:
  static StoreFeederOptions Quick() {
    StoreFeederOptions options;
    options.PollInterval = milliseconds(5);
    options.FirstRetry = milliseconds(5);
    options.LongestRetry = milliseconds(20);
    return options;
  }
  OpenConnection Open() {
    return [source = store_.DataSource()] {
      auto connection = std::make_unique<store::Connection>();
      connection->Open(source, {}, {});
      return connection;
    };
  }
  StoreFeeder Feeder(StoreFeederOptions options = Quick()) {
    return {Open(), hosts_, MailSettings{}, std::move(options)};
  }

  static void Drain(StoreFeeder& feeder, Numbers& numbers) {
    ReceivedTrap trap;
    while (feeder.GetEventFromList(trap) != 0) numbers.push_back(trap.SequenceNumber);
  }
  static bool DrainUntil(StoreFeeder& feeder, Numbers& numbers, std::size_t count) {
    return test::WaitUntil([&] {
      Drain(feeder, numbers);
      return numbers.size() >= count;
    });
  }
  void AddMany(int count) {
    std::vector<test::StoredTrap> traps(static_cast<std::size_t>(count));
    store_.AddTraps(traps);
  }
  test::SqliteStore store_;
  std::shared_ptr<test::FakeHostNames> hosts_ = std::make_shared<test::FakeHostNames>();
};

TEST_F(StoreFeederTest, ItDeliversWhatIsNewInOrderAndStops) {
  store_.AddTrap({.EventTime = 10});
  store_.AddTrap({.EventTime = 20, .EventAck = 1});
  store_.AddTrap({.EventTime = 20});
  StoreFeederOptions options = Quick();
  options.MostQueuedBytes = 1;  // each trap alone is more
  StoreFeeder feeder = Feeder(options);
  ReceivedTrap trap;
  EXPECT_EQ(feeder.GetEventFromList(trap), 0);
  EXPECT_EQ(feeder.StopRecvEvents(), kReceiverThreadOk);  // nothing runs yet
  ASSERT_EQ(feeder.StartRecvEvents(20), kReceiverThreadOk);
  EXPECT_EQ(feeder.StartRecvEvents(20), kReceiverThreadOk);
  Numbers numbers;
  ASSERT_TRUE(DrainUntil(feeder, numbers, 1));
  store_.AddTrap({.EventTime = 5});
  store_.AddTrap({.EventTime = 30});
  ASSERT_TRUE(DrainUntil(feeder, numbers, 3));
  EXPECT_EQ(numbers, (Numbers{3, 4, 5}));
  EXPECT_EQ(feeder.StopRecvEvents(), kReceiverThreadOk);
  store_.AddTrap({.EventTime = 40, .EventNotes = "seen by Anna"});
  store_.AddTrap({.EventTime = 40});
  EXPECT_EQ(feeder.GetEventFromList(trap), 0);

  ASSERT_EQ(feeder.StartRecvEvents(40), kReceiverThreadOk);  // afresh, from the new mark
  for (const auto& [number, notes] : {std::pair(6, "seen by Anna"), std::pair(7, "")}) {
    ASSERT_TRUE(test::WaitUntil([&] { return feeder.GetEventFromList(trap) != 0; }));
    EXPECT_EQ(trap.SequenceNumber, number);
    EXPECT_EQ(feeder.NotesOfTrap(), notes);
  }
}

TEST_F(StoreFeederTest, TheTrapFileAloneMayBeAway) {
  StoreFeeder feeder = Feeder();
  ASSERT_EQ(feeder.StartRecvEvents(0), kReceiverThreadOk);
  Numbers numbers;
  AddMany(10);
  ASSERT_TRUE(DrainUntil(feeder, numbers, 10));
  store_.Db().Close();  // the last one out tidies the files up
  std::filesystem::rename(store_.TrapFile(), store_.TrapFile().string() + ".away");
  EXPECT_TRUE(test::WaitUntil([&] { return !feeder.LastError().empty(); }));
  std::filesystem::rename(store_.TrapFile().string() + ".away", store_.TrapFile());
  store_.Connect(store_.Db());
  AddMany(10);
  ASSERT_TRUE(DrainUntil(feeder, numbers, 20));
  EXPECT_EQ(numbers, UpTo(20));
}

TEST_F(StoreFeederTest, ABacklogWaitsInTheStoreAndNotInMemory) {
  AddMany(5000);
  StoreFeederOptions options = Quick();
  options.MostQueuedTraps = 300;
  options.Following.NumbersPerRead = 100;
  StoreFeeder feeder = Feeder(options);
  ASSERT_EQ(feeder.StartRecvEvents(0), kReceiverThreadOk);
  Numbers numbers;
  ASSERT_TRUE(test::WaitUntil([&] {
    ReceivedTrap trap;
    if (feeder.GetEventFromList(trap) == 0) return false;
    numbers.push_back(trap.SequenceNumber);
    return true;
  }));
  // What the thread has not read yet it reads as acknowledged.
  store_.Execute("UPDATE EventTrap SET EventAck = 1");
  const std::int32_t last = store_.AddTrap({});
  ASSERT_TRUE(test::WaitUntil([&] {
    Drain(feeder, numbers);
    return numbers.back() == last;
  }));
  EXPECT_LE(numbers.size(), 1000U);
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));

  AddMany(5000);  // and a full queue does not keep the thread from stopping
  EXPECT_EQ(feeder.StopRecvEvents(), kReceiverThreadOk);
}

TEST_F(StoreFeederTest, NoThreadIsAnAnswerAndNotACrash) {
  StoreFeederOptions options = Quick();
  options.MakeThread = [](const std::function<void()>&) -> std::thread {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  };
  StoreFeeder feeder = Feeder(options);
  EXPECT_NE(feeder.StartRecvEvents(0), kReceiverThreadOk);
  ReceivedTrap trap;
  EXPECT_EQ(feeder.GetEventFromList(trap), 0);
  EXPECT_EQ(feeder.StopRecvEvents(), kReceiverThreadOk);
}

TEST_F(StoreFeederTest, AConnectThatHangsIsLeftBehind) {
  struct Gate {
    std::mutex Mutex;
    std::condition_variable Changed;
    bool Reached = false;
    bool Open = false;
  };
  const auto gate = std::make_shared<Gate>();
  StoreFeederOptions options = Quick();
  options.StopPatience = milliseconds(50);
  {
    StoreFeeder feeder(
        [gate]() -> std::unique_ptr<store::Connection> {
          std::unique_lock lock(gate->Mutex);
          gate->Reached = true;
          gate->Changed.notify_all();
          gate->Changed.wait(lock, [&] { return gate->Open; });
          throw std::runtime_error("too late");
        },
        hosts_, MailSettings{}, options);
    ASSERT_EQ(feeder.StartRecvEvents(0), kReceiverThreadOk);
    std::unique_lock lock(gate->Mutex);
    gate->Changed.wait(lock, [&] { return gate->Reached; });
    lock.unlock();
    EXPECT_EQ(feeder.StopRecvEvents(), kReceiverThreadFailed);
  }
  {
    const std::lock_guard lock(gate->Mutex);
    gate->Open = true;
    gate->Changed.notify_all();
  }
  EXPECT_TRUE(test::WaitUntil([&] { return gate.use_count() == 1; }));
}

TEST_F(StoreFeederTest, MailDefaultsComeFromTheRegistryAndElseFromThisHost) {
  test::FakeRegistry registry;
  const auto feederOf = [&](test::FakeRegistry& values) {
    return StoreFeeder(Open(), hosts_, ReadMailSettings(values), Quick());
  };
  {
    StoreFeeder feeder = feederOf(registry);
    EXPECT_EQ(feeder.GetDefaultMailSettings().SmtpServer, "localhost");
    EXPECT_TRUE(test::WaitUntil([&] { return feeder.GetDefaultMailSettings().Domain == "example.net"; }));
    EXPECT_EQ(feeder.GetDefaultMailSettings().Recipient, "root@example.net");
  }
  {
    auto homeless = std::make_shared<test::FakeHostNames>();
    homeless->Domain.clear();
    StoreFeeder feeder(Open(), homeless, MailSettings{}, Quick());
    EXPECT_EQ(feeder.GetDefaultMailSettings().Domain, "localhost") << "the sender must be a whole address";
    EXPECT_EQ(feeder.GetDefaultMailSettings().Recipient, "root@localhost");
  }
  registry.PutText(kManagerKey, "KVMailDomain", "ops.example");
  EXPECT_EQ(feederOf(registry).GetDefaultMailSettings().Recipient, "root@ops.example");
  registry.PutText(kManagerKey, "KVSmtpServer", "mail.example");
  registry.PutText(kManagerKey, "KVMailRecipient", "noc@example.org");
  const MailSettings settings = feederOf(registry).GetDefaultMailSettings();
  EXPECT_EQ(settings.SmtpServer, "mail.example");
  EXPECT_EQ(settings.Recipient, "noc@example.org");
  EXPECT_EQ(settings.Domain, "ops.example");
}

}  // namespace
}  // namespace korvane::intake
