// What the machine that the tests run on gives: accounts, sockets, host names, clock, directories, programs,
// and the restart of a service against a mock of the service manager.
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/Services.h"
#include "platform/linux/ChildProcess.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/FakePlatform.h"
#include "support/PrivateBus.h"
#include "support/Processes.h"
#include "support/ServiceManagerMock.h"
#include "support/TempFolder.h"

namespace korvane::platform {
namespace {

using namespace std::string_literals;

TEST(AccountGroupsTest, OrdinaryUsersAreNoAdministrators) {
  const auto groups = MakeAccountGroups();
  const std::string administrators = groups->AdministratorsName().value_or("");
  EXPECT_TRUE(administrators == "sudo" || administrators == "wheel" || administrators == "root");
  const auto administrates = [&] {
    return std::ranges::count(groups->GroupNames().value(), administrators) != 0;
  };
  EXPECT_TRUE(geteuid() != 0 || administrates());
  if (geteuid() != 0 && administrates()) {
    GTEST_SKIP() << "this user is an administrator and can't become another user";
  }
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
  EXPECT_TRUE(names->NameOfAddress("127.0.0.1").has_value());
  EXPECT_FALSE(names->NameOfAddress("localhost").has_value());

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
        Place("orphan", "#!/no/such/interpreter\n"), std::string("no-such-program-anywhere"),
        std::string()}) {
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
  for (const std::string& name : {program, "\"" + shared + "\\mibc.EXE\"", std::string(".\\mibc.exe")}) {
    ASSERT_TRUE(Start(name, {"x"})) << name;
    EXPECT_EQ(Recorded("shared tools/mibc"), "arg\nx\n");
  }
  struct Row {
    mode_t Folder;
    mode_t File;
    bool Starts;
  };
  for (const Row& row : {Row{0755, 0755, true}, Row{0755, 0775, false}, Row{0755, 0757, false},
                         Row{0775, 0755, false}, Row{0757, 0755, false}, Row{03775, 0755, true}}) {
    ASSERT_EQ(chmod(planted.c_str(), row.File), 0);
    ASSERT_EQ(chmod(shared.c_str(), row.Folder), 0);
    EXPECT_EQ(Start(program), row.Starts) << std::oct << row.Folder << ' ' << row.File;
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

TEST_F(ProgramsTest, NotepadIsTheDesktopsTextEditor) {
  // The console works in a shared folder: a path of the user's that begins at "." never meant that one.
  fs::current_path(folder_.Path());
  Place("mousepad");
  setenv("PATH", ".::", 1);
  EXPECT_FALSE(Start("NOTEPAD.EXE", {"-Window Print.txt"}));
  setenv("PATH", folder_.Path().c_str(), 1);
  const std::string file = "arg\n" + (fs::current_path() / "-Window Print.txt").string() + "\n";
  EXPECT_TRUE(Start("notepad.EXE", {"-Window Print.txt"}));
  EXPECT_EQ(Recorded("mousepad"), file);
  Place("gtk-launch");
  Place("xdg-mime",
        "#!/bin/sh\n[ \"$*\" = 'query default text/plain' ] && echo org.example.Editor.desktop\n");
  EXPECT_TRUE(Start("notepad.EXE", {"-Window Print.txt"}));
  EXPECT_EQ(Recorded("gtk-launch"), "arg\norg.example.Editor.desktop\n" + file);
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
      "Crashed.service": {"active": "failed", "stop": "failed"},
      "Masked.service": {"load": "masked"},
      "Fails.service": {"start": "failed"},
      "Exits.service": {"start": "exits"},
      "Refused.service": {"start": "refused"},
      "Silent.service": {"start": "silent"},
      "Lingers.service": {"stop": "deactivating"},
      "Stays.service": {"stop": "active"}})");
  struct Case {
    const char* Name;
    std::int32_t Code;
    int Calls;  // how far it goes: one that lingers is not left stopped
  };
  for (const Case& c : {Case{"KVReceiver", 0, 3},
                        {"Crashed", 0, 3},
                        {"NoSuchService", 2, 1},
                        {"Masked", 2, 1},
                        {"a/b", 2, 1},
                        {"Fails", 3, 3},
                        {"Exits", 3, 3},
                        {"Refused", 3, 3},
                        {"Silent", 3, 3},
                        {"Lingers", 3, 3},
                        {"Stays", 3, 2}}) {
    test::WriteFile(manager.Log(), "");
    EXPECT_EQ(restart(c.Name), c.Code) << c.Name;
    std::string calls;
    const char* const all[] = {"LoadUnit {}.service\n", "StopUnit {}.service replace\n",
                               "StartUnit {}.service replace\n"};
    for (int i = 0; i < c.Calls; ++i) calls += fmt::format(fmt::runtime(all[i]), c.Name);
    EXPECT_EQ(test::ReadFile(manager.Log()), calls);
  }
  manager.Pause();  // one that answers nobody is given up on
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(MakeServiceControl(200, 200)->OpenManager(), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  manager.Resume();
}

}  // namespace
}  // namespace korvane::platform
