// The receiver link on a real store: which rows are new, the thread that queues them, and host names that are
// looked up beside it.
#include "intake/StoreFeeder.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>

#include "common/RegistryValues.h"
#include "support/FakePlatform.h"
#include "support/Files.h"
#include "support/TestStore.h"

namespace korvane::intake {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::WaitUntil;
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
    for (bool more = true; more;) {
      const TrapFollower::Progress read = follower.Read(connection_, now_);
      for (const ReceivedTrap& trap : read.Traps) {
        numbers.push_back(trap.SequenceNumber);
      }
      EXPECT_LT(read.Bytes, 6000U) << "the trap that passes the bound is the last";
      more = read.More;
    }
    return numbers;
  }
  Numbers AddAndRead(TrapFollower& follower, const Numbers& numbers) {
    for (const std::int32_t number : numbers) {
      Add(number);
    }
    return ReadAll(follower);
  }

  test::SqliteStore store_;
  store::Connection connection_;
  std::chrono::steady_clock::time_point now_{seconds(1'000'000)};
  TrapFollowerLimits small_{.NumbersPerRead = 7,
                            .LongestRead = 14,
                            .BytesPerRead = 4000,
                            .LookBack = 50,
                            .LongestGap = 50,
                            .Gaps = {.Life = seconds(70), .RoundEvery = seconds(0)},
                            .LookEvery = seconds(0),
                            .LongestStep = seconds(10)};
};

// A receiver that catches up stores old times: of what was there they tell nothing, of what comes later the
// numbers do.
TEST_F(TrapFollowerTest, NewIsWhatTheConsoleHasNotLoaded) {
  Add(1, 999);
  Add(2, 1000);
  Add(3, 1000, 1);
  Add(4, 998);
  store_.AddTrap({5, 1234, "it's \xc3\xa4 <b>", "1.3.6.1", 3, -7, "desc", "rest", "seen by Anna"});
  TrapFollower whole(1001);
  const TrapFollower::Progress read = whole.Read(connection_, now_);
  ASSERT_EQ(read.Traps.size(), 1U);
  const ReceivedTrap& trap = read.Traps.front();
  EXPECT_EQ(fmt::format("{}|{}|{}|{}|{}|{}|{}|{}|{}", trap.SequenceNumber, trap.EventTime, trap.TimeKey,
                        trap.Source, trap.EnterpriseOid, trap.GenericTrap, trap.SpecificTrap,
                        trap.EventDescription, trap.VarBindsFirst + trap.VarBindsSecond),
            "5|1234|1234|it's \xc3\xa4 <b>|1.3.6.1|3|-7|desc|rest");
  EXPECT_EQ(read.Notes, (TrapNotes{{5, "seen by Anna"}}));

  small_.LookBack = 1;
  TrapFollower follower(1000, small_);
  TrapFollower knowing(1000, small_, 3);  // so 4 was stored after the load
  EXPECT_EQ(ReadAll(follower), (Numbers{2, 5}));
  EXPECT_EQ(ReadAll(knowing), (Numbers{2, 4, 5}));
  EXPECT_EQ(ReadAll(follower), Numbers{});
  Add(6, 10);
  Add(7, 2000, 1);
  Add(8, 2000);
  EXPECT_EQ(ReadAll(follower), (Numbers{6, 8}));
  EXPECT_EQ(ReadAll(knowing), (Numbers{6, 8}));
}

