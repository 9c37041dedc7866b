#include "platform/linux/RegistryFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

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
    "\"Largest\"=dword:ffffffff\n"
    "\"Expand\"=hex(2):25,00,54,00,\\\n"
    "  4d,00,50,00,25,00,00,00\n"
    "\"Bytes\"=hex:01,ff,\\\n"
    "  00\n"
    "\"Several\"=hex(7):61,00,00,00,00,00\n"
    "\"Tail\"=hex(1):61,00,00,00,62,00\n"
    "\"Lines\"=\"one\n"
    "two\"\n"
    "\"Odd\"=future:17\n"
    "\"Broken\"=dword:xyz\n"
    "@=\"nameless\"\n"
    "\n"
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

  RegistryFile Registry(int lockWaitMilliseconds = 3000) { return {path_.string(), lockWaitMilliseconds}; }
  std::optional<RegistryData> Query(std::string_view name, std::size_t most = 1024) {
    return Registry().QueryValue(kHive, kManagerKey, name, kAllRights, most);
  }
  bool Set(std::string_view name, std::uint32_t value) {
    return Registry(50).SetDword(kHive, kManagerKey, name, value, kSetRight);
  }
  std::string Text(std::string_view name, std::string_view key = kManagerKey) {
    RegistryFile registry = Registry();
    std::string text;
    return GetRegistryValue(registry, kHive, key, name, text) ? text : kUnreadable;
  }
  void ExpectUnusable() {
    EXPECT_EQ(Text("KVAckFreqHours"), kUnreadable);
    EXPECT_FALSE(Set("KVAckFreqHours", 1));
  }

  test::TempFolder folder_;
  std::filesystem::path path_ = folder_ / "registry.reg";
};

TEST_F(RegistryFileTest, ReadsEveryTypeInBothEncodings) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"kvinstallPATH", "C:\\Program Files\\a \"quoted\" folder"},
      {"KVAckFreqHours", "12"},
      {"Largest", "-1"},
      {"Expand", ""},
      {"Several", ""},
      {"Tail", "a"},
      {"Lines", "one\ntwo"},
      {"", "nameless"},
      {"Odd", kUnreadable},
      {"Broken", kUnreadable},
      {"Absent", kUnreadable}};
  for (const std::string& bytes :
       {std::string(kManagerFile), AsExported(kManagerFile), "\xEF\xBB\xBF" + std::string(kManagerFile)}) {
    test::WriteFile(path_, bytes);
    for (const auto& [name, text] : rows) EXPECT_EQ(Text(name), text) << name;
    EXPECT_EQ(Query("Expand")->Bytes, std::string("%TMP%\0", 6));
    EXPECT_EQ(Query("Bytes")->Bytes, std::string("\x01\xFF\0", 3));
    EXPECT_EQ(static_cast<int>(Query("Several")->Type), 7);
    EXPECT_EQ(Text("LocalRootDir", "software\\vantreel\\DORVALE"), "/opt/\xC3\xBC");
    EXPECT_EQ(Text("LocalRootDir", "SOFTWARE\\Vantreel"), kUnreadable);
  }
  for (const std::size_t length : {1023U, 1024U}) {  // with its end, the second is over the buffer
    test::WriteFile(path_, kHeader + kKeyLine + "\"Long\"=\"" + std::string(length, 'x') + "\"\n");
    EXPECT_EQ(Text("Long"), length == 1023 ? std::string(length, 'x') : kUnreadable);
  }
}

TEST_F(RegistryFileTest, WriteChangesItsLineOnlyAndCreatesNoKey) {
  struct Row {
    const char* Name;
    const char* Old;
    const char* New;
  };
  const std::vector<Row> rows = {
      {"kvackfreqhours", "\"KVAckFreqHours\"=dword:0000000c\n", "\"KVAckFreqHours\"=dword:fffffffe\n"},
      {"Bytes", "\"Bytes\"=hex:01,ff,\\\n  00\n", "\"Bytes\"=dword:fffffffe\n"},
      {"Lines", "\"Lines\"=\"one\ntwo\"\n", "\"Lines\"=dword:fffffffe\n"},
      {"a\\\"b", "@=\"nameless\"\n", "@=\"nameless\"\n\"a\\\\\\\"b\"=dword:fffffffe\n"}};
  for (const Row& row : rows) {
    std::string expected = kManagerFile;
    expected.replace(expected.find(row.Old), std::string(row.Old).size(), row.New);
    for (const std::string& bytes : {std::string(kManagerFile), AsExported(kManagerFile)}) {
      test::WriteFile(path_, bytes);
      EXPECT_TRUE(Set(row.Name, 0xFFFFFFFE));
      EXPECT_EQ(test::ReadFile(path_), expected) << row.Name;
      EXPECT_EQ(Text(row.Name), "-2");
    }
  }
  const std::string before = test::ReadFile(path_);
  EXPECT_FALSE(Registry().SetDword(kHive, "SOFTWARE\\Vantreel", "Largest", 1, kSetRight));
  EXPECT_EQ(test::ReadFile(path_), before);

  // Later lines win, and what is removed is gone.
  test::WriteFile(
      path_, kHeader + kKeyLine + "\"A\"=dword:1\n\"B\"=dword:2\n" + kKeyLine + "\"A\"=dword:3\n\"B\"=-\n");
  EXPECT_EQ(Text("A"), "3");
  EXPECT_EQ(Text("B"), kUnreadable);
  EXPECT_TRUE(Set("A", 4) && Set("B", 5));
  EXPECT_EQ(Text("A"), "4");
  EXPECT_EQ(Text("B"), "5");
  test::WriteFile(path_, kHeader + kKeyLine + "\"A\"=dword:1\n[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantreel]\n");
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
    ExpectUnusable();
    EXPECT_EQ(test::ReadFile(path_), bytes);
  }
  std::filesystem::remove(path_);
  ExpectUnusable();
}

