#include "store/Statements.h"

#include <limits>
#include <utility>
#include <vector>

#include "EngineTest.h"
#include "store/DatabaseError.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::store {

namespace {

TEST(StatementTexts, QuotedKeepsATextOrRefusesIt) {
  EXPECT_EQ(Quoted(""), "''");
  EXPECT_EQ(Quoted("\\\"%_;--"), "'\\\"%_;--'");
  for (const std::string& text : {std::string("O'Brien"), std::string("'"), std::string("a\0b", 3)}) {
    EXPECT_THROW(Quoted(text), DatabaseError);
  }
}

class Statements : public EngineTest {
 protected:
  std::vector<std::int32_t> Numbers(const std::string& statement) {
    std::vector<std::int32_t> numbers;
    TrapReader reader(Db, statement);
    for (IncomingTrap trap; reader.Next(trap);) numbers.push_back(trap.SequenceNumber);
    return numbers;
  }
};
KORVANE_ON_EVERY_ENGINE(Statements);

TEST_P(Statements, ReadWithinTheirBoundsInOrder) {
  using Rows = std::vector<std::int32_t>;
  {
    Recordset newest = Db.OpenRecordset(NewestTimeStatement());
    ASSERT_TRUE(newest.Next());
    EXPECT_TRUE(newest.IsNull("MaxTicks"));
    EXPECT_EQ(newest.Integer("MaxTicks"), 0);
  }
  Made->AddTraps(std::vector<test::StoredTrap>{{.SequenceNumber = 1, .EventTime = 300},
                                               {.SequenceNumber = 2, .EventTime = 200},
                                               {.SequenceNumber = 3, .EventTime = 200},
                                               {.SequenceNumber = 4, .EventTime = 250, .EventAck = 1},
                                               {.SequenceNumber = 5, .EventTime = -100}});
  EXPECT_EQ(Numbers(TrapsLoadStatement(300)), (Rows{5, 2, 3}));
  EXPECT_EQ(Numbers(TrapsLoadStatement(301, 200)), (Rows{1}));
  EXPECT_EQ(Numbers(ReportStatement(200, 300)), (Rows{2, 3, 4, 1}));
  EXPECT_EQ(Numbers(ReportStatement(250, 250)), (Rows{4}));
  EXPECT_EQ(Made->Number(CountReportStatement(200, 250)), 3);
  EXPECT_EQ(Numbers(SystemsLoadStatement(300)).size(), 3U);
  EXPECT_EQ(Numbers(SystemsLoadStatement(301, -100)).size(), 3U);
  EXPECT_EQ(Made->Number(CountUnacknowledgedStatement()), 4);
  EXPECT_EQ(Made->Number(NewestTimeStatement()), 300);
}

TEST_P(Statements, AcknowledgeExactlyTheirRows) {
  Made->AddTraps(std::vector<test::StoredTrap>{{.SequenceNumber = 1, .EventTime = 10, .Source = "alpha"},
                                               {.SequenceNumber = 2, .EventTime = 20, .Source = "alpha"},
                                               {.SequenceNumber = 3, .EventTime = 10, .Source = "ALPHA"},
                                               {.SequenceNumber = 4, .EventTime = 10, .Source = "alpha "},
                                               {.SequenceNumber = 5, .EventTime = 30, .Source = "beta"}});
  const auto acknowledged = [this] {
    return Made->Number("SELECT SUM(SequenceNumber) FROM EventTrap WHERE EventAck = 1");
  };
  EXPECT_THROW(Db.Execute(AcknowledgeSourceStatement("al'pha", 99)), DatabaseError);
  EXPECT_EQ(acknowledged(), 0);
  // Exactly this text (no letter case or trailing blank ignored), strictly below the bound.
  EXPECT_EQ(Db.Execute(AcknowledgeSourceStatement("alpha", 20)), 1);
  EXPECT_EQ(acknowledged(), 1);
  EXPECT_EQ(Db.Execute(AcknowledgeAllStatement(30)), 3);
  EXPECT_EQ(acknowledged(), 1 + 2 + 3 + 4);
  EXPECT_EQ(Db.Execute(AcknowledgeTrapStatement(5)), 1);
  EXPECT_EQ(Db.Execute(AcknowledgeTrapStatement(5)), 1);  // a row that was found counts, on each engine
  EXPECT_EQ(Db.Execute(AcknowledgeTrapStatement(6)), 0);
  EXPECT_EQ(Made->Number(CountUnacknowledgedStatement()), 0);
}

// The shipped rows that mean "no action", and keys that the database goes on making after them.
TEST_P(Statements, FindTheSchemaAsTheyNeedIt) {
  for (const std::string_view table : {kBeepDetail, kEmailDetail, kMessageDetail, kCustomActionDetail}) {
    Recordset rows = Db.OpenRecordset(table);
    ASSERT_TRUE(rows.Next()) << table;
    EXPECT_EQ(rows.Integer(std::size_t{0}), 1) << table;
    EXPECT_FALSE(rows.Next()) << table;
  }
  Recordset beep =
      Db.OpenRecordset(kBeepDetail, "Beep_Count = 0 AND Duration = 0 AND Delay = 0 AND Frequency = 0");
  EXPECT_FALSE(beep.Next());
  beep.AddNew();
  beep.Set("Description", "it's a beep");
  EXPECT_EQ(beep.Update(), 1);
  EXPECT_EQ(Made->Number("SELECT Beep_ID FROM Beep_Detail WHERE Beep_Count = 0"), 2);
  Db.Execute("INSERT INTO Trap_Notification_Master (Email_ID, Trap_Group_ID) VALUES(7, 3)");
  EXPECT_EQ(Made->Number("SELECT Beep_ID FROM Trap_Notification_Master WHERE Trap_Group_ID = 3"), 1);
}

// Rows without a number of their own come in the order in which they were added, not by name.
TEST_P(Statements, ReadATableInTheOrderOfItsRows) {
  for (const std::string_view name : {"zulu", "alpha", "Mike"}) Made->AddCategory(name, {});
  Recordset rows = Db.OpenRecordset(kCategoryGroupMaster);
  std::string names;
  while (rows.Next()) names += rows.Text("category_name") + " ";
  EXPECT_EQ(names, "zulu alpha Mike ");
}

}  // namespace

}  // namespace korvane::store
