// Registry values, log, replaced files, socket rule and repainting over the fakes of the machine.
#include "common/Services.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "common/Log.h"
#include "common/OpenForms.h"
#include "common/RegistryValues.h"
#include "common/ReplacedFile.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"
#include "support/ScriptedPrompts.h"
#include "support/SmallFiles.h"
#include "support/TempFolder.h"

namespace korvane {
namespace {

using namespace std::string_literals;
using platform::RegistryHive;
using platform::RegistryType;

TEST(RegistryValuesTest, EveryTypeAsTextAndNumbersThatAreNoneAsTheDefault) {
  test::FakeRegistry registry;
  const auto read = [&registry](std::string_view name) {
    std::string text = "before";
    return GetRegistryValue(registry, RegistryHive::LocalMachine, kManagerKey, name, text)
               ? text
               : "unreadable" + text;
  };
  const std::vector<std::pair<platform::RegistryData, std::string>> rows = {
      {{RegistryType::String, "text\0tail\0"s}, "text"},
      {{RegistryType::String, "no end"}, "no end"},
      {{RegistryType::String, ""}, ""},
      {{RegistryType::Dword, "\x0C\0\0\0"s}, "12"},
      {{RegistryType::Dword, "\x01\x02\x03\x04"}, "67305985"},
      {{RegistryType::Dword, "\xFF\xFF\xFF\xFF"}, "-1"},
      {{RegistryType::Dword, "\0\0\0\x80"s}, "-2147483648"},
      {{RegistryType::ExpandString, "%TMP%\0"s}, ""},
      {{RegistryType::Binary, "abc"}, ""}};
  for (const auto& [data, text] : rows) {
    registry.PutBytes(kManagerKey, kVersionValue, data);
    EXPECT_EQ(read(kVersionValue), text);
  }
  EXPECT_EQ(read("Missing"), "unreadable");
  registry.PutText(kManagerKey, "Long", std::string(1024, 'x'));
  EXPECT_EQ(read("Long"), "unreadable");
  EXPECT_EQ(registry.Masks, std::vector<std::uint32_t>(rows.size() + 2, 0x2003F));

  const auto number = [&registry] { return ManagerNumber(registry, kMaxViewTrapsValue, 1000); };
  EXPECT_EQ(number(), 1000);
  registry.PutDword(kManagerKey, kMaxViewTrapsValue, 250);
  EXPECT_EQ(number(), 250);
  for (const char* text : {"", "many", "12x", "0x10", "99999999999", "1e3", "1,5", "-5"}) {
    registry.PutText(kManagerKey, kMaxViewTrapsValue, text);
    EXPECT_EQ(number(), text == "-5"s ? -5 : 1000) << text;
  }
}

TEST(RegistryValuesTest, WritesWithTheSetRightOnlyIntoExistingKeys) {
  test::FakeRegistry registry;
  EXPECT_FALSE(SetRegistryDword(registry, RegistryHive::LocalMachine, kManagerKey, kAckFrequencyValue, 24));
  registry.AddKey(kManagerKey);
  EXPECT_TRUE(SetRegistryDword(registry, RegistryHive::LocalMachine, kManagerKey, kAckFrequencyValue, -1));
  EXPECT_EQ(registry.Dword(kManagerKey, kAckFrequencyValue), 0xFFFFFFFFU);
  EXPECT_EQ(registry.Masks, (std::vector<std::uint32_t>{2, 2}));
}

class LogTest : public testing::Test {
 protected:
  LogTest() { std::filesystem::current_path(folder_.Path()); }
  ~LogTest() override { std::filesystem::current_path(before_); }

  static void Write(std::string_view text, bool debug = true) {
    ProcessState state;
    state.gDebugMode = debug;
    Log(state).WriteLog(text);
  }

