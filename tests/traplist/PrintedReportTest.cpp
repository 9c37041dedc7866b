// The files that a list of traps is written to: the printed report and the CSV export, byte for byte.
#include "traplist/PrintedReport.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <filesystem>

#include "support/Processes.h"
#include "support/SampleTrap.h"
#include "support/World.h"
#include "traplist/CsvExport.h"
#include "traplist/CsvLine.h"

namespace korvane::traplist {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using Messages = std::vector<test::ScriptedPrompts::Shown>;

// What the report says of a trap: time, source, address, severity, enterprise, name, bindings, information
// and notes.
template <typename... Texts>
std::string Printed(const Texts&... texts) {
  return fmt::format(
      "\r\nDate & Time:\t\t{}\r\nSource:\t\t\t{}\r\nIP Address:\t\t{}\r\nSeverity:\t\t{}\r\n"
      "Generic:\t\tenterpriseSpecific\r\nEnterprise:\t\t{}\r\nTrap Name:\t\t{}\r\n"
      "Variable Binds:\t\t{}\r\nMore Information:\t{}\r\nUser Notes:\t\t{}\r\n",
      texts...);
}
constexpr const char* kDate = "2023-11-14 22:13:20";
constexpr const char* kStill = "A fan stands still.";

class ListFilesTest : public testing::Test {
 protected:
  ListFilesTest() { world_.Platform.Clock.Utc = 1'700'003'600; }

  ShownTraps Shown(SourceShown source) {
    order_.Sort(sorting_);
    return {.Rows = rows_, .Order = order_, .Source = source, .TimeZoneBias = bias_};
  }
  std::string Print(std::string_view caption = "All Traps ", SourceShown source = SourceShown::SourceText) {
    world_.Printer.Print(caption, Shown(source));
    return test::ReadFile(printed_);
  }
  std::string Export(SourceShown source = SourceShown::SourceText) {
    world_.Prompt.WillAnswerFiles({exported_.string()});
    ExportTraps(world_.Desk, "All Traps ", Shown(source));
    return test::ReadFile(exported_);
  }
  std::size_t Files() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(world_.InstallFolder.Path()), fs::directory_iterator()));
  }

  test::LoadedWorld world_;
  test::SampleTrap sample_;
  TrapRows rows_;
  TrapOrder order_{rows_, SourceShown::SourceText};
  std::optional<TrapSorting> sorting_;
  std::int32_t bias_ = 0;
  const fs::path printed_ = world_.InstallFolder / "WindowPrint.txt";
  const fs::path exported_ = world_.InstallFolder / "traps.csv";
  const std::string double_ = "\r\n" + std::string(40, '=') + "\r\n";
  const std::string single_ = "\r\n" + std::string(40, '-') + "\r\n";
  const std::string head_ = "Korvane - All Traps \r\nGenerated On: 2023-11-14 23:13:20\r\n" + double_;
  const std::string header_ =
      "\xEF\xBB\xBF\"Date / Time\",\"Source\",\"Trap Name\",\"Variables\",\"IP Address\",\"Severity\","
      "\"Generic\",\"Enterprise\",\"Enterprise OID\",\"Specific\",\"More Information\",\"User Notes\","
      "\"Acknowledged\",\"Sequence Number\",\"Event Time (UTC)\"\r\n";
};

using PrintedReportTest = ListFilesTest;
using CsvExportTest = ListFilesTest;

TEST_F(PrintedReportTest, HasItsExactForm) {
  rows_.Append(sample_.Trap);
  // A second trap of the same system and kind: what the two have in common must not hide what they don't.
  sample_.Trap.Severity = 9;
  sample_.Trap.EventTime += 61;
  sample_.Trap.EventNotes = "seen";
  sample_.SetVarBinds("", "");
  rows_.Append(sample_.Trap);
  const std::string first = Printed(kDate, "router1.example", "192.0.2.7", "Major", "Acme", "fanFailed",
                                    "the link downport 4", kStill, "");
  const std::string second = Printed("2023-11-14 22:14:21", "router1.example", "192.0.2.7", "Clear", "Acme",
                                     "fanFailed", "", kStill, "seen");
  EXPECT_EQ(Print(), head_ + first + single_ + second + double_);
  // From top to bottom as the window shows it, and once, whatever was printed before.
  sorting_ = TrapSorting{.Column = TrapColumn::DateTime, .Descending = true};
  EXPECT_EQ(Print(), head_ + second + single_ + first + double_);
  EXPECT_EQ(Files(), 1U);

  bias_ = -3600;
  world_.Platform.Clock.Utc = 4'102'444'800;  // beyond what a trap's time can hold
  EXPECT_THAT(
      Print("Core (Custom View)", SourceShown::SystemName),
      testing::StartsWith("Korvane - Core (Custom View)\r\nGenerated On: 2100-01-01 01:00:00\r\n" + double_ +
                          "\r\nDate & Time:\t\t2023-11-14 23:14:21\r\n"
                          "Source:\t\t\tRouter-One\r\n"));
}

