#include "store/Statements.h"

#include <chrono>
#include <future>
#include <limits>
#include <utility>
#include <vector>

#include "EngineTest.h"
#include "store/DatabaseError.h"
#include "store/NotesWrite.h"
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
// Whoever writes notes has read some: those that a second hand wrote since are never written over.
TEST_P(Statements, WriteNotesOverNoneButThoseThatWereRead) {
  const auto stored = [this] {
    return Made->Text("SELECT EventNotes FROM EventTrap WHERE SequenceNumber = 1", "EventNotes");
  };
  const auto write = [this](std::string_view read, std::string_view notes) {
    const NotesResult result = WriteNotes(Db, 1, read, notes);
    return result.Outcome == NotesOutcome::Written ? "written" : "holds " + result.Stored;
  };
  Made->AddTrap({.SequenceNumber = 1});
  Made->AddTrap({.SequenceNumber = 2, .EventNotes = "of another"});
  EXPECT_EQ(WriteNotes(Db, 3, "", "x").Outcome, NotesOutcome::NoSuchTrap);
  EXPECT_EQ(write("", "it's Ä"), "written");
  // What an engine may take for the same text.
  for (const char* read : {"", "IT'S Ä", "it's ä", "it's Ä ", "it's A"}) {
    EXPECT_EQ(write(read, "mine"), "holds it's Ä") << read;
  }
  EXPECT_EQ(write("something else", "it's Ä"), "written") << "both wrote the same";
  EXPECT_FALSE(Db.InTransaction());

  // The second hand is writing just now.
  Connection other;
  Made->Connect(other);
  other.BeginTransaction();
  other.Execute("UPDATE EventTrap SET EventNotes = 'theirs' WHERE SequenceNumber = 1");
  auto mine = std::async(std::launch::async, [&] { return write("it's Ä", "mine"); });
  mine.wait_for(std::chrono::milliseconds(200));  // waits for them, or reads what was there
  other.Commit();
  EXPECT_EQ(mine.get(), "holds theirs");
  EXPECT_EQ(stored(), "theirs");
  EXPECT_EQ(write("theirs", ""), "written");
  EXPECT_EQ(stored(), "");
  EXPECT_EQ(Made->Text("SELECT EventNotes FROM EventTrap WHERE SequenceNumber = 2", "EventNotes"),
            "of another");
}

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
