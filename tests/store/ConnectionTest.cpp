// Connections, the rows, statements and texts that go over them, and transactions, on every engine.
#include "store/Connection.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <future>
#include <string>
#include <tuple>
#include <vector>

#include "EngineTest.h"
#include "store/Acknowledge.h"
#include "store/AcknowledgedBy.h"
#include "store/BatchInsert.h"
#include "store/ChangeLog.h"
#include "store/DataSource.h"
#include "store/DatabaseError.h"
#include "store/NotesWrite.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapNames.h"
#include "store/TrapReader.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::store {

namespace {

using namespace std::string_literals;
using Traps = std::vector<test::StoredTrap>;

class ConnectionTest : public EngineTest {
 protected:
  std::int32_t Count(const std::string& condition = "1 = 1") {
    return Made->Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
};
KORVANE_ON_EVERY_ENGINE(ConnectionTest);

TEST_P(ConnectionTest, RollsBackUnlessCommitted) {
  const auto add = [this](std::int32_t number) {
    Db.Execute(fmt::format("INSERT INTO EventTrap (SequenceNumber, EventTime) VALUES ({}, 1)", number));
  };
  {
    const Transaction transaction(Db);
    EXPECT_THROW(Db.BeginTransaction(), DatabaseError);
    add(1);
    EXPECT_EQ(Count(), 1);
  }
  EXPECT_EQ(Count(), 0);
  EXPECT_THROW(Db.Commit(), DatabaseError);
  {
    Transaction transaction(Db);
    add(1);
    EXPECT_THROW(add(1), DatabaseError);  // a statement that fails leaves the others as they are
    add(2);
    transaction.Commit();
  }
  EXPECT_THROW(Db.Execute(std::string("DELETE FROM EventTrap\0 WHERE EventTime = 99", 42)), DatabaseError);
  EXPECT_EQ(Count(), 2);
  {
    const Transaction transaction(Db);
    Db.Execute("DELETE FROM EventTrap");
    Db.Close();  // rolls back
  }
  EXPECT_THROW(Db.Execute("DELETE FROM EventTrap"), DatabaseError);
  Made->Connect(Db);
  add(3);  // outside a transaction every statement stands at once
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
  Made->AddTrap({.EventTime = 20, .Source = "router"});
  EXPECT_EQ(Db.Execute(AcknowledgeSourceStatement("router", 30, GetParam())), 1);
  EXPECT_FALSE(Db.OpenRecordset(kCategoryGroupMaster).Next());
  change.Commit();
  EXPECT_TRUE(Db.OpenRecordset(kCategoryGroupMaster).Next());
}

TEST(MissingStoreTest, FailsAtTheFirstReadAndIsNotMade) {
  test::SqliteStore made;
  made.Db().Close();
  std::filesystem::remove(made.MainFile());
  Connection connection;
  OpenDatabase(connection);
  EXPECT_THROW(connection.OpenRecordset(kSystemTable), DatabaseError);
  EXPECT_FALSE(std::filesystem::exists(made.MainFile()));
}

TEST(DataSourceTest, IsTakenFromTheProductsFileWhenNobodyElseCouldHaveWrittenIt) {
  const test::TempFolder folder;
  const auto file = folder / "odbc.ini";
  test::WriteFile(
      file,
      "[other]\nDriver=Evil\n# note\n[dvldb]\r\n\tDriver\t= MariaDB Unicode\r\n; Port=1\n\nPWD=a}b;c=\n"
      "Timeout=9\nDATABASE=\n[last]\nUID=x\n");
  const std::string_view asked = ";StepAPI=1;TIMEOUT=2000";
  const auto words = [&](mode_t mode, const char* environment = nullptr) {
    EXPECT_EQ(chmod(file.c_str(), mode), 0);
    EXPECT_TRUE(test::EndedWell(test::InChild([&] {
      unsetenv("ODBCSYSINI");
      environment != nullptr ? setenv("ODBCINI", environment, 1) : unsetenv("ODBCINI");
      test::WriteFile(folder / "found", ConnectionWords("dvldb", asked, file));
      return true;
    })));
    return test::ReadFile(folder / "found");
  };
  EXPECT_EQ(words(0640), "Driver={MariaDB Unicode};PWD={a}}b;c=}");
  EXPECT_EQ(words(0640, "/own"), "DSN=dvldb");
  EXPECT_EQ(words(0660), "DSN=dvldb");  // it could name a library of anybody's
}

TEST_P(ConnectionTest, AStoreOfAnotherVersionIsRefusedInPlainWords) {
  for (const auto& [change, words] :
       {std::pair("UPDATE Store_Info SET Schema_Version = 99", "for a later release"),
        {"DROP TABLE Store_Info", "of version 1, and this program works with version 3. Bring it up to date"},
        {"DROP TABLE EventStructure", "tructure"}}) {  // no store at all
    Made->Execute(change);
    Connection other;
    EXPECT_THAT([&] { Made->Connect(other); },
                testing::ThrowsMessage<DatabaseError>(testing::HasSubstr(words)));
    EXPECT_FALSE(other.IsOpen());
  }
}

TEST_P(ConnectionTest, RecordsetsWriteTheFieldsThatWereSetOfTheirOwnRowOnly) {
  Recordset adding = Db.OpenRecordset(kTrapDetail, "GenericTrap = 2");
  EXPECT_FALSE(adding.Next());
  adding.AddNew();
  adding.Set("GenericTrap", 5);
  adding.Set("generictrap", 2);  // the same column
  adding.Set("EventDescription", "it's \"text\"");
  EXPECT_EQ(adding.Update(), 1);
  Recordset added = Db.OpenRecordset(kTrapDetail, "GenericTrap = 2");
  ASSERT_TRUE(added.Next());
  EXPECT_EQ(added.Integer("TRAP_TABLE_ID"), 1);
  EXPECT_EQ(added.Text("eventdescription"), "it's \"text\"");
  EXPECT_FALSE(added.Next() || added.Next());
  EXPECT_THROW(added.Text("Community"), DatabaseError);

  Made->AddTraps(Traps{{.SequenceNumber = 7}, {.SequenceNumber = 8}});
  Recordset trap = Db.OpenRecordset(kEventTrap, "SequenceNumber = 7");
  ASSERT_TRUE(trap.Next());
  Db.Execute(AcknowledgeTrapStatement(7));  // somebody else, meanwhile
  for (const int rows : {1, 1, 0}) {        // found, though the second changes nothing; then it is gone
    if (rows == 0) Db.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 7");
    trap.Set("EventNotes", "seen");
    EXPECT_EQ(trap.Update(), rows);
    EXPECT_EQ(Count("SequenceNumber = 7 AND EventAck = 1 AND EventNotes = 'seen' AND Source = 'router1'"),
              rows);
  }
  Recordset all = Db.OpenRecordset(kEventTrap);
  ASSERT_TRUE(all.Next());
  all.Set("EventNotes", "every");
  EXPECT_THROW(all.Update(), DatabaseError);
  EXPECT_THROW(all.Set("EventNotes = 'x', Source", "y"), DatabaseError);
  EXPECT_EQ(Count("EventNotes = ''"), 1);

  Recordset rows = Db.OpenRecordset("SELECT NULL AS Empty, 9999999999 AS Big, '-17' AS Text FROM EventTrap");
  ASSERT_TRUE(rows.Next() && rows.IsNull("Empty"));
  EXPECT_EQ(std::tuple(rows.Integer("Empty"), rows.Integer("Big"), rows.Integer("Text")),
            std::tuple(0, 2147483647, -17));
}

TEST_P(ConnectionTest, StatementsReadAndAcknowledgeExactlyTheirRowsInOrder) {
  const auto numbers = [this](const std::string& statement) {
    std::string read;
    TrapReader reader(Db, statement);
    for (IncomingTrap trap; reader.Next(trap);) read += fmt::format("{} ", trap.SequenceNumber);
    return read;
  };
  Recordset newest = Db.OpenRecordset(NewestTimeStatement());
  EXPECT_TRUE(newest.Next() && newest.IsNull("MaxTicks"));
  Made->AddTraps(Traps{{.SequenceNumber = 1, .EventTime = 300, .Source = "alpha"},
                       {.SequenceNumber = 2, .EventTime = 200, .Source = "alpha"},
                       {.SequenceNumber = 3, .EventTime = 200, .Source = "ALPHA"},
                       {.SequenceNumber = 4, .EventTime = 250, .EventAck = 1},
                       {.SequenceNumber = 5, .EventTime = -100, .Source = "alpha "}});
  EXPECT_EQ(numbers(TrapsLoadStatement(300)), "5 2 3 ");
  EXPECT_EQ(numbers(TrapsLoadStatement(301, 200)), "1 ");
  EXPECT_EQ(numbers(ReportStatement(200, 300)), "2 3 4 1 ");
  EXPECT_EQ(Made->Number(CountReportStatement(200, 250)), 3);
  EXPECT_EQ(numbers(SystemsLoadStatement(301, -100)).size(), 6U);
  EXPECT_EQ(Made->Number(CountUnacknowledgedStatement()), 4);
  EXPECT_EQ(Made->Number(NewestTimeStatement()), 300);

  const auto acknowledge = [this](const std::string& statement) {
    const std::int64_t rows = Db.Execute(statement);
    return fmt::format("{}: {}", rows,
                       Made->Number("SELECT SUM(SequenceNumber) FROM EventTrap WHERE EventAck = 1"));
  };
  EXPECT_EQ(Quoted("\\\"%_;--"), "'\\\"%_;--'");
  EXPECT_THROW(Quoted("a\0b"s), DatabaseError);
  EXPECT_THROW(AcknowledgeSourceStatement("al'pha", 999, GetParam()), DatabaseError);
  // Exactly this text (no letter case or trailing blank ignored), strictly below the bound.
  EXPECT_EQ(acknowledge(AcknowledgeSourceStatement("alpha", 300, GetParam())), "1: 6");
  EXPECT_EQ(acknowledge(AcknowledgeAllStatement(300)), "2: 14");
  EXPECT_EQ(acknowledge(AcknowledgeTrapStatement(1)), "1: 15");
  EXPECT_EQ(acknowledge(AcknowledgeTrapStatement(1)), "1: 15");  // a row that was found counts
  EXPECT_EQ(acknowledge(AcknowledgeTrapStatement(6)), "0: 15");
}

// Whoever writes notes has read some: those that a second hand wrote since are never written over.
TEST_P(ConnectionTest, NotesAreWrittenOverNoneButThoseThatWereRead) {
  const auto write = [this](std::string_view read, std::string_view notes) {
    const NotesResult result = WriteNotes(Db, {1, 5}, read, notes);
    return result.Outcome == NotesOutcome::Written ? "written" : "holds " + result.Stored;
  };
  Made->AddTraps(
      Traps{{.SequenceNumber = 1, .EventTime = 5}, {.SequenceNumber = 2, .EventNotes = "of another"}});
  EXPECT_EQ(WriteNotes(Db, {3, 5}, "", "x").Outcome, NotesOutcome::NoSuchTrap);
  EXPECT_EQ(WriteNotes(Db, {1, 6}, "", "x").Outcome, NotesOutcome::NoSuchTrap)
      << "another has its number now";
  EXPECT_EQ(write("", "it's Ä"), "written");
  // What an engine may take for the same text.
  for (const char* read : {"", "IT'S Ä", "it's ä", "it's Ä ", "it's A"}) {
    EXPECT_EQ(write(read, "mine"), "holds it's Ä") << read;
  }
  EXPECT_EQ(write("something else", "it's Ä"), "written") << "both wrote the same";
  EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM Change_Log WHERE Kind = 3 AND Numbers = '1'"), 1)
      << "what was written is noted, and nothing else";
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
  EXPECT_EQ(Count("EventNotes = 'theirs'"), 1);
  EXPECT_EQ(write("theirs", ""), "written");
  EXPECT_EQ(Count("EventNotes = ''") + Count("EventNotes = 'of another'"), 2);
}

// What one console acknowledges another one reads from the log, and taking it back leaves alone what was
// acknowledged before, or what somebody else has made new again since.
TEST_P(ConnectionTest, AnAcknowledgementIsNotedAndTakenBackForItsOwnRowsOnly) {
  Made->AddTraps(Traps{{.SequenceNumber = 1, .EventTime = 10, .Source = "a"},
                       {.SequenceNumber = 2, .EventTime = 10, .Source = "a", .EventAck = 1},
                       {.SequenceNumber = 3, .EventTime = 10, .Source = "a"},
                       {.SequenceNumber = 4, .EventTime = 20, .Source = "a"},
                       {.SequenceNumber = 5, .EventTime = 10, .Source = "b"}});
  Db.WriteAs({"o'neil", "desk", "first"});
  const GoOn on = [](std::int64_t) { return true; };
  const auto keys = [](std::initializer_list<TrapKey> some) { return std::vector<TrapKey>(some); };
  const auto changed = [](const Acknowledgement& done) { return NumbersText(done.Changed().Numbers); };
  const auto back = [&](const Acknowledgement& done) {
    const TakenBack taken = TakeBack(Db, done, [](std::int64_t) { return false; });
    EXPECT_FALSE(taken.Stopped) << "nothing was left to stop";
    return NumbersText(taken.Traps.Numbers);
  };
  const std::array<std::string, 2> sources = {"b", "a"};
  const Acknowledgement system = AcknowledgeSources(Db, sources, 20, on);
  EXPECT_EQ(changed(system), "1,3,5");
  const Acknowledgement rows = AcknowledgeTraps(Db, keys({{4, 20}, {2, 10}, {4, 20}}), on);
  EXPECT_EQ(changed(rows), "4");
  EXPECT_EQ(NumbersText(rows.Leaving.at(0).Numbers), "2,4");
  EXPECT_TRUE(AcknowledgeTraps(Db, keys({{2, 10}}), on).Portions.empty()) << "changed nothing";
  EXPECT_THROW(AcknowledgeSources(Db, std::array<std::string, 2>{"b", "o'neil"}, 99, on), DatabaseError);
  EXPECT_EQ(Count("EventAck = 0"), 0);
  int asked = 0;
  EXPECT_TRUE(AcknowledgeSources(Db, std::vector<std::string>(50, "c"), 20, [&](std::int64_t) {
                return ++asked < 2;
              }).Stopped);

  EXPECT_EQ(back(rows), "4");
  Db.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 1");
  // A store that went back has given number 5 again; 1 is no longer there.
  Db.Execute("UPDATE EventTrap SET EventTime = 11 WHERE SequenceNumber = 5");
  const Acknowledgement some = AcknowledgeTraps(Db, keys({{1, 10}, {4, 20}, {5, 10}}), on);
  EXPECT_EQ(changed(some) + " " + NumbersText(some.Leaving.at(0).Numbers), "4 1,4");
  EXPECT_EQ(some.Gone, 2);
  EXPECT_EQ(back(rows), "") << "new again since, and acknowledged once more";
  EXPECT_EQ(back(system), "3") << "5 is another trap now";
  std::string log;
  for (const Change& change : ReadChanges(Db, "Change_ID > 0")) {
    log += fmt::format("{} {} {}: {} of {}; ", static_cast<int>(change.Kind), change.Author.Operator,
                       change.Author.Writer, NumbersText(change.Traps.Numbers), change.Rows.value_or(-1));
  }
  EXPECT_EQ(log,
            "1 o'neil first: 1,3,5 of 3; 1 o'neil first: 4 of 1; 2 o'neil first: 4 of 1; "
            "1 o'neil first: 4 of 1; 2 o'neil first: 3 of 1; ");

  TrapSelection many;
  for (std::int32_t number = -5; number < 9000; number += 3) many.Numbers.push_back({number, number + 1});
  const std::int32_t last = NoteChange(Db, ChangeKind::Purged, many, 7);
  std::vector<NumberRange> read;
  for (const Change& change : ReadChanges(Db, fmt::format("Kind = 4 AND Change_ID <= {}", last))) {
    EXPECT_EQ(change.Rows, read.empty() ? 7 : 0);
    read.insert(read.end(), change.Traps.Numbers.begin(), change.Traps.Numbers.end());
  }
  EXPECT_EQ(read, many.Numbers);
}

// Whoever came first acknowledged it: an entry that selects by time selects as well what others had
// acknowledged before.
TEST(AcknowledgedByTest, NamesTheFirstSinceItWasNewAndNobodyWhereItDoesNotKnow) {
  constexpr auto kAcknowledged = ChangeKind::Acknowledged;
  std::int32_t id = 0;
  const auto change = [&id](const char* who, ChangeKind kind, TrapSelection traps) {
    ++id;
    return Change{id, id, kind, {who, "", ""}, std::move(traps), {}};
  };
  const std::vector<Change> changes = {
      change("anna", kAcknowledged, {.Numbers = {{5, 9}, {20, 20}}, .Source = {}, .BeforeTime = {}}),
      change("age", kAcknowledged, {.Numbers = {{-9, 30}}, .Source = {}, .BeforeTime = 100}),
      change("bob", kAcknowledged, {.Numbers = {{-9, 40}}, .Source = "core", .BeforeTime = 200}),
      change("anna", ChangeKind::Unacknowledged, {.Numbers = {{7, 7}}, .Source = {}, .BeforeTime = {}}),
      change("carl", kAcknowledged, {.Numbers = {{1, 50}}, .Source = {}, .BeforeTime = {}}),
      change("age", kAcknowledged, {.Numbers = {{INT32_MIN, INT32_MAX}}, .Source = {}, .BeforeTime = 150}),
      change("later", ChangeKind::Notes, {.Numbers = {{60, 60}}, .Source = {}, .BeforeTime = {}})};
  AcknowledgedBy known;
  for (const int times : {1, 2}) {
    for (const Change& each : changes) {
      known.Add(each);
    }
    const auto who = [&](std::int32_t number, std::int32_t time, std::string_view source = "edge") {
      const auto stamp = known.Of(number, source, time);
      return stamp ? fmt::format("{}{}", stamp->Operator, stamp->Time) : "";
    };
    EXPECT_EQ(who(5, 50) + who(9, 50) + who(10, 50) + who(20, 500), "anna1anna1age2anna1") << times;
    EXPECT_EQ(who(10, 100) + who(10, 100, "core") + who(40, 50, "core"), "carl5bob3bob3");
    EXPECT_EQ(who(7, 50) + who(7, 50, "core"), "carl5carl5") << "new again after the others";
    EXPECT_EQ(who(51, 149) + who(INT32_MAX, 0) + who(INT32_MIN, 0) + who(51, 150) + who(60, 150),
              "age6age6age6");
  }
  AcknowledgedBy small(200);
  for (const Change& each : changes) {
    small.Add(each);
  }
  EXPECT_FALSE(small.Of(5, "edge", 50));
}

// Loading completes each trap while its rows are still being read: the look-ups share the reader's
// connection, and neither they nor a statement that fails among them may cost it a row.  Nor does a reader
// that is left half way keep the connection.
TEST_P(ConnectionTest, TrapsAreReadWholeWhileNamesAreLookedUpBesideThem) {
  constexpr std::int32_t kAllTimes = 2147483647;
  Traps traps;
  for (const std::int32_t rows : {0, 255, 256, 257, 2300}) {  // more than a server hands over at once
    const std::size_t before = traps.size();
    while (std::ssize(traps) < rows) {
      const auto number = static_cast<std::int32_t>(traps.size()) + 1;
      const bool isLong = number % 256 <= 1;  // for the block's buffers, at its borders
      traps.push_back({.SequenceNumber = number,
                       .EnterpriseOid = "1.3.6.1.4.1.9." + std::to_string(number / 10),
                       .SpecificTrap = 7,
                       .EventDescription = fmt::format("{}:", number) + std::string(isLong ? 65536 : 20, 'd'),
                       .Event_ExtDescr = std::string(number % 256 == 1 ? 3000 : 10, 'x'),
                       .EventNotes = std::string(number % 256 == 255 ? 600 : 5, 'n')});
    }
    Made->AddTraps(std::span(traps).subspan(before));
    if (rows == 2300) Made->AddDefinition("1.3.6.1.4.1.9.199", 7, "known", "enterprise");
    TrapNames names(Db);
    TrapReader reader(Db, TrapsLoadStatement(kAllTimes));
    IncomingTrap trap;
    std::int32_t known = 0;
    for (const test::StoredTrap& stored : traps) {
      ASSERT_TRUE(reader.Next(trap));
      ASSERT_EQ(trap.SequenceNumber, stored.SequenceNumber);
      ASSERT_TRUE(trap.EventDescription() == stored.EventDescription &&
                  trap.EventNotes == stored.EventNotes &&
                  trap.VarBinds == stored.EventDescription + stored.Event_ExtDescr)
          << trap.SequenceNumber << " of " << rows;
      if (trap.SequenceNumber == 300) {
        EXPECT_THROW(Db.OpenRecordset("Missing_Table"), DatabaseError);
      }
      names.GetTrapName(trap);
      known += trap.TrapName() == "known" ? 1 : 0;
    }
    EXPECT_FALSE(reader.Next(trap) || reader.Next(trap));
    EXPECT_EQ(known, rows == 2300 ? 10 : 0);
  }
  IncomingTrap first;
  ASSERT_TRUE(TrapReader(Db, TrapsLoadStatement(kAllTimes)).Next(first));
  EXPECT_EQ(Db.Execute(AcknowledgeAllStatement(kAllTimes)), 2300);
  Connection other;  // and nothing of it waits for a commit
  Made->Connect(other);
  EXPECT_FALSE(other.OpenRecordset(kEventTrap, "EventAck = 0").Next());
}

std::vector<std::string> HostileTexts() {
  std::vector<std::string> texts = {
      "",
      "trailing blank ",
      "it's ''quoted'' and \"quoted\" and `quoted`",
      "'; DELETE FROM EventTrap; --",
      "\\' OR 1 = 1 -- \\",
      "ends in a backslash\\",
      "{fn now()} {d '2000-01-01'} ? ?1 :name @name $1 %s %n",
      "line\r\nbreak\n\ttab\x01\x1b[31m\x7f",
      "Grüße, Ωμέγα, 漢字, \xF0\x9F\x94\xA5\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x9A\x92",
  };
  for (const std::size_t length : {511U, 512U, 513U, 8192U, 1048576U}) texts.emplace_back(length, 'x');
  texts.emplace_back();  // of characters of two and four bytes, so that a cut in one would show
  for (int i = 0; i < 400; ++i) texts.back() += "é\xF0\x9F\x94\xA5";
  return texts;
}

// A desktop program runs in its user's locale and a service in "C": the drivers must not take it for the
// encoding of the texts.
TEST_P(ConnectionTest, TextsComeBackByEveryRoadInEachLocale) {
  const std::vector<std::string> texts = HostileTexts();
  for (const char* const locale : {"C.UTF-8", "C"}) {
    SCOPED_TRACE(locale);
    ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr);
    Made->Connect(Db);
    Db.Execute("DELETE FROM EventTrap");
    Transaction transaction(Db);
    constexpr std::array<std::string_view, 4> kColumns = {"SequenceNumber", "EventTime", "EventDescription",
                                                          "EventNotes"};
    BatchInsert insert(Db, kEventTrap, kColumns);
    for (std::int32_t i = 0; i < std::ssize(texts); ++i) {
      insert.Add(std::array<BatchInsert::Value, 4>{i + 1, i, texts[i], *(texts.rbegin() + i)});
    }
    insert.Flush();
    transaction.Commit();
    TrapReader reader(Db, ReportStatement(0, 100));
    IncomingTrap trap;
    for (std::int32_t i = 0; i < std::ssize(texts); ++i) {
      SCOPED_TRACE(i);
      const std::string& text = texts[i];
      ASSERT_TRUE(reader.Next(trap));
      EXPECT_TRUE(trap.EventDescription() == text) << text.substr(0, 100);
      EXPECT_TRUE(trap.EventNotes == *(texts.rbegin() + i));
      const std::string filter = fmt::format("SequenceNumber = {}", i + 1);
      Recordset rows = Db.OpenRecordset(kEventTrap, filter);
      ASSERT_TRUE(rows.Next() && rows.Text("EventDescription") == text);
      rows.Set("EventNotes", text);
      EXPECT_EQ(rows.Update(), 1);
      if (text.find('\'') == std::string::npos) {
        EXPECT_EQ(Count(filter + " AND EventNotes = " + Quoted(text)), 1);
      }
    }
    EXPECT_FALSE(reader.Next(trap));
  }
}

// What an engine can't hold must be a clear error, and never a text that was changed on the way.
TEST_P(ConnectionTest, TextsThatAnEngineCannotHoldAreRefused) {
  // SQLite takes any bytes for a text; MariaDB counts, so a NUL is one character of many.
  for (const auto& [text, holds] : {std::pair("broken \xff\xfe\xc3 utf-8"s, Engine::Sqlite),
                                    std::pair("nul\0inside"s, Engine::MariaDb)}) {
    if (GetParam() != holds) {
      EXPECT_THROW(Made->AddTrap({.EventDescription = text}), DatabaseError);
      EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM EventTrap"), 0);
      continue;
    }
    Made->AddTrap({.EventTime = 1, .EventDescription = text});
    EXPECT_EQ(Made->Text("SELECT * FROM EventTrap", "EventDescription"), text);
    Db.Execute("DELETE FROM EventTrap");
  }
}

}  // namespace

}  // namespace korvane::store
