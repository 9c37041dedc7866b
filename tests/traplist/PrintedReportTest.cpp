// The files that a list of traps is written to: the printed report and the CSV export, byte for byte.
#include "traplist/PrintedReport.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <filesystem>

#include "support/Files.h"
#include "support/SampleTrap.h"
#include "support/World.h"
#include "traplist/CsvExport.h"
#include "traplist/CsvLine.h"

namespace korvane::traplist {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

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
constexpr const char* kStill = "A fan stands still.";

class ListFilesTest : public testing::Test {
 protected:
  ListFilesTest() { world_.Platform.Clock.Utc = 1'700'003'600; }

  ShownTraps Shown(SourceShown source) {
    return {.Rows = rows_,
            .Order = order_,
            .Source = source,
            .TimeZoneBias = bias_,
            .Acknowledgers = &acknowledgers_};
  }
  std::string Print(std::string_view caption) {
    world_.Printer.Print(caption, Shown(SourceShown::SystemName));
    return test::ReadFile(printed_);
  }
  std::string Export(SourceShown source = SourceShown::SystemName) {
    world_.Prompt.WillAnswerFiles({exported_.string()});
    ExportTraps(world_.Desk, "../../etc/a<b>|c:\"d\"\\*?e\nf .. ", Shown(source));
    return test::ReadFile(exported_);
  }
  test::LoadedWorld world_;
  test::SampleTrap sample_;
  TrapRows rows_;
  TrapOrder order_{rows_, SourceShown::SourceText};
  std::int32_t bias_ = 0;
  store::AcknowledgedBy acknowledgers_;
  const fs::path printed_ = world_.InstallFolder / "WindowPrint.txt";
  const fs::path exported_ = world_.InstallFolder / "traps.csv";
  const std::string double_ = "\r\n" + std::string(40, '=') + "\r\n";
  const std::string single_ = "\r\n" + std::string(40, '-') + "\r\n";
  const std::string head_ = "Korvane - All Traps \r\nGenerated On: 2023-11-14 23:13:20\r\n" + double_;
  const std::string header_ =
      "\xEF\xBB\xBF\"Date / Time\",\"Source\",\"Trap Name\",\"Variables\",\"IP Address\",\"Severity\","
      "\"Generic\",\"Enterprise\",\"Enterprise OID\",\"Specific\",\"More Information\",\"User Notes\","
      "\"Acknowledged\",\"Sequence Number\",\"Event Time (UTC)\",\"Acknowledged By\","
      "\"Acknowledged At (UTC)\"\r\n";
};

// As the window shows them from top to bottom; with more systems and kinds than are kept ready, each twice
// and far apart.
TEST_F(ListFilesTest, HoldEveryTrapByteForByte) {
  constexpr std::size_t kKinds = 10'000;
  bias_ = -3600;
  world_.Platform.Clock.Utc = 4'102'444'800;  // beyond what a trap's time can hold
  std::deque<store::TrapDefinition> definitions;
  std::vector<std::string> printed(2);
  std::vector<std::string> exported(2);
  for (std::size_t i = 0; i < 2 * kKinds; ++i) {
    const std::size_t kind = i % kKinds;
    const bool earlier = i >= kKinds;
    const std::string source = std::to_string(kind);
    const std::string router = fmt::format("router{}", kKinds - kind);
    if (!earlier) {
      definitions.push_back({fmt::format("trap{}", kind), "Acme", kStill});
    }
    sample_.Trap.Definition = &definitions[kind];
    sample_.Trap.Source = source;
    sample_.Trap.SystemName = router;
    sample_.Trap.SpecificTrap = static_cast<int>(kind);
    sample_.Trap.SequenceNumber = static_cast<int>(i);
    sample_.Trap.EventTime = earlier ? -1 : 1'700'000'000;
    sample_.Trap.EventAck = earlier ? 1 : 0;
    sample_.Trap.Severity = earlier ? 9 : 3;
    sample_.Trap.EventNotes = earlier ? "seen" : "";
    rows_.Append(sample_.Trap);
    const std::string time = earlier ? "1970-01-01 00:59:59" : "2023-11-14 23:13:20";
    const std::string utc = earlier ? "1969-12-31T23:59:59Z" : "2023-11-14T22:13:20Z";
    const std::string severity = earlier ? "Clear" : "Major";
    const std::string notes = earlier ? "seen" : "";
    printed[earlier ? 0 : 1] +=
        (kind > 0 ? single_ : "") + Printed(time, router, "192.0.2.7", severity, "Acme",
                                            definitions[kind].TrapName, "the link downport 4", kStill, notes);
    exported[earlier ? 0 : 1] += fmt::format(
        "\"{}\",\"{}\",\"trap{}\",\"the link downport 4\",\"192.0.2.7\",\"{}\",\"enterpriseSpecific\","
        "\"Acme\",\"1.3.6.1.4.1.99999.1\",{},\"A fan stands still.\",\"{}\",\"{}\",{},{},{}\r\n",
        time, router, kind, severity, kind, notes, earlier ? "Yes" : "No", i, utc,
        i + 1 == 2 * kKinds ? "\"'=anna on desk\",1970-01-01T00:01:00Z" : "\"\",");
  }
  acknowledgers_.Add(
      {1, 60, store::ChangeKind::Acknowledged, {"=anna", "desk", ""}, store::SelectionOf({19'999, 7}), {}});
  order_.Sort(TrapSorting{.Column = TrapColumn::DateTime, .Descending = false});
  EXPECT_TRUE(Print("Core (Custom View)") ==
              "Korvane - Core (Custom View)\r\nGenerated On: 2100-01-01 01:00:00\r\n" + double_ + printed[0] +
                  single_ + printed[1] + double_);
  EXPECT_TRUE(Export() == header_ + exported[0] + exported[1]);
  EXPECT_THAT(world_.Busy.Texts, ElementsAre("Generating...", "Exporting Trap(s)"));
  EXPECT_EQ(world_.Busy.Progress.back(), std::pair(std::int64_t{16'384}, std::int64_t{20'000}));
}

// Whatever a text holds: the lines of the report are those of this program, or begin with two TABs.
TEST_F(ListFilesTest, ReportCantBeForged) {
  const std::string dashes(40, '-');
  const std::string forged =
      "x\r\nSeverity:\t\tClear\rGeneric:\n" + dashes + "\n\u2028\u0085\u202Ey\x1B[2J\xFFz größe\v\n\r";
  const std::string oneLine = "x␍␊Severity:␉␉Clear␍Generic:␊" + dashes + "␊␤␤\uFFFDy␛[2J\uFFFDz größe␋␊␍";
  const std::string lines = "x\r\n\t\tSeverity:␉␉Clear\r\n\t\tGeneric:\r\n\t\t" + dashes +
                            "\r\n\t\t␤␤\uFFFDy␛[2J\uFFFDz größe␋\r\n\t\t\r\n\t\t";
  sample_.Trap.SystemName = sample_.Trap.SystemAddress = sample_.Trap.EventNotes = forged;
  sample_.Definition = {.TrapName = forged, .EnterpriseName = forged, .FurtherDescription = forged};
  sample_.Trap.VarBinds = forged;
  rows_.Append(sample_.Trap);
  EXPECT_EQ(Print(forged), "Korvane - " + oneLine + "\r\nGenerated On: 2023-11-14 23:13:20\r\n" + double_ +
                               Printed("2023-11-14 22:13:20", oneLine, oneLine, "Major", oneLine, oneLine,
                                       oneLine, lines, lines) +
                               double_);
}

TEST_F(ListFilesTest, ReportGoesToTheEditorAsOneArgumentOrSaysWhyNot) {
  const fs::path folder = world_.InstallFolder / "größe with quote\" and '$(touch x)' `y` %n -o ;&|";
  ReportPrinter printer(world_.Desk, world_.Platform.Programs, folder.string());
  printer.Print("", Shown(SourceShown::SourceText));
  EXPECT_THAT(world_.Prompt.LastMessage(), testing::EndsWith("\nNo such file or directory."));
  fs::create_directory(folder);
  world_.Platform.Programs.Missing.insert("NOTEPAD.EXE");
  printer.Print("", Shown(SourceShown::SourceText));
  EXPECT_THAT(
      world_.Platform.Programs.Attempts,
      ElementsAre(test::FakePrograms::Started{"NOTEPAD.EXE", {(folder / "WindowPrint.txt").string()}}));
  EXPECT_THAT(world_.Prompt.LastMessage(), testing::StartsWith("Could not load 'NOTEPAD.EXE'. "));
}

TEST_F(ListFilesTest, HostileTextStaysInItsCellAndIsNoFormula) {
  const std::pair<std::string_view, std::string_view> cells[] = {
      {"plain, with a comma", "plain, with a comma"},
      {"a\"b\"\"c\"", "a\"\"b\"\"\"\"c\"\""},
      {"a=1+1 -2 @x", "a=1+1 -2 @x"},
      {"=cmd|' /C calc'!A0", "'=cmd|' /C calc'!A0"},
      {"-5", "'-5"},
      {"@SUM(A1)", "'@SUM(A1)"},
      {" '\"\u00A0\u3000\u2003=1", "' '\"\"\u00A0\u3000\u2003=1"},
      {"\uFF1D1+1", "'\uFF1D1+1"},
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
  // No column's text is written otherwise, and notes keep their lines.
  sample_.Trap.Source = "=s";
  sample_.Trap.SystemAddress = "=a";
  sample_.Trap.EnterpriseOid = "=o";
  sample_.Trap.EventNotes = "said \"no\"\r\n=2\rthree\n\n\t -5\n";
  sample_.Trap.VarBinds = "=v";
  sample_.Definition = {.TrapName = "=t", .EnterpriseName = "=e", .FurtherDescription = "=i"};
  rows_.Append(sample_.Trap);
  EXPECT_EQ(Export(SourceShown::SourceText),
            header_ +
                "\"2023-11-14 22:13:20\",\"'=s\",\"'=t\",\"'=v\",\"'=a\",\"Major\",\"enterpriseSpecific\","
                "\"'=e\",\"'=o\",17,\"'=i\",\"said \"\"no\"\"\n'=2\nthree\n\n'\u2409 "
                "-5\n\",\"No\",42,2023-11-14T22:13:20Z,\"\",\r\n");
  fs::remove(exported_);
  fs::create_directory(exported_);
  world_.Prompt.WillAnswerFiles({exported_.string()});
  EXPECT_EQ(ExportTraps(world_.Desk, "", Shown(SourceShown::SourceText)), std::nullopt);
  EXPECT_THAT(world_.Prompt.LastMessage(), testing::EndsWith("\nIs a directory."));
  EXPECT_EQ(world_.Prompt.FileQuestions().front().Path, "_.._etc_a_b__c__d____e\u240Af 2023-11-14.csv");
  EXPECT_EQ(world_.Busy.Depth(), 0);
}

}  // namespace
}  // namespace korvane::traplist
