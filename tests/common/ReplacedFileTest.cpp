#include "common/ReplacedFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <set>
#include <string>
#include <system_error>

#include "support/Processes.h"
#include "support/SmallFiles.h"
#include "support/TempFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;
using Names = std::set<std::string>;

Names NamesIn(const fs::path& folder) {
  Names names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

mode_t ModeOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
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

class ReplacedFileTest : public testing::Test {
 protected:
  ReplacedFileTest() { WriteFile(target_, "old"); }

  const test::TempFolder folder_;
  const fs::path target_ = folder_ / "report.csv";
};

TEST_F(ReplacedFileTest, TheOldFileStaysUntilTheNewOneIsWhole) {
  {
    ReplacedFile file(target_.string());
    EXPECT_TRUE(file.Write("half of"));
    EXPECT_EQ(ReadFile(target_), "old");
    EXPECT_EQ(NamesIn(folder_.Path()).size(), 2U);
  }
  EXPECT_EQ(ReadFile(target_), "old");
  EXPECT_EQ(NamesIn(folder_.Path()), Names{"report.csv"});

  const std::string large(3'000'000, 'x');
  ReplacedFile file(target_.string());
  EXPECT_TRUE(file.Write("new\r\n") && file.Write(large) && file.Write(std::string_view("\0", 1)));
  EXPECT_TRUE(file.Commit());
  EXPECT_EQ(file.Error(), "");
  EXPECT_EQ(ReadFile(target_), "new\r\n" + large + '\0');
  EXPECT_FALSE(file.Write("late"));
  const fs::path longest = folder_ / std::string(255, 'n');
  EXPECT_EQ(Replace(longest), "");
  EXPECT_EQ(NamesIn(folder_.Path()), (Names{"report.csv", longest.filename()}));
}

TEST_F(ReplacedFileTest, TheNewFileHasTheRightsOfTheOldOneAndALinkIsNotFollowed) {
  const mode_t mask = umask(022);
  for (const mode_t mode : {0600U, 0640U, 0666U}) {
    ASSERT_EQ(chmod(target_.c_str(), mode), 0);
    ReplacedFile file(target_.string());
    for (const std::string& name : NamesIn(folder_.Path())) {
      EXPECT_EQ(ModeOf(folder_ / name), mode) << name;  // nobody may read the unfinished one either
    }
    EXPECT_TRUE(file.Write("new") && file.Commit());
    EXPECT_EQ(ModeOf(target_), mode);
  }
  EXPECT_EQ(Replace(folder_ / "fresh.csv"), "");
  EXPECT_EQ(ModeOf(folder_ / "fresh.csv"), 0644U);
  umask(mask);
  fs::create_symlink("report.csv", folder_ / "link");
  EXPECT_EQ(Replace(folder_ / "link", "mine"), "");
  EXPECT_EQ(ReadFile(target_), "new");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(folder_ / "link")));
  EXPECT_EQ(ReadFile(folder_ / "link"), "mine");
}

TEST_F(ReplacedFileTest, AFullDiskIsReportedAndLeavesNothingBehind) {
  const test::SmallFiles small(500'000);
  ReplacedFile file(target_.string());
  const std::string block(4096, 'x');
  int written = 0;
  while (written < 1000 && file.Write(block)) {
    ++written;
  }
  EXPECT_LT(written, 1000);
  EXPECT_EQ(file.Error(), Reason(EFBIG));
  EXPECT_EQ(NamesIn(folder_.Path()), Names{"report.csv"});
  EXPECT_FALSE(file.Write(block) || file.Commit());

  // What still fits into the buffer fails when it is committed.
  ReplacedFile later(target_.string());
  const test::SmallFiles tiny(1000);
  EXPECT_TRUE(later.Write(block));
  EXPECT_FALSE(later.Commit());
  EXPECT_EQ(later.Error(), Reason(EFBIG));
  EXPECT_EQ(ReadFile(target_), "old");
  EXPECT_EQ(NamesIn(folder_.Path()), Names{"report.csv"});
}

TEST_F(ReplacedFileTest, WhatCantBeReplacedIsRefusedBeforeAnythingIsWritten) {
  const fs::path folder = folder_ / "folder";
  fs::create_directory(folder);
  fs::create_symlink(folder, folder_ / "to folder");
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  const Names before = NamesIn(folder_.Path());
  for (const auto& [path, error] : {std::pair{folder, EISDIR},
                                    {folder / "", EISDIR},
                                    {folder_ / "to folder", EISDIR},
                                    {folder_ / "missing/report.csv", ENOENT},
                                    {target_ / "report.csv", ENOTDIR},
                                    {folder_ / "pipe", ENOTSUP},
                                    {"/dev/full", ENOTSUP}}) {
    ReplacedFile file(path.string());
    EXPECT_EQ(file.Error(), Reason(error)) << path;
    EXPECT_FALSE(file.Write("x") || file.Commit()) << path;
  }
  EXPECT_NE(Replace(folder_.Path().string() + std::string("/cut\0off", 8)), "");
  EXPECT_EQ(NamesIn(folder_.Path()), before);
}

TEST_F(ReplacedFileTest, RightsAreRespected) {
  const fs::path closed = folder_ / "closed";
  fs::create_directory(closed);
  ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
  ASSERT_EQ(chmod(target_.c_str(), 0444), 0);
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0777), 0);
  EXPECT_TRUE(test::AsUnprivilegedUser([&] {
    return Replace(closed / "report.csv") == Reason(EACCES) && Replace(target_) == Reason(EACCES) &&
           Replace(folder_ / "fresh.csv").empty();
  }));
  EXPECT_EQ(ReadFile(target_), "old");
  EXPECT_TRUE(test::AsUnprivilegedUser([&] { return Replace(target_, "new", FileUse::Scratch).empty(); }));
  EXPECT_EQ(ReadFile(target_), "new");
  EXPECT_EQ(NamesIn(folder_.Path()), (Names{"closed", "fresh.csv", "report.csv"}));
}

}  // namespace
}  // namespace korvane
