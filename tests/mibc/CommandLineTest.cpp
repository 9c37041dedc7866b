// The program as an administrator calls it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

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
