// Connections, the rows, statements and texts that go over them, and transactions, on every engine.
#include "store/Connection.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <clocale>
#include <future>
#include <string>
#include <tuple>
#include <vector>

#include "EngineTest.h"
#include "store/BatchInsert.h"
#include "store/DatabaseError.h"
#include "store/NotesWrite.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapNames.h"
#include "store/TrapReader.h"

namespace korvane::store {

namespace {

using Traps = std::vector<test::StoredTrap>;

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

class ConnectionTest : public EngineTest {};
KORVANE_ON_EVERY_ENGINE(ConnectionTest);

TEST_P(ConnectionTest, TellsWhatWasAttemptedAndWhy) {
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

TEST_P(ConnectionTest, RollsBackUnlessCommitted) {
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
TEST_P(ConnectionTest, ATransactionThatTookTheRightToWriteMayReadFirst) {
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
TEST_P(ConnectionTest, AnUncommittedCategoryChangeStopsNeitherReceiverNorConsole) {
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

TEST(MissingStoreTest, FailsAtOpenAndAgainAtTheFirstReadAndIsNotMade) {
  test::SqliteStore made;
  Connection connection;
  EXPECT_THROW(connection.Open("nowhere", {}, {}), DatabaseError);
  EXPECT_FALSE(connection.IsOpen());
  EXPECT_THROW(connection.OpenRecordset(kEventTrap), DatabaseError);
  made.Db().Close();
  std::filesystem::remove(made.MainFile());
  OpenDatabase(connection);
  EXPECT_FALSE(std::string(ErrorOf([&] { connection.OpenRecordset(kSystemTable); }).what()).empty());
  EXPECT_FALSE(std::filesystem::exists(made.MainFile()));
}

class RecordsetTest : public EngineTest {};
KORVANE_ON_EVERY_ENGINE(RecordsetTest);

TEST_P(RecordsetTest, AddsARowAndLearnsItsKeyByTheSameFilter) {
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
  EXPECT_FALSE(again.Next() || again.Next());
  EXPECT_THROW(again.Text("Community"), DatabaseError);
}

TEST_P(RecordsetTest, EditsOnlyTheFieldsThatWereSet) {
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

TEST_P(RecordsetTest, RefusesWhatWouldReachOtherRows) {
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

TEST_P(RecordsetTest, MayBeNestedAndOutlivesOtherStatements) {
  for (int i = 0; i < 100; ++i) Made->AddSystem("system" + std::to_string(i), "10.0.0.1");
  Recordset outer = Db.OpenRecordset(kSystemTable);
  std::int64_t rows = 0;
  while (outer.Next()) {
    Recordset inner = Db.OpenRecordset(kSystemTable, "System_Name = " + Quoted(outer.Text("System_Name")));
    ASSERT_TRUE(inner.Next());
    inner.Set("System_Type", outer.Text("System_Name") + "'s type");
    rows += inner.Update();
  }
  EXPECT_EQ(rows, 100);
  EXPECT_EQ(Made->Text("SELECT * FROM System_Table WHERE System_Name = 'system99'", "System_Type"),
            "system99's type");
}

TEST_P(RecordsetTest, ReadsNumbersWithinTheirRange) {
  Recordset rows = Db.OpenRecordset(
      "SELECT NULL AS Empty, 'abc' AS Word, 9999999999 AS Big, -9999999999 AS Small, '-17' AS Text, COUNT(*) "
      "FROM EventTrap");
  ASSERT_TRUE(rows.Next());
  EXPECT_TRUE(rows.IsNull("Empty"));
  EXPECT_EQ(rows.Text("Empty"), "");
  for (const auto& [column, number] :
       {std::pair{"Empty", 0}, std::pair{"Word", 0}, std::pair{"Big", 2147483647},
        std::pair{"Small", -2147483647 - 1}, std::pair{"Text", -17}}) {
    EXPECT_EQ(rows.Integer(column), number) << column;
  }
  EXPECT_EQ(rows.Integer(std::size_t{5}), 0);
  EXPECT_THROW(rows.Text("Other"), DatabaseError);
  EXPECT_THROW(rows.Integer(std::size_t{6}), DatabaseError);
}

class StatementsTest : public EngineTest {
 protected:
  std::vector<std::int32_t> Numbers(const std::string& statement) {
    std::vector<std::int32_t> numbers;
    TrapReader reader(Db, statement);
    for (IncomingTrap trap; reader.Next(trap);) numbers.push_back(trap.SequenceNumber);
    return numbers;
  }
};
KORVANE_ON_EVERY_ENGINE(StatementsTest);

TEST(QuotedTest, KeepsATextOrRefusesIt) {
  EXPECT_EQ(Quoted(""), "''");
  EXPECT_EQ(Quoted("\\\"%_;--"), "'\\\"%_;--'");
  for (const std::string& text : {std::string("O'Brien"), std::string("'"), std::string("a\0b", 3)}) {
    EXPECT_THROW(Quoted(text), DatabaseError);
  }
}

TEST_P(StatementsTest, ReadWithinTheirBoundsInOrder) {
  using Rows = std::vector<std::int32_t>;
  Recordset newest = Db.OpenRecordset(NewestTimeStatement());
  EXPECT_TRUE(newest.Next() && newest.IsNull("MaxTicks"));
  Made->AddTraps(Traps{{.SequenceNumber = 1, .EventTime = 300},
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

TEST_P(StatementsTest, AcknowledgeExactlyTheirRows) {
  Made->AddTraps(Traps{{.SequenceNumber = 1, .EventTime = 10, .Source = "alpha"},
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

// Whoever writes notes has read some: those that a second hand wrote since are never written over.
TEST_P(StatementsTest, WriteNotesOverNoneButThoseThatWereRead) {
  const auto stored = [this](int number) {
    return Made->Text(fmt::format("SELECT * FROM EventTrap WHERE SequenceNumber = {}", number), "EventNotes");
  };
  const auto write = [this](std::string_view read, std::string_view notes) {
    const NotesResult result = WriteNotes(Db, 1, read, notes);
    return result.Outcome == NotesOutcome::Written ? "written" : "holds " + result.Stored;
  };
  Made->AddTraps(Traps{{.SequenceNumber = 1}, {.SequenceNumber = 2, .EventNotes = "of another"}});
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
  EXPECT_EQ(stored(1), "theirs");
  EXPECT_EQ(write("theirs", ""), "written");
  EXPECT_EQ(stored(1), "");
  EXPECT_EQ(stored(2), "of another");
}

// The shipped rows that mean "no action", and keys that the database goes on making after them; rows without
// a number of their own come in the order in which they were added, not by name.
TEST_P(StatementsTest, FindTheSchemaAsTheyNeedIt) {
  for (const std::string_view table : {kBeepDetail, kEmailDetail, kMessageDetail, kCustomActionDetail}) {
    Recordset rows = Db.OpenRecordset(table);
    ASSERT_TRUE(rows.Next()) << table;
    EXPECT_EQ(rows.Integer(std::size_t{0}), 1) << table;
    EXPECT_FALSE(rows.Next()) << table;
  }
  Db.Execute("INSERT INTO Beep_Detail (Description) VALUES ('beep')");
  EXPECT_EQ(Made->Number("SELECT Beep_ID FROM Beep_Detail WHERE Description = 'beep' AND Beep_Count = 0"), 2);
  Db.Execute("INSERT INTO Trap_Notification_Master (Email_ID, Trap_Group_ID) VALUES(7, 3)");
  EXPECT_EQ(Made->Number("SELECT Beep_ID FROM Trap_Notification_Master WHERE Trap_Group_ID = 3"), 1);
  for (const std::string_view name : {"zulu", "alpha", "Mike"}) Made->AddCategory(name, {});
  Recordset rows = Db.OpenRecordset(kCategoryGroupMaster);
  std::string names;
  while (rows.Next()) names += rows.Text("category_name") + " ";
  EXPECT_EQ(names, "zulu alpha Mike ");
}

constexpr std::int32_t kAllTimes = 2147483647;

// Every field differs from row to row, and texts that outgrow the block's buffers stand at its borders.
test::StoredTrap NumberedTrap(std::int32_t number) {
  const bool isLong = number % 256 <= 1 || number % 256 == 255;
  const std::string text = fmt::format("{}:", number);
  return {.SequenceNumber = number,
          .EventTime = 100000 + number / 3,
          .Source = "source" + text,
          .EnterpriseOid = fmt::format("1.3.6.1.4.1.{}", number),
          .GenericTrap = number % 7,
          .SpecificTrap = -number,
          .EventDescription = text + std::string(isLong ? std::size_t{64} * 1024 : 20, 'd'),
          .Event_ExtDescr = number % 2 == 0 ? "" : text + std::string(number % 256 == 1 ? 3000 : 10, 'x'),
          .EventNotes = number % 5 == 0 ? text + std::string(number % 256 == 255 ? 600 : 5, 'n') : "",
          .EventAck = number % 2};
}

bool AreSame(const IncomingTrap& trap, const test::StoredTrap& stored) {
  return std::tie(trap.SequenceNumber, trap.EventTime, trap.Source, trap.EnterpriseOid, trap.GenericTrap,
                  trap.SpecificTrap, trap.EventNotes, trap.EventAck) ==
             std::tie(stored.SequenceNumber, stored.EventTime, stored.Source, stored.EnterpriseOid,
                      stored.GenericTrap, stored.SpecificTrap, stored.EventNotes, stored.EventAck) &&
         trap.EventDescription() == stored.EventDescription &&
         trap.Event_ExtDescr() == stored.Event_ExtDescr &&
         trap.VarBinds == stored.EventDescription + stored.Event_ExtDescr;
}

class TrapReaderTest : public EngineTest {};
KORVANE_ON_EVERY_ENGINE(TrapReaderTest);

TEST_P(TrapReaderTest, ReadsAnyNumberOfRowsWhole) {
  std::vector<test::StoredTrap> traps;
  std::int32_t number = 0;
  for (const std::int32_t rows : {0, 1, 255, 256, 257, 512, 600}) {
    std::vector<test::StoredTrap> more;
    while (number < rows) more.push_back(NumberedTrap(++number));
    Made->AddTraps(more);
    traps.insert(traps.end(), more.begin(), more.end());
    TrapReader reader(Db, "SELECT * FROM EventTrap ORDER BY SequenceNumber");
    IncomingTrap trap;
    for (const test::StoredTrap& stored : traps) {
      ASSERT_TRUE(reader.Next(trap) && AreSame(trap, stored)) << stored.SequenceNumber << " of " << rows;
    }
    EXPECT_FALSE(reader.Next(trap) || reader.Next(trap));
  }
}

TEST_P(TrapReaderTest, TakesColumnsByNameAndLeavesTheOthersEmpty) {
  const test::StoredTrap stored = NumberedTrap(255);
  Made->AddTraps(std::vector{stored, NumberedTrap(256)});
  IncomingTrap trap;
  trap.SystemName = "kept";
  {
    TrapReader reader(
        Db,
        "SELECT 1 AS Other, eventnotes, SEQUENCENUMBER, NULL AS Source, EventTime FROM EventTrap "
        "ORDER BY SequenceNumber");
    ASSERT_TRUE(reader.Next(trap));
    const test::StoredTrap read = {.SequenceNumber = 255,
                                   .EventTime = stored.EventTime,
                                   .Source = "",
                                   .EnterpriseOid = "",
                                   .GenericTrap = 0,
                                   .SpecificTrap = 0,
                                   .EventDescription = "",
                                   .EventNotes = stored.EventNotes};
    EXPECT_TRUE(AreSame(trap, read));
    EXPECT_EQ(trap.SystemName, "kept");
    EXPECT_TRUE(reader.Next(trap) && !reader.Next(trap));
  }
  // Without the key a long text can't be read again; it must come whole all the same.
  TrapReader reader(Db,
                    "SELECT EventNotes, EventDescription, EventTime, Source FROM EventTrap "
                    "ORDER BY SequenceNumber");
  ASSERT_TRUE(reader.Next(trap));
  EXPECT_TRUE(trap.EventDescription() == stored.EventDescription);
  EXPECT_TRUE(trap.EventNotes == stored.EventNotes);
  EXPECT_EQ(trap.Source, stored.Source);
  EXPECT_EQ(trap.EventTime, stored.EventTime);
  ASSERT_TRUE(reader.Next(trap));
  EXPECT_EQ(trap.EventNotes, "");
  EXPECT_FALSE(reader.Next(trap));
}

// Loading completes each trap while its rows are still being read: the look-ups share the reader's
// connection, and neither they nor a statement that fails among them may cost it a row.  Nor does a reader
// that is left half way keep the connection.
TEST_P(TrapReaderTest, GoesOnWhileNamesAreLookedUpBesideItAndMayBeLeft) {
  constexpr std::int32_t kRows = 2300;  // more than a server hands over at once
  Traps traps;
  for (std::int32_t i = 1; i <= kRows; ++i) {
    test::StoredTrap& trap = traps.emplace_back(NumberedTrap(2 + 256 * i));
    trap.EnterpriseOid = "1.3.6.1.4.1.9." + std::to_string(i / 10);
    trap.SpecificTrap = 7;
  }
  Made->AddTraps(traps);
  Made->AddDefinition("1.3.6.1.4.1.9.199", 7, "known", "enterprise");
  TrapNames names(Db);
  IncomingTrap trap;
  std::int32_t rows = 0;
  std::int32_t known = 0;
  {
    TrapReader reader(Db, TrapsLoadStatement(kAllTimes));
    while (reader.Next(trap)) {
      if (++rows == kRows / 2) {
        EXPECT_THROW(Db.OpenRecordset("Missing_Table"), DatabaseError);
      }
      names.GetTrapName(trap);
      known += trap.TrapName() == "known" ? 1 : 0;
    }
  }
  EXPECT_EQ(rows, kRows);
  EXPECT_EQ(known, 10);
  {
    TrapReader reader(Db, TrapsLoadStatement(kAllTimes));
    ASSERT_TRUE(reader.Next(trap));
  }
  EXPECT_EQ(Db.Execute(AcknowledgeAllStatement(kAllTimes)), kRows);
  Connection other;  // and nothing of it waits for a commit
  Made->Connect(other);
  EXPECT_FALSE(other.OpenRecordset(kEventTrap, "EventAck = 0").Next());
}

std::vector<std::string> HostileTexts() {
  std::vector<std::string> texts = {
      "",
      " ",
      "trailing blank ",
      "it's ''quoted'' and \"quoted\" and `quoted`",
      "'; DELETE FROM EventTrap; --",
      "\\' OR 1 = 1 -- \\",
      "ends in a backslash\\",
      "{fn now()} {d '2000-01-01'} ? ?1 :name @name $1 %s %n",
      "/* open comment",
      "line\r\nbreak\n\ttab\x01\x1b[31m\x7f",
      "Grüße, Ωμέγα, 漢字, \xF0\x9F\x94\xA5\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x9A\x92",
      "\xE2\x80\xAEoverride\xEF\xBB\xBF",
      "<b>markup</b> &amp;",
  };
  for (const std::size_t length : {510U, 511U, 512U, 513U, 8192U, 65536U, 1048576U}) {
    texts.emplace_back(length, static_cast<char>('a' + length % 23));
  }
  std::string& wide =
      texts.emplace_back();  // two and four bytes each, so that a cut in a character would show
  for (int i = 0; i < 400; ++i) wide += "é\xF0\x9F\x94\xA5";
  return texts;
}

class TextsTest : public EngineTest {
 protected:
  ~TextsTest() override { std::setlocale(LC_ALL, "C"); }
};
KORVANE_ON_EVERY_ENGINE(TextsTest);

// A desktop program runs in its user's locale and a service in "C": the drivers must not take it for the
// encoding of the texts.
TEST_P(TextsTest, ComeBackByEveryRoadInEachLocale) {
  const std::vector<std::string> texts = HostileTexts();
  for (const char* const locale : {"C", "C.UTF-8"}) {
    SCOPED_TRACE(locale);
    ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr);
    Made->Connect(Db);
    Db.Execute("DELETE FROM EventTrap");
    Transaction transaction(Db);
    constexpr std::array<std::string_view, 5> kColumns = {"SequenceNumber", "EventTime", "EventDescription",
                                                          "Event_ExtDescr", "EventNotes"};
    BatchInsert insert(Db, kEventTrap, kColumns);
    for (std::int32_t i = 0; i < std::ssize(texts); ++i) {
      insert.Add(std::array<BatchInsert::Value, 5>{i + 1, i, texts[i], "second", *(texts.rbegin() + i)});
    }
    insert.Flush();
    transaction.Commit();
    TrapReader reader(Db, ReportStatement(0, 100));
    IncomingTrap trap;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      SCOPED_TRACE(i);
      ASSERT_TRUE(reader.Next(trap));
      EXPECT_TRUE(trap.EventDescription() == texts[i]) << trap.EventDescription().substr(0, 100);
      EXPECT_EQ(trap.Event_ExtDescr(), "second");
      EXPECT_TRUE(trap.EventNotes == *(texts.rbegin() + static_cast<std::ptrdiff_t>(i)));
    }
    EXPECT_FALSE(reader.Next(trap));
    for (std::size_t i = 0; i < texts.size(); ++i) {
      SCOPED_TRACE(i);
      const std::string filter = fmt::format("SequenceNumber = {}", i + 1);
      Recordset rows = Db.OpenRecordset(kEventTrap, filter);
      ASSERT_TRUE(rows.Next());
      EXPECT_TRUE(rows.Text("EventDescription") == texts[i]);
      rows.Set("EventNotes", texts[i]);
      EXPECT_EQ(rows.Update(), 1);
      EXPECT_TRUE(Made->Text("SELECT * FROM EventTrap WHERE " + filter, "EventNotes") == texts[i]);
    }
  }
}

TEST_P(TextsTest, StandInAStatementAsTheyAre) {
  int number = 0;
  for (const std::string& text : HostileTexts()) {
    if (text.size() > 255 || text.find('\'') != std::string::npos) continue;
    ++number;
    Made->AddTrap({.Source = text});
    EXPECT_EQ(Db.Execute(AcknowledgeSourceStatement(text, 5000)), 1) << text;
    EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), number) << text;
    Db.Execute("UPDATE EventTrap SET EventNotes = " + Quoted(text));
    EXPECT_EQ(Made->Text("SELECT * FROM EventTrap", "EventNotes"), text);
  }
  EXPECT_GT(number, 8);
}

// What an engine can't hold must be a clear error, and never a text that was changed on the way.
TEST_P(TextsTest, ThatAnEngineCannotHoldAreRefused) {
  struct Row {
    std::string Text;
    Engine Holds;
  };
  // SQLite takes any bytes for a text; MariaDB counts, so a NUL is one character of many.
  for (const auto& [text, holds] : {Row{"broken \xff\xfe\xc3 utf-8", Engine::Sqlite},
                                    Row{std::string("nul\0inside", 10), Engine::MariaDb}}) {
    if (GetParam() != holds) {
      EXPECT_THROW(Made->AddTrap({.EventTime = 1, .EventDescription = text}), DatabaseError);
      EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM EventTrap"), 0);
      continue;
    }
    Made->AddTrap({.EventTime = 1, .EventDescription = text});
    EXPECT_EQ(Made->Text("SELECT * FROM EventTrap", "EventDescription"), text);
    TrapReader reader(Db, ReportStatement(0, 100));
    IncomingTrap trap;
    ASSERT_TRUE(reader.Next(trap));
    EXPECT_EQ(trap.EventDescription(), text);
    EXPECT_FALSE(reader.Next(trap));
    Db.Execute("DELETE FROM EventTrap");
  }
}

}  // namespace

}  // namespace korvane::store
