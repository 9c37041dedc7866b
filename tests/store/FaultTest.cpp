// Makes the N-th call to the driver manager fail, for N = 1, 2, 3 … until the work succeeds, and looks each
// time whether anything is lost, doubled or half done.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>

#include "store/BatchInsert.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapReader.h"
#include "support/OdbcFaults.h"
#include "support/TestStore.h"

namespace korvane::store {

namespace {

constexpr std::size_t kLongText = 5000;
constexpr int kRows = 75;  // a full step of the batch and two smaller ones

// A batch of traps, some of them acknowledged, and a new category that is then edited, in one transaction.
void Write(Connection& connection) {
  Transaction transaction(connection);
  constexpr std::array<std::string_view, 2> kColumns = {"EventTime", "EventDescription"};
  BatchInsert insert(connection, kEventTrap, kColumns);
  for (int i = 0; i < kRows; ++i) insert.Add(std::array<BatchInsert::Value, 2>{i, "text"});
  insert.Flush();
  connection.Execute(AcknowledgeAllStatement(10));
  Recordset category = connection.OpenRecordset(kCategoryGroupMaster, "Category_Name = 'new'");
  category.Next();
  category.AddNew();
  category.Set("Category_Name", "new");
  category.Update();
  Recordset again = connection.OpenRecordset(kCategoryGroupMaster, "Category_Name = 'new'");
  if (!again.Next()) throw DatabaseError("the new category is missing", "", 0, "");
  again.Set("Severity", 3);
  again.Update();
  transaction.Commit();
}

int Read(Connection& connection) {
  TrapReader reader(connection, "SELECT * FROM EventTrap ORDER BY SequenceNumber");
  int rows = 0;
  for (IncomingTrap trap; reader.Next(trap); ++rows) {
    EXPECT_EQ(trap.VarBinds.size(), trap.EventTime == 0 ? kLongText : 4);
  }
  return rows;
}

class FaultTest : public testing::Test {
 protected:
  // All or nothing of the work, and a next statement on the same object stands at once.
  void Check(Connection& connection) {
    const auto count = [this](const char* rows) {
      return Made.Number(fmt::format("SELECT COUNT(*) FROM {}", rows));
    };
    const std::string found =
        fmt::format("{} {} {}", count("EventTrap"), count("EventTrap WHERE EventAck = 1"),
                    count("Category_Group_Master WHERE Severity = 3"));
    EXPECT_TRUE(found == "0 0 0" || found == fmt::format("{} 10 1", kRows)) << found;
    EXPECT_FALSE(connection.InTransaction());
    EXPECT_EQ(connection.Execute("INSERT INTO Message_Detail (Destination) VALUES ('after')"), 1);
    EXPECT_EQ(count("Message_Detail WHERE Destination = 'after'"), 1);
    for (const char* table : {"Message_Detail", "EventTrap", "Category_Group_Master"}) {
      Made.Execute(fmt::format("DELETE FROM {}", table));
    }
  }

  test::SqliteStore Made;
};

TEST_F(FaultTest, WritingIsAllOrNothingWhereverItFails) {
  int n = 1;
  for (bool failed = true; failed && !HasFailure(); ++n) {
    SCOPED_TRACE(n);
    Connection connection;
    test::FailCall(n);
    try {
      Made.Connect(connection);
      Write(connection);
    } catch (const DatabaseError& error) {
      EXPECT_STRNE(error.what(), "");
    }
    failed = test::EndFaults();
    Check(connection);
  }
  EXPECT_GT(n, 100);  // far fewer would mean that the faults never reached the driver
}

TEST_F(FaultTest, ReadingIsWholeOrFailsWhereverItFails) {
  Write(Made.Db());
  Made.Execute(fmt::format("UPDATE EventTrap SET EventDescription = '{}' WHERE EventTime = 0",
                           std::string(kLongText, 'x')));
  Connection connection;
  Made.Connect(connection);
  int n = 1;
  for (bool failed = true; failed; ++n) {
    test::FailCall(n);
    std::optional<int> rows;
    try {
      rows = Read(connection);
    } catch (const DatabaseError&) {  // NOLINT(bugprone-empty-catch): the other outcome that is right
    }
    failed = test::EndFaults();
    EXPECT_EQ(rows.value_or(kRows), kRows) << n;
    EXPECT_EQ(Read(connection), kRows) << n;
  }
  EXPECT_GT(n, 20);
}

}  // namespace

}  // namespace korvane::store
