// Trap rows and texts from the network, on their way into each engine and back.
#include "store/TrapReader.h"

#include <fmt/format.h>

#include <array>
#include <clocale>
#include <string>
#include <vector>

#include "EngineTest.h"
#include "store/BatchInsert.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapNames.h"

namespace korvane::store {

namespace {

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

void ExpectSame(const IncomingTrap& trap, const test::StoredTrap& stored) {
  EXPECT_EQ(trap.SequenceNumber, stored.SequenceNumber);
  EXPECT_EQ(trap.EventTime, stored.EventTime);
  EXPECT_EQ(trap.Source, stored.Source);
  EXPECT_EQ(trap.EnterpriseOid, stored.EnterpriseOid);
  EXPECT_EQ(trap.GenericTrap, stored.GenericTrap);
  EXPECT_EQ(trap.SpecificTrap, stored.SpecificTrap);
  EXPECT_TRUE(trap.EventDescription() == stored.EventDescription);
  EXPECT_TRUE(trap.Event_ExtDescr() == stored.Event_ExtDescr);
  EXPECT_TRUE(trap.VarBinds == stored.EventDescription + stored.Event_ExtDescr);
  EXPECT_TRUE(trap.EventNotes == stored.EventNotes);
  EXPECT_EQ(trap.EventAck, stored.EventAck);
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
      ASSERT_TRUE(reader.Next(trap)) << stored.SequenceNumber << " of " << rows;
      ExpectSame(trap, stored);
      if (HasFailure()) FAIL() << stored.SequenceNumber << " of " << rows;
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
    ExpectSame(trap, {.SequenceNumber = 255,
                      .EventTime = stored.EventTime,
                      .Source = "",
                      .EnterpriseOid = "",
                      .GenericTrap = 0,
                      .SpecificTrap = 0,
                      .EventDescription = "",
                      .EventNotes = stored.EventNotes});
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
  std::vector<test::StoredTrap> traps;
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
    Db.Execute("INSERT INTO Message_Detail (Destination) VALUES (" + Quoted(text) + ")");
    EXPECT_EQ(Made->Text("SELECT * FROM Message_Detail WHERE Message_ID = " + std::to_string(number + 1),
                         "Destination"),
              text);
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
