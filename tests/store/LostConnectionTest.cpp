// A store that goes away and comes back: nothing is lost, nothing runs twice, and one connection object lives
// through it.
#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <iterator>

#include "EngineTest.h"
#include "store/BatchInsert.h"
#include "store/DatabaseError.h"
#include "store/Odbc.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

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
  {
    TrapReader reader(Console, TrapsLoadStatement(5000));
    IncomingTrap trap;
    EXPECT_TRUE(reader.Next(trap) && reader.Next(trap));
    EXPECT_FALSE(reader.Next(trap));
  }
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
}

// What is left on a connection as it is closed, as the receiver leaves it: prepared statements, rows not read
// to their end, and a transaction that SQLite has taken back by itself for lack of room.  The driver then
// neither rolls back nor closes.
TEST(LostEmbeddedStoreTest, WhatIsLeftOnAConnectionKeepsNoFileOpen) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  constexpr std::array<std::string_view, 2> kColumns = {"EventTime", "EventDescription"};
  test::SqliteStore made;
  auto before = openFiles();
  for (int attempt = 0; attempt < 5; ++attempt) {
    Connection receiver;
    made.Connect(receiver);
    BatchInsert insert(receiver, kEventTrap, kColumns);
    const auto add = [&](int rows) {
      for (int row = 0; row < rows; ++row) insert.Add(std::array<BatchInsert::Value, 2>{1, "text"});
      insert.Flush();
    };
    add(9);  // by two statements, which it keeps
    Statement reading(receiver.Internals());
    reading.ExecuteDirect("SELECT * FROM EventTrap");
    reading.Fetch();
    Statement limit(receiver.Internals());
    limit.ExecuteDirect("PRAGMA traps.max_page_count = 1");  // none but those there are
    limit.Fetch();
    EXPECT_THROW(
        {
          const Transaction transaction(receiver);
          for (int row = 0; row < 1000; ++row) add(1);
        },
        DatabaseError);
    EXPECT_FALSE(receiver.InTransaction());
    EXPECT_TRUE(receiver.OpenRecordset(kEventTrap).Next());
    receiver.Close();
    if (attempt == 0) before = openFiles();  // with what the driver opens once
  }
  EXPECT_EQ(openFiles(), before);
}

}  // namespace

}  // namespace korvane::store