// Whatever a text holds: the lines of the report are those of this program, or begin with two TABs.
TEST_F(PrintedReportTest, CantBeForged) {
  const std::string dashes(40, '-');
  const std::string forged =
      "x\r\nSeverity:\t\tClear\rGeneric:\n" + dashes + "\n\u2028\u0085\u202Ey\x1B[2J\xFFz größe\v\n\r";
  const std::string oneLine = "x␍␊Severity:␉␉Clear␍Generic:␊" + dashes + "␊␤␤\uFFFDy␛[2J\uFFFDz größe␋␊␍";
  const std::string lines = "x\r\n\t\tSeverity:␉␉Clear\r\n\t\tGeneric:\r\n\t\t" + dashes +
                            "\r\n\t\t␤␤\uFFFDy␛[2J\uFFFDz größe␋\r\n\t\t\r\n\t\t";
  sample_.Trap.Source = sample_.Trap.SystemAddress = sample_.Trap.EventNotes = forged;
  sample_.Definition = {.TrapName = forged, .EnterpriseName = forged, .FurtherDescription = forged};
  sample_.SetVarBinds(forged, "");
  rows_.Append(sample_.Trap);
  EXPECT_EQ(Print(forged),
            "Korvane - " + oneLine + "\r\nGenerated On: 2023-11-14 23:13:20\r\n" + double_ +
                Printed(kDate, oneLine, oneLine, "Major", oneLine, oneLine, oneLine, lines, lines) + double_);
}

TEST_F(PrintedReportTest, GoesToTheEditorAsOneArgumentOrSaysWhyNot) {
  const fs::path folder = world_.InstallFolder / "größe with quote\" and '$(touch x)' `y` %n -o ;&|";
  fs::create_directory(folder);
  world_.Platform.Programs.Missing.insert("NOTEPAD.EXE");
  for (const fs::path& place : {folder, folder / "missing"}) {
    ReportPrinter(world_.Desk, world_.Platform.Programs, place.string())
        .Print("All Traps ", Shown(SourceShown::SourceText));
  }
  const std::string path = (folder / "WindowPrint.txt").string();
  EXPECT_EQ(test::ReadFile(path), head_ + double_);
  EXPECT_THAT(world_.Platform.Programs.Attempts,
              ElementsAre(test::FakePrograms::Started{"NOTEPAD.EXE", {path}}));
  EXPECT_EQ(
      world_.Prompt.Messages(),
      (Messages{{"Could not load 'NOTEPAD.EXE'. Please open the file \"" + path + "\" in a text editor.",
                 PromptIcon::Exclamation},
                {"The report could not be written to the file \"" + (folder / "missing").string() +
                     "/WindowPrint.txt\".\nNo such file or directory.",
                 PromptIcon::Exclamation}}));
  EXPECT_EQ(world_.Busy.Depth(), 0);
}

TEST_F(CsvExportTest, TheFileIsWhatSpreadsheetsReadByteForByte) {
  bias_ = -3600;
  rows_.Append(sample_.Trap);
  // Every text is kept from being a formula.
  sample_.Trap.SequenceNumber = -43;
  sample_.Trap.SpecificTrap = -1;
  sample_.Trap.EventTime = -1;
  sample_.Trap.EventAck = 1;
  sample_.Trap.SystemName = "=s";
  sample_.Trap.SystemAddress = "=a";
  sample_.Trap.EnterpriseOid = "=o";
  sample_.Trap.EventNotes = "=called, \"fixed\"\nby Łukasz";
  sample_.SetVarBinds("=", "v");
  const store::TrapDefinition hostile{.TrapName = "=t", .EnterpriseName = "=e", .FurtherDescription = "=i"};
  sample_.Trap.Definition = &hostile;
  rows_.Append(sample_.Trap);
  sorting_ = {.Column = TrapColumn::DateTime, .Descending = false};
  EXPECT_EQ(
      Export(SourceShown::SystemName),
      header_ +
          "\"1970-01-01 00:59:59\",\"'=s\",\"'=t\",\"'=v\",\"'=a\",\"Major\",\"enterpriseSpecific\",\"'=e\","
          "\"'=o\",-1,\"'=i\",\"'=called, \"\"fixed\"\"\nby Łukasz\",\"Yes\",-43,1969-12-31T23:59:59Z\r\n"
          "\"2023-11-14 23:13:20\",\"Router-One\",\"fanFailed\",\"the link downport 4\",\"192.0.2.7\","
          "\"Major\",\"enterpriseSpecific\",\"Acme\",\"1.3.6.1.4.1.99999.1\",17,\"A fan stands still.\",\"\","
          "\"No\",42,2023-11-14T22:13:20Z\r\n");
  fs::remove(exported_);
  fs::create_directory(exported_);
  world_.Prompt.WillAnswerFiles({exported_.string()});
  ExportTraps(world_.Desk, "", Shown(SourceShown::SourceText));
  EXPECT_EQ(world_.Prompt.Messages(), (Messages{{"The traps could not be exported to the file \"" +
                                                     exported_.string() + "\".\nIs a directory.",
                                                 PromptIcon::Exclamation}}));
  EXPECT_EQ(world_.Busy.Depth(), 0);
  EXPECT_EQ(Files(), 1U);
}

