// Makes the N-th call to the driver manager fail, for N = 1, 2, 3 … until the work succeeds, and looks each
// time whether anything is lost, doubled or half done.
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

// A new category with a member, and a batch of traps, in one transaction.
void Write(Connection& connection) {
  Transaction transaction(connection);
  constexpr std::array<std::string_view, 2> kColumns = {"EventTime", "EventDescription"};
  BatchInsert insert(connection, kEventTrap, kColumns);
  for (int i = 0; i < kRows; ++i) insert.Add(std::array<BatchInsert::Value, 2>{i, "text"});
  insert.Flush();
  Recordset category = connection.OpenRecordset(kCategoryGroupMaster, "Category_Name = 'new'");
  if (!category.Next()) {
    category.AddNew();
    category.Set("Category_Name", "new");
    category.Update();
  }
  Recordset again = connection.OpenRecordset(kCategoryGroupMaster, "Category_Name = 'new'");
  if (!again.Next()) throw DatabaseError("the new category is missing", "", 0, "");
  again.Set("Category_Desc", "described");
  again.Set("Severity", 3);
  again.Update();
  connection.Execute(AcknowledgeAllStatement(10));
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
  // Runs the work with its N-th call failing, from a fresh connection each time; returns the N that none
  // failed.
  template <typename Work>
  int FailEachCall(Work work) {
    for (int n = 1;; ++n) {
      Connection connection;
      test::FailCall(n);
      try {
        Made.Connect(connection);
        work(connection);
      } catch (const DatabaseError& error) {
        EXPECT_FALSE(std::string(error.what()).empty());
      }
      const bool failed = test::EndFaults();
      EXPECT_FALSE(connection.InTransaction());
      Check(n, connection);
      if (!failed || HasFailure()) return n;
    }
  }

  void Check(int n, Connection& connection) {
    // All or nothing of the work, and a next statement on the same object stands at once.
    const std::int32_t traps = Made.Number("SELECT COUNT(*) FROM EventTrap");
    const std::int32_t acknowledged = Made.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1");
    const std::int32_t categories =
        Made.Number("SELECT COUNT(*) FROM Category_Group_Master WHERE Severity = 3");
    EXPECT_TRUE((traps == 0 && acknowledged == 0 && categories == 0) ||
                (traps == kRows && acknowledged == 10 && categories == 1))
        << n << ": " << traps << " " << acknowledged << " " << categories;
    EXPECT_EQ(connection.Execute("INSERT INTO Message_Detail (Destination) VALUES ('after')"), 1) << n;
    EXPECT_EQ(Made.Number("SELECT COUNT(*) FROM Message_Detail WHERE Destination = 'after'"), 1) << n;
    Made.Execute("DELETE FROM Message_Detail");
    Made.Execute("DELETE FROM EventTrap");
    Made.Execute("DELETE FROM Category_Group_Master");
  }

  test::SqliteStore Made;
};

TEST_F(FaultTest, WritingIsAllOrNothingWhereverItFails) {
  EXPECT_GT(FailEachCall(Write), 100);  // far fewer would mean that the faults never reached the driver
}

TEST_F(FaultTest, ReadingIsWholeOrFailsWhereverItFails) {
  Write(Made.Db());
  Recordset first = Made.Db().OpenRecordset(kEventTrap, "EventTime = 0");
  ASSERT_TRUE(first.Next());
  first.Set("EventDescription", std::string(kLongText, 'x'));
  ASSERT_EQ(first.Update(), 1);
  Connection connection;
  Made.Connect(connection);
  for (int n = 1;; ++n) {
    test::FailCall(n);
    std::optional<int> rows;
    try {
      rows = Read(connection);
    } catch (const DatabaseError&) {  // NOLINT(bugprone-empty-catch): the other outcome that is right
    }
    const bool failed = test::EndFaults();
    EXPECT_EQ(rows.value_or(kRows), kRows) << n;
    EXPECT_EQ(Read(connection), kRows) << n;
    if (failed) continue;
    EXPECT_GT(n, 20);
    break;
  }
}

}  // namespace

}  // namespace korvane::store
