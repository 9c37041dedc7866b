// Registry values, log and the order of repainting.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/Log.h"
#include "common/OpenForms.h"
#include "common/RegistryValues.h"
#include "support/FakePlatform.h"
#include "support/Files.h"
#include "support/TempFolder.h"

namespace korvane {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;
using platform::RegistryHive;
using test::ReadFile;
using test::WriteFile;

TEST(RegistryValuesTest, NumbersThatAreNoneAreTheDefault) {
  test::FakeRegistry registry;
  const auto number = [&registry] { return ManagerNumber(registry, kMaxViewTrapsValue, 1000); };
  for (const char* text : {"", "12x", "0x10", "99999999999", "-5"}) {
    registry.PutText(kManagerKey, kMaxViewTrapsValue, text);
    EXPECT_EQ(number(), text == "-5"s ? -5 : 1000) << text;
  }
  EXPECT_TRUE(SetRegistryDword(registry, RegistryHive::LocalMachine, kManagerKey, kAckFrequencyValue, -1));
  EXPECT_EQ(registry.Dword(kManagerKey, kAckFrequencyValue), 0xFFFFFFFFU);
}

struct LogTest : testing::Test {
  LogTest() { fs::current_path(Folder.Path()); }
  ~LogTest() override { fs::current_path(Before); }
  static void Write(std::string_view text, bool debug = true) {
    ProcessState state;
    state.gDebugMode = debug;
    Log(state).WriteLog(text);
  }

  fs::path Before = fs::current_path();
  test::TempFolder Folder;
};

TEST_F(LogTest, RecordsAreQuotedLinesInAFileOfItsOwn) {
  // The folder is open to others: a name that leads elsewhere, or to whoever reads a pipe, is not written.
  WriteFile("precious", "precious");
  const std::vector<std::function<void(const char*)>> makers = {
#ifndef _WIN32
      [](const char* name) { fs::create_symlink("precious", name); },
      [](const char* name) { mkfifo(name, 0666); },
#endif
      [](const char* name) { fs::create_directory(name); },
      [](const char* name) { fs::create_hard_link("precious", name); }};
  for (const auto& make : makers) {
    make("KVConsole.Log");
    Write("unseen", false);
    EXPECT_THROW(Write("text"), std::runtime_error);
    fs::remove("KVConsole.Log");
  }
  EXPECT_EQ(ReadFile("precious"), "precious");
  Write("a \"quoted\" text\nof two lines");
  Write("");
  EXPECT_EQ(ReadFile("KVConsole.Log"), "\"a \"quoted\" text\nof two lines\"\r\n\"\"\r\n");
}

struct RecordingForm : Form {
  RecordingForm(std::string_view name, std::vector<const Form*>& painted) : Name(name), Painted(painted) {}
  std::string_view FormName() const override { return Name; }
  void RepaintNow() override { Painted.push_back(this); }
  std::string_view Name;
  std::vector<const Form*>& Painted;
};

TEST(OpenFormsTest, RepaintsTrapWindowsFromTheLastOpened) {
  struct : OpenForms {
    std::vector<Form*> InCreationOrder() override { return Open; }
    std::vector<Form*> Open;
  } forms;
  std::vector<const Form*> painted;
  RecordingForm systems("frmDevices", painted), all("frmTraps", painted), report("frmReport", painted),
      router("frmTraps", painted);
  forms.Open = {&systems, &all, &report, &router};
  RefreshTrapWindows(forms);
  EXPECT_EQ(painted, (std::vector<const Form*>{&router, &all, &systems}));
}

}  // namespace
}  // namespace korvane
