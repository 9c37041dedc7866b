#include "platform/linux/RegistryFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <string>

#include "common/RegistryValues.h"
#include "platform/linux/FileDescriptor.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::platform {
namespace {

constexpr auto kHive = RegistryHive::LocalMachine;
constexpr std::uint32_t kAllRights = 0x2003F;
constexpr std::uint32_t kReadOnlyRights = 0x20019;
constexpr std::uint32_t kSetRight = 2;

constexpr char kManagerFile[] =
    "Windows Registry Editor Version 5.00\n"
    "\n"
    "; kept by the installation\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantreel\\Selvanto\\Manager]\n"
    "\"KVInstallPath\"=\"C:\\\\Program Files\\\\a \\\"quoted\\\" folder\" ; where it is\n"
    "\"KVAckFreqHours\"=dword:0000000c\n"
    "\"Expand\"=hex(2):25,00,54,00,\\\n"
    "  25,00,00,00\n"
    "\"Tail\"=hex(1):61,00,00,00,62,00\n"
    "\"Lines\"=\"one\n"
    "two\"\n"
    "\"Odd\"=future:17\n"
    "\"Broken\"=dword:xyz\n"
    "@=\"nameless\"\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantreel\\Dorvale]\n"
    "\"LocalRootDir\"=\"/opt/\xC3\xBC\"\n";

const std::string kHeader = "Windows Registry Editor Version 5.00\n";
const std::string kKeyLine = "[HKEY_LOCAL_MACHINE\\" + std::string(kManagerKey) + "]\n";
const std::string kUnreadable = "(unreadable)";

std::string AsExported(std::string_view utf8) {  // for texts of ASCII and U+00FC only
  std::string bytes = "\xFF\xFE";
  for (const char c : utf8) {
    if (c == '\n') {
      bytes.append("\r\0", 2);
    }
    if (c != '\xC3') {
      bytes.append({c == '\xBC' ? '\xFC' : c, '\0'});
    }
  }
  return bytes;
}

class RegistryFileTest : public testing::Test {
 protected:
  RegistryFileTest() { test::WriteFile(path_, kManagerFile); }

  bool Set(std::string_view name, std::uint32_t value, int lockWaitMilliseconds = 50) {
    return RegistryFile(path_.string(), lockWaitMilliseconds)
        .SetDword(kHive, kManagerKey, name, value, kSetRight);
  }
  bool Reads(std::uint32_t mask) {
    return registry_.QueryValue(kHive, kManagerKey, "KVAckFreqHours", mask, 1024).has_value();
  }
  std::string Text(std::string_view name, std::string_view key = kManagerKey) {
    std::string text;
    return GetRegistryValue(registry_, kHive, key, name, text) ? text : kUnreadable;
  }

