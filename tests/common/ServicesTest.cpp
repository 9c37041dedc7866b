// Registry values, log, socket rule, service restart and repainting over the fakes of the machine.
#include "common/Services.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/Log.h"
#include "common/OpenForms.h"
#include "common/RegistryValues.h"
#include "common/ReplacedFile.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"

namespace korvane {
namespace {

using platform::RegistryHive;
using platform::RegistryType;

TEST(RegistryValuesTest, EveryTypeAsText) {
  struct Row {
    platform::RegistryData Data;
    std::string Text;
  };
  using namespace std::string_literals;
  const std::vector<Row> rows = {{{RegistryType::String, "text\0"s}, "text"},
                                 {{RegistryType::String, "text\0tail\0"s}, "text"},
                                 {{RegistryType::String, "no end"}, "no end"},
                                 {{RegistryType::String, ""}, ""},
                                 {{RegistryType::Dword, "\x0C\0\0\0"s}, "12"},
                                 {{RegistryType::Dword, "\x01\x02\x03\x04"}, "67305985"},
                                 {{RegistryType::Dword, "\xFF\xFF\xFF\xFF"}, "-1"},
                                 {{RegistryType::Dword, "\0\0\0\x80"s}, "-2147483648"},
                                 {{RegistryType::ExpandString, "%TMP%\0"s}, ""},
                                 {{RegistryType::Binary, "abc"}, ""}};
  test::FakeRegistry registry;
  for (const Row& row : rows) {
    registry.PutBytes(kManagerKey, kVersionValue, row.Data);
    std::string text = "before";
    EXPECT_TRUE(GetRegistryValue(registry, RegistryHive::LocalMachine, kManagerKey, kVersionValue, text));
    EXPECT_EQ(text, row.Text);
  }
  std::string text = "before";
  EXPECT_FALSE(GetRegistryValue(registry, RegistryHive::LocalMachine, kManagerKey, "Missing", text));
  EXPECT_EQ(text, "");
  registry.PutText(kManagerKey, "Long", std::string(1024, 'x'));
  EXPECT_FALSE(GetRegistryValue(registry, RegistryHive::LocalMachine, kManagerKey, "Long", text));
  for (const std::uint32_t mask : registry.Masks) {
    EXPECT_EQ(mask, 0x2003FU);
  }
}

TEST(RegistryValuesTest, NumbersThatAreNoneGiveTheDefault) {
  test::FakeRegistry registry;
  EXPECT_EQ(ManagerNumber(registry, kMaxViewTrapsValue, kDefaultMaxViewTraps), 1000);
  registry.PutDword(kManagerKey, kMaxViewTrapsValue, 250);
  EXPECT_EQ(ManagerNumber(registry, kMaxViewTrapsValue, kDefaultMaxViewTraps), 250);
  for (const char* text : {"", "many", "12x", "0x10", "99999999999", "1e3", "1,5"}) {
    registry.PutText(kManagerKey, kMaxViewTrapsValue, text);
    EXPECT_EQ(ManagerNumber(registry, kMaxViewTrapsValue, kDefaultMaxViewTraps), 1000) << text;
  }
  registry.PutText(kManagerKey, kMaxViewTrapsValue, "-5");
  EXPECT_EQ(ManagerNumber(registry, kMaxViewTrapsValue, kDefaultMaxViewTraps), -5);
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
  LogTest() : before_(std::filesystem::current_path()) { std::filesystem::current_path(folder_.Path()); }
  ~LogTest() override { std::filesystem::current_path(before_); }

  std::string Written() const {
    std::ifstream file(folder_ / "KVConsole.Log", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  test::TempFolder folder_;
  std::filesystem::path before_;
};

TEST_F(LogTest, RecordsAreQuotedLinesThatOnlyGrow) {
  ProcessState state;
  Log log(state);
  log.WriteLog("unseen");
  EXPECT_FALSE(std::filesystem::exists("KVConsole.Log"));
  state.gDebugMode = true;
  log.WriteLog("Could not stop the thread that receives new traps.");
  EXPECT_EQ(Written(), "\"Could not stop the thread that receives new traps.\"\r\n");
  Log secondRun(state);
  secondRun.WriteLog("a \"quoted\" text\nof two lines");
  secondRun.WriteLog("");
  EXPECT_EQ(Written(),
            "\"Could not stop the thread that receives new traps.\"\r\n"
            "\"a \"quoted\" text\nof two lines\"\r\n\"\"\r\n");
}

TEST_F(LogTest, FileThatCannotBeOpenedIsTheCallersError) {
  ProcessState state;
  Log log(state);
  // The folder is open to others: a name that leads elsewhere, or to whoever reads a pipe, is not written.
  std::ofstream("precious") << "precious";
  const std::vector<std::function<void(const char*)>> makers = {
      [](const char* name) { std::filesystem::create_directory(name); },
      [](const char* name) { std::filesystem::create_symlink("precious", name); },
      [](const char* name) { std::filesystem::create_symlink("missing", name); },
      [](const char* name) { std::filesystem::create_hard_link("precious", name); },
      [](const char* name) { mkfifo(name, 0666); }};
  for (const auto& make : makers) {
    make("KVConsole.Log");
    state.gDebugMode = false;
    log.WriteLog("unseen");
    state.gDebugMode = true;
    EXPECT_THROW(log.WriteLog("text"), std::runtime_error);
    std::filesystem::remove("KVConsole.Log");
  }
  EXPECT_FALSE(std::filesystem::exists("missing"));
  EXPECT_EQ(std::filesystem::file_size("precious"), 8U);
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
          ProcessState state;
          state.gDebugMode = true;
          Log(state).WriteLog("line");
          ReplacedFile file("WindowPrint.txt", FileUse::Scratch);
          return file.Write(report) && file.Commit();
        },
        user, kOperators));
    EXPECT_EQ(test::ReadFile("WindowPrint.txt"), report);
  }
  EXPECT_EQ(Written(), "\"line\"\r\n\"line\"\r\n\"line\"\r\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 2);  // nothing else is left there
}

TEST(ServicesTest, SocketRuleAndItsMessages) {
  struct Row {
    platform::SocketStartup Startup;
    std::string Message;
  };
  const std::vector<Row> rows = {
      {{.Started = true, .Version = 0x0101, .MaxSockets = 1}, ""},
      {{.Started = true, .Version = 0x0002, .MaxSockets = 1}, ""},
      {{.Started = false, .Version = 0x0101, .MaxSockets = 1}, "ws2_32.dll is not responding."},
      {{.Started = true, .Version = 0x0001, .MaxSockets = 1},
       "Windows Sockets version 1.0 is not supported by ws2_32.dll "},
      {{.Started = true, .Version = 0x0900, .MaxSockets = 0},
       "Windows Sockets version 0.9 is not supported by ws2_32.dll "},
      {{.Started = true, .Version = 0x0101, .MaxSockets = 0},
       "This application requires a minimum of 1 supported sockets."}};
  for (const Row& row : rows) {
    test::FakeSockets sockets;
    sockets.Answer = row.Startup;
    test::ScriptedPrompts prompts;
    EXPECT_EQ(StartWinsock(sockets, prompts), row.Message.empty());
    EXPECT_EQ(sockets.Requested, 0x0101);
    EXPECT_EQ(prompts.LastMessage(), row.Message);
    EXPECT_EQ(prompts.Messages().size(), row.Message.empty() ? 0U : 1U);
    for (const auto& shown : prompts.Messages()) {
      EXPECT_EQ(shown.Icon, PromptIcon::Critical);
    }
  }
}

TEST(ServicesTest, RestartClosesWhatItOpened) {
  using Calls = test::CallLog;
  struct Row {
    bool Manager, Service, Start;
    std::int32_t Code;
    Calls Expected;
  };
  const Calls whole = {"OpenManager",      "OpenService KVReceiver",  "SendStop KVReceiver", "Sleep 2000",
                       "Start KVReceiver", "CloseService KVReceiver", "CloseManager"};
  const std::vector<Row> rows = {
      {true, true, true, 0, whole},
      {false, true, true, 1, {"OpenManager"}},
      {true, false, true, 2, {"OpenManager", "OpenService KVReceiver", "CloseManager"}},
      {true, true, false, 3, whole}};
  for (const Row& row : rows) {
    test::FakePlatform machine;
    machine.Services.ManagerThere = row.Manager;
    machine.Services.StartWorks = row.Start;
    if (!row.Service) {
      machine.Services.Services.clear();
    }
    EXPECT_EQ(RestartService(machine.Services, machine.Clock, "KVReceiver"), row.Code);
    EXPECT_EQ(machine.Calls, row.Expected);
  }
}

class RecordingForm : public Form {
 public:
  RecordingForm(std::string name, std::string mark, std::vector<std::string>& painted)
      : name_(std::move(name)), mark_(std::move(mark)), painted_(painted) {}
  std::string_view FormName() const override { return name_; }
  void RepaintNow() override { painted_.push_back(mark_); }

 private:
  std::string name_;
  std::string mark_;
  std::vector<std::string>& painted_;
};

TEST(OpenFormsTest, RepaintsTrapWindowsFromTheLastOpened) {
  std::vector<std::string> painted;
  RecordingForm systems("frmDevices", "systems", painted);
  RecordingForm all("frmTraps", "all", painted);
  RecordingForm report("frmReport", "report", painted);
  RecordingForm router("frmTraps", "router", painted);
  RecordingForm filters("frmFilters", "filters", painted);
  class Forms : public OpenForms {
   public:
    std::vector<Form*> InCreationOrder() override { return Open; }
    std::vector<Form*> Open;
  } forms;
  RefreshTrapWindows(forms);
  forms.Open = {&systems, &all, &report, &router, &filters};
  RefreshTrapWindows(forms);
  EXPECT_EQ(painted, (std::vector<std::string>{"router", "all", "systems"}));
}

}  // namespace
}  // namespace korvane
