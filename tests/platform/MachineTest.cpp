// What the machine that the tests run on gives: accounts, sockets, host names, clock, directories, programs,
// the restart of a service against a mock of the service manager, and the file that is its registry.
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "common/RegistryValues.h"
#include "common/Services.h"
#include "platform/Files.h"
#include "platform/linux/ChildProcess.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/RegistryFile.h"
#include "support/FakePlatform.h"
#include "support/PrivateBus.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::platform {
namespace {

using namespace std::string_literals;

TEST(AccountGroupsTest, OrdinaryUsersAreNoAdministrators) {
  const auto groups = MakeAccountGroups();
  const auto administrates = [&] {
    return std::ranges::count(groups->GroupNames().value(), groups->AdministratorsName().value()) != 0;
  };
  if (geteuid() != 0 && administrates()) {
    GTEST_SKIP() << "this user is an administrator and can't become another user";
  }
  EXPECT_EQ(administrates(), geteuid() == 0);
  EXPECT_TRUE(test::AsUnprivilegedUser([&] { return !groups->GroupNames()->empty() && !administrates(); }));
}

TEST(MachineTest, AnswersInTheTermsOfTheConsole) {
  const auto sockets = MakeSockets();
  using Versions = std::pair<std::uint16_t, std::uint16_t>;
  for (const auto& [requested, granted] : {Versions{0x0101, 0x0101}, {0x0001, 0x0001}, {0x0103, 0x0202}}) {
    const SocketStartup startup = sockets->Start(requested);
    EXPECT_TRUE(startup.Started && startup.MaxSockets >= 1);
    EXPECT_EQ(startup.Version, granted) << std::hex << requested;
    EXPECT_EQ(sockets->Cleanup(), 0);
  }
  EXPECT_NE(sockets->Cleanup(), 0);

  for (const char* address : {"192.0.2.7", "2001:db8::7", "fe80::1%eth0", "::ffff:10.0.0.1"}) {
    EXPECT_TRUE(IsAddressText(address)) << address;
  }
  for (const std::string& text : {""s, "router"s, "192.0.2"s, "192.0.2.256"s, "192.0.2.7 "s, "10.0.0.1%eth0"s,
                                  "fe80::1%"s, "10.0.0.1\0x"s}) {
    EXPECT_FALSE(IsAddressText(text)) << text;
  }
  const auto names = MakeHostNames();
  EXPECT_EQ(names->AddressOfName("localhost"), "127.0.0.1");

  const test::TempFolder folder;
  test::WriteFile(folder / "precious", "");
  std::filesystem::create_hard_link(folder / "precious", folder / "planted");
  EXPECT_EQ(OpenSharedToAppend(folder / "planted"), nullptr);

  // Daylight time holds all year round in the last zone.
  for (const auto& [zone, bias] :
       {std::pair{"EAST-5:30", -330}, std::pair{"WEST8", 480}, std::pair{"STD5DST4,0/0,J365/23", 240}}) {
    EXPECT_TRUE(test::EndedWell(test::InChild([&] {
      setenv("TZ", zone, 1);
      return MakeClock()->TimeZoneBiasMinutes() == bias;
    }))) << zone;
  }
}

namespace fs = std::filesystem;

// A program that records its open files and arguments beside its own file.
constexpr char kRecorder[] =
    "#!/bin/sh\n"
    "{\n"
    "  for number in /proc/$$/fd/*; do echo \"fd $(/usr/bin/readlink \"$number\")\"; done\n"
    "  for argument in \"$@\"; do printf 'arg\\n%s\\n' \"$argument\"; done\n"
    "} > \"$0.part\"\n"
    "/bin/mv \"$0.part\" \"$0.out\"\n";

class ProgramsTest : public testing::Test {
 protected:
  ~ProgramsTest() override {
    setenv("PATH", path_.c_str(), 1);
    fs::current_path(before_);
  }

