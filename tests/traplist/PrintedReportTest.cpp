#include "traplist/PrintedReport.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "support/SampleTrap.h"
#include "support/SmallFiles.h"
#include "support/World.h"

namespace korvane::traplist {
namespace {

namespace fs = std::filesystem;
using test::SampleTrap;

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t FilesIn(const fs::path& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

const std::string kDouble(40, '=');
const std::string kSingle(40, '-');

class PrintedReportTest : public testing::Test {
 protected:
  PrintedReportTest() { world_.Platform.Clock.Utc = 1'700'003'600; }

  SampleTrap& Add() {
    traps_.emplace_back();
    traps_.back().Trap.SequenceNumber = static_cast<std::int32_t>(traps_.size());
    return traps_.back();
  }

  std::string Print(std::string_view caption = "All Traps ", SourceShown source = SourceShown::SourceText) {
    TrapRows rows;
    for (const SampleTrap& sample : traps_) {
      rows.Append(sample.Trap);
    }
    TrapOrder order(rows, source);
    order.Sort(sorting_);
    ReportPrinter(world_.Desk, world_.Platform.Programs, folder_.string())
        .Print(caption, {.Rows = rows, .Order = order, .Source = source, .TimeZoneBias = bias_});
    return Contents(file_);
  }

  test::LoadedWorld world_;
  fs::path folder_ = world_.InstallFolder.Path();
  std::deque<SampleTrap> traps_;
  std::optional<TrapOrder::Sorting> sorting_;
  std::int32_t bias_ = 0;
  const fs::path file_ = world_.InstallFolder / "WindowPrint.txt";
};

TEST_F(PrintedReportTest, HasItsExactForm) {
  const std::string head =
      "Korvane - All Traps \r\nGenerated On: 2023-11-14 23:13:20\r\n\r\n" + kDouble + "\r\n";
  const std::string tail = "\r\n" + kDouble + "\r\n";
  EXPECT_EQ(Print(), head + tail);

  Add();
  const std::string first =
      "\r\nDate & Time:\t\t2023-11-14 22:13:20\r\nSource:\t\t\trouter1.example\r\nIP "
      "Address:\t\t192.0.2.7\r\n"
      "Severity:\t\tMajor\r\nGeneric:\t\tenterpriseSpecific\r\nEnterprise:\t\tAcme\r\nTrap "
      "Name:\t\tfanFailed\r\n"
      "Variable Binds:\t\tthe link downport 4\r\nMore Information:\tA fan stands still.\r\nUser "
      "Notes:\t\t\r\n";
  EXPECT_EQ(Print(), head + first + tail);

  // A second trap of the same system and kind: what the two have in common must not hide what they don't.
  SampleTrap& other = Add();
  other.Trap.Definition = &traps_.front().Definition;
  other.Trap.Severity = 9;
  other.Trap.EventTime += 61;
  other.Trap.EventNotes = "seen";
  other.SetVarBinds("", "");
  const std::string second =
      "\r\nDate & Time:\t\t2023-11-14 22:14:21\r\nSource:\t\t\trouter1.example\r\nIP "
      "Address:\t\t192.0.2.7\r\n"
      "Severity:\t\tClear\r\nGeneric:\t\tenterpriseSpecific\r\nEnterprise:\t\tAcme\r\nTrap "
      "Name:\t\tfanFailed\r\n"
      "Variable Binds:\t\t\r\nMore Information:\tA fan stands still.\r\nUser Notes:\t\tseen\r\n";
  EXPECT_EQ(Print(), head + first + "\r\n" + kSingle + "\r\n" + second + tail);

  // From top to bottom as the window shows it, and once, whatever was printed before.
  sorting_ = TrapOrder::Sorting{.Column = TrapColumn::DateTime, .Descending = true};
  EXPECT_EQ(Print(), head + second + "\r\n" + kSingle + "\r\n" + first + tail);
  EXPECT_EQ(FilesIn(world_.InstallFolder.Path()), 1U);
  EXPECT_EQ(world_.Platform.Programs.Attempts.size(), 4U);
  EXPECT_EQ(world_.Prompt.LastMessage(), "");
}

TEST_F(PrintedReportTest, SaysWhatTheWindowShows) {
  SampleTrap& sample = Add();
  sample.Trap.GenericTrap = 7;
  bias_ = -3600;
  world_.Platform.Clock.Utc = 4'102'444'800;  // beyond what a trap's time can hold
  const std::string report = Print("Core (Custom View)", SourceShown::SystemName);
  EXPECT_TRUE(
      report.starts_with("Korvane - Core (Custom View)\r\nGenerated On: 2100-01-01 01:00:00\r\n\r\n=="));
  EXPECT_NE(report.find("\r\nDate & Time:\t\t2023-11-14 23:13:20\r\nSource:\t\t\tRouter-One\r\n"),
            std::string::npos);
  EXPECT_NE(report.find("\r\nGeneric:\t\tUnknown\r\n"), std::string::npos);
}

// Whatever a text holds: the lines of the report are those of this program, or begin with two TABs.
TEST_F(PrintedReportTest, CantBeForged) {
  const std::string forged =
      "x\r\nSeverity:\t\tClear\rGeneric:\n" + kSingle + "\n\u2028\u0085\u202Ey\x1B[2J\xFFz";
  const std::string oneLine = "x␍␊Severity:␉␉Clear␍Generic:␊" + kSingle + "␊␤␤\uFFFDy␛[2J\uFFFDz";
  const std::string lines =
      "x\r\n\t\tSeverity:␉␉Clear\r\n\t\tGeneric:\r\n\t\t" + kSingle + "\r\n\t\t␤␤\uFFFDy␛[2J\uFFFDz";
  SampleTrap& sample = Add();
  sample.Trap.Source = sample.Trap.SystemName = sample.Trap.SystemAddress = forged;
  sample.Definition = {.TrapName = forged, .EnterpriseName = forged, .FurtherDescription = forged};
  sample.Trap.EventNotes = forged;
  sample.SetVarBinds(forged, "");
  const std::string report = Print(forged);
  EXPECT_EQ(report, "Korvane - " + oneLine + "\r\nGenerated On: 2023-11-14 23:13:20\r\n\r\n" + kDouble +
                        "\r\n\r\nDate & Time:\t\t2023-11-14 22:13:20\r\nSource:\t\t\t" + oneLine +
                        "\r\nIP Address:\t\t" + oneLine +
                        "\r\nSeverity:\t\tMajor\r\nGeneric:\t\tenterpriseSpecific\r\nEnterprise:\t\t" +
                        oneLine + "\r\nTrap Name:\t\t" + oneLine + "\r\nVariable Binds:\t\t" + oneLine +
                        "\r\nMore Information:\t" + lines + "\r\nUser Notes:\t\t" + lines + "\r\n\r\n" +
                        kDouble + "\r\n");
}

TEST_F(PrintedReportTest, KeepsTheLinesOfNotes) {
  SampleTrap& sample = Add();
  for (const auto& [notes, written] :
       std::vector<std::pair<std::string, std::string>>{{"one\ntwo", "one\r\n\t\ttwo"},
                                                        {"\r\n\r\n", "\r\n\t\t\r\n\t\t"},
                                                        {"a\n\rb\r", "a\r\n\t\t\r\n\t\tb\r\n\t\t"},
                                                        {"größe 日本\u000B", "größe 日本␋"}}) {
    sample.Trap.EventNotes = notes;
    EXPECT_NE(Print().find("\r\nUser Notes:\t\t" + written + "\r\n\r\n="), std::string::npos) << notes;
  }
}

// More systems and kinds than are kept ready, each twice and far apart.
TEST_F(PrintedReportTest, TellsAnyNumberOfSystemsAndKindsApart) {
  constexpr int kKinds = 10'000;
  std::deque<std::string> sources;
  for (int i = 0; i < 2 * kKinds; ++i) {
    SampleTrap& sample = Add();
    const int kind = i % kKinds;
    sample.Trap.SpecificTrap = kind;
    sample.Definition.TrapName = fmt::format("trap{}", kind);
    sample.Trap.Definition = &traps_[static_cast<std::size_t>(kind)].Definition;
    sample.Trap.Source = sources.emplace_back(fmt::format("router{}", kKinds - kind));
  }
  const std::string report = Print();
  std::size_t at = 0;
  for (int i = 0; i < 2 * kKinds; ++i) {
    for (const std::string& line : {fmt::format("Source:\t\t\trouter{}\r\n", kKinds - i % kKinds),
                                    fmt::format("Trap Name:\t\ttrap{}\r\n", i % kKinds)}) {
      at = report.find(line, at);
      ASSERT_NE(at, std::string::npos) << i << ": " << line;
    }
  }
  EXPECT_EQ(world_.Busy.Texts, std::vector<std::string>{"Generating..."});
  EXPECT_EQ(world_.Busy.Depth(), 0);
  ASSERT_GE(world_.Busy.Progress.size(), 4U);
  EXPECT_TRUE(std::ranges::is_sorted(world_.Busy.Progress));
  for (const auto& [done, total] : world_.Busy.Progress) {
    EXPECT_LE(done, total);
    EXPECT_EQ(total, 2 * kKinds);
  }
}

TEST_F(PrintedReportTest, GoesToTheEditorAsOneArgument) {
  for (const char* name : {"plain", "with blanks", "quote\" and '$(touch x)' `y` %n -o ;&|", "größe"}) {
    const fs::path folder = world_.InstallFolder / name;
    fs::create_directory(folder);
    folder_ = folder;
    const std::string path = (folder / "WindowPrint.txt").string();
    Print();
    EXPECT_TRUE(Contents(path).starts_with("Korvane - "));
    ASSERT_FALSE(world_.Platform.Programs.Attempts.empty());
    EXPECT_EQ(world_.Platform.Programs.Attempts.back(), (test::FakePrograms::Started{"NOTEPAD.EXE", {path}}));
    EXPECT_EQ(world_.Prompt.LastMessage(), "");
  }
  world_.Platform.Programs.Missing.insert("NOTEPAD.EXE");
  folder_ = world_.InstallFolder.Path();
  Print();
  EXPECT_EQ(
      world_.Prompt.Messages(),
      (std::vector<test::ScriptedPrompts::Shown>{
          {"Could not load 'NOTEPAD.EXE'. Please open the file \"" + file_.string() + "\" in a text editor.",
           PromptIcon::Exclamation}}));
  EXPECT_TRUE(Contents(file_).starts_with("Korvane - "));
}

TEST_F(PrintedReportTest, WhenItCannotBeWrittenTheEarlierOneStays) {
  const std::string earlier = Print();
  world_.Platform.Programs.Attempts.clear();
  for (int i = 0; i < 5000; ++i) {
    Add();
  }
  const auto expectRefused = [&](const fs::path& path, const std::string& reason) {
    EXPECT_EQ(world_.Prompt.Messages(),
              (std::vector<test::ScriptedPrompts::Shown>{
                  {"The report could not be written to the file \"" + path.string() + "\".\n" + reason + ".",
                   PromptIcon::Exclamation}}));
    EXPECT_EQ(world_.Busy.Depth(), 0);
    world_.Prompt.Clear();
  };
  // Full while writing, and with the last bytes.
  for (const rlim_t limit : {1'100'000U, 1'000U}) {
    if (limit == 1'000U) {
      traps_.resize(10);
    }
    const test::SmallFiles disk(limit);
    Print();
    expectRefused(file_, "File too large");
  }
  EXPECT_EQ(Contents(file_), earlier);
  EXPECT_EQ(FilesIn(world_.InstallFolder.Path()), 1U);

  folder_ = world_.InstallFolder / "missing";
  Print();
  expectRefused(world_.InstallFolder / "missing/WindowPrint.txt", "No such file or directory");
  EXPECT_TRUE(world_.Platform.Programs.Attempts.empty());
}

}  // namespace
}  // namespace korvane::traplist