TEST_F(RegistryFileTest, RightsFollowTheFile) {
  struct Row {
    mode_t File;
    mode_t Folder;
    bool ReadsWithAllRights, Reads, Writes;
  };
  const bool superuser = geteuid() == 0;
  for (const Row& row : {Row{0666, 0777, true, true, true}, Row{0444, 0777, false, true, false},
                         Row{0222, 0777, false, false, false}, Row{0600, 0777, false, false, false},
                         Row{0666, 0755, true, true, false}}) {
    if (!superuser && (row.File == 0600 || row.Folder == 0755)) {
      continue;  // the owner has these rights
    }
    SCOPED_TRACE(row.File);
    std::filesystem::remove(path_);  // the row before may have changed its owner
    test::WriteFile(path_, kManagerFile);
    ASSERT_EQ(chmod(path_.c_str(), row.File), 0);
    ASSERT_EQ(chmod(folder_.Path().c_str(), row.Folder), 0);
    const auto reads = [this](std::uint32_t mask) {
      return test::AsUnprivilegedUser([this, mask] {
        return Registry().QueryValue(kHive, kManagerKey, "KVAckFreqHours", mask, 1024).has_value();
      });
    };
    EXPECT_EQ(reads(kAllRights), row.ReadsWithAllRights);
    EXPECT_EQ(reads(kReadOnlyRights), row.Reads);
    EXPECT_FALSE(reads(kSetRight));
    EXPECT_EQ(test::AsUnprivilegedUser([this] { return Set("KVAckFreqHours", 12); }), row.Writes);
  }
  EXPECT_FALSE(Registry().SetDword(kHive, kManagerKey, "KVAckFreqHours", 1, kReadOnlyRights));
}

TEST_F(RegistryFileTest, ReplacedFileKeepsOwnerGroupAndModeBehindALinkOfOurs) {
  const std::filesystem::path link = folder_ / "link.reg";
  std::filesystem::create_symlink(path_, link);
  ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
  const bool superuser = geteuid() == 0;
  if (superuser) {
    ASSERT_EQ(chown(path_.c_str(), 65534, 12), 0);
    ASSERT_EQ(lchown(link.c_str(), 65534, 65534), 0);  // one that another user made is not followed
    RegistryFile registry(link.string(), 50);
    EXPECT_FALSE(registry.QueryValue(kHive, kManagerKey, "KVAckFreqHours", kAllRights, 1024));
    EXPECT_FALSE(registry.SetDword(kHive, kManagerKey, "KVAckFreqHours", 1, kSetRight));
    EXPECT_EQ(test::ReadFile(path_), kManagerFile);
    EXPECT_FALSE(
        std::filesystem::exists(path_.string() + ".lock"));  // nor is anything made beside its target
    ASSERT_EQ(lchown(link.c_str(), 0, 0), 0);
  }
  ASSERT_TRUE(RegistryFile(link.string(), 1000).SetDword(kHive, kManagerKey, "KVAckFreqHours", 1, kSetRight));
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(status.st_uid, superuser ? 65534U : geteuid());
  EXPECT_EQ(status.st_gid, superuser ? 12U : getegid());
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(Text("KVAckFreqHours"), "1");
}

TEST_F(RegistryFileTest, WriterWaitsForAnotherABoundedTime) {
  ASSERT_TRUE(Set("KVAckFreqHours", 1));
  FileDescriptor lock(open((path_.string() + ".lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(lock.Number(), LOCK_EX), 0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(Registry(200).SetDword(kHive, kManagerKey, "KVAckFreqHours", 2, kSetRight));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(Text("KVAckFreqHours"), "1");  // readers are not kept waiting
}

TEST_F(RegistryFileTest, NoUpdateOfTwoProcessesIsLost) {
  constexpr std::uint32_t kWrites = 60;
  const auto writer = [this](const std::string& who) {
    return test::InChild([this, who] {
      bool all = true;
      for (std::uint32_t i = 0; i < kWrites; ++i) {
        all = Registry(60000).SetDword(kHive, kManagerKey, who + std::to_string(i), i, kSetRight) && all;
      }
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
}

TEST_F(RegistryFileTest, KilledWriterLeavesAWholeFileAndNoLock) {
  for (int round = 0; round < 15; ++round) {
    const pid_t writer = test::InChild([this] {
      RegistryFile registry = Registry();
      for (std::uint32_t i = 0;; ++i) {
        registry.SetDword(kHive, kManagerKey, "KVPurgeFreqDays", i, kSetRight);
      }
      return true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(3 + 2 * round));
    kill(writer, SIGKILL);
    EXPECT_FALSE(test::EndedWell(writer));
    ASSERT_EQ(Text("KVAckFreqHours"), "12");
    ASSERT_TRUE(Registry(1000).SetDword(kHive, kManagerKey, "KVAckFreqHours", 12, kSetRight));
  }
}

}  // namespace
}  // namespace korvane::platform
