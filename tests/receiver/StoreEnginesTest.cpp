// The trap store in a real database, on every engine: how it is filled, and what becomes of old traps.

#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include <fmt/format.h>

#include "KeptLog.h"
#include "platform/Identity.h"
#include "receiver/alerts/AlertReports.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/Housekeeping.h"
#include "receiver/store/StoreWriter.h"
#include "store/ChangeLog.h"
#include "store/EngineTest.h"
#include "store/Heartbeats.h"
#include "store/Renumbering.h"
#include "store/TrapNumbers.h"
#include "support/OdbcFaults.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

constexpr std::int32_t kNow = 1'700'000'000;
constexpr std::int32_t kHour = 3600;
constexpr std::int32_t kDay = 86400;

class TrapStoreTest : public store::EngineTest {
 protected:
  std::int32_t Count(const std::string& condition = "1 = 1") {
    return Made->Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
  const test::TempFolder Folder;
  KeptLog Log;
};
using store::EngineOf;
KORVANE_ON_EVERY_ENGINE(TrapStoreTest);

SpooledTrap Trap(std::uint64_t number, std::string text, std::string source = "10.0.0.1") {
  return {.Number = number,
          .Row = {.EventTime = kNow,
                  .Source = std::move(source),
                  .EnterpriseOid = "1.3.6.1.4.1.9",
                  .SpecificTrap = static_cast<std::int32_t>(number % 1000),
                  .EventDescription = std::move(text),
                  .Event_ExtDescr = ""}};
}

TEST_P(TrapStoreTest, RowsAndTheirNumberMoveTogether) {
  DatabaseTrapStore store(Made->DataSource());
  constexpr std::uint64_t kRun = std::uint64_t{7} << 40;  // beyond what 32 bits hold
  EXPECT_EQ(store.Open("spool1", kRun, 0), 0u);
  std::vector<SpooledTrap> traps;
  for (std::uint64_t i = 1; i <= 303; ++i) traps.push_back(Trap(kRun + i, fmt::format("'{}\x01\" %", i)));
  {
    // A change of the categories, for as long as its window is open, keeps nobody from storing.
    store::Connection categories;
    Made->Connect(categories);
    const store::Transaction open(categories, "Category_Group_Master");
    store.Store(traps, 0);
  }
  EXPECT_EQ(Count("EventAck = 0 AND EventNotes = ''"), 303);
  EXPECT_EQ(Made->Text("SELECT EventDescription FROM EventTrap ORDER BY SequenceNumber DESC LIMIT 1",
                       "EventDescription"),
            traps[302].Row.EventDescription);
  // A batch that does not follow what is stored changes nothing: another receiver moved the number.
  EXPECT_THROW(store.Store(std::vector{Trap(kRun + 400, "x")}, kRun + 100), store::DatabaseError);
  EXPECT_EQ(Count(), 303);
  const auto identity = [&] { return Made->Text("SELECT Store_Identity FROM Store_Info", "Store_Identity"); };
  const std::string first = identity();
  EXPECT_EQ(store.Open("spool1", kRun + 400, kRun + 303), kRun + 303);

  store.Probe();
  EXPECT_EQ(Count(), 303) << "a probe leaves nothing";
  store.Skip(kRun + 304, kRun + 303);
  EXPECT_EQ(identity(), first);
  // A store that went back gives numbers again: it is another one, from the first new row on and once.
  EXPECT_EQ(store.Open("spool1", kRun + 400, kRun + 309), kRun + 304);
  EXPECT_EQ(identity(), first);
  // It fails once more before that, and the lower number is what is remembered.
  EXPECT_THROW(store.Store(std::vector{Trap(kRun + 305, "x")}, kRun + 303), store::DatabaseError);
  EXPECT_EQ(store.Open("spool1", kRun + 400, kRun + 304), kRun + 304);
  store.Store(std::vector{Trap(kRun + 305, "x")}, kRun + 304);
  const std::string second = identity();
  EXPECT_NE(second, first);
  store.Store(std::vector{Trap(kRun + 306, "x")}, kRun + 305);
  EXPECT_EQ(identity(), second);
  // A number this spool can't have reached is another's: the spool's own memory decides.
  EXPECT_EQ(store.Open("spool1", kRun + 150, kRun + 120), kRun + 120);
  EXPECT_EQ(store.Open("spool1", kRun + 150, 0), kRun + 120);
  EXPECT_EQ(store.Open("spool2", kRun, 42), 42u);
  store.Store(std::vector{Trap(43, "x")}, 42);
  EXPECT_EQ(identity(), second) << "of a spool that was never stored here nothing is lost";
  Made->Execute("DELETE FROM Receiver_State WHERE Spool_ID = 'spool2'");
  EXPECT_EQ(store.Open("spool2", kRun, 43), 43u);
  EXPECT_NE(identity(), second);

  // A fault of the store is told from a fault of a row.
  const auto trouble = [&](const SpooledTrap& trap) {
    try {
      store.Open("spool", 1'000, 0);
      store.Store(std::vector{trap}, 0);
    } catch (const store::DatabaseError& error) {
      return IsStoreTrouble(error) ? "store" : "row";
    }
    return "none";
  };
  Made->Execute("ALTER TABLE EventTrap RENAME TO Elsewhere");
  EXPECT_STREQ(trouble(Trap(1, "x")), "store");
  EXPECT_THROW(store.Probe(), store::DatabaseError);
  Made->Execute("ALTER TABLE Elsewhere RENAME TO EventTrap");
  if (GetParam() != store::Engine::Sqlite) {  // which checks no lengths
    EXPECT_STREQ(trouble(Trap(1, "x", std::string(300, 'x'))), "row");
  }
  if (GetParam() != store::Engine::MariaDb) {  // which stores it; the others would store what is before it
    EXPECT_STREQ(trouble(Trap(1, std::string("a\0b", 3))), "row");
  }
  EXPECT_STREQ(trouble(Trap(1, "x")), "none");
  if (GetParam() == store::Engine::Sqlite) return;
  // A number that is there already is the store's fault too, but what another index refuses is the row's.
  const auto takesNone = [&](auto work) -> std::optional<bool> {
    try {
      work();
    } catch (const store::DatabaseError& error) {
      return TakesNoRows(error);
    }
    return std::nullopt;
  };
  EXPECT_EQ(takesNone([&] { Db.Execute("INSERT INTO EventTrap SELECT * FROM EventTrap"); }), true);
  Made->Execute("DELETE FROM EventTrap");
  Made->Execute(GetParam() == store::Engine::MariaDb ? "CREATE UNIQUE INDEX Theirs ON EventTrap (Source)"
                                                     : "CREATE UNIQUE INDEX Theirs ON EventTrap_0 (Source)");
  const std::vector twice = {Trap(2, "x", "PRIMARY'_pkey"), Trap(3, "x", "PRIMARY'_pkey")};
  EXPECT_EQ(takesNone([&] { store.Store(twice, 1); }), false);
}

TEST_P(TrapStoreTest, ATransactionThatCollidesIsRunOnceMoreAndOneThatFailsLeavesNothing) {
  DatabaseTrapStore store(Made->DataSource());
  std::uint64_t stored = store.Open("spool", 100'000, 0);
  const auto storeThree = [&] {
    store.Store(std::vector{Trap(stored + 1, "a"), Trap(stored + 2, "b"), Trap(stored + 3, "c")}, stored);
    stored += 3;
  };
  for (const test::Fault fault : {test::Fault::Conflict, test::Fault::AnswerLost, test::Fault::LinkLost}) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(fault) << " " << n);
      test::FailCall(n, fault, test::CountedCalls::Statements);
      try {
        storeThree();
      } catch (const store::DatabaseError& error) {
        EXPECT_NE(fault, test::Fault::Conflict) << error.what();
        stored = store.Open("spool", 100'000, stored);
      }
      const bool failed = test::EndFaults();
      ASSERT_EQ(Count(), stored);
      if (!failed) break;
    }
  }
}

TEST_P(TrapStoreTest, OneReceiverTakesATestAndWhatBecameOfAlertsIsKept) {
  store::Connection other;
  Made->Connect(other);
  const std::string mark = ChangesMark(Db);
  store::NoteChange(other, store::ChangeKind::Notes);
  EXPECT_EQ(ChangesMark(Db), mark);
  store::NoteChange(other, store::ChangeKind::Alerts);
  EXPECT_NE(ChangesMark(Db), mark);
  Made->Execute("INSERT INTO Alert_Test (Trap_Group_ID, Operator, Machine) VALUES (7, 'ann', 'pc7')");
  const std::vector<AskedTest> taken = TakeAskedTests(other);
  ASSERT_EQ(taken.size(), 1U);
  EXPECT_EQ(taken[0].AskedBy, "ann at pc7");
  EXPECT_TRUE(TakeAskedTests(Db).empty()) << "it is the other's";
  const TestOutcome done{.Result = "a beep: done\n", .Left = 0};
  WriteNews(Db, {.Alerts = {{7, {.Failed = kNow, .Reason = "an e-mail: 'no' such ☃"}}},
                 .Tests = {{taken[0].Id, done}, {99, done}}});
  WriteNews(Db, {.Alerts = {{7, {.Acted = kNow + 1, .Reason = ""}}}, .Tests = {}});
  EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM Alert_Test WHERE Done = 1 AND Taken_By <> ''"), 1);
  EXPECT_EQ(Made->Text("SELECT Reason FROM Alert_State WHERE Last_Acted > Last_Failure", "Reason"),
            "an e-mail: 'no' such ☃");
}

TEST_P(TrapStoreTest, AWriterOutlivesItsServer) {
  DatabaseTrapStore store(Made->DataSource());
  Spool spool(Folder.Path());
  Counters counters;
  const WriterOptions quick{.BatchTime = std::chrono::milliseconds(5),
                            .FirstPause = std::chrono::milliseconds(5),
                            .LongestPause = std::chrono::milliseconds(50),
                            .BeatEvery = std::chrono::milliseconds(50),
                            .LongestCall = std::chrono::milliseconds(300),
                            .Condition = [] { return store::ReceiverCondition{.Dropped = 7}; },
                            .UsedOfDisk = [](const auto&) { return 42; }};
  StoreWriter writer(spool, store, Quarantine(Folder / "quarantine.txt"), counters, Log, quick);
  std::thread thread([&] { writer.Run(); });
  int number = 0;
  const auto take = [&](int count) {
    for (; count > 0; --count) spool.Append(std::vector{Trap(1, fmt::format("{:05}", ++number)).Row});
  };
  take(500);
  EXPECT_TRUE(test::WaitUntil([&] { return counters.Stored >= 300u; }));
  Made->TakeAway();
  take(500);
  EXPECT_TRUE(test::WaitUntil([&] { return !writer.StoreAvailable(); }));
  Made->BringBack();
  EXPECT_TRUE(test::WaitUntil([&] { return spool.Waiting() == 0; }, std::chrono::seconds(60)))
      << Log.Lines().back();
  if (GetParam() != store::Engine::Sqlite) {
    // One that stands still in the middle, as when a commit waits for a standby that is gone.
    Made->Freeze();
    take(500);
    EXPECT_TRUE(test::WaitUntil([&] { return Log.Holds("has not answered for"); }));
    Made->Thaw();
    EXPECT_TRUE(test::WaitUntil([&] { return spool.Waiting() == 0; }, std::chrono::seconds(60)));
  }
  Db.Close();
  Made->Connect(Db);
  const auto beat = [&] { return store::ReadHeartbeats(Db).at(0); };
  const store::Heartbeat idle = beat();
  EXPECT_TRUE(test::WaitUntil([&] { return beat().Beats > idle.Beats; })) << "with nothing to store";
  EXPECT_FALSE(idle.Stopped);
  EXPECT_EQ(idle.Condition.Dropped * 100 + idle.Condition.DiskUsed, 742);
  writer.Stop(std::chrono::seconds(5));
  thread.join();
  EXPECT_TRUE(beat().Stopped);
  EXPECT_EQ(beat().Machine, platform::ThisProcess().Machine);
  EXPECT_EQ(Count(), number);
  store::Recordset rows = Db.OpenRecordset("SELECT EventDescription FROM EventTrap ORDER BY SequenceNumber");
  for (int expected = 1; rows.Next(); ++expected) {
    ASSERT_EQ(rows.Text("EventDescription"), fmt::format("{:05}", expected)) << "out of order";
  }
}

struct TestClocks : Clocks {
  ClockReading Read() override { return Now; }
  bool Synchronized() override { return Confirmed; }

