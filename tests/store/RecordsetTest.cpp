#include "store/Recordset.h"

#include "EngineTest.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

class Recordsets : public EngineTest {};
KORVANE_ON_EVERY_ENGINE(Recordsets);

TEST_P(Recordsets, AddARowAndLearnItsKeyByTheSameFilter) {
  const std::string filter = "Source_Agent = " + Quoted("router") + " AND GenericTrap = 2";
  Recordset rows = Db.OpenRecordset(kTrapDetail, filter);
  EXPECT_FALSE(rows.Next());
  rows.AddNew();
  rows.Set("Source_Agent", "router");
  rows.Set("GenericTrap", 5);
  rows.Set("generictrap", 2);  // the same column
  rows.Set("EventDescription", "it's \"text\"");
  EXPECT_EQ(rows.Update(), 1);
  Recordset again = Db.OpenRecordset(kTrapDetail, filter);
  ASSERT_TRUE(again.Next());
  EXPECT_EQ(again.Integer("TRAP_TABLE_ID"), 1);
  EXPECT_EQ(again.Text("eventdescription"), "it's \"text\"");
  EXPECT_EQ(again.Text("Community"), "");
  EXPECT_FALSE(again.Next());
  EXPECT_FALSE(again.Next());
  EXPECT_THROW(again.Text("Community"), DatabaseError);
}

TEST_P(Recordsets, AnEditWritesOnlyTheFieldsThatWereSet) {
  Made->AddTrap({.SequenceNumber = 7, .EventDescription = "first"});
  Recordset notes = Db.OpenRecordset(kEventTrap, "SequenceNumber = 7");
  ASSERT_TRUE(notes.Next());
  Db.Execute(AcknowledgeTrapStatement(7));  // somebody else, meanwhile
  notes.Set("EventNotes", "seen");
  EXPECT_EQ(notes.Update(), 1);
  EXPECT_EQ(notes.Update(), 0);  // nothing set since
  notes.Set("EventNotes", "seen");
  EXPECT_EQ(notes.Update(), 1);  // found, though nothing changes
  Recordset now = Db.OpenRecordset(kEventTrap, "SequenceNumber = 7");
  ASSERT_TRUE(now.Next());
  EXPECT_EQ(now.Integer("EventAck"), 1);
  EXPECT_EQ(now.Text("EventNotes"), "seen");
  EXPECT_EQ(now.Text("EventDescription"), "first");
  Db.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 7");
  now.Set("EventNotes", "late");
  EXPECT_EQ(now.Update(), 0);
}

TEST_P(Recordsets, RefuseWhatWouldReachOtherRows) {
  Made->AddSystem("one", "10.0.0.1");
  Made->AddSystem("two", "10.0.0.2");
  Recordset all = Db.OpenRecordset(kSystemTable);
  ASSERT_TRUE(all.Next());
  all.Set("System_Name", "every");
  EXPECT_THROW(all.Update(), DatabaseError);
  Recordset none = Db.OpenRecordset(kSystemTable, "System_Name = 'three'");
  EXPECT_FALSE(none.Next());
  none.Set("System_Type", "x");
  EXPECT_THROW(none.Update(), DatabaseError);
  Recordset select = Db.OpenRecordset("SELECT System_Name FROM System_Table", "IP_Address = '10.0.0.2'");
  ASSERT_TRUE(select.Next());
  EXPECT_EQ(select.Text("System_Name"), "two");
  EXPECT_THROW(select.Set("System_Name", "x"), DatabaseError);
  EXPECT_THROW(all.Set("System_Name = 'x', IP_Address", "y"), DatabaseError);
  EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM System_Table WHERE System_Name = 'every'"), 0);
}

TEST_P(Recordsets, MayBeNestedAndOutliveOtherStatements) {
  for (int i = 0; i < 300; ++i) Made->AddSystem("system" + std::to_string(i), "10.0.0.1");
  Recordset outer = Db.OpenRecordset(kSystemTable);
  int rows = 0;
  while (outer.Next()) {
    Recordset inner = Db.OpenRecordset(kSystemTable, "System_Name = " + Quoted(outer.Text("System_Name")));
    ASSERT_TRUE(inner.Next());
    inner.Set("System_Type", outer.Text("System_Name") + "'s type");
    rows += static_cast<int>(inner.Update());
  }
  EXPECT_EQ(rows, 300);
  EXPECT_EQ(Made->Text("SELECT * FROM System_Table WHERE System_Name = 'system299'", "System_Type"),
            "system299's type");
}

TEST_P(Recordsets, ReadNumbersWithinTheirRange) {
  Recordset rows = Db.OpenRecordset(
      "SELECT NULL AS Empty, 'abc' AS Word, 9999999999 AS Big, -9999999999 AS Small, '-17' AS Text, COUNT(*) "
      "FROM EventTrap");
  ASSERT_TRUE(rows.Next());
  EXPECT_TRUE(rows.IsNull("Empty"));
  EXPECT_EQ(rows.Text("Empty"), "");
  EXPECT_EQ(rows.Integer("Empty"), 0);
  EXPECT_EQ(rows.Integer("Word"), 0);
  EXPECT_EQ(rows.Integer("Big"), 2147483647);
  EXPECT_EQ(rows.Integer("Small"), -2147483647 - 1);
  EXPECT_EQ(rows.Integer("Text"), -17);
  EXPECT_EQ(rows.Integer(std::size_t{5}), 0);
  EXPECT_THROW(rows.Text("Other"), DatabaseError);
  EXPECT_THROW(rows.Integer(std::size_t{6}), DatabaseError);
}

}  // namespace

}  // namespace korvane::store
