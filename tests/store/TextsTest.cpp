// Texts from the network, on their way into each engine and back, by every road there is.
#include <array>
#include <clocale>
#include <map>
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

class Texts : public EngineTest {};
KORVANE_ON_EVERY_ENGINE(Texts);

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
      std::string(510, 'a'),
      std::string(511, 'b'),
      std::string(512, 'c'),
      std::string(513, 'd'),
      std::string(8192, 'e'),
      std::string(std::size_t{64} * 1024, 'f'),
      std::string(1024 * 1024, 'g'),
  };
  std::string wide;  // two and four bytes each, so that a cut in a character would show
  for (int i = 0; i < 400; ++i) wide += "é\xF0\x9F\x94\xA5";
  texts.push_back(wide);
  return texts;
}

constexpr std::array<std::string_view, 5> kColumns = {"SequenceNumber", "EventTime", "EventDescription",
                                                      "Event_ExtDescr", "EventNotes"};

// A desktop program runs in its user's locale and a service in "C": the drivers must not take it for the
// encoding of the texts.
class LocaleScope {
 public:
  explicit LocaleScope(const char* name) { std::setlocale(LC_ALL, name); }
  ~LocaleScope() { std::setlocale(LC_ALL, "C"); }
  LocaleScope(const LocaleScope&) = delete;
  LocaleScope& operator=(const LocaleScope&) = delete;
};

class TextsInLocale : public Texts {
 protected:
  void ComeBack();
};
KORVANE_ON_EVERY_ENGINE(TextsInLocale);

TEST_P(TextsInLocale, C) {
  ComeBack();
}

TEST_P(TextsInLocale, Utf8) {
  const LocaleScope scope("C.UTF-8");
  Db.Close();
  Made->Connect(Db);
  ComeBack();
}

void TextsInLocale::ComeBack() {
  const std::vector<std::string> texts = HostileTexts();
  {
    Transaction transaction(Db);
    BatchInsert insert(Db, kEventTrap, kColumns);
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const auto number = static_cast<std::int32_t>(i + 1);
      insert.Add(std::array<BatchInsert::Value, 5>{number, number, std::string_view(texts[i]), "second",
                                                   std::string_view(texts[texts.size() - 1 - i])});
    }
    insert.Flush();
    transaction.Commit();
  }
  TrapReader reader(Db, ReportStatement(0, 100));
  IncomingTrap trap;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    ASSERT_TRUE(reader.Next(trap)) << i;
    EXPECT_TRUE(trap.EventDescription() == texts[i]) << i << ": " << trap.EventDescription().substr(0, 100);
    EXPECT_EQ(trap.Event_ExtDescr(), "second") << i;
    EXPECT_TRUE(trap.EventNotes == texts[texts.size() - 1 - i]) << i;
  }
  EXPECT_FALSE(reader.Next(trap));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    Recordset rows = Db.OpenRecordset(kEventTrap, "SequenceNumber = " + std::to_string(i + 1));
    ASSERT_TRUE(rows.Next());
    EXPECT_TRUE(rows.Text("EventDescription") == texts[i]) << i;
    rows.Set("EventNotes", texts[i]);
    EXPECT_EQ(rows.Update(), 1);
    EXPECT_TRUE(Made->Text("SELECT * FROM EventTrap WHERE SequenceNumber = " + std::to_string(i + 1),
                           "EventNotes") == texts[i])
        << i;
  }
}

TEST_P(Texts, StandInAStatementAsTheyAre) {
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
TEST_P(Texts, ThatAnEngineCannotHoldAreRefused) {
  const std::string broken = "broken \xff\xfe\xc3 utf-8";
  const std::string nul("nul\0inside", 10);
  // SQLite takes any bytes for a text; MariaDB counts, so a NUL is one character of many.
  const std::map<Engine, std::string> kept = {{Engine::Sqlite, broken}, {Engine::MariaDb, nul}};
  for (const std::string& text : {broken, nul}) {
    if (!kept.contains(GetParam()) || kept.at(GetParam()) != text) {
      EXPECT_THROW(Made->AddTrap({.EventTime = 1, .EventDescription = text}), DatabaseError);
      EXPECT_EQ(Made->Number("SELECT COUNT(*) FROM EventTrap"), 0);
      continue;
    }
    Made->AddTrap({.EventTime = 1, .EventDescription = text});
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