TEST_F(CsvExportTest, HostileTextStaysInItsCellAndIsNoFormula) {
  const std::pair<std::string_view, std::string_view> cells[] = {
      {"plain, with a comma", "plain, with a comma"},
      {"a\"b\"\"c\"", "a\"\"b\"\"\"\"c\"\""},
      {"a=1+1 -2 @x", "a=1+1 -2 @x"},
      {"=cmd|' /C calc'!A0", "'=cmd|' /C calc'!A0"},
      {"+1", "'+1"},
      {"-5", "'-5"},
      {"@SUM(A1)", "'@SUM(A1)"},
      {" '\"\u00A0\u3000\u2003=1", "' '\"\"\u00A0\u3000\u2003=1"},
      {"\uFF1D1+1", "'\uFF1D1+1"},
      {"\tx", "'\u2409x"},
      {std::string_view("\0\r\n=1", 5), "'\u2400\u240D\u240A=1"},
      // Where ";" parts cells, what stands behind it begins one.
      {"1; \"-2;3;", "1;' \"\"-2;3;"},
      {"line\r\nforged,line\nend", "line\u240D\u240Aforged,line\u240Aend"},
      {"\x1B[31m\u202E \xFF\xC3 größe 🔔", "\u241B[31m\uFFFD \uFFFD\uFFFD größe 🔔"}};
  for (const auto& [text, cell] : cells) {
    CsvLine line;
    line.AddText(text);
    line.AddNumber(-7);
    EXPECT_EQ(line.End(), fmt::format("\"{}\",-7\r\n", cell)) << text;
  }
  // Notes keep their lines.
  const std::pair<std::string_view, std::string_view> paragraphs[] = {
      {"said \"no\"\r\ntwo\rthree\n\n\tfive\r\n", "said \"\"no\"\"\ntwo\nthree\n\n\u2409five\n"},
      {"one\n=2\r\n -3", "one\n'=2\n' -3"},
      {"\n=1", "'\n'=1"}};
  for (const auto& [text, cell] : paragraphs) {
    CsvLine line;
    line.AddParagraphs(text);
    EXPECT_EQ(line.End(), fmt::format("\"{}\"\r\n", cell)) << text;
  }
}

TEST_F(CsvExportTest, TheSuggestedNameSuitsEveryFileSystem) {
  const std::pair<std::string, std::string> captions[] = {
      {"Traps On '../../etc/passwd' ", "Traps On '.._.._etc_passwd'"},
      {".. a<b>|c:\"d\"\\*?e\nf ..", "a_b__c__d____e\u240Af"},
      {" ", "Traps"},
      {std::string(98, 'z') + "日本", std::string(98, 'z')}};
  for (const auto& [caption, name] : captions) {
    world_.Prompt.WillAnswerFiles({});
    ExportTraps(world_.Desk, caption, Shown(SourceShown::SourceText));
    EXPECT_EQ(world_.Prompt.FileQuestions().back().Path, name + ".csv");
  }
  EXPECT_EQ(Files(), 0U) << "cancelled";
}

// More systems and kinds than are kept ready, each twice and far apart.
TEST_F(ListFilesTest, TellAnyNumberOfSystemsAndKindsApart) {
  constexpr std::size_t kKinds = 10'000;
  std::deque<store::TrapDefinition> definitions;
  std::string printed = head_;
  std::string exported = header_;
  for (std::size_t i = 0; i < 2 * kKinds; ++i) {
    const std::size_t kind = i % kKinds;
    const std::string source = fmt::format("router{}", kKinds - kind);
    if (i < kKinds) {
      definitions.push_back({fmt::format("trap{}", kind), "Acme", kStill});
    }
    sample_.Trap.Definition = &definitions[kind];
    sample_.Trap.Source = source;
    sample_.Trap.SpecificTrap = static_cast<int>(kind);
    sample_.Trap.SequenceNumber = static_cast<int>(i);
    rows_.Append(sample_.Trap);
    printed += i > 0 ? single_ : "";
    printed += Printed(kDate, source, "192.0.2.7", "Major", "Acme", definitions[kind].TrapName,
                       "the link downport 4", kStill, "");
    exported += fmt::format(
        "\"2023-11-14 22:13:20\",\"{}\",\"trap{}\",\"the link downport 4\",\"192.0.2.7\",\"Major\","
        "\"enterpriseSpecific\",\"Acme\",\"1.3.6.1.4.1.99999.1\",{},\"A fan stands still.\",\"\",\"No\",{},"
        "2023-11-14T22:13:20Z\r\n",
        source, kind, kind, i);
  }
  EXPECT_TRUE(Print() == printed + double_);
  EXPECT_TRUE(Export() == exported);
  EXPECT_THAT(world_.Busy.Texts, ElementsAre("Generating...", "Exporting Trap(s)"));
  EXPECT_EQ(world_.Busy.Progress.size(), 8U);
  EXPECT_EQ(world_.Busy.Progress.back(), std::pair(std::int64_t{16'384}, std::int64_t{20'000}));
}

}  // namespace
}  // namespace korvane::traplist