  test::TempFolder folder_;
  std::filesystem::path path_ = folder_ / "registry.reg";
  RegistryFile registry_{path_.string(), 3000};
};

TEST_F(RegistryFileTest, ReadsEveryTypeInEachEncoding) {
  for (const std::string& bytes :
       {std::string(kManagerFile), AsExported(kManagerFile), "\xEF\xBB\xBF" + std::string(kManagerFile)}) {
    test::WriteFile(path_, bytes);
    for (const auto& [name, text] : {std::pair<const char*, std::string>{"Absent", kUnreadable},
                                     {"kvinstallPATH", "C:\\Program Files\\a \"quoted\" folder"},
                                     {"KVAckFreqHours", "12"},
                                     {"Expand", ""},
                                     {"Tail", "a"},
                                     {"Lines", "one\ntwo"},
                                     {"", "nameless"},
                                     {"Odd", kUnreadable},
                                     {"Broken", kUnreadable}}) {
      EXPECT_EQ(Text(name), text) << name;
    }
    EXPECT_EQ(registry_.QueryValue(kHive, kManagerKey, "Expand", kAllRights, 1024)->Bytes,
              std::string("%T%\0", 4));
    EXPECT_EQ(Text("LocalRootDir", "software\\vantreel\\DORVALE"), "/opt/\xC3\xBC");
    EXPECT_EQ(Text("LocalRootDir", "SOFTWARE\\Vantreel"), kUnreadable);
  }
  for (const std::size_t length : {1023U, 1024U}) {  // with its end, the second is over the buffer
    const std::string text(length, 'x');
    test::WriteFile(path_, kHeader + kKeyLine + "\"Long\"=\"" + text + "\"\n");
    EXPECT_EQ(Text("Long"), length == 1023 ? text : kUnreadable);
  }
}

TEST_F(RegistryFileTest, WriteChangesItsLineOnlyAndCreatesNoKey) {
  struct Row {
    const char* Name;
    std::string Old, New;
  };
  for (const Row& row :
       {Row{"kvackfreqhours", "\"KVAckFreqHours\"=dword:0000000c\n", "\"KVAckFreqHours\"=dword:fffffffe\n"},
        Row{"Expand", "\"Expand\"=hex(2):25,00,54,00,\\\n  25,00,00,00\n", "\"Expand\"=dword:fffffffe\n"},
        Row{"Lines", "\"Lines\"=\"one\ntwo\"\n", "\"Lines\"=dword:fffffffe\n"},
        Row{"a\\\"b", "@=\"nameless\"\n", "@=\"nameless\"\n\"a\\\\\\\"b\"=dword:fffffffe\n"}}) {
    std::string expected = kManagerFile;
    expected.replace(expected.find(row.Old), row.Old.size(), row.New);
    for (const std::string& bytes : {std::string(kManagerFile), AsExported(kManagerFile)}) {
      test::WriteFile(path_, bytes);
      EXPECT_TRUE(Set(row.Name, 0xFFFFFFFE));
      EXPECT_EQ(test::ReadFile(path_), expected) << row.Name;
      EXPECT_EQ(Text(row.Name), "-2");
    }
  }
  EXPECT_FALSE(registry_.SetDword(kHive, "SOFTWARE\\Vantreel", "Largest", 1, kSetRight));

  // Later lines win, and what is removed is gone.
  const std::string lines = "\"A\"=dword:1\n\"B\"=dword:2\n";
  test::WriteFile(path_, kHeader + kKeyLine + lines + kKeyLine + "\"A\"=dword:3\n\"B\"=-\n");
  EXPECT_EQ(Text("A") + Text("B"), "3" + kUnreadable);
  EXPECT_TRUE(Set("A", 4) && Set("B", 5));
  EXPECT_EQ(Text("A") + Text("B"), "45");
  test::WriteFile(path_, kHeader + kKeyLine + lines + "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantreel]\n");
  EXPECT_EQ(Text("A"), kUnreadable);
  EXPECT_FALSE(Set("A", 1));
}

TEST_F(RegistryFileTest, DamagedFileReadsAsNothingAndIsLeftAlone) {
  const std::string good = kManagerFile;
  const std::string exported = AsExported(good);
  for (const std::string& bytes :
       {std::string(), "REGEDIT4\n" + good.substr(good.find('\n') + 1), good + "\"Unfinished",
        good + "\"NoValue\"\n", good + "\"Text\"=\"open\n", good + "<<<<<<< theirs\n",
        good + "[HKEY_LOCAL_MACHINE\\Cut", good + "\"Latin\"=\"\xFC\"\n", good + std::string(1, '\0'),
        exported.substr(0, exported.size() - 1), exported + std::string("\x00\xD8", 2)}) {
    SCOPED_TRACE(bytes.substr(bytes.size() < 40 ? 0 : bytes.size() - 40));
    test::WriteFile(path_, bytes);
    EXPECT_EQ(Text("KVAckFreqHours"), kUnreadable);
    EXPECT_FALSE(Set("KVAckFreqHours", 1));
    EXPECT_EQ(test::ReadFile(path_), bytes);
  }
  std::filesystem::remove(path_);
  EXPECT_EQ(Text("KVAckFreqHours"), kUnreadable);
  EXPECT_FALSE(Set("KVAckFreqHours", 1) || std::filesystem::exists(path_));
}

TEST_F(RegistryFileTest, RightsFollowTheFile) {
  struct Row {
    mode_t File, Folder;
    bool ReadsWithAllRights, Reads, Writes;
  };
  for (const Row& row : {Row{0666, 0777, true, true, true}, Row{0444, 0777, false, true, false},
                         Row{0600, 0777, false, false, false}, Row{0666, 0755, true, true, false}}) {
    if (geteuid() != 0 && (row.File == 0600 || row.Folder == 0755)) continue;  // the owner has these rights
    SCOPED_TRACE(row.File);
    std::filesystem::remove(path_);  // the row before may have changed its owner
    test::WriteFile(path_, kManagerFile);
    ASSERT_EQ(chmod(path_.c_str(), row.File), 0);
    ASSERT_EQ(chmod(folder_.Path().c_str(), row.Folder), 0);
    EXPECT_EQ(test::AsUnprivilegedUser([this] { return Reads(kAllRights); }), row.ReadsWithAllRights);
    EXPECT_EQ(test::AsUnprivilegedUser([this] { return Reads(kReadOnlyRights); }), row.Reads);
    EXPECT_EQ(test::AsUnprivilegedUser([this] { return Set("KVAckFreqHours", 12); }), row.Writes);
  }
  EXPECT_FALSE(registry_.SetDword(kHive, kManagerKey, "KVAckFreqHours", 1, kReadOnlyRights));
}

TEST_F(RegistryFileTest, ReplacedFileKeepsOwnerGroupAndModeBehindALinkOfOurs) {
  const std::filesystem::path link = folder_ / "link.reg";
  std::filesystem::create_symlink(path_, link);
  ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
  RegistryFile registry(link.string(), 1000);
  const bool superuser = geteuid() == 0;
  if (superuser) {
    ASSERT_EQ(chown(path_.c_str(), 65534, 12), 0);
    ASSERT_EQ(lchown(link.c_str(), 65534, 65534), 0);  // one that another user made is not followed
    EXPECT_FALSE(registry.QueryValue(kHive, kManagerKey, "KVAckFreqHours", kAllRights, 1024));
    EXPECT_FALSE(registry.SetDword(kHive, kManagerKey, "KVAckFreqHours", 1, kSetRight));
    EXPECT_EQ(test::ReadFile(path_), kManagerFile);
    EXPECT_FALSE(std::filesystem::exists(path_.string() + ".lock")) << "nothing is made beside its target";
    ASSERT_EQ(lchown(link.c_str(), 0, 0), 0);
  }
  ASSERT_TRUE(registry.SetDword(kHive, kManagerKey, "KVAckFreqHours", 1, kSetRight));
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_TRUE(!superuser || (status.st_uid == 65534U && status.st_gid == 12U));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(Text("KVAckFreqHours"), "1");
}

TEST_F(RegistryFileTest, NoUpdateOfTwoProcessesIsLostAndNoneWaitsForEver) {
  constexpr std::uint32_t kWrites = 60;
  const auto writer = [this](const std::string& who) {
    return test::InChild([this, who] {
      bool all = true;
      for (std::uint32_t i = 0; i < kWrites; ++i) all = Set(who + std::to_string(i), i, 60'000) && all;
      return all;
    });
  };
  const pid_t console = writer("console");
  const pid_t service = writer("service");
  EXPECT_TRUE(test::EndedWell(console) && test::EndedWell(service));
  for (std::uint32_t i = 0; i < kWrites; ++i) {
    EXPECT_EQ(Text("console" + std::to_string(i)), std::to_string(i));
    EXPECT_EQ(Text("service" + std::to_string(i)), std::to_string(i));
  }
  const FileDescriptor lock(open((path_.string() + ".lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(lock.Number(), LOCK_EX), 0);
  EXPECT_FALSE(Set("KVAckFreqHours", 2));
  EXPECT_EQ(Text("KVAckFreqHours"), "12") << "readers are not kept waiting";
}

TEST_F(RegistryFileTest, KilledWriterLeavesAWholeFileAndNoLock) {
  for (int round = 0; round < 15; ++round) {
    const pid_t writer = test::InChild([this] {
      for (std::uint32_t i = 0;; ++i) Set("KVPurgeFreqDays", i);
      return true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(3 + 2 * round));
    kill(writer, SIGKILL);
    EXPECT_FALSE(test::EndedWell(writer));
    ASSERT_EQ(Text("KVAckFreqHours"), "12");
    ASSERT_TRUE(Set("KVAckFreqHours", 12));
  }
}

}  // namespace
}  // namespace korvane::platform
