// Files that several users write by turns, and files put in the place of others: whose they are and stay.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>

#include "common/Log.h"
#include "common/ReplacedFile.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;
using Names = std::set<std::string>;

TEST(SharedFilesTest, OperatorsWriteByTurnsInTheirStickyFolder) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can be two users";
  }
  const test::TempFolder folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.Path());
  ProcessState state;
  state.gDebugMode = true;
  constexpr gid_t kOperators = 54321;
  ASSERT_EQ(chown(folder.Path().c_str(), 0, kOperators), 0);
  ASSERT_EQ(chmod(folder.Path().c_str(), 03770), 0);
  const std::string larger(600'000, 'x');
  for (const uid_t user : {54322U, 54323U, 54322U}) {
    const std::string report = std::to_string(user) + (user == 54322U ? larger : "");
    EXPECT_TRUE(test::AsUnprivilegedUser(
        [&] {
          umask(007);  // what the folder's default access list does
          Log(state).WriteLog("line");
          ReplacedFile file("WindowPrint.txt", FileUse::Scratch);
          return file.Write(report) && file.Commit();
        },
        user, kOperators));
    EXPECT_EQ(ReadFile("WindowPrint.txt"), report);
  }
  EXPECT_EQ(ReadFile("KVConsole.Log"), "\"line\"\r\n\"line\"\r\n\"line\"\r\n");
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 2) << "nothing else is left there";
  fs::current_path(before);
}

std::string Reason(int number) {
  return std::generic_category().message(number);
}

// Empty when it worked, else why not.
std::string Replace(const fs::path& path, std::string_view text = "new", FileUse use = FileUse::Document) {
  ReplacedFile file(path.string(), use);
  const bool done = file.Write(text) && file.Commit();
  EXPECT_EQ(done, file.Error().empty());
  return file.Error();
}

struct ReplacedFileTest : testing::Test {
  ReplacedFileTest() { WriteFile(Target, "old"); }
  Names NamesThere() const {
    Names names;
    for (const auto& entry : fs::directory_iterator(Folder.Path())) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  const test::TempFolder Folder;
  const fs::path Target = Folder / "report.csv";
};

TEST_F(ReplacedFileTest, TheOldFileStaysUntilTheNewOneIsWholeAndLeavesItsRights) {
  ASSERT_EQ(chmod(Target.c_str(), 0640), 0);
  {
    ReplacedFile file(Target.string());
    EXPECT_TRUE(file.Write("half of"));
    EXPECT_EQ(ReadFile(Target), "old");
    ASSERT_EQ(NamesThere().size(), 2U);
    for (const std::string& name : NamesThere()) {
      EXPECT_EQ(fs::status(Folder / name).permissions(), fs::perms(0640)) << name;
    }
  }
  EXPECT_EQ(ReadFile(Target), "old");
  EXPECT_EQ(NamesThere(), Names{"report.csv"});
  const std::string large = "new\r\n" + std::string(3'000'000, 'x') + '\0';
  EXPECT_EQ(Replace(Target, large), "");
  EXPECT_EQ(ReadFile(Target), large);
  EXPECT_EQ(fs::status(Target).permissions(), fs::perms(0640));
  EXPECT_EQ(Replace(Folder / std::string(255, 'n')), "") << "the longest name there is";
  fs::create_symlink("report.csv", Folder / "link");
  EXPECT_EQ(Replace(Folder / "link", "mine"), "");
  EXPECT_EQ(ReadFile(Target), large) << "a link is replaced, not followed";
}

TEST_F(ReplacedFileTest, AFullDiskIsReportedAndLeavesNothingBehind) {
  const test::SmallFiles small(1000);
  for (const std::size_t bytes : {4096, 1'000'000}) {  // the smaller fails when it is committed
    EXPECT_EQ(Replace(Target, std::string(bytes, 'x')), Reason(EFBIG));
    EXPECT_EQ(ReadFile(Target), "old");
    EXPECT_EQ(NamesThere(), Names{"report.csv"});
  }
}

TEST_F(ReplacedFileTest, WhatCantBeReplacedIsRefusedBeforeAnythingIsWritten) {
  const fs::path closed = Folder / "closed";
  fs::create_directory(closed);
  ASSERT_EQ(mkfifo((Folder / "pipe").c_str(), 0600), 0);
  for (const auto& [path, error] : {std::pair{closed, EISDIR},
                                    {closed / "", EISDIR},
                                    {Folder / "missing/report.csv", ENOENT},
                                    {Folder / "pipe", ENOTSUP},
                                    {"/dev/full", ENOTSUP},
                                    {Folder / std::string("cut\0off", 7), EINVAL}}) {
    ReplacedFile file(path.string());
    EXPECT_EQ(file.Error(), Reason(error)) << path;
    EXPECT_FALSE(file.Write("x") || file.Commit()) << path;
  }
  ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
  ASSERT_EQ(chmod(Target.c_str(), 0444), 0);
  ASSERT_EQ(chmod(Folder.Path().c_str(), 0777), 0);
  EXPECT_TRUE(test::AsUnprivilegedUser(
      [&] { return Replace(closed / "report.csv") == Reason(EACCES) && Replace(Target) == Reason(EACCES); }));
  EXPECT_EQ(ReadFile(Target), "old");
  EXPECT_TRUE(test::AsUnprivilegedUser([&] { return Replace(Target, "new", FileUse::Scratch).empty(); }));
  EXPECT_EQ(ReadFile(Target), "new");
  EXPECT_EQ(NamesThere(), (Names{"closed", "pipe", "report.csv"}));
}

}  // namespace
}  // namespace korvane
