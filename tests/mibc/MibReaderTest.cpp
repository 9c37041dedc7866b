// MIB files, and the program as an administrator calls it.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Compiler.h"
#include "MibReader.h"
#include "NotificationMapping.h"
#include "support/Processes.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane::mibc {
namespace {

using testing::HasSubstr;

// A module of version 2 with a root below the enterprise number of examples.
std::string ModuleText(const std::string& name, const std::string& body) {
  return name +
         " DEFINITIONS ::= BEGIN\nIMPORTS NOTIFICATION-TYPE, OBJECT-TYPE, enterprises FROM SNMPv2-SMI;\n"
         "acme OBJECT IDENTIFIER ::= { enterprises 32473 }\n"
         "acmeTraps OBJECT IDENTIFIER ::= { acme 0 }\n" +
         body + "\nEND\n";
}

std::string Trap(const std::string& name, const std::string& place,
                 const std::string& description = "Text.") {
  return name + " NOTIFICATION-TYPE STATUS current DESCRIPTION \"" + description + "\" ::= { " + place +
         " }\n";
}

constexpr std::string_view kGivenFile = "given\tfile.mib";  // the parser's answer has to escape it

ReaderOptions TestReader() {
  return {.Parser = KORVANE_MIBC, .Folders = {KORVANE_SOURCE_DIR "/mibc/mibs"}};
}

struct MibReaderTest : testing::Test {
  std::filesystem::path Write(std::string_view name, std::string_view text) const {
    test::WriteFile(Folder / name, text);
    return Folder / name;
  }
  ReadFile Read(const std::filesystem::path& file, ReaderOptions options = TestReader()) const {
    MibReader reader(std::move(options));
    reader.AddFolder(Folder.Path());
    return reader.Read(file, {});
  }
  ReadFile ReadText(std::string_view text) const { return Read(Write(kGivenFile, text)); }

