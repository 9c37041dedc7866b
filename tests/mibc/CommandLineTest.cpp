// The program as an administrator calls it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "MibFiles.h"
#include "support/TestStore.h"

namespace korvane::mibc {
namespace {

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

TEST(CommandLine, StoresWhatIsSoundAndNamesWhatIsNot) {
  test::SqliteStore store;
  const MibFiles files;
  files.Write("good.mib",
              ModuleText("GOOD-MIB", Trap("doorOpen", "acmeTraps 1") + Trap("doorShut", "acmeTraps 2")));
  const std::string bad =
      files.Write("bad.mib", ModuleText("BAD-MIB", Trap("x", "acmeTraps 3") + "oops")).string();
  files.Write("readme.txt", "Traps of the box. They are many.");
  const std::string folder = files.Folder().string();

  const Ran checked = RunMibc("--check " + folder);
  EXPECT_EQ(checked.Status, 1);
  EXPECT_THAT(checked.Output, HasSubstr("GOOD-MIB (" + folder + "/good.mib): 2 traps, not stored"));
  EXPECT_EQ(store.Number("SELECT COUNT(*) FROM EventStructure"), 0);

  const Ran mixed = RunMibc(folder + "/");
  EXPECT_EQ(mixed.Status, 1);
  EXPECT_THAT(mixed.Output, HasSubstr("2 traps added"));
  EXPECT_THAT(mixed.Output, HasSubstr(bad + ":7: syntax error"));
  EXPECT_THAT(mixed.Output, HasSubstr(bad + ": refused, nothing of it was stored"));
  EXPECT_THAT(mixed.Output, testing::Not(HasSubstr("readme")));
  EXPECT_EQ(store.Number("SELECT COUNT(*) FROM EventStructure"), 2);

  const Ran again = RunMibc("-- " + folder + "/good.mib");
  EXPECT_EQ(again.Status, 0);
  EXPECT_THAT(again.Output, HasSubstr("2 traps unchanged"));
  store.TakeAway();
  const Ran away = RunMibc(folder + "/good.mib");
  store.BringBack();
  EXPECT_EQ(away.Status, 1);
  EXPECT_THAT(away.Output, HasSubstr("the trap store can't be opened"));
}

TEST(CommandLine, AnswersQuestionsAndWrongCalls) {
  EXPECT_THAT(RunMibc("--help").Output, HasSubstr("usage: mibc"));
  EXPECT_THAT(RunMibc("--version").Output, testing::StartsWith("mibc "));
  EXPECT_EQ(RunMibc("--nonsense").Status, 2);
  EXPECT_EQ(RunMibc("--check").Status, 2);
  const Ran empty = RunMibc("--check " + MibFiles().Folder().parent_path().string() + "/no-such-file");
  EXPECT_EQ(empty.Status, 1);
  EXPECT_THAT(empty.Output, HasSubstr("there is no such file"));
}

}  // namespace
}  // namespace korvane::mibc
