// MIB files, and the program as an administrator calls it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "Compiler.h"
#include "MibFiles.h"
#include "NotificationMapping.h"
#include "support/TestStore.h"

namespace korvane::mibc {
namespace {

using testing::HasSubstr;

TEST(NotificationMappingTest, MakesDescriptionsFitToBeShown) {
  const std::pair<std::string, std::string> cases[] = {
      {"\r\n   two lines\r\n   of one\tparagraph  \r\n", "two lines of one paragraph"},
      {"First.\n\n\n  Second.\n", "First.\nSecond."},
      {"See:\n - one\n   goes on\n - two\n 1) three\n10. four\n1999 was long ago",
       "See:\n- one goes on\n- two\n1) three\n10. four 1999 was long ago"},
      {"Straße ❄", "Straße ❄"},
      {"St\xF6rung \xB0", "St\xC3\xB6rung \xC2\xB0"},  // Latin-1
      {std::string("a\x1B[31m\0b", 8), "a [31m b"},
      {"", ""}};
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

TEST(MibReaderTest, ReadsTrapsOfBothVersions) {
  const MibFiles files;
  const ReadFile second = files.ReadText(
      ModuleText("ACME-MIB", "acmeOld OBJECT IDENTIFIER ::= { acme 9 }\n" +
                                 Trap("inPrefix", "acmeTraps 1", "One\\n.\n\n Two.") +
                                 Trap("inZero", "acme 5 0 2") + Trap("twoZeros", "acme 0 0 7") +
                                 Trap("plain", "acmeOld 3") + Trap("large", "acmeTraps 4294967295")));
  ASSERT_EQ(FaultsOf(second), "");
  ASSERT_EQ(second.Modules.size(), 1U);
  EXPECT_EQ(second.Modules[0].Name, "ACME-MIB");
  EXPECT_THAT(second.Modules[0].Definitions,
              testing::UnorderedElementsAre(
                  Definition{"1.3.6.1.4.1.32473", 1, "inPrefix", "acme", "One\\n.\nTwo."},
                  Definition{"1.3.6.1.4.1.32473.5", 2, "inZero", "1.3.6.1.4.1.32473.5", "Text."},
                  Definition{"1.3.6.1.4.1.32473.0", 7, "twoZeros", "acmeTraps", "Text."},
                  Definition{"1.3.6.1.4.1.32473.9", 3, "plain", "acmeOld", "Text."},
                  Definition{"1.3.6.1.4.1.32473", -1, "large", "acme", "Text."}));

  const ReadFile first = files.ReadText(
      "OLD-MIB DEFINITIONS ::= BEGIN\n"
      "IMPORTS TRAP-TYPE FROM RFC-1215 snmp FROM RFC1213-MIB enterprises FROM RFC1155-SMI;\n"
      "old OBJECT IDENTIFIER ::= { enterprises 32473 }\n"
      "myLinkDown TRAP-TYPE ENTERPRISE snmp DESCRIPTION \"Link.\" ::= 2\n"
      "lastStandard TRAP-TYPE ENTERPRISE snmp ::= 5\n"
      "noStandard TRAP-TYPE ENTERPRISE snmp ::= 6\n"
      "numberedZero TRAP-TYPE ENTERPRISE old ::= 0\n"
      "oldTrap TRAP-TYPE ENTERPRISE old DESCRIPTION \"St\xF6rung.\" ::= 12\n"
      "END\n");
  ASSERT_EQ(FaultsOf(first), "");
  EXPECT_THAT(first.Modules.at(0).Definitions,
              testing::UnorderedElementsAre(
                  Definition{"1.3.6.1.6.3.1.1.5", 3, "myLinkDown", "snmpTraps", "Link."},
                  Definition{"1.3.6.1.6.3.1.1.5", 6, "lastStandard", "snmpTraps", ""},
                  Definition{"1.3.6.1.2.1.11", 6, "noStandard", "snmp", ""},
                  Definition{"1.3.6.1.4.1.32473", 0, "numberedZero", "old", ""},
                  Definition{"1.3.6.1.4.1.32473", 12, "oldTrap", "old", "St\xC3\xB6rung."}));
}

// Our base modules, the sample, and those that Debian's SNMP package brings.
TEST(MibReaderTest, ReadsTheModulesThatComeWithTheProgramWithoutAFault) {
  MibReader reader(TestReader());
  std::size_t count = 0;
  for (const char* folder : {KORVANE_SOURCE_DIR "/mibc/mibs", KORVANE_SOURCE_DIR "/mibc/sample"}) {
    reader.AddFolder(folder);
    const std::vector<std::filesystem::path> modules = reader.FilesOf(folder);
    EXPECT_EQ(static_cast<std::ptrdiff_t>(modules.size()),
              std::distance(std::filesystem::directory_iterator(folder), {}))
        << "a file without a module in " << folder;
    for (const std::filesystem::path& file : modules) {
      EXPECT_EQ(FaultsOf(reader.Read(file, {})), "") << file;
      EXPECT_EQ(reader.ModulesOf(file), std::vector{file.filename().string()});
      ++count;
    }
  }
  EXPECT_GE(count, 13U);
}

TEST(MibReaderTest, FindsWhatAFileImportsUnderAnyFileName) {
  const MibFiles files;
  files.Write("root-v3.txt",
              "ACME-ROOT DEFINITIONS ::= BEGIN\nIMPORTS enterprises FROM SNMPv2-SMI;\n"
              "acmeRoot OBJECT IDENTIFIER ::= { enterprises 32473 }\nEND\n");
  files.Write("middle.my",
              "ACME-MIDDLE DEFINITIONS ::= BEGIN\nIMPORTS acmeRoot FROM ACME-ROOT;\n"
              "acmeBox OBJECT IDENTIFIER ::= { acmeRoot 4 }\nEND\n");
  const std::string traps = "IMPORTS NOTIFICATION-TYPE FROM SNMPv2-SMI acmeBox FROM ACME-MIDDLE;\n" +
                            Trap("boxOpen", "acmeBox 0 1") + "END\n";
  ReadFile read = files.Read(files.Write("traps.mib", "ACME-TRAPS DEFINITIONS ::= BEGIN\n" + traps));
  EXPECT_EQ(FaultsOf(read), "");
  EXPECT_EQ(read.Modules.at(0).Definitions.at(0).EnterpriseOid, "1.3.6.1.4.1.32473.4");

  // A file of several modules uses its own, whatever copies lie beside it.
  const std::string all = test::ReadFile(files.Folder() / "root-v3.txt") +
                          test::ReadFile(files.Folder() / "middle.my") + "ACME-ALL DEFINITIONS ::= BEGIN\n" +
                          traps;
  read = files.Read(files.Write("zz-all.mib", all));
  EXPECT_EQ(FaultsOf(read), "");
  EXPECT_EQ(read.Modules.size(), 3U);

  // What can't be resolved further up would give the trap a wrong number.
  std::filesystem::remove(files.Folder() / "root-v3.txt");
  std::filesystem::remove(files.Folder() / "zz-all.mib");
  read = files.Read(files.Folder() / "traps.mib");
  EXPECT_THAT(FaultsOf(read), HasSubstr("middle.my:3: unknown object identifier label 'acmeRoot'"));
}

TEST(MibReaderTest, TakesTheSlipsOfRealModulesAndLongLinesAndDescriptions) {
  const std::string text(64U << 10U, 'd');
  const ReadFile read = MibFiles().ReadText(ModuleText(
      "SLOPPY-MIB",
      "-- " + std::string(200'000, '=') +
          "\nmy_box OBJECT IDENTIFIER ::= { acme 1 }\n"
          "boxName OBJECT-TYPE SYNTAX DisplayString MAX-ACCESS read-only STATUS mandatory DESCRIPTION \"\" "
          "::= { my_box 1 }\n"
          "boxOpen NOTIFICATION-TYPE OBJECTS { boxName } STATUS current DESCRIPTION \"caf\xE9\" "
          "::= { my_box 0 1 }\n"
          "boxShut TRAP-TYPE ENTERPRISE my_box ::= 2\n" +
          Trap("long", "acmeTraps 1", text)));
  EXPECT_EQ(FaultsOf(read), "");
  ASSERT_EQ(read.Modules.at(0).Definitions.size(), 3U);
  EXPECT_EQ(std::ranges::count(read.Modules[0].Definitions, text, &Definition::TrapDescription), 1);
}

TEST(MibReaderTest, RefusesWhatItCantReadWithLineAndReason) {
  const MibFiles files;
  std::string deep = "acmeDeep ::= ";
  for (int i = 0; i < 20'000; ++i) {
    deep += "SEQUENCE { a ";
  }
  const std::pair<std::string, std::string> cases[] = {
      {"A-MIB DEFINITIONS ::= BEGIN\nIMPORTS x FROM NOWHERE-MIB;\nEND\n",
       ":2: failed to locate MIB module 'NOWHERE-MIB'"},
      {"A-MIB DEFINITIONS ::= BEGIN\nIMPORTS nothing FROM SNMPv2-SMI;\nEND\n",
       ":2: identifier 'nothing' cannot be imported"},
      {"A-MIB DEFINITIONS ::= BEGIN\nIMPORTS self FROM A-MIB;\nEND\n", ":2: identifier 'self' cannot be"},
      {ModuleText("A-MIB", Trap("good", "acmeTraps 1") + "bad NOTIFICATION-TYPE STATUS STATUS current\n"),
       ":6: syntax error"},
      {ModuleText("A-MIB", Trap("lost", "unknownNode 1")),
       ":5: unknown object identifier label 'unknownNode'"},
      {ModuleText("A-MIB", "a OBJECT IDENTIFIER ::= { b 1 }\nb OBJECT IDENTIFIER ::= { a 1 }\n" +
                               Trap("round", "b 0 1")),
       ":5: object identifier 'a' defined recursively"},
      {ModuleText("A-MIB", Trap("cut", "acmeTraps 1", "a text")).substr(0, 260), ":5: "},
      {ModuleText("A-MIB", deep), ":5: "},
      {ModuleText("A-MIB", std::string("a\0b", 3)), ": this is no MIB file: it holds binary data"},
      {"a shopping list", ": this is no MIB file: no module begins in it"},
      {"", ": this is no MIB file: no module begins in it"},
      {std::string((32U << 20U) + 1, 'y'), ": the file is larger than 32 MiB"}};
  for (const auto& [text, fault] : cases) {
    const ReadFile read = files.ReadText(text);
    EXPECT_THAT(FaultsOf(read), HasSubstr((files.Folder() / kGivenFile).string() + fault))
        << text.substr(0, 300);
  }
  EXPECT_THAT(FaultsOf(files.Read(files.Folder() / "none")), HasSubstr("there is no such file"));
  EXPECT_THAT(FaultsOf(files.Read("/dev/zero")), HasSubstr("this is no regular file"));
  const std::filesystem::path pipe = files.Folder() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(FaultsOf(files.Read(pipe)), HasSubstr("this is no regular file"));
}

// A parser that fails in each way that a hostile file may bring it to.
TEST(MibReaderTest, OutlivesItsParser) {
  const MibFiles files;
  const std::filesystem::path mib = files.Write("good.mib", ModuleText("A-MIB", Trap("one", "acmeTraps 1")));
  const std::pair<std::string, std::string> cases[] = {
      {"exec sleep 60", "was not done with this file in 1 seconds"},
      {"printf 'module\\tA-MIB\\n'; kill -SEGV $$", "made the parser crash (signal 11)"},
      {"printf 'module\\tA-MIB\\n'", "did not come to the end"},
      {"echo nonsense; echo done", "did not come to the end"},
      {"exit 3", "gave up (status 3)"},
      {"exec yes", "finds no end in this file"}};
  for (const auto& [script, reason] : cases) {
    const std::chrono::milliseconds longest(script == "exec sleep 60" ? 200 : 60'000);
    const ReadFile read =
        files.Read(mib, {.Parser = files.WriteParser(script), .Folders = {}, .Longest = longest});
    EXPECT_THAT(FaultsOf(read), HasSubstr(reason)) << script;
    EXPECT_TRUE(read.Modules.empty()) << script;
  }
  EXPECT_THAT(FaultsOf(files.Read(mib, {.Parser = "/nonexistent", .Folders = {}})),
              HasSubstr("can't be started"));
}

// What a file can cost before its parser starts, and what a folder can.
TEST(MibReaderTest, BoundsTheLookThroughFilesAndFolders) {
  const MibFiles files;
  std::string imports;
  for (int i = 0; i < 12'000; ++i) {
    imports += "x FROM M" + std::to_string(i) + "\n";
  }
  const std::string hostile = "A-MIB DEFINITIONS ::= BEGIN IMPORTS " + imports + ";\nEND\n";
  EXPECT_THAT(FaultsOf(files.ReadText(hostile)),
              HasSubstr("file.mib: more than 1000 modules begin in this file, "
                        "or it imports from more than 10000"));
  std::filesystem::remove(files.Folder() / kGivenFile);

  // Modules of which three need each other in a ring, in more files than are looked at.
  for (int i = 0; i < 5010; ++i) {
    const std::string import = i < 3 ? "IMPORTS x FROM M" + std::to_string((i + 1) % 3) + ";" : "";
    files.Write(std::to_string(10'000 + i),
                "M" + std::to_string(i) + " DEFINITIONS ::= BEGIN " + import + "\nEND\n");
  }
  MibReader reader(TestReader());
  Compiler compiler(reader, nullptr);
  const std::vector<std::filesystem::path> taken = compiler.FilesOf({files.Folder()});
  ASSERT_EQ(taken.size(), 5001U);
  EXPECT_EQ(taken.front().filename(), "10000");
  EXPECT_THAT(FaultText(compiler.Compile(taken.back()).Faults.at(0)),
              HasSubstr("10 of its files were left out"));
  EXPECT_THAT(FaultsOf(reader.Read(files.Folder() / "10000", {})),
              HasSubstr("'x' cannot be imported from module 'M1'"));
  reader.AddFile(files.Folder() / "15009");
  EXPECT_EQ(reader.ModulesOf(files.Folder() / "15009"), std::vector<std::string>{"M5009"});

  std::stop_source stopped;
  stopped.request_stop();
  MibReader another(TestReader());
  another.AddFolder(files.Folder(), stopped.get_token());
  EXPECT_TRUE(another.FilesOf(files.Folder()).empty());
  EXPECT_THAT(FaultsOf(reader.Read(files.Folder() / "10000", stopped.get_token())), HasSubstr("stopped"));
}

using testing::HasSubstr;

struct Ran {
  int Status;
  std::string Output;  // of both kinds
};

// Under the leak sanitizer the embedded engine's driver would count against the program; what the program
// itself loses names its functions.
Ran RunMibc(const std::string& arguments) {
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

TEST(CommandLineTest, StoresWhatIsSoundAndNamesWhatIsNot) {
  test::SqliteStore store;
  const MibFiles files;
  files.Write("good.mib",
              ModuleText("GOOD-MIB", Trap("doorOpen", "acmeTraps 1") + Trap("doorShut", "acmeTraps 2")));
  const std::string bad =
      files.Write("bad.mib", ModuleText("BAD-MIB", Trap("x", "acmeTraps 3") + "oops")).string();
  files.Write("readme.txt", "Traps of the box. They are many.");
  const std::string folder = files.Folder().string();
  const auto stored = [&store] { return store.Number("SELECT COUNT(*) FROM EventStructure"); };
  const auto runs = [](const std::string& arguments, int status, const std::vector<std::string>& says) {
    const Ran ran = RunMibc(arguments);
    EXPECT_EQ(ran.Status, status) << arguments;
    for (const std::string& text : says) {
      EXPECT_THAT(ran.Output, HasSubstr(text)) << arguments;
    }
    EXPECT_THAT(ran.Output, testing::Not(HasSubstr("readme")));
  };
  runs("--help", 0, {"usage: mibc"});
  runs("--version", 0, {"mibc "});
  runs("--nonsense", 2, {});
  runs("--check", 2, {});
  runs("--check " + folder + "/no-such-file", 1, {"there is no such file"});
  runs("--check " + folder, 1, {"GOOD-MIB (" + folder + "/good.mib): 2 traps, not stored"});
  EXPECT_EQ(stored(), 0);
  runs(folder + "/", 1,
       {"2 traps added", bad + ":7: syntax error", bad + ": refused, nothing of it was stored"});
  EXPECT_EQ(stored(), 2);
  runs("-- " + folder + "/good.mib", 0, {"2 traps unchanged"});
  store.TakeAway();
  runs(folder + "/good.mib", 1, {"the trap store can't be opened"});
  store.BringBack();
}

}  // namespace
}  // namespace korvane::mibc