  test::TempFolder Folder;
};

TEST(NotificationMappingTest, MakesDescriptionsFitToBeShown) {
  const std::pair<std::string, std::string> cases[] = {
      {"\r\n   two lines\r\n   of one\tparagraph  \r\n", "two lines of one paragraph"},
      {"First.\n\n\n  Second.\n", "First.\nSecond."},
      {"See:\n - one\n   goes on\n - two\n 1) three\n10. four\n1999 was long ago",
       "See:\n- one goes on\n- two\n1) three\n10. four 1999 was long ago"},
      {"St\xF6rung \xB0", "St\xC3\xB6rung \xC2\xB0"},  // Latin-1
      {std::string("a\x1B[31m\0b", 8), "a [31m b"}};
  for (const auto& [source, shown] : cases) {
    EXPECT_EQ(DescriptionText(source), shown);
  }
}

std::string FaultsOf(const ReadFile& read) {
  std::string text;
  for (const Fault& fault : read.Faults) {
    text += FaultText(fault) + "\n";
  }
  return text;
}

TEST_F(MibReaderTest, ReadsTrapsOfBothVersionsAndTheSlipsOfRealModules) {
  const std::string text(64U << 10U, 'd');
  const ReadFile second = ReadText(
      ModuleText("ACME-MIB", "-- " + std::string(200'000, '=') +
                                 "\nmy_box OBJECT IDENTIFIER ::= { acme 9 }\n"
                                 "boxName OBJECT-TYPE SYNTAX DisplayString MAX-ACCESS read-only "
                                 "STATUS mandatory DESCRIPTION \"\" ::= { my_box 1 }\n"
                                 "boxShut TRAP-TYPE ENTERPRISE my_box ::= 2\n" +
                                 Trap("inPrefix", "acmeTraps 1", "One\\n.\n\n Two.") +
                                 Trap("inZero", "acme 5 0 2", text) + Trap("twoZeros", "acme 0 0 7") +
                                 Trap("plain", "my_box 3") + Trap("large", "acmeTraps 4294967295")));
  ASSERT_EQ(FaultsOf(second), "");
  EXPECT_THAT(second.Modules.at(0).Definitions,
              testing::UnorderedElementsAre(
                  Definition{"1.3.6.1.4.1.32473", 1, "inPrefix", "acme", "One\\n.\nTwo."},
                  Definition{"1.3.6.1.4.1.32473.5", 2, "inZero", "1.3.6.1.4.1.32473.5", text},
                  Definition{"1.3.6.1.4.1.32473.0", 7, "twoZeros", "acmeTraps", "Text."},
                  Definition{"1.3.6.1.4.1.32473.9", 2, "boxShut", "my_box", ""},
                  Definition{"1.3.6.1.4.1.32473.9", 3, "plain", "my_box", "Text."},
                  Definition{"1.3.6.1.4.1.32473", -1, "large", "acme", "Text."}));

  const ReadFile first = ReadText(
      "OLD-MIB DEFINITIONS ::= BEGIN\n"
      "IMPORTS TRAP-TYPE FROM RFC-1215 snmp FROM RFC1213-MIB enterprises FROM RFC1155-SMI;\n"
      "old OBJECT IDENTIFIER ::= { enterprises 32473 }\n"
      "lastStandard TRAP-TYPE ENTERPRISE snmp ::= 5\n"
      "noStandard TRAP-TYPE ENTERPRISE snmp ::= 6\n"
      "numberedZero TRAP-TYPE ENTERPRISE old ::= 0\n"
      "oldTrap TRAP-TYPE ENTERPRISE old DESCRIPTION \"St\xF6rung.\" ::= 12\n"
      "END\n");
  ASSERT_EQ(FaultsOf(first), "");
  EXPECT_THAT(first.Modules.at(0).Definitions,
              testing::UnorderedElementsAre(
                  Definition{"1.3.6.1.6.3.1.1.5", 6, "lastStandard", "snmpTraps", ""},
                  Definition{"1.3.6.1.2.1.11", 6, "noStandard", "snmp", ""},
                  Definition{"1.3.6.1.4.1.32473", 0, "numberedZero", "old", ""},
                  Definition{"1.3.6.1.4.1.32473", 12, "oldTrap", "old", "St\xC3\xB6rung."}));
}

TEST_F(MibReaderTest, ReadsTheModulesThatComeWithTheProgramWithoutAFault) {
  MibReader reader(TestReader());
  for (const char* folder : {KORVANE_SOURCE_DIR "/mibc/mibs", KORVANE_SOURCE_DIR "/mibc/sample"}) {
    reader.AddFolder(folder);
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
      EXPECT_EQ(FaultsOf(reader.Read(file, {})), "") << file;
    }
  }
}

TEST_F(MibReaderTest, FindsWhatAFileImportsUnderAnyFileName) {
  const std::string root =
      "ACME-ROOT DEFINITIONS ::= BEGIN\nIMPORTS enterprises FROM SNMPv2-SMI;\n"
      "acmeRoot OBJECT IDENTIFIER ::= { enterprises 32473 }\nEND\n";
  const std::string middle =
      "ACME-MIDDLE DEFINITIONS ::= BEGIN\nIMPORTS acmeRoot FROM ACME-ROOT;\n"
      "acmeBox OBJECT IDENTIFIER ::= { acmeRoot 4 }\nEND\n";
  const std::string traps = "IMPORTS NOTIFICATION-TYPE FROM SNMPv2-SMI acmeBox FROM ACME-MIDDLE;\n" +
                            Trap("boxOpen", "acmeBox 0 1") + "END\n";
  Write("root-v3.txt", root);
  Write("middle.my", middle);
  ReadFile read = Read(Write("traps.mib", "ACME-TRAPS DEFINITIONS ::= BEGIN\n" + traps));
  EXPECT_EQ(FaultsOf(read), "");
  EXPECT_EQ(read.Modules.at(0).Definitions.at(0).EnterpriseOid, "1.3.6.1.4.1.32473.4");
  // A file of several modules uses its own, whatever copies lie beside it.
  read = Read(Write("zz-all.mib", root + middle + "ACME-ALL DEFINITIONS ::= BEGIN\n" + traps));
  EXPECT_EQ(FaultsOf(read), "");
  EXPECT_EQ(read.Modules.size(), 3U);
  // What can't be resolved further up would give the trap a wrong number.
  std::filesystem::remove(Folder / "root-v3.txt");
  std::filesystem::remove(Folder / "zz-all.mib");
  read = Read(Folder / "traps.mib");
  EXPECT_THAT(FaultsOf(read), HasSubstr("middle.my:3: unknown object identifier label 'acmeRoot'"));
}

TEST_F(MibReaderTest, RefusesWhatItCantReadWithLineAndReason) {
  std::string deep = "acmeDeep ::= ";
  for (int i = 0; i < 20'000; ++i) {
    deep += "SEQUENCE { a ";
  }
  const std::pair<std::string, std::string> cases[] = {
      {"A-MIB DEFINITIONS ::= BEGIN\nIMPORTS x FROM NOWHERE-MIB;\nEND\n",
       ":2: failed to locate MIB module 'NOWHERE-MIB'"},
      {ModuleText("A-MIB", Trap("good", "acmeTraps 1") + "bad NOTIFICATION-TYPE STATUS STATUS current\n"),
       ":6: syntax error"},
      {ModuleText("A-MIB", "a OBJECT IDENTIFIER ::= { b 1 }\nb OBJECT IDENTIFIER ::= { a 1 }\n" +
                               Trap("round", "b 0 1")),
       ":5: object identifier 'a' defined recursively"},
      {ModuleText("A-MIB", deep), ":5: "},
      {ModuleText("A-MIB", std::string("a\0b", 3)), ": this is no MIB file: it holds binary data"},
      {"a shopping list", ": this is no MIB file: no module begins in it"},
      {std::string((32U << 20U) + 1, 'y'), ": the file is larger than 32 MiB"}};
  for (const auto& [text, fault] : cases) {
    EXPECT_THAT(FaultsOf(ReadText(text)), HasSubstr((Folder / kGivenFile).string() + fault))
        << text.substr(0, 300);
  }
  const std::filesystem::path pipe = Folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(FaultsOf(Read(pipe)), HasSubstr("this is no regular file"));
}

// A parser that fails in each way that a hostile file may bring it to.
TEST_F(MibReaderTest, OutlivesItsParser) {
  const std::filesystem::path mib = Write("good.mib", ModuleText("A-MIB", Trap("one", "acmeTraps 1")));
  const std::pair<std::string, std::string> cases[] = {
      {"exec sleep 60", "was not done with this file in 1 seconds"},
      {"printf 'module\\tA-MIB\\n'; kill -SEGV $$", "made the parser crash (signal 11)"},
      {"printf 'module\\tA-MIB\\n'", "did not come to the end"},
      {"exit 3", "gave up (status 3)"},
      {"exec yes", "finds no end in this file"}};
  for (const auto& [script, reason] : cases) {
    const std::chrono::milliseconds longest(script == "exec sleep 60" ? 200 : 60'000);
    const std::filesystem::path parser = Write("parser", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(parser, std::filesystem::perms(0700));
    const ReadFile read = Read(mib, {.Parser = parser, .Folders = {}, .Longest = longest});
    EXPECT_THAT(FaultsOf(read), HasSubstr(reason)) << script;
    EXPECT_TRUE(read.Modules.empty()) << script;
  }
  EXPECT_THAT(FaultsOf(Read(mib, {.Parser = "/nonexistent", .Folders = {}})), HasSubstr("can't be started"));
}

// What a file can cost before its parser starts, and what a folder can.
TEST_F(MibReaderTest, BoundsTheLookThroughFilesAndFolders) {
  std::string imports;
  for (int i = 0; i < 12'000; ++i) {
    imports += "x FROM M" + std::to_string(i) + "\n";
  }
  EXPECT_THAT(FaultsOf(ReadText("A-MIB DEFINITIONS ::= BEGIN IMPORTS " + imports + ";\nEND\n")),
              HasSubstr("or it imports from more than 10000"));
  std::filesystem::remove(Folder / kGivenFile);
  // Modules that need each other in a ring, in more files than are looked at.
  for (int i = 0; i < 5010; ++i) {
    const std::string next = std::to_string((i + 1) % 3);
    Write(std::to_string(i),
          "M" + std::to_string(i) + " DEFINITIONS ::= BEGIN IMPORTS x FROM M" + next + ";\nEND\n");
  }
  MibReader reader(TestReader());
  Compiler compiler(reader, nullptr);
  const std::vector<std::filesystem::path> taken = compiler.FilesOf({Folder.Path()});
  ASSERT_EQ(taken.size(), 5001U);
  EXPECT_THAT(FaultText(compiler.Compile(taken.back()).Faults.at(0)),
              HasSubstr("10 of its files were left out"));
  EXPECT_THAT(FaultsOf(reader.Read(Folder / "0", {})), HasSubstr("'x' cannot be imported from module 'M1'"));
}

// Status and output, of both kinds.  Under the leak sanitizer only what names the program's own functions
// counts.
std::pair<int, std::string> RunMibc(const std::string& arguments) {
  std::FILE* const pipe = popen(
      (std::string("LSAN_OPTIONS=exitcode=0 " KORVANE_MIBC " ") + arguments + " 2>&1 </dev/null").c_str(),
      "r");
  std::string output;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
    output += static_cast<char>(c);
  }
  EXPECT_THAT(output, testing::Not(HasSubstr(" in korvane::")));
  return {WEXITSTATUS(pclose(pipe)), output};
}

TEST_F(MibReaderTest, OnTheCommandLineStoresWhatIsSoundAndNamesWhatIsNot) {
  test::SqliteStore store;
  Write("good.mib",
        ModuleText("GOOD-MIB", Trap("doorOpen", "acmeTraps 1") + Trap("doorShut", "acmeTraps 2")));
  const std::string bad = Write("bad.mib", ModuleText("BAD-MIB", Trap("x", "acmeTraps 3") + "oops")).string();
  Write("readme.txt", "Traps of the box. They are many.");
  const std::string folder = Folder.Path().string();
  const auto runs = [&store](const std::string& arguments, int status, const std::string& says, int stored) {
    const auto [ended, output] = RunMibc(arguments);
    EXPECT_EQ(ended, status) << arguments;
    EXPECT_THAT(output, HasSubstr(says)) << arguments;
    EXPECT_THAT(output, testing::Not(HasSubstr("readme")));
    EXPECT_EQ(store.Number("SELECT COUNT(*) FROM EventStructure"), stored) << arguments;
  };
  runs("--nonsense", 2, "", 0);
  runs("--check " + folder, 1, "GOOD-MIB (" + folder + "/good.mib): 2 traps, not stored", 0);
  runs(folder + "/", 1, bad + ":7: syntax error", 2);
  runs("-- " + bad + " " + folder + "/good.mib", 1, "2 traps unchanged", 2);
  store.TakeAway();
  EXPECT_THAT(RunMibc(folder + "/good.mib"), testing::Pair(1, HasSubstr("the trap store can't be opened")));
  store.BringBack();
}

}  // namespace
}  // namespace korvane::mibc