  std::string Place(const std::string& name, std::string_view script = kRecorder) {
    const fs::path file = folder_ / name;
    fs::create_directories(file.parent_path());
    test::WriteFile(file, script);
    chmod(file.c_str(), 0755);
    return file.string();
  }
  bool Start(const std::string& program, const std::vector<std::string>& arguments = {}) {
    return programs_->Start(program, arguments);
  }
  // What the program of this name recorded, from its arguments on; empty when it was not started in time.
  std::string Recorded(const std::string& name, const char* from = "arg\n") {
    const fs::path out = folder_ / (name + ".out");
    test::WaitUntil([&out] { return fs::exists(out); });
    const std::string record = test::ReadFile(out);
    fs::remove(out);
    return record.substr(std::min(record.find(from), record.size()));
  }

  test::TempFolder folder_;
  std::unique_ptr<Programs> programs_ = MakePrograms((folder_ / "installed").string());
  std::string path_ = std::getenv("PATH");
  fs::path before_ = fs::current_path();
};

TEST_F(ProgramsTest, GetTheirArgumentsAsTheyAreAndNothingElseOfTheConsoles) {
  const fs::path secret = folder_ / "secret";
  const int inheritable = open(secret.c_str(), O_RDWR | O_CREAT, 0600);  // without close-on-exec
  const std::vector<std::string> arguments = {"", "it's \"quoted\"", "$HOME `id` $(id) ; rm *",
                                              "back\\slash\nbreak %s%n\xFF\xC3\xBC"};
  std::string expected;
  for (const std::string& argument : arguments) expected += "arg\n" + argument + "\n";
  ASSERT_TRUE(Start(Place("recorder"), arguments));
  const std::string record = Recorded("recorder", "");
  close(inheritable);
  EXPECT_TRUE(record.ends_with("\n" + expected)) << record;
  EXPECT_EQ(record.find(secret.string()), std::string::npos) << record;
  const std::string plain = Place("plain");
  chmod(plain.c_str(), 0644);
  for (const std::string& program :
       {(folder_ / "missing").string(), plain, folder_.Path().string(), Place("noise", "\x7F\x45LF"),
        Place("orphan", "#!/no/such/interpreter\n"), std::string()}) {
    EXPECT_FALSE(Start(program)) << program;
  }
  EXPECT_FALSE(Start(Place("recorder"), {std::string("a\0b", 3)}));
  EXPECT_EQ(RunAndRead(Place("slow", "#!/bin/sh\nexec /bin/sleep 600\n"), {}, 100), std::nullopt);
  EXPECT_EQ(RunAndRead(Place("endless", "#!/bin/sh\nexec /usr/bin/yes\n"), {}, 20000), std::nullopt);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left to be waited for";
}

TEST_F(ProgramsTest, OfTheInstallDirectoryAreFoundByTheirNamesAndChosenByNobodyElse) {
  const std::string shared = (folder_ / "shared tools").string();
  const std::string planted = Place("shared tools/mibc");
  const std::string program = shared + "\\mibc.exe";
  fs::current_path(shared);
  Place("shared tools/mousepad");
  setenv("PATH", ".::", 1);
  EXPECT_FALSE(Start("NOTEPAD.EXE")) << "a text editor of the working folder";
  setenv("PATH", path_.c_str(), 1);
  for (const std::string& name : {program, "\"" + shared + "\\mibc.EXE\"", std::string(".\\mibc.exe")}) {
    ASSERT_TRUE(Start(name, {"x"})) << name;
    EXPECT_EQ(Recorded("shared tools/mibc"), "arg\nx\n");
  }
  using Modes = std::tuple<mode_t, mode_t, bool>;
  for (const auto& [folder, file, starts] :
       {Modes{0755, 0755, true}, Modes{0755, 0775, false}, Modes{0755, 0757, false}, Modes{0775, 0755, false},
        Modes{0757, 0755, false}, Modes{03775, 0755, true}}) {
    ASSERT_EQ(chmod(planted.c_str(), file), 0);
    ASSERT_EQ(chmod(shared.c_str(), folder), 0);
    EXPECT_EQ(Start(program), starts) << std::oct << folder << ' ' << file;
  }
  // A link leads to a program that is fine, but who made the link made the choice.
  const fs::path real = Place("real/mibc");
  fs::remove(planted);
  fs::create_symlink(real, planted);
  EXPECT_TRUE(Start(program));
  if (geteuid() == 0) {
    ASSERT_EQ(lchown(planted.c_str(), 65534, 65534), 0);
    EXPECT_FALSE(Start(program));
    ASSERT_EQ(chown(real.c_str(), 65534, 65534), 0);
    ASSERT_EQ(lchown(planted.c_str(), 0, 0), 0);
    EXPECT_FALSE(Start(program));
  }
  // What was installed with the console goes first, whatever the folder holds.
  Place("installed/mibc");
  EXPECT_TRUE(Start(program));
  EXPECT_NE(Recorded("installed/mibc", ""), "");
}

TEST(ServiceControlTest, StopsAndStartsAndSaysWhatFailed) {
  const test::PrivateBus bus;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
  test::FakeClock clock;
  const auto restart = [&clock](std::string_view name) {
    return RestartService(*MakeServiceControl(5000, name == "Silent" ? 400 : 10000), clock, name);
  };
  EXPECT_EQ(restart("KVReceiver"), 1) << "a bus without a manager";
  const test::ServiceManagerMock manager(R"({
      "KVReceiver.service": {},
      "Fails.service": {"start": "failed"},
      "Exits.service": {"start": "exits"},
      "Silent.service": {"start": "silent"},
      "Lingers.service": {"stop": "deactivating"},
      "Stays.service": {"stop": "active"}})");
  // Its code, and the last call: one that lingers is not left stopped.
  for (const auto& [name, code, last] : {std::tuple("KVReceiver", 0, "Start"),
                                         {"NoSuchService", 2, "Load"},
                                         {"a/b", 2, "Load"},
                                         {"Fails", 3, "Start"},
                                         {"Exits", 3, "Start"},
                                         {"Silent", 3, "Start"},
                                         {"Lingers", 3, "Start"},
                                         {"Stays", 3, "Stop"}}) {
    test::WriteFile(manager.Log(), "");
    EXPECT_EQ(restart(name), code) << name;
    const std::string calls = fmt::format(
        "LoadUnit {0}.service\nStopUnit {0}.service replace\nStartUnit {0}.service replace\n", name);
    EXPECT_EQ(test::ReadFile(manager.Log()), calls.substr(0, calls.find('\n', calls.find(last)) + 1));
  }
  manager.Pause();  // one that answers nobody is given up on
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(MakeServiceControl(200, 200)->OpenManager(), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  manager.Resume();
}

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
  using Change = std::tuple<const char*, std::string, std::string>;
  for (const auto& [name, before, after] :
       {Change{"kvackfreqhours", "\"KVAckFreqHours\"=dword:0000000c\n",
               "\"KVAckFreqHours\"=dword:fffffffe\n"},
        Change{"Expand", "\"Expand\"=hex(2):25,00,54,00,\\\n  25,00,00,00\n", "\"Expand\"=dword:fffffffe\n"},
        Change{"Lines", "\"Lines\"=\"one\ntwo\"\n", "\"Lines\"=dword:fffffffe\n"},
        Change{"a\\\"b", "@=\"nameless\"\n", "@=\"nameless\"\n\"a\\\\\\\"b\"=dword:fffffffe\n"}}) {
    std::string expected = kManagerFile;
    expected.replace(expected.find(before), before.size(), after);
    for (const std::string& bytes : {std::string(kManagerFile), AsExported(kManagerFile)}) {
      test::WriteFile(path_, bytes);
      EXPECT_TRUE(Set(name, 0xFFFFFFFE));
      EXPECT_EQ(test::ReadFile(path_), expected) << name;
      EXPECT_EQ(Text(name), "-2");
    }
  }
  EXPECT_FALSE(registry_.SetDword(kHive, "SOFTWARE\\Vantreel", "Largest", 1, kSetRight));
  EXPECT_FALSE(registry_.SetDword(kHive, kManagerKey, "KVAckFreqHours", 1, kReadOnlyRights));

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
        good + "[HKEY_LOCAL_MACHINE\\Cut", good + "\"Latin\"=\"\xFC\"\n",
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

TEST_F(RegistryFileTest, ReplacedFileKeepsOwnerGroupAndModeBehindALinkOfOurs) {
  const std::filesystem::path link = folder_ / "link.reg";
  std::filesystem::create_symlink(path_, link);
  ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
  RegistryFile registry(link.string(), 1000);
  if (geteuid() == 0) {
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
  EXPECT_TRUE(geteuid() != 0 || (status.st_uid == 65534U && status.st_gid == 12U));
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
