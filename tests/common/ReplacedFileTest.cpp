#include "common/ReplacedFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "support/SmallFiles.h"
#include "support/TempFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

void Put(const fs::path& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> Names(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
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

// Rights stop nobody who is root: gives them up for a scope.
class NotRoot {
 public:
  NotRoot() : user_(geteuid()) {
    if (user_ == 0) {
      EXPECT_EQ(seteuid(65534), 0);
    }
  }
  ~NotRoot() { EXPECT_EQ(seteuid(user_), 0); }
  NotRoot(const NotRoot&) = delete;
  NotRoot& operator=(const NotRoot&) = delete;

 private:
  uid_t user_;
};

class ReplacedFileTest : public testing::Test {
 protected:
  const test::TempFolder folder_;
  const fs::path target_ = folder_ / "report.csv";
};

TEST_F(ReplacedFileTest, TheOldFileStaysUntilTheNewOneIsWhole) {
  Put(target_, "old");
  {
    ReplacedFile file(target_.string());
    EXPECT_TRUE(file.Write("half of"));
    EXPECT_EQ(Contents(target_), "old");
    EXPECT_EQ(Names(folder_.Path()).size(), 2U);
  }
  EXPECT_EQ(Contents(target_), "old");
  EXPECT_EQ(Names(folder_.Path()), std::vector<std::string>{"report.csv"});

  const std::string large(3'000'000, 'x');
  ReplacedFile file(target_.string());
  EXPECT_TRUE(file.Write("new\r\n"));
  EXPECT_TRUE(file.Write(large));
  EXPECT_TRUE(file.Write(std::string_view("\0", 1)));
  EXPECT_TRUE(file.Commit());
  EXPECT_EQ(file.Error(), "");
  EXPECT_EQ(Contents(target_), "new\r\n" + large + '\0');
  EXPECT_EQ(Names(folder_.Path()), std::vector<std::string>{"report.csv"});
  EXPECT_FALSE(file.Write("late"));
}

TEST_F(ReplacedFileTest, TheNewFileHasTheRightsOfTheOldOne) {
  const mode_t mask = umask(022);
  for (const mode_t mode : {0600U, 0640U, 0666U}) {
    Put(target_, "old");
    ASSERT_EQ(chmod(target_.c_str(), mode), 0);
    ReplacedFile file(target_.string());
    for (const std::string& name : Names(folder_.Path())) {
      EXPECT_EQ(ModeOf(folder_ / name), mode) << name;  // nobody may read the unfinished one either
    }
    EXPECT_TRUE(file.Write("new") && file.Commit());
    EXPECT_EQ(ModeOf(target_), mode);
  }
  ReplacedFile fresh((folder_ / "fresh.csv").string());
  EXPECT_TRUE(fresh.Commit());
  EXPECT_EQ(ModeOf(folder_ / "fresh.csv"), 0644U);
  umask(mask);
}

TEST_F(ReplacedFileTest, ALinkIsReplacedAndNotFollowed) {
  Put(folder_ / "elsewhere", "precious");
  fs::create_symlink("elsewhere", target_);
  ReplacedFile file(target_.string());
  EXPECT_TRUE(file.Write("new") && file.Commit());
  EXPECT_EQ(Contents(folder_ / "elsewhere"), "precious");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target_)));
  EXPECT_EQ(Contents(target_), "new");
}

TEST_F(ReplacedFileTest, AFullDiskIsReportedAndLeavesNothingBehind) {
  Put(target_, "old");
  const test::SmallFiles small(500'000);
  ReplacedFile file(target_.string());
  const std::string block(4096, 'x');
  int written = 0;
  while (written < 1000 && file.Write(block)) {
    ++written;
  }
  EXPECT_LT(written, 1000);
  EXPECT_EQ(file.Error(), Reason(EFBIG));
  EXPECT_EQ(Names(folder_.Path()), std::vector<std::string>{"report.csv"});
  EXPECT_FALSE(file.Write(block));
  EXPECT_FALSE(file.Commit());

  // What still fits into the buffer fails when it is committed.
  ReplacedFile later(target_.string());
  const test::SmallFiles tiny(1000);
  EXPECT_TRUE(later.Write(block));
  EXPECT_FALSE(later.Commit());
  EXPECT_EQ(later.Error(), Reason(EFBIG));
  EXPECT_EQ(Contents(target_), "old");
  EXPECT_EQ(Names(folder_.Path()), std::vector<std::string>{"report.csv"});
}

TEST_F(ReplacedFileTest, WhatCantBeReplacedIsRefusedBeforeAnythingIsWritten) {
  fs::create_directory(target_);
  fs::create_symlink(target_, folder_ / "to folder");
  Put(folder_ / "file", "old");
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  struct Row {
    std::string Path;
    int Error;
  };
  for (const Row& row :
       {Row{target_.string(), EISDIR}, Row{target_.string() + "/", EISDIR},
        Row{(folder_ / "to folder").string(), EISDIR}, Row{(folder_ / "missing/report.csv").string(), ENOENT},
        Row{(folder_ / "file/report.csv").string(), ENOTDIR}, Row{(folder_ / "pipe").string(), ENOTSUP},
        Row{"/dev/full", ENOTSUP}}) {
    ReplacedFile file(row.Path);
    EXPECT_EQ(file.Error(), Reason(row.Error)) << row.Path;
    EXPECT_FALSE(file.Write("x")) << row.Path;
    EXPECT_FALSE(file.Commit()) << row.Path;
  }
  EXPECT_FALSE(ReplacedFile(folder_.Path().string() + std::string("/cut\0off", 8)).Error().empty());
  EXPECT_EQ(Names(folder_.Path()), (std::vector<std::string>{"file", "pipe", "report.csv", "to folder"}));
}

TEST_F(ReplacedFileTest, RightsAreRespected) {
  const fs::path open = folder_ / "open";
  const fs::path closed = folder_ / "closed";
  fs::create_directory(open);
  fs::create_directory(closed);
  Put(open / "protected.csv", "old");
  ASSERT_EQ(chmod((open / "protected.csv").c_str(), 0444), 0);
  ASSERT_EQ(chmod(open.c_str(), 0777), 0);
  ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0755), 0);
  {
    const NotRoot user;
    EXPECT_EQ(ReplacedFile((closed / "report.csv").string()).Error(), Reason(EACCES));
    EXPECT_EQ(ReplacedFile((open / "protected.csv").string()).Error(), Reason(EACCES));
    ReplacedFile fresh((open / "fresh.csv").string());
    EXPECT_TRUE(fresh.Write("new") && fresh.Commit()) << fresh.Error();
  }
  EXPECT_EQ(Contents(open / "protected.csv"), "old");
  {
    const NotRoot user;
    ReplacedFile scratch((open / "protected.csv").string(), FileUse::Scratch);
    EXPECT_TRUE(scratch.Write("new") && scratch.Commit()) << scratch.Error();
  }
  EXPECT_EQ(Contents(open / "protected.csv"), "new");
  EXPECT_EQ(Names(open), (std::vector<std::string>{"fresh.csv", "protected.csv"}));
}

TEST_F(ReplacedFileTest, TheLongestNameThatAFileCanHaveIsWritten) {
  const fs::path longest = folder_ / std::string(255, 'n');
  ReplacedFile file(longest.string());
  EXPECT_TRUE(file.Write("new") && file.Commit()) << file.Error();
  EXPECT_EQ(Contents(longest), "new");
}

}  // namespace
}  // namespace korvane