TEST_F(TrapFollowerTest, ANumberThatIsCommittedLateIsStillFoundForAWhile) {
  Add(100);
  Add(103);
  TrapFollower follower(1000, small_);
  EXPECT_EQ(ReadAll(follower), (Numbers{100, 103}));
  Add(99, 1);  // was under way when following began
  EXPECT_EQ(AddAndRead(follower, {102}), (Numbers{99, 102}));
  EXPECT_EQ(AddAndRead(follower, {110}), Numbers{110});
  for (int i = 0; i < 59; ++i) {
    now_ += seconds(1);
    EXPECT_EQ(ReadAll(follower), Numbers{});
  }
  now_ += seconds(3600);  // an hour without the store ages nothing but by one step
  Add(101, 1000, 1);      // acknowledged by somebody else already
  EXPECT_EQ(AddAndRead(follower, {105}), Numbers{105});
  now_ += seconds(1);
  EXPECT_EQ(AddAndRead(follower, {106}), Numbers{106}) << "looked for once more before it is given up";
  EXPECT_EQ(AddAndRead(follower, {107}), Numbers{});

  small_.Gaps.MostBytes = 32;  // for 128 numbers
  TrapFollower few(2000, small_);
  EXPECT_EQ(ReadAll(few), Numbers{});
  EXPECT_EQ(AddAndRead(few, {140, 170, 200}), (Numbers{140, 170, 200}));
  EXPECT_EQ(AddAndRead(few, {115, 145, 199}), (Numbers{145, 199})) << "the lowest go, the newest stay";
  EXPECT_GT(few.GivenUp(), 0);

  // Purged rows, and numbers that nobody used.
  EXPECT_EQ(ReadAll(follower), (Numbers{115, 140, 145, 170, 199, 200}));
  store_.Execute("DELETE FROM EventTrap");
  EXPECT_EQ(ReadAll(follower), Numbers{});
  now_ += seconds(1);
  for (const Numbers& later : {Numbers{241}, {242, 2'000'000}, {2'000'001}, {2'147'483'647}}) {
    EXPECT_EQ(AddAndRead(follower, later), later);
  }
}

// A node of a cluster leaves two of three numbers to the others, and their batches come late: tens of
// thousands of gaps at a time, most of which nobody ever fills.
TEST_F(TrapFollowerTest, EveryTrapOfEveryNodeOfAClusterIsDelivered) {
  constexpr std::int32_t kBatch = 10'000;
  TrapFollowerLimits limits;
  limits.LookEvery = seconds(0);
  TrapFollower follower(1000, limits);
  std::int64_t looked = 0;
  const auto readFor = [&](int steps, int secondsEach) {
    Numbers numbers;
    for (int step = 0; step < steps; ++step, now_ += seconds(secondsEach)) {
      const TrapFollower::Progress read = follower.Read(connection_, now_);
      std::ranges::transform(read.Traps, std::back_inserter(numbers), &ReceivedTrap::SequenceNumber);
      looked = std::max(looked, read.Looked);
    }
    std::ranges::sort(numbers);
    return numbers;
  };
  const auto batch = [&](std::int32_t first) {
    store_.Execute(fmt::format(
        "INSERT INTO EventTrap (SequenceNumber, EventTime, EventDescription, Event_ExtDescr, "
        "EventNotes) WITH RECURSIVE n(i) AS (SELECT {} UNION ALL SELECT i + 3 FROM n WHERE i < {}) "
        "SELECT i, 1000, '', '', '' FROM n",
        first, first + 3 * (kBatch - 1)));
    Numbers numbers(kBatch);
    std::ranges::generate(numbers, [at = first]() mutable { return (at += 3) - 3; });
    return numbers;
  };
  readFor(1, 1);
  for (const std::int32_t round : {1, 3 * kBatch + 1}) {
    Numbers expected = batch(round);
    EXPECT_EQ(readFor(18, 1), expected);
    expected = batch(round + 1);
    EXPECT_EQ(readFor(6, 1), expected) << "of the other node, late";
  }
  EXPECT_LT(follower.GapBytes(), 100'000U);
  EXPECT_LT(looked, 50'000) << "of as many as there are";
  // Whole batches that are overtaken, of one node, and of another one when following began.
  Numbers expected = batch(12 * kBatch);
  EXPECT_EQ(readFor(18, 1), expected);
  TrapFollower late(1001, limits);
  EXPECT_TRUE(late.Read(connection_, now_).Traps.empty());
  expected = batch(9 * kBatch + 1);
  EXPECT_EQ(readFor(6, 1), expected);
  std::swap(follower, late);
  EXPECT_EQ(readFor(6, 1), expected);
  std::swap(follower, late);
  readFor(40, 10);
  EXPECT_EQ(follower.GapBytes(), 0U) << "the numbers of the third are given up in the end";
  EXPECT_EQ(follower.GivenUp(), 0);
}

// Several writers take numbers in order and commit in any order, and traps are purged and acknowledged:
// whoever is stored unacknowledged is delivered once, and nobody twice.
TEST_F(TrapFollowerTest, NoneIsLostAndNoneDoubledWhateverTheOrderOfCommits) {
  std::mt19937 random(7);
  const auto below = [&](std::size_t end) { return static_cast<std::int32_t>(random() % end); };
  TrapFollower follower(1000, small_);
  Numbers expected;
  Numbers delivered;
  Numbers underWay;
  std::int32_t next = 1;
  for (int step = 0; step < 1500; ++step) {
    for (int i = below(4); i > 0; --i) {
      underWay.push_back(next++);
    }
    std::vector<test::StoredTrap> batch;
    for (int i = below(5); i > 0 && !underWay.empty(); --i) {
      // A number waits for at most a few dozen others: what lies longest goes first now and then.
      const auto at = underWay.begin() + (below(3) == 0 ? 0 : below(underWay.size()));
      if (below(20) != 0) {  // else it is never used
        batch.push_back({.SequenceNumber = *at,
                         .EventTime = 1000 + below(2000),
                         .EventDescription = std::string(1500, 'x'),
                         .EventAck = below(10) == 0 ? 1 : 0});
        expected.insert(expected.end(), batch.back().EventAck == 0 ? 1 : 0, *at);
      }
      underWay.erase(at);
    }
    store_.AddTraps(batch);
    if (below(3) == 0 || step == 1499) {
      now_ += seconds(1);
      std::ranges::copy(ReadAll(follower), std::back_inserter(delivered));
      if (below(10) == 0) {
        store_.Execute("DELETE FROM EventTrap WHERE SequenceNumber < " + std::to_string(next - 200));
      }
    }
  }
  EXPECT_GT(expected.size(), 600U);
  std::ranges::sort(expected);
  std::ranges::sort(delivered);
  EXPECT_EQ(delivered, expected);
}

// A script deletes a row, the clock of a console is wrong, a node of a cluster is behind: none of it makes
// the store another one, and meanwhile nothing is held back or read twice.
TEST_F(TrapFollowerTest, WhatIsMissingForAWhileIsNoOtherStore) {
  for (std::int32_t number = 1; number <= 30; ++number) Add(number);
  const auto note = [&] { store::NoteChange(store_.Db(), store::ChangeKind::Filters); };
  for (int entry = 1; entry <= 3; ++entry) note();
  StoreFollower follower(TrapFollower(0), 0, std::chrono::hours(1));
  // What the next seconds bring: traps, entries of the log, and what else is found.
  const auto readFor = [&](int steps) {
    std::string found;
    for (; steps > 0; --steps, now_ += seconds(1)) {
      const StoreFollower::Progress read = follower.Read(connection_, now_);
      for (const ReceivedTrap& trap : read.Traps) found += fmt::format("t{} ", trap.SequenceNumber);
      for (const store::Change& change : read.News.Changes) found += fmt::format("c{} ", change.ChangeId);
      found += read.News.Unexplained ? "unexplained " : read.Replaced ? "replaced " : "";
      found += read.MissingFor == seconds(50) ? "missing " : "";
    }
    return found;
  };
  EXPECT_EQ(readFor(2).size(), 9U * 3 + 21U * 4 + 3U * 3);

  store_.Execute("DELETE FROM EventTrap WHERE SequenceNumber IN (28, 30)");
  EXPECT_EQ(readFor(5), "") << "whether the numbers went back is not known";
  Add(31);
  EXPECT_EQ(readFor(58), "t31 ");
  EXPECT_EQ(readFor(60), "unexplained ") << "the lists still have those";

  store_.Execute("CREATE TABLE Away AS SELECT * FROM Change_Log WHERE Change_ID = 3");
  store_.Execute("DELETE FROM Change_Log WHERE Change_ID = 3");
  Add(32);
  EXPECT_EQ(readFor(100), "t32 ");
  store_.Execute("INSERT INTO Change_Log SELECT * FROM Away");
  note();
  EXPECT_EQ(readFor(100), "c4 ");
  store_.Execute("DELETE FROM Change_Log");
  EXPECT_EQ(readFor(2), "");
  store_.Execute("INSERT INTO Change_Log (Change_ID, Change_Time, Kind) VALUES (1, 7, 5)");
  EXPECT_EQ(readFor(2), "c1 ") << "a log that begins anew";

  store_.Execute("UPDATE EventTrap SET SequenceNumber = -SequenceNumber WHERE SequenceNumber > 30");
  EXPECT_EQ(readFor(60), "missing ");
  store_.Execute("UPDATE EventTrap SET SequenceNumber = -SequenceNumber WHERE SequenceNumber < 0");
  Add(33);
  EXPECT_EQ(readFor(5), "t33 ");
  store_.Execute("DELETE FROM EventTrap");
  EXPECT_EQ(readFor(60), "missing ");
  EXPECT_EQ(readFor(1), "replaced ");
}

class StoreFeederTest : public testing::Test {
 protected:
  StoreFeederTest() {
    options_.PollInterval = milliseconds(5);
    options_.FirstRetry = milliseconds(5);
    options_.LongestRetry = milliseconds(20);
  }
  StoreFeeder Feeder(const MailSettings& mail = {}) {
    const auto open = [source = store_.DataSource()] {
      auto connection = std::make_unique<store::Connection>();
      connection->Open(source, {}, {});
      return connection;
    };
    return {open, hosts_, mail, options_};
  }
  // Drains the list until the number comes.
  bool Arrives(StoreFeeder& feeder, std::int32_t number) {
    return WaitUntil([&] {
      for (ReceivedTrap trap; feeder.GetEventFromList(trap) != 0;) {
        numbers_.push_back(trap.SequenceNumber);
        notes_ = feeder.NotesOfTrap();
        new_ = feeder.TrapIsNew();
      }
      return !numbers_.empty() && numbers_.back() == number;
    });
  }
  void AddMany(std::size_t count) { store_.AddTraps(std::vector<test::StoredTrap>(count)); }

  test::SqliteStore store_;
  StoreFeederOptions options_;
  std::shared_ptr<test::FakeHostNames> hosts_ = std::make_shared<test::FakeHostNames>();
  Numbers numbers_;
  std::string notes_;
  bool new_ = true;
};

TEST_F(StoreFeederTest, DeliversWhatIsNewInOrderAndStops) {
  store_.AddTrap({.EventTime = 10});
  store_.AddTrap({.EventTime = 20, .EventAck = 1});
  store_.AddTrap({.EventTime = 20});
  options_.MostQueuedBytes = 1;  // each trap alone is more
  std::int32_t known = 3;
  options_.KnownNumber = [&known] { return known; };
  StoreFeeder feeder = Feeder();
  ASSERT_EQ(feeder.StartRecvEvents(20), kReceiverThreadOk);
  ASSERT_TRUE(Arrives(feeder, 3));
  EXPECT_FALSE(new_);
  store_.AddTrap({.EventTime = 5});
  ASSERT_TRUE(Arrives(feeder, 4));
  EXPECT_TRUE(new_);

  // The file of the traps alone may be away.
  const std::string away = store_.TrapFile().string() + ".away";
  store_.Db().Close();  // the last one out tidies the files up
  std::filesystem::rename(store_.TrapFile(), away);
  EXPECT_TRUE(WaitUntil([&] { return feeder.State().Away.has_value(); }));
  std::filesystem::rename(away, store_.TrapFile());
  store_.Connect(store_.Db());
  store_.AddTrap({.EventTime = 30, .EventNotes = "seen by Anna"});
  ASSERT_TRUE(Arrives(feeder, 5));
  EXPECT_EQ(notes_, "seen by Anna");
  EXPECT_EQ(feeder.StopRecvEvents(), kReceiverThreadOk);

  AddMany(2);
  store_.AddTrap({.EventTime = 1002});
  known = 8;
  ASSERT_EQ(feeder.StartRecvEvents(1001), kReceiverThreadOk);  // afresh, from the new mark
  ASSERT_TRUE(Arrives(feeder, 8));
  EXPECT_EQ(notes_, "");

  options_.From = [](std::int32_t) { return std::numeric_limits<std::int32_t>::max(); };
  StoreFeeder fresh = Feeder();
  ASSERT_EQ(fresh.StartRecvEvents(0), kReceiverThreadOk);
  store_.AddTrap({.EventTime = 1});
  ASSERT_TRUE(Arrives(fresh, 9));
  EXPECT_EQ(numbers_, (Numbers{3, 4, 5, 8, 9}));
}

TEST_F(StoreFeederTest, ABacklogWaitsInTheStoreAndNotInMemory) {
  AddMany(5000);
  options_.MostQueuedTraps = 300;
  options_.Following.NumbersPerRead = options_.Following.LongestRead = 100;
  StoreFeeder feeder = Feeder();
  ASSERT_EQ(feeder.StartRecvEvents(0), kReceiverThreadOk);
  ReceivedTrap first;
  ASSERT_TRUE(WaitUntil([&] { return feeder.GetEventFromList(first) != 0; }));
  EXPECT_FALSE(feeder.MoreFollows());
  while (first.SequenceNumber < 100) ASSERT_EQ(feeder.GetEventFromList(first), 1);
  ReceivedTrap next;
  EXPECT_EQ(feeder.GetEventFromList(next), 0) << "the windows are painted first";
  EXPECT_TRUE(feeder.MoreFollows());
  // What the thread has not read yet it reads as acknowledged.
  store_.Execute("UPDATE EventTrap SET EventAck = 1");
  ASSERT_TRUE(Arrives(feeder, store_.AddTrap({})));
  EXPECT_LE(numbers_.size(), 1000U);

  AddMany(5000);
  ASSERT_TRUE(WaitUntil([&] { return feeder.GetEventFromList(first) != 0; }));
  EXPECT_EQ(feeder.StopRecvEvents(), kReceiverThreadOk) << "a full queue does not keep the thread";
}

TEST_F(StoreFeederTest, MailDefaultsComeFromTheRegistryAndElseFromThisHost) {
  test::FakeRegistry registry;
  registry.PutText(kManagerKey, "KVSmtpServer", "mail.example");
  StoreFeeder feeder = Feeder(ReadMailSettings(registry));
  EXPECT_TRUE(WaitUntil([&] {
    const MailSettings mail = feeder.GetDefaultMailSettings();
    return mail.SmtpServer + " " + mail.Recipient == "mail.example root@example.net";
  }));
}

// Counts what it was asked, and can be held up.
class SlowHostNames : public platform::HostNames {
 public:
  std::optional<std::string> NameOfAddress(std::string_view address) override {
    ++Asked;
    WaitUntil([this] { return !Held; });
    return Known ? std::optional("name of " + std::string(address)) : std::nullopt;
  }
  std::optional<std::string> AddressOfName(std::string_view) override { return {}; }
  std::string DomainOfThisHost() override { return {}; }

  std::atomic<int> Asked = 0;
  std::atomic<bool> Held = false;
  std::atomic<bool> Known = true;
};

class NameResolverTest : public testing::Test {
 protected:
  bool BecomesKnown(NameResolver& resolver, const std::string& address) {
    return WaitUntil([&] { return resolver.Resolve(address, name_); });
  }
  bool IsAsked(int times) {
    return WaitUntil([&] { return hosts_->Asked == times; });
  }

  std::shared_ptr<SlowHostNames> hosts_ = std::make_shared<SlowHostNames>();
  std::string name_ = "untouched";
};

TEST_F(NameResolverTest, ANameIsPickedUpByALaterCallAndThenKept) {
  {
    NameResolver resolver(hosts_, {.MostAddresses = 3});
    hosts_->Held = true;
    for (const char* address : {"192.0.2.1", "192.0.2.2", "192.0.2.3", "192.0.2.4", "192.0.2.4"}) {
      EXPECT_FALSE(resolver.Resolve(address, name_));
      EXPECT_TRUE(IsAsked(1));
    }
    EXPECT_EQ(name_, "untouched");
    hosts_->Held = false;
    EXPECT_TRUE(BecomesKnown(resolver, "192.0.2.4"));
    EXPECT_EQ(name_, "name of 192.0.2.4");
    EXPECT_EQ(hosts_->Asked, 2) << "with the fourth the table and its queue began afresh";
    EXPECT_TRUE(BecomesKnown(resolver, "192.0.2.2"));
    EXPECT_EQ(hosts_->Asked, 3);
    hosts_->Held = true;
    EXPECT_FALSE(resolver.Resolve("192.0.2.5", name_));
    EXPECT_TRUE(IsAsked(4));
    EXPECT_FALSE(resolver.Stop(milliseconds(10))) << "a look-up that hangs holds nobody up";
  }
  hosts_->Held = false;
  // The thread that was left behind owns the host names until it ends.
  EXPECT_TRUE(WaitUntil([&] { return hosts_.use_count() == 1; }));
}

TEST_F(NameResolverTest, AFailureIsKeptForAWhileAndThenTriedAgain) {
  hosts_->Known = false;
  NameResolver patient(hosts_);
  EXPECT_FALSE(patient.Resolve("192.0.2.9", name_));
  EXPECT_TRUE(IsAsked(1));
  for (int i = 0; i < 50; ++i) {
    EXPECT_FALSE(patient.Resolve("192.0.2.9", name_));
  }
  EXPECT_TRUE(patient.Stop(seconds(10)));
  EXPECT_EQ(hosts_->Asked, 1);
  NameResolver quick(hosts_, {.FirstRetry = milliseconds(1), .LongestRetry = milliseconds(5)});
  EXPECT_TRUE(WaitUntil([&] { return quick.Resolve("192.0.2.9", name_) || hosts_->Asked >= 4; }));
  hosts_->Known = true;
  EXPECT_TRUE(BecomesKnown(quick, "192.0.2.9"));
}

}  // namespace
}  // namespace korvane::intake