  std::filesystem::path before_ = std::filesystem::current_path();
  test::TempFolder folder_;
};

TEST_F(LogTest, RecordsAreQuotedLinesThatOnlyGrow) {
  Write("unseen", false);
  EXPECT_FALSE(std::filesystem::exists("KVConsole.Log"));
  for (const char* record : {"one", "a \"quoted\" text\nof two lines", ""}) {
    Write(record);
  }
  EXPECT_EQ(test::ReadFile("KVConsole.Log"), "\"one\"\r\n\"a \"quoted\" text\nof two lines\"\r\n\"\"\r\n");
}

TEST_F(LogTest, FileThatCannotBeOpenedIsTheCallersError) {
  // The folder is open to others: a name that leads elsewhere, or to whoever reads a pipe, is not written.
  test::WriteFile("precious", "precious");
  const std::vector<std::function<void(const char*)>> makers = {
      [](const char* name) { std::filesystem::create_directory(name); },
      [](const char* name) { std::filesystem::create_symlink("precious", name); },
      [](const char* name) { std::filesystem::create_symlink("missing", name); },
      [](const char* name) { std::filesystem::create_hard_link("precious", name); },
      [](const char* name) { mkfifo(name, 0666); }};
  for (const auto& make : makers) {
    make("KVConsole.Log");
    Write("unseen", false);
    EXPECT_THROW(Write("text"), std::runtime_error);
    std::filesystem::remove("KVConsole.Log");
  }
  EXPECT_FALSE(std::filesystem::exists("missing"));
  EXPECT_EQ(test::ReadFile("precious"), "precious");
}

TEST_F(LogTest, OperatorsWriteByTurnsInTheirStickyFolder) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can be two users";
  }
  constexpr gid_t kOperators = 54321;
  ASSERT_EQ(chown(folder_.Path().c_str(), 0, kOperators), 0);
  ASSERT_EQ(chmod(folder_.Path().c_str(), 03770), 0);
  const std::string larger(600'000, 'x');
  for (const uid_t user : {54322U, 54323U, 54322U}) {
    const std::string report = std::to_string(user) + (user == 54322U ? larger : "");
    EXPECT_TRUE(test::AsUnprivilegedUser(
        [&report] {
          umask(007);  // what the folder's default access list does
          Write("line");
          ReplacedFile file("WindowPrint.txt", FileUse::Scratch);
          return file.Write(report) && file.Commit();
        },
        user, kOperators));
    EXPECT_EQ(test::ReadFile("WindowPrint.txt"), report);
  }
  EXPECT_EQ(test::ReadFile("KVConsole.Log"), "\"line\"\r\n\"line\"\r\n\"line\"\r\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 2);  // nothing else is left there
}

TEST(ServicesTest, SocketRuleAndItsMessages) {
  const std::vector<std::pair<platform::SocketStartup, std::string>> rows = {
      {{.Started = true, .Version = 0x0101, .MaxSockets = 1}, ""},
      {{.Started = true, .Version = 0x0002, .MaxSockets = 1}, ""},
      {{.Started = false, .Version = 0x0101, .MaxSockets = 1}, "ws2_32.dll is not responding."},
      {{.Started = true, .Version = 0x0001, .MaxSockets = 1},
       "Windows Sockets version 1.0 is not supported by ws2_32.dll "},
      {{.Started = true, .Version = 0x0900, .MaxSockets = 0},
       "Windows Sockets version 0.9 is not supported by ws2_32.dll "},
      {{.Started = true, .Version = 0x0101, .MaxSockets = 0},
       "This application requires a minimum of 1 supported sockets."}};
  for (const auto& [startup, message] : rows) {
    test::FakeSockets sockets;
    sockets.Answer = startup;
    EXPECT_EQ(StartWinsock(sockets), message);
    EXPECT_EQ(sockets.Requested, 0x0101);
  }
}

struct RecordingForm : Form {
  RecordingForm(std::string name, std::vector<const Form*>& painted)
      : Name(std::move(name)), Painted(painted) {}
  std::string_view FormName() const override { return Name; }
  void RepaintNow() override { Painted.push_back(this); }
  std::string Name;
  std::vector<const Form*>& Painted;
};

TEST(OpenFormsTest, RepaintsTrapWindowsFromTheLastOpened) {
  std::vector<const Form*> painted;
  RecordingForm systems("frmDevices", painted);
  RecordingForm all("frmTraps", painted);
  RecordingForm report("frmReport", painted);
  RecordingForm router("frmTraps", painted);
  RecordingForm filters("frmFilters", painted);
  struct : OpenForms {
    std::vector<Form*> InCreationOrder() override { return Open; }
    std::vector<Form*> Open;
  } forms;
  forms.Open = {&systems, &all, &report, &router, &filters};
  RefreshTrapWindows(forms);
  EXPECT_EQ(painted, (std::vector<const Form*>{&router, &all, &systems}));
}

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