  ClockReading Now{.Wall = kNow, .Elapsed = kDay};
  bool Confirmed = true;
};

class HousekeepingTest : public TrapStoreTest {
 protected:
  const std::stop_source Never;
  TestClocks Machine;
};
KORVANE_ON_EVERY_ENGINE(HousekeepingTest);

TEST_P(HousekeepingTest, OldTrapsAreAcknowledgedAndOlderOnesGoAndNotOnTheWordOfOneClock) {
  std::vector<test::StoredTrap> traps;
  for (int i = 0; i < 25; ++i) {
    traps.push_back({.EventTime = kNow - 8 * kDay - i, .EventAck = i % 2});
    traps.push_back({.EventTime = kNow - 13 * kHour - i});
    traps.push_back({.EventTime = kNow - i});
  }
  traps.push_back({.EventTime = kNow - 7 * kDay});  // at the bound, not older
  traps.push_back({.EventTime = kNow - 12 * kHour});
  Made->AddTraps(traps);
  const auto round = [&](Intervals intervals, bool confirmed) {
    Machine.Confirmed = confirmed;
    Housekeeping keeper(Made->DataSource(), intervals, Machine, Folder.Path(), Log,
                        {.RowsAtFirst = 10, .MostRows = 10, .Breath = std::chrono::milliseconds(0)});
    const HouseholdWork work = keeper.Round(Never.get_token());
    return fmt::format("{} acknowledged, {} purged", work.Acknowledged, work.Purged);
  };
  const std::string nothing = "0 acknowledged, 0 purged";
  EXPECT_EQ(round({12, 7}, false), nothing);
  EXPECT_TRUE(Log.Holds("nothing confirms it"));
  for (const Intervals never : {Intervals{0, 0}, {-1, -7}, {2'000'000'000, 2'000'000'000}}) {
    EXPECT_EQ(round(never, true), nothing);
  }
  // The one of a week ago is older than twelve hours.
  EXPECT_EQ(round({.AckHours = 12, .PurgeDays = 7}, true), "26 acknowledged, 25 purged");
  EXPECT_EQ(Count(), 52);
  EXPECT_EQ(Count("EventAck = 0"), 26);
  EXPECT_EQ(Made->Number("SELECT SUM(Row_Count) FROM Change_Log WHERE Kind = 1 AND Operator = ''"), 26);
  EXPECT_EQ(Made->Number("SELECT SUM(Row_Count) FROM Change_Log WHERE Kind = 4"), 13);
  std::int64_t named = 0;
  for (const store::Change& change : store::ReadChanges(Db, "Kind = 1")) {
    named += store::CountOf(change.Traps.Numbers);
  }
  EXPECT_EQ(named, 26) << "who acknowledged a trap is read from there";

  EXPECT_EQ(
      Made->Number(fmt::format("SELECT COUNT(*) FROM Change_Log WHERE Upper_Time = {}", kNow - 12 * kHour)),
      Made->Number("SELECT COUNT(*) FROM Change_Log WHERE Kind = 1"))
      << "numbers alone may have moved";

  // The next run knows the clock, and one that was set meanwhile is not believed.
  Machine.Now.Wall += 100 * kDay;
  EXPECT_EQ(round({0, 7}, false), nothing);
  EXPECT_EQ(round({0, 7}, true), "0 acknowledged, 52 purged");
  const std::int64_t highest = Made->Number("SELECT MAX(Change_ID) FROM Change_Log");
  Made->Execute("UPDATE Change_Log SET Change_Time = 1");
  EXPECT_EQ(round({0, 7}, true), nothing);
  EXPECT_EQ(Made->Number("SELECT MIN(Change_ID) FROM Change_Log"), highest) << "its end is known by it";
}

class EndOfNumbersTest : public TrapStoreTest {
 protected:
  // The next trap gets this number.
  void SetCounter(std::int64_t next) {
    if (GetParam() == store::Engine::MariaDb) {
      Made->Execute(fmt::format("ALTER TABLE EventTrap AUTO_INCREMENT = {}", next));
    } else if (GetParam() == store::Engine::Sqlite) {
      Made->Execute("DELETE FROM traps.sqlite_sequence WHERE name = 'EventTrap'");
      Made->Execute(fmt::format("INSERT INTO traps.sqlite_sequence VALUES ('EventTrap', {})", next - 1));
    } else {
      Made->Execute(fmt::format("ALTER TABLE EventTrap ALTER COLUMN SequenceNumber RESTART WITH {}", next));
      Made->Execute(
          "CREATE TABLE IF NOT EXISTS EventTrap_2100000000 PARTITION OF EventTrap "
          "FOR VALUES FROM (2100000000) TO (MAXVALUE)");
    }
  }
  std::string Identity() { return Made->Text("SELECT Store_Identity FROM Store_Info", "Store_Identity"); }
};
KORVANE_ON_EVERY_ENGINE(EndOfNumbersTest);

TEST_P(EndOfNumbersTest, TrapsWaitAndNumbersAreFreeAgainWithoutLosingOrHidingAny) {
  constexpr std::int64_t kFirst = store::kLastTrapNumber - 4999;
  SetCounter(kFirst);
  DatabaseTrapStore store(Made->DataSource());
  Spool spool(Folder.Path());
  Counters counters;
  StoreWriter writer(spool, store, Quarantine(Folder / "quarantine.txt"), counters, Log,
                     {.BatchTime = std::chrono::milliseconds(5),
                      .FirstPause = std::chrono::milliseconds(5),
                      .LongestPause = std::chrono::milliseconds(50)});
  std::thread thread([&] { writer.Run(); });
  std::shared_ptr<void> running(nullptr, [&](void*) {
    writer.Stop(std::chrono::seconds(5));
    thread.join();
  });
  int taken = 0;
  const auto take = [&](int count) {
    for (; count > 0; --count) {
      spool.Append(std::vector{Trap(1, fmt::format("{:05}", ++taken)).Row});
      spool.Append(std::vector{Trap(1, fmt::format("{:05}", ++taken)).Row});
    }
  };
  take(400);
  EXPECT_TRUE(test::WaitUntil([&] { return spool.Waiting() == 0; }));
  TestClocks clocks;
  const auto look = [&] { Housekeeping(Made->DataSource(), {}, clocks, Folder.Path(), Log).Round({}); };
  look();
  EXPECT_TRUE(Log.Holds("has used 99 % of its numbers, 4200 are left")) << Log.Lines().back();
  take(2400);
  EXPECT_TRUE(test::WaitUntil([&] { return Log.Holds("numbers of the trap store are used up"); }));
  EXPECT_LE(store::NewestTrapNumber(Db), store::kLastTrapNumber);
  EXPECT_GE(spool.Waiting(), 600U);
  look();
  EXPECT_TRUE(Log.Holds("numbers left, fewer than")) << Log.Lines().back();

  // The first hundred are purged, and somebody acknowledges before and during the work.
  const auto acknowledge = [&](std::int32_t number) {
    Made->Execute(fmt::format(
        "UPDATE EventTrap SET EventAck = 1, EventNotes = 'it''s' WHERE SequenceNumber = {}", number));
    store::NoteChange(Db, store::ChangeKind::Acknowledged, store::SelectionOf({number}), 1);
  };
  Made->Execute(fmt::format("DELETE FROM EventTrap WHERE SequenceNumber < {}", kFirst + 100));
  store::NoteChange(Db, store::ChangeKind::Purged,
                    {.Numbers = {{kFirst, kFirst + 99}}, .Source = {}, .BeforeTime = {}});
  acknowledge(kFirst + 105);
  const std::string identity = Identity();
  store::Connection own;
  Made->Connect(own);
  const auto renumber = [&](auto at) {
    store::Renumbering work(own);
    const store::RenumberPlan plan = work.Plan();
    EXPECT_EQ(plan.Objection(), "");
    return work.Run(plan, [&](store::RenumberStage stage, double) { return at(stage); });
  };
  // Broken off in order, and killed: everything is as before.
  const auto last = store::RenumberStage::Closed;
  EXPECT_FALSE(renumber([&](auto stage) { return stage != last; }));
  EXPECT_THROW(renumber([&](auto stage) { return stage == last ? throw std::string("killed") : true; }),
               std::string);
  own.Close();
  Made->Connect(own);
  EXPECT_NE(store::Renumbering(own).Plan().Objection(), "");
  store::Renumbering(own).ClearUp();
  EXPECT_EQ(Count(fmt::format("SequenceNumber >= {}", kFirst)), Count());
  EXPECT_EQ(Identity(), identity);

  // What a site has made on the table stays, or is named before anything is done.
  if (GetParam() == store::Engine::MariaDb) {
    Made->Execute("CREATE TRIGGER Site BEFORE DELETE ON EventTrap FOR EACH ROW SET @gone = 1");
    EXPECT_EQ(store::Renumbering(own).Plan().Objection().find("The trigger Site on EventTrap"), 0U);
    Made->Execute("DROP TRIGGER Site");
  } else {
    const std::string file = GetParam() == store::Engine::Sqlite ? "traps." : "";
    Made->Execute(fmt::format("CREATE VIEW {}Site AS SELECT Source FROM EventTrap", file));
  }
  EXPECT_TRUE(renumber([&](auto stage) {
    if (stage == store::RenumberStage::Copying) {
      acknowledge(kFirst + 110);
      Made->Execute(fmt::format("DELETE FROM EventTrap WHERE SequenceNumber = {}", kFirst + 120));
    }
    return true;
  }));
  EXPECT_TRUE(test::WaitUntil([&] { return spool.Waiting() == 0; }, std::chrono::seconds(60)))
      << Log.Lines().back();
  running.reset();
  EXPECT_EQ(counters.Quarantined, 0U);
  EXPECT_NE(Identity(), identity);
  EXPECT_EQ(Count(), taken - 101);
  EXPECT_EQ(Count(fmt::format("SequenceNumber < 1 OR SequenceNumber > {}", taken)), 0);
  store::Recordset rows = Db.OpenRecordset(
      "SELECT SequenceNumber, EventDescription, EventAck FROM EventTrap ORDER BY SequenceNumber");
  for (int expected = 101; rows.Next(); ++expected) {
    if (expected == 121) ++expected;
    ASSERT_EQ(rows.Text("EventDescription"), fmt::format("{:05}", expected)) << "out of order";
    ASSERT_EQ(rows.Integer("EventAck"), expected == 106 || expected == 111 ? 1 : 0);
  }
  EXPECT_EQ(Made->Text("SELECT Numbers FROM Change_Log ORDER BY Change_ID", "Numbers"), "6");
  EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM Change_Log"), 2) << "who purged what is gone is gone too";
  EXPECT_NE(store::Renumbering(own).Plan().Objection(), "") << "nothing would be gained";
  if (GetParam() == store::Engine::PostgreSql) {
    EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM pg_inherits i JOIN pg_index x ON x.indrelid = i.inhrelid "
                           "WHERE i.inhparent = 'EventTrap'::regclass AND x.indisvalid"),
              Made->Number("SELECT COUNT(*) * (SELECT COUNT(*) FROM pg_index WHERE indrelid = "
                           "'EventTrap'::regclass AND indisvalid) FROM pg_inherits WHERE inhparent = "
                           "'EventTrap'::regclass"))
        << "each partition has the indices of the whole";
  }

  if (GetParam() == store::Engine::Sqlite) {  // an earlier release went on behind the end
    Made->Execute("UPDATE EventTrap SET SequenceNumber = SequenceNumber + 3000000000");
    EXPECT_THROW(store.Store(std::vector{Trap(1, "x")}, 0), store::DatabaseError);
    EXPECT_TRUE(renumber([](auto) { return true; }));
    EXPECT_EQ(Count(fmt::format("SequenceNumber > 0 AND SequenceNumber <= {}", taken)), taken - 101);
    EXPECT_EQ(Made->Number(
                  "SELECT COUNT(*) FROM traps.sqlite_master WHERE tbl_name = 'EventTrap' AND type = 'index'"),
              3);
  }
}

}  // namespace
}  // namespace korvane::receiver
