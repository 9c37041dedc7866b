#include "traplist/CsvExport.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/SampleTrap.h"
#include "support/World.h"
#include "traplist/CsvLine.h"

namespace korvane::traplist {
namespace {

std::string Contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The cell as RFC 4180 has it.
std::string Quoted(std::string_view cell) {
  std::string quoted = "\"";
  for (const char c : cell) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return quoted + '"';
}

class CsvExportTest : public testing::Test {
 protected:
  void Export(std::string_view caption = "All Traps ", SourceShown source = SourceShown::SourceText) {
    order_.Sort(sorting_);
    ExportTraps(world_.Desk, caption,
                {.Rows = rows_, .Order = order_, .Source = source, .TimeZoneBias = -3600});
  }
  // The file's lines, the byte order mark and the header left out.
  std::string Exported() {
    world_.Prompt.WillAnswerFiles({path_.string()});
    Export();
    const std::string text = Contents(path_);
    return text.substr(text.find("\r\n") + 2);
  }

  test::LoadedWorld world_;
  test::SampleTrap sample_;
  TrapRows rows_;
  TrapOrder order_{rows_, SourceShown::SourceText};
  std::optional<TrapOrder::Sorting> sorting_;
  const std::filesystem::path path_ = world_.InstallFolder / "traps.csv";
};

TEST_F(CsvExportTest, TheFileIsWhatSpreadsheetsReadByteForByte) {
  rows_.Append(sample_.Trap);
  sample_.Trap.SequenceNumber = -43;
  sample_.Trap.SpecificTrap = -1;
  sample_.Trap.EventTime = -1;
  sample_.Trap.EventAck = 1;
  sample_.Trap.EventNotes = "called, \"fixed\"\nby Łukasz";
  rows_.Append(sample_.Trap);
  sorting_ = {.Column = TrapColumn::DateTime, .Descending = false};
  world_.Prompt.WillAnswerFiles({path_.string()});
  Export("All Traps ", SourceShown::SystemName);
  EXPECT_EQ(
      Contents(path_),
      "\xEF\xBB\xBF\"Date / Time\",\"Source\",\"Trap Name\",\"Variables\",\"IP Address\",\"Severity\","
      "\"Generic\",\"Enterprise\",\"Enterprise OID\",\"Specific\",\"More Information\",\"User Notes\","
      "\"Acknowledged\",\"Sequence Number\",\"Event Time (UTC)\"\r\n"
      "\"1970-01-01 00:59:59\",\"Router-One\",\"fanFailed\",\"the link downport 4\",\"192.0.2.7\",\"Major\","
      "\"enterpriseSpecific\",\"Acme\",\"1.3.6.1.4.1.99999.1\",-1,\"A fan stands still.\","
      "\"called, \"\"fixed\"\"\nby Łukasz\",\"Yes\",-43,1969-12-31T23:59:59Z\r\n"
      "\"2023-11-14 23:13:20\",\"Router-One\",\"fanFailed\",\"the link downport 4\",\"192.0.2.7\",\"Major\","
      "\"enterpriseSpecific\",\"Acme\",\"1.3.6.1.4.1.99999.1\",17,\"A fan stands still.\",\"\",\"No\",42,"
      "2023-11-14T22:13:20Z\r\n");
  ASSERT_EQ(world_.Prompt.FileQuestions().size(), 1U);
  EXPECT_EQ(world_.Prompt.FileQuestions().front().Extension, "csv");
  EXPECT_THAT(world_.Busy.Texts, testing::ElementsAre("Exporting Trap(s)"));
  EXPECT_EQ(world_.Busy.Depth(), 0);
  EXPECT_TRUE(world_.Prompt.Messages().empty());
}

TEST_F(CsvExportTest, HostileTextStaysInItsCellAndIsNoFormula) {
  struct Row {
    std::string Text, Cell;
  };
  const std::vector<Row> rows = {
      {"", ""},
      {"plain, with a comma", "plain, with a comma"},
      {"a\"b\"\"c\"", "a\"b\"\"c\""},
      {"a=1+1 -2 @x", "a=1+1 -2 @x"},
      {"=cmd|' /C calc'!A0", "'=cmd|' /C calc'!A0"},
      {"+1", "'+1"},
      {"-5", "'-5"},
      {"@SUM(A1)", "'@SUM(A1)"},
      {"  =1", "'  =1"},
      {"\"=1", "'\"=1"},
      {" '\u00A0\u3000\u2003=1", "' '\u00A0\u3000\u2003=1"},
      {"\uFF1D1+1", "'\uFF1D1+1"},
      {"'quoted'", "'quoted'"},
      {"\tx", "'\u2409x"},
      {"\t=1", "'\u2409=1"},
      {"\r\n=1", "'\u240D\u240A=1"},
      {std::string("\0=1", 3), "'\u2400=1"},
      // Where ";" parts cells, what stands behind it begins one.
      {"state;=HYPERLINK(\"http://x\")", "state;'=HYPERLINK(\"http://x\")"},
      {"1; \"-2;3;", "1;' \"-2;3;"},
      {"line\r\nforged,line\nend", "line\u240D\u240Aforged,line\u240Aend"},
      {"bell\a\x1B[31m\x7F\u202E", "bell\u2407\u241B[31m\u2421\uFFFD"},
      {"broken \xFF\xC3", "broken \uFFFD\uFFFD"},
      {"größe 日本 🔔", "größe 日本 🔔"},
  };
  for (const Row& row : rows) {
    CsvLine line;
    line.AddText(row.Text);
    line.AddNumber(-7);
    EXPECT_EQ(line.End(), Quoted(row.Cell) + ",-7\r\n") << row.Text;
  }
  // Every text of a trap takes that way.
  sample_.Trap.Source = "=s";
  sample_.Trap.SystemAddress = "=a";
  sample_.Trap.EnterpriseOid = "=o";
  sample_.Trap.EventNotes = "=n";
  sample_.Definition = {.TrapName = "=t", .EnterpriseName = "=e", .FurtherDescription = "=i"};
  sample_.SetVarBinds("=", "v");
  rows_.Append(sample_.Trap);
  EXPECT_EQ(
      Exported(),
      "\"2023-11-14 23:13:20\",\"'=s\",\"'=t\",\"'=v\",\"'=a\",\"Major\",\"enterpriseSpecific\",\"'=e\","
      "\"'=o\",17,\"'=i\",\"'=n\",\"No\",42,2023-11-14T22:13:20Z\r\n");
}

TEST_F(CsvExportTest, NotesKeepTheirLines) {
  struct Row {
    std::string Text, Cell;
  };
  for (const Row& row : {Row{"one\r\ntwo\rthree\n\nfive\r\n", "one\ntwo\nthree\n\nfive\n"},
                         Row{"said \"no\"\n\tindented\x01", "said \"no\"\n\u2409indented\u2401"},
                         Row{"one\n=2\r\n -3", "one\n'=2\n' -3"}, Row{"\n=1", "'\n'=1"}}) {
    CsvLine line;
    line.AddParagraphs(row.Text);
    EXPECT_EQ(line.End(), Quoted(row.Cell) + "\r\n") << row.Text;
  }
}

TEST_F(CsvExportTest, LongListsShowProgressAndEmptyOnesAreFiles) {
  EXPECT_EQ(Exported(), "");
  std::string expected;
  for (int i = 0; i < 10'000; ++i) {
    const std::string source = fmt::format("router{}", i % 3);
    sample_.Trap.SequenceNumber = i;
    sample_.Trap.SpecificTrap = i % 7'000;  // more kinds than cells are kept of
    sample_.Trap.Source = source;
    rows_.Append(sample_.Trap);
    expected += fmt::format(
        "\"2023-11-14 23:13:20\",\"{}\",\"fanFailed\",\"the link downport 4\",\"192.0.2.7\",\"Major\","
        "\"enterpriseSpecific\",\"Acme\",\"1.3.6.1.4.1.99999.1\",{},\"A fan stands still.\",\"\",\"No\",{},"
        "2023-11-14T22:13:20Z\r\n",
        source, i % 7'000, i);
  }
  EXPECT_TRUE(Exported() == expected);
  EXPECT_THAT(world_.Busy.Progress,
              testing::ElementsAre(testing::Pair(4096, 10'000), testing::Pair(8192, 10'000)));
}

TEST_F(CsvExportTest, WhatFailsIsToldAndChangesNothing) {
  rows_.Append(sample_.Trap);
  world_.Prompt.WillAnswerFiles({});
  Export();
  EXPECT_TRUE(world_.Busy.Texts.empty());
  EXPECT_TRUE(world_.Prompt.Messages().empty());

  std::filesystem::create_directory(path_);
  world_.Prompt.WillAnswerFiles({path_.string()});
  Export();
  ASSERT_EQ(world_.Prompt.Messages().size(), 1U);
  EXPECT_EQ(world_.Prompt.LastMessage(),
            "The traps could not be exported to the file \"" + path_.string() + "\".\nIs a directory.");
  EXPECT_EQ(world_.Prompt.Messages().front().Icon, PromptIcon::Exclamation);
  EXPECT_EQ(world_.Busy.Depth(), 0);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(world_.InstallFolder.Path()), {}), 1);
}

TEST_F(CsvExportTest, TheSuggestedNameSuitsEveryFileSystem) {
  struct Row {
    std::string Caption, Name;
  };
  const std::vector<Row> rows = {{"All Traps ", "All Traps.csv"},
                                 {" (No Custom Selection)", "(No Custom Selection).csv"},
                                 {"Traps On '../../etc/passwd' ", "Traps On '.._.._etc_passwd'.csv"},
                                 {"a<b>|c:\"d\"\\*?", "a_b__c__d____.csv"},
                                 {".. hidden ..", "hidden.csv"},
                                 {" ", "Traps.csv"},
                                 {"two\nlines", "two\u240Alines.csv"},
                                 {"x" + std::string(60, 'y') + "ö" + std::string(300, 'z'),
                                  "x" + std::string(60, 'y') + "ö" + std::string(37, 'z') + ".csv"}};
  for (const Row& row : rows) {
    world_.Prompt.WillAnswerFiles({});
    Export(row.Caption);
    EXPECT_EQ(world_.Prompt.FileQuestions().back().Path, row.Name);
  }
  std::string wide;
  while (wide.size() < 200) {
    wide += "日";
  }
  world_.Prompt.WillAnswerFiles({});
  Export(wide);
  EXPECT_EQ(world_.Prompt.FileQuestions().back().Path, wide.substr(0, 99) + ".csv");
}

}  // namespace
}  // namespace korvane::traplist
