// A store that goes away and comes back: nothing is lost, nothing runs twice, and one connection object lives
// through it.
#include <fmt/format.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include "EngineTest.h"
#include "store/BatchInsert.h"
#include "store/DatabaseError.h"
#include "store/Odbc.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapReader.h"
#include "support/OdbcFaults.h"
#include "support/Processes.h"
#include "support/ScriptedPrompts.h"

namespace korvane::store {

namespace {

class LostConnectionTest : public EngineTest {
 protected:
  LostConnectionTest() {
    Made->Connect(Console);
    Made->AddTraps(std::vector<test::StoredTrap>{{.SequenceNumber = 1}, {.SequenceNumber = 2}});
  }
  void Restart() {
    Made->TakeAway();
    Made->BringBack();
  }
  void Add(std::int32_t number) {
    Console.Execute(fmt::format("INSERT INTO EventTrap (SequenceNumber, EventTime) VALUES ({}, 1)", number));
  }
  std::int32_t Count() {
    Db.Close();
    Made->Connect(Db);
    return Made->Number("SELECT COUNT(*) FROM EventTrap");
  }

  Connection Console;
};
KORVANE_ON_EVERY_ENGINE(LostConnectionTest);

TEST_P(LostConnectionTest, AReadingJustWorksAndAWritingRunsOnceAtMost) {
  Restart();
  EXPECT_TRUE(Console.OpenRecordset(kEventTrap).Next());
  Restart();
  IncomingTrap trap;
  EXPECT_TRUE(TrapReader(Console, TrapsLoadStatement(5000)).Next(trap));
  Made->TakeAway();
  for (int turn = 0; turn < 2; ++turn) {
    EXPECT_THROW(Console.OpenRecordset(kEventTrap), DatabaseError);
    EXPECT_THROW(TrapReader(Console, TrapsLoadStatement(5000)), DatabaseError);
    EXPECT_THROW(Add(3), DatabaseError);
    EXPECT_THROW(Transaction{Console}, DatabaseError);
    EXPECT_FALSE(Console.IsOpen() || Console.InTransaction());
  }
  Made->BringBack();
  Add(3);
  Restart();
  int failures = 0;
  for (std::int32_t number = 4; number < 7; ++number) {
    try {
      Add(number);
    } catch (const DatabaseError&) {
      ++failures;  // a statement that may have run is not repeated by itself
    }
  }
  EXPECT_LE(failures, 1);
  EXPECT_EQ(Count(), 6 - failures);
}

// Another read on the connection makes it anew; rows that are missing then must not pass for the end.
TEST_P(LostConnectionTest, AReaderWhoseConnectionWasMadeAnewSaysSo) {
  Made->AddTraps(std::vector<test::StoredTrap>(6000));
  TrapReader reader(Console, TrapsLoadStatement(5000));
  IncomingTrap trap;
  ASSERT_TRUE(reader.Next(trap));
  Restart();
  if (GetParam() == Engine::Sqlite) Console.Internals().Lost = true;  // files that are back are the same
  const TrapReader other(Console, TrapsLoadStatement(5000));
  const auto readOn = [&] {
    while (reader.Next(trap)) {
    }
  };
  EXPECT_THROW(readOn(), DatabaseError) << "the rows came to an end";
}

TEST_P(LostConnectionTest, ATransactionIsLostWholeAndTheNextOneWorks) {
  constexpr std::array<std::string_view, 2> kColumns = {"SequenceNumber", "EventTime"};
  BatchInsert insert(Console, kEventTrap, kColumns);  // kept over the restart, as the receiver keeps it
  const auto batch = [&](std::int32_t first) {
    Transaction transaction(Console);
    for (std::int32_t i = first; i < first + 100; ++i) insert.Add(std::array<BatchInsert::Value, 2>{i, 1});
    insert.Flush();
    transaction.Commit();
  };
  batch(1000);
  const auto interrupted = [&] {
    Transaction transaction(Console);
    Add(3);
    if (GetParam() == Engine::Sqlite) Console.Internals().Lost = true;  // its files are in use
    Restart();
    EXPECT_THROW(Add(4), DatabaseError);
    EXPECT_THROW(Add(5), DatabaseError);  // not on a new connection, half of a transaction
    transaction.Commit();
  };
  EXPECT_THROW(interrupted(), DatabaseError);
  EXPECT_FALSE(Console.InTransaction());
  batch(2000);
  EXPECT_EQ(Count(), 2 + 100 + 100);
}

TEST_P(LostConnectionTest, AMuteServerIsGivenUpAndABusyOneIsNot) {
  if (GetParam() == Engine::Sqlite) return;  // has no server
  Console.Open(Made->DataSource(), {}, {}, {.SilenceSeconds = 1});
  const bool postgres = GetParam() == Engine::PostgreSql;
  EXPECT_TRUE(Console.OpenRecordset(postgres ? "SELECT pg_sleep(4)" : "SELECT SLEEP(4)").Next());
  Connection other;
  Made->Connect(other);
  other.BeginTransaction();
  other.Execute("UPDATE EventTrap SET EventAck = 1");
  EXPECT_THROW(Console.Execute("UPDATE EventTrap SET EventAck = 0"), DatabaseError) << "somebody holds them";
  other.Rollback();
  const auto fails = [&](const auto& work) {
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_THROW(work(), DatabaseError);
    return std::chrono::steady_clock::now() - begun;
  };
  {
    Transaction change(Console);
    Add(3);
    Made->Freeze();
    EXPECT_LT(fails([&] { change.Commit(); }), std::chrono::seconds(10));
  }
  EXPECT_LT(fails([&] { Console.OpenRecordset(kEventTrap); }), std::chrono::milliseconds(500))
      << "nobody waits twice";
  std::this_thread::sleep_for(std::chrono::seconds(4));  // now it is tried again
  EXPECT_LT(fails([&] { Console.OpenRecordset(kEventTrap); }), std::chrono::seconds(10));
  Made->Thaw();
  EXPECT_TRUE(test::WaitUntil([&] {
    try {
      return Console.OpenRecordset(kEventTrap).Next();
    } catch (const DatabaseError&) {
      return false;
    }
  }));

  // A window that waits is painted meanwhile, and the operator need not wait to the end.
  test::RecordingBusy busy;
  Connection patient;
  patient.CallBeside(busy);
  patient.Open(Made->DataSource(), {}, {}, {.SilenceSeconds = 20});
  int painted = 0;
  busy.Between = [&] {
    EXPECT_THROW(patient.Execute("DELETE FROM EventTrap"), DatabaseError) << "one thing after the other";
    painted += busy.Depth() == 0 ? 1 : 0;
    busy.StepsLeft = busy.Depth() == 0 ? -1 : 0;
  };
  Made->Freeze();
  EXPECT_LT(fails([&] { patient.OpenRecordset(kEventTrap); }), std::chrono::seconds(10));
  Made->Thaw();
  EXPECT_EQ(busy.Texts, std::vector<std::string>{"Waiting for the Trap Store"});
  EXPECT_GE(painted, 5);
  EXPECT_EQ(busy.Depth(), 0);
}

// Another file under the same name is another store: restored from a backup, say.
TEST(LostEmbeddedStoreTest, AFileThatWasReplacedIsNoticed) {
  test::SqliteStore made;
  Connection console;
  made.Connect(console);
  made.AddTrap({});
  made.Db().Close();
  made.TakeAway();
  test::RunProgram({KORVANE_SOURCE_DIR "/install/make-store", "sqlite", made.MainFile()});
  EXPECT_FALSE(console.OpenRecordset(kEventTrap).Next());
  // The traps' file alone is away while the connection is made anew.
  made.Connect(made.Db());
  made.AddTrap({});
  made.Db().Close();
  const std::filesystem::path away = made.TrapFile().string() + ".away";
  std::filesystem::rename(made.TrapFile(), away);
  EXPECT_THROW(console.OpenRecordset(kEventTrap), DatabaseError);
  std::filesystem::rename(away, made.TrapFile());
  EXPECT_TRUE(console.OpenRecordset(kEventTrap).Next());
}

// SQLite takes a transaction back by itself for lack of room: the driver then neither rolls back nor closes.
TEST(LostEmbeddedStoreTest, AFullStoreKeepsNoFileOpen) {
  test::SqliteStore made;
  std::ptrdiff_t openFiles[2] = {};
  for (std::ptrdiff_t& open : openFiles) {  // at first with what the driver opens once
    const auto fill = [&] {
      Connection receiver;
      made.Connect(receiver);
      Statement limit(receiver.Internals());
      limit.ExecuteDirect("PRAGMA traps.max_page_count = 1");  // none but those there are
      limit.Fetch();
      const Transaction transaction(receiver);
      for (;;) receiver.Execute("INSERT INTO EventTrap (EventDescription) VALUES ('text')");
    };
    EXPECT_THROW(fill(), DatabaseError);
    open = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }
  EXPECT_EQ(openFiles[0], openFiles[1]);
}

// Makes the N-th call to the driver manager fail, for N = 1, 2, 3 … until the work succeeds, and looks each
// time whether anything is lost, doubled or half done.
constexpr std::size_t kLongText = 5000;
constexpr int kRows = 75;  // a full step of the batch and two smaller ones

// A batch of traps, some of them acknowledged, and a new category, in one transaction.
void Write(Connection& connection) {
  Transaction transaction(connection);
  constexpr std::array<std::string_view, 2> kColumns = {"EventTime", "EventDescription"};
  BatchInsert insert(connection, kEventTrap, kColumns);
  for (int i = 0; i < kRows; ++i) {
    insert.Add(std::array<BatchInsert::Value, 2>{i, std::string(i == 0 ? kLongText : 4, 'x')});
  }
  insert.Flush();
  connection.Execute(AcknowledgeAllStatement(10));
  Recordset category = connection.OpenRecordset(kCategoryGroupMaster, "Category_Name = 'new'");
  category.Next();
  category.AddNew();
  category.Set("Category_Name", "new");
  category.Update();
  transaction.Commit();
}

TEST(FaultTest, WritingIsAllOrNothingWhereverItFails) {
  test::SqliteStore made;
  const auto count = [&](const std::string& rows) { return made.Number("SELECT COUNT(*) FROM " + rows); };
  int n = 1;
  for (bool failed = true; failed && !testing::Test::HasFailure(); ++n) {
    SCOPED_TRACE(n);
    Connection connection;
    test::FailCall(n);
    try {
      made.Connect(connection);
      Write(connection);
    } catch (const DatabaseError& error) {
      EXPECT_STRNE(error.what(), "");
    }
    failed = test::EndFaults();
    const std::string found =
        fmt::format("{} {} {}", count("EventTrap"), count("EventTrap WHERE EventAck = 1"),
                    count("Category_Group_Master"));
    EXPECT_TRUE(found == "0 0 0" || found == fmt::format("{} 10 1", kRows)) << found;
    // A next statement on the same object stands at once.
    EXPECT_FALSE(connection.InTransaction());
    EXPECT_EQ(connection.Execute("INSERT INTO Message_Detail (Destination) VALUES ('after')"), 1);
    EXPECT_EQ(count("Message_Detail WHERE Destination = 'after'"), 1);
    for (const char* table : {"Message_Detail", "EventTrap", "Category_Group_Master"}) {
      made.Execute(fmt::format("DELETE FROM {}", table));
    }
  }
  EXPECT_GT(n, 80);  // far fewer would mean that the faults never reached the driver
}

TEST(FaultTest, ReadingIsWholeOrFailsWhereverItFails) {
  test::SqliteStore made;
  Write(made.Db());
  const auto read = [&] {
    int rows = 0;
    TrapReader reader(made.Db(), "SELECT * FROM EventTrap ORDER BY SequenceNumber");
    for (IncomingTrap trap; reader.Next(trap); ++rows) {
      EXPECT_EQ(trap.VarBinds.size(), trap.EventTime == 0 ? kLongText : 4);
    }
    return rows;
  };
  int n = 1;
  for (bool failed = true; failed; ++n) {
    test::FailCall(n);
    try {
      EXPECT_EQ(read(), kRows) << n;
    } catch (const DatabaseError&) {  // NOLINT(bugprone-empty-catch): the other outcome that is right
    }
    failed = test::EndFaults();
    EXPECT_EQ(read(), kRows) << n;
  }
  EXPECT_GT(n, 20);
}

}  // namespace

}  // namespace korvane::store
