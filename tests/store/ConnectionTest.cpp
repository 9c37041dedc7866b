#include "store/Connection.h"

#include <fmt/format.h>

#include <string>
#include <vector>

#include "EngineTest.h"
#include "store/BatchInsert.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::store {

namespace {

template <typename Call>
DatabaseError ErrorOf(Call call) {
  try {
    call();
  } catch (const DatabaseError& error) {
    return error;
  }
  ADD_FAILURE() << "no error";
  return {"", "", 0, ""};
}

class Connections : public EngineTest {};
KORVANE_ON_EVERY_ENGINE(Connections);

TEST_P(Connections, TellWhatWasAttemptedAndWhy) {
  EXPECT_EQ(Db.EngineKind(), GetParam());
  const DatabaseError missing = ErrorOf([&] { Db.OpenRecordset("Missing_Table"); });
  EXPECT_NE(std::string(missing.what()).find("issing_"), std::string::npos) << missing.what();
  EXPECT_NE(missing.what()[0], '[') << missing.what();
  EXPECT_EQ(missing.Statement(), "SELECT * FROM Missing_Table");
  EXPECT_EQ(missing.SqlState().size(), 5U);
  EXPECT_FALSE(std::string(ErrorOf([&] { Db.Execute("UPDATE EventTrap SET"); }).what()).empty());
  EXPECT_THROW(TrapReader(Db, "SELECT * FROM Missing_Table"), DatabaseError);
  EXPECT_TRUE(Db.IsOpen());
  Made->AddTrap({});  // the connection goes on
  const std::string two("DELETE FROM EventTrap\0 WHERE SequenceNumber = 99", 48);
  EXPECT_THROW(Db.Execute(two), DatabaseError);
  EXPECT_EQ(Made->Number(CountUnacknowledgedStatement()), 1);
  Db.Close();
  EXPECT_EQ(ErrorOf([&] { Db.Execute("DELETE FROM EventTrap"); }).SqlState(), "08003");
  EXPECT_FALSE(Db.IsOpen());
}

TEST_P(Connections, RollBackUnlessCommitted) {
  const auto add = [this](std::int32_t number) {
    Db.Execute(fmt::format("INSERT INTO EventTrap (SequenceNumber, EventTime) VALUES ({}, 1)", number));
  };
  const auto count = [this] { return Made->Number("SELECT COUNT(*) FROM EventTrap"); };
  {
    const Transaction transaction(Db);
    EXPECT_THROW(Db.BeginTransaction(), DatabaseError);
    add(1);
    EXPECT_EQ(count(), 1);
  }
  EXPECT_EQ(count(), 0);
  EXPECT_FALSE(Db.InTransaction());
  EXPECT_THROW(Db.Commit(), DatabaseError);
  {
    Transaction transaction(Db);
    add(1);
    EXPECT_THROW(add(1), DatabaseError);  // a statement that fails leaves the others as they are
    EXPECT_THROW(Db.Execute("UPDATE Missing_Table SET A = 1"), DatabaseError);
    add(2);
    transaction.Commit();
  }
  EXPECT_EQ(count(), 2);
  {
    const Transaction transaction(Db);
    Db.Execute("DELETE FROM EventTrap");
    Db.Close();  // rolls back
  }
  Made->Connect(Db);
  EXPECT_EQ(count(), 2);
  add(3);  // and outside a transaction every statement stands at once
  Connection other;
  Made->Connect(other);
  EXPECT_EQ(other.Execute("UPDATE EventTrap SET EventAck = 1"), 3);
}

// Another writer between its reading and its writing does not spoil it.
TEST_P(Connections, ATransactionThatTookTheRightToWriteMayReadFirst) {
  Connection other;
  Made->Connect(other);
  if (GetParam() == Engine::Sqlite) other.Execute("PRAGMA busy_timeout = 0");
  const auto add = [](Connection& connection, const char* name) {
    connection.Execute(fmt::format("INSERT INTO {} (Description) VALUES ('{}')", kTrapActionGroup, name));
  };
  Transaction transaction(Db, kTrapActionGroup);
  EXPECT_FALSE(Db.OpenRecordset(kTrapActionGroup).Next());
  try {
    add(other, "other");
  } catch (const DatabaseError&) {  // NOLINT(bugprone-empty-catch): the engine that has one writer at a time
  }
  add(Db, "mine");
  transaction.Commit();
  EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM Trap_Action_Group WHERE Description = 'mine'"), 1);
}

// The console's category window may stay open, with a change written and not committed, for minutes.
TEST_P(Connections, AnUncommittedCategoryChangeStopsNeitherReceiverNorConsole) {
  Connection categories;
  Made->Connect(categories);
  Transaction change(categories);
  EXPECT_FALSE(categories.OpenRecordset(kCategoryGroupMaster).Next());
  categories.Execute("INSERT INTO Category_Group_Master (Category_Name) VALUES ('open')");
  Connection receiver;
  Made->Connect(receiver);
  constexpr std::array<std::string_view, 2> kColumns = {"EventTime", "Source"};
  for (int batch = 0; batch < 3; ++batch) {
    Transaction store(receiver);
    BatchInsert insert(receiver, kEventTrap, kColumns);
    for (int i = 0; i < 100; ++i) insert.Add(std::array<BatchInsert::Value, 2>{20, "router"});
    insert.Flush();
    store.Commit();
    EXPECT_EQ(Db.Execute(AcknowledgeSourceStatement("router", 30)), 100);
    EXPECT_FALSE(Db.OpenRecordset(kCategoryGroupMaster).Next());
    categories.Execute("UPDATE Category_Group_Master SET Severity = " + std::to_string(batch));
  }
  change.Commit();
  EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 300);
  EXPECT_TRUE(Db.OpenRecordset(kCategoryGroupMaster, "Severity = 2").Next());
}

// And never makes an embedded one.
TEST(ConnectionWithoutStore, FailsAtOpenAndAgainAtTheFirstRead) {
  test::DataSourceFolder();
  Connection connection;
  EXPECT_THROW(connection.Open("nowhere", {}, {}), DatabaseError);
  EXPECT_FALSE(connection.IsOpen());
  EXPECT_THROW(connection.OpenRecordset(kEventTrap), DatabaseError);
  test::SqliteStore made;
  made.Db().Close();
  std::filesystem::remove(made.MainFile());
  Connection shared;
  OpenDatabase(shared);
  EXPECT_FALSE(std::string(ErrorOf([&] { shared.OpenRecordset(kSystemTable); }).what()).empty());
  EXPECT_FALSE(std::filesystem::exists(made.MainFile()));
}

}  // namespace

}  // namespace korvane::store
