// The start and the end of the console, step by step: every part that they touch is a fake that writes into
// one call log.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "app/CommandLine.h"
#include "app/Shutdown.h"
#include "app/Startup.h"
#include "app/StartupChecks.h"
#include "common/RegistryValues.h"
#include "store/DatabaseError.h"
#include "support/World.h"

namespace korvane::test {
namespace {

using app::StartupResult;

struct FakeConsole : app::SharedStore,
                     app::MainWindow,
                     app::MainWindowMaker,
                     app::SplashWindow,
                     app::SystemsWindow,
                     FakeLibrary {
  FakeConsole() {
    Prompt.Calls = &Calls;
    Busy.Calls = &Calls;
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/opt/korvane");
  }

  StartupResult Main(std::string_view commandLine = {}) {
    return app::Startup({.Instance = Machine.Instance,
                         .Groups = Machine.Groups,
                         .Registry = Machine.Registry,
                         .Directories = Machine.Directories,
                         .Settings = Machine.Settings,
                         .Sockets = Machine.Sockets,
                         .Clock = Machine.Clock,
                         .Prompt = Prompt,
                         .DebugLog = DebugLog,
                         .State = State,
                         .Store = *this,
                         .Splash = *this,
                         .Windows = *this})
        .Main(commandLine);
  }
  void Quit() {
    app::Shutdown shutdown({.Settings = Machine.Settings,
                            .Sockets = Machine.Sockets,
                            .Prompt = Prompt,
                            .Busy = Busy,
                            .DebugLog = DebugLog,
                            .State = State,
                            .Store = *this,
                            .Library = *this});
    shutdown.QueryUnload(*this);
    Calls.emplace_back("unload");
    shutdown.Unload(*this);
  }

  void OpenDatabase() override { Calls.emplace_back("OpenDatabase"); }
  store::ReadOutcome LoadSystems() override { return Read("LoadSystems"); }
  store::ReadOutcome ReloadCategoryInformation() override { return Read("ReloadCategoryInformation"); }
  store::ReadOutcome LoadFilters() override { return Read("LoadFilters"); }
  void SaveSystems() override { Write("SaveSystems"); }
  store::Acknowledgement AcknowledgeAll(std::int32_t time, const store::GoOn& goOn) override {
    Write(fmt::format("AcknowledgeAll {}", time));
    goOn(2);
    return {};
  }
  void CloseDatabase() override { Calls.emplace_back("CloseDatabase"); }
  void ReleaseLists() override { Calls.emplace_back("ReleaseLists"); }

  MainWindow& CreateMainWindow(std::string_view installPath) override {
    Calls.emplace_back("CreateMainWindow " + std::string(installPath));
    return *this;
  }
  void SetPlacement(const app::WindowPlacement&) override { Calls.emplace_back("SetPlacement"); }
  app::WindowPlacement Placement() const override { return {}; }
  void SetCaption(std::string_view caption) override {
    Calls.emplace_back("SetCaption [" + std::string(caption) + "]");
  }
  void Show() override { Calls.emplace_back("Show"); }    // of the frame and of the splash window
  void Close() override { Calls.emplace_back("Close"); }  // of the splash window
  void DestroyChildren() override { Calls.emplace_back("DestroyChildren"); }

  void DisableTimers() override { Calls.emplace_back("DisableTimers"); }
  std::size_t RowCount() const override { return TrapsInRows.size(); }
  std::int64_t RowTraps(std::size_t row) const override { return TrapsInRows.at(row); }

  std::int32_t StopRecvEvents() override {
    Calls.emplace_back("StopRecvEvents");
    return intake::kReceiverThreadOk + 1;  // that it did not stop holds nothing up
  }

  store::ReadOutcome Read(const std::string& name) {
    Calls.push_back(name);
    const store::DatabaseError failure("no such table", "HY000", 1, name);
    return name == FailingRead ? store::ReadOutcome(failure) : store::ReadOutcome();
  }
  void Write(const std::string& call) {
    Calls.push_back(call);
    if (WritesFail) {
      throw store::DatabaseError("disk full: " + call.substr(0, call.find(' ')), "HY000", 13, call);
    }
  }

  FakePlatform Machine;
  CallLog& Calls = Machine.Calls;
  RecordingBusy Busy;
  ProcessState State;
  Log DebugLog{State};
  ScriptedPrompts Prompt;
  std::string FailingRead;
  bool WritesFail = false;
  std::vector<int> TrapsInRows;  // of the Systems window
};

// Every call of a start that goes well.  A failing step cuts this list and puts its message in place.
const std::string kWholeStart =
    "Show; PreviousInstanceExists; GroupNames; AdministratorsName; QueryValue KVInstallPath; "
    "SetCurrentDirectory /opt/korvane; CreateMainWindow /opt/korvane; SetPlacement; "
    "SetCaption [Korvane Manager Console ]; QueryValue MaxViewTraps; Sockets::Start; OpenDatabase; "
    "LoadSystems; ReloadCategoryInformation; LoadFilters; Close; Show";

std::string CallsOf(const FakeConsole& console) {
  return fmt::to_string(fmt::join(console.Calls, "; "));
}

TEST(StartupTest, DoesEveryStepInOrderAndReadsItsLimit) {
  // A limit that is none counts as a thousand, and none is endless.
  const std::pair<std::optional<std::uint32_t>, std::int32_t> limits[] = {
      {std::nullopt, 1000}, {0, 1000}, {0x80000000, 1000}, {999'999, 999'999}, {0x7FFFFFFF, 1'000'000}};
  for (const auto& [stored, limit] : limits) {
    FakeConsole console;
    console.Machine.Clock.BiasMinutes = -90;
    if (stored) {
      console.Machine.Registry.PutDword(kManagerKey, kMaxViewTrapsValue, *stored);
    }
    EXPECT_EQ(console.Main("/dEbUG"), StartupResult::Running);
    EXPECT_EQ(CallsOf(console), kWholeStart);
    EXPECT_EQ(console.State.gMaxViewTraps, limit);
    EXPECT_EQ(console.State.gTimeZoneBias, -5400);
    EXPECT_TRUE(console.State.gDebugMode);
  }
}

TEST(StartupTest, AStepThatFailsShowsItsMessageAndEndsEverything) {
  struct FailingStep {
    std::string LastCall;  // of the whole start
    std::string Message;   // its beginning
    std::function<void(FakeConsole&)> Break = [](FakeConsole&) {};
  };
  const FailingStep steps[] = {
      {"AdministratorsName", "You must have 'Administrator' privileges to run this program.",
       [](FakeConsole& c) {
         c.Machine.Groups.Names = {"users", "Sudo"};
       }},
      {"QueryValue KVInstallPath", "Could not retrieve the install path. ",
       [](FakeConsole& c) { c.Machine.Registry.Remove(kManagerKey, kInstallPathValue); }},
      {"SetCurrentDirectory /opt/korvane", "Could not set the 'Working Directory'. ",
       [](FakeConsole& c) { c.Machine.Directories.Allowed = false; }},
      {"Sockets::Start", "ws2_32.dll is not responding.",
       [](FakeConsole& c) { c.Machine.Sockets.Answer.Started = false; }},
      {"LoadSystems", "Could not read system information from the Database. "},
      {"ReloadCategoryInformation", "Could not read category information from the Database. "},
      {"LoadFilters", "Could not read filter information from the Database. "}};
  for (const FailingStep& step : steps) {
    FakeConsole console;
    console.FailingRead = step.LastCall;
    step.Break(console);
    EXPECT_EQ(console.Main(), StartupResult::Failed);
    EXPECT_THAT(console.Calls.back(), testing::StartsWith("Show: " + step.Message));
    EXPECT_EQ(console.Prompt.Cause, step.Message.starts_with("Could not read") ? "no such table" : "");
    console.Calls.pop_back();
    const std::size_t end = kWholeStart.find(step.LastCall) + step.LastCall.size();
    EXPECT_EQ(CallsOf(console), kWholeStart.substr(0, end) + "; Close");
  }
}

TEST(StartupTest, OneOfTheGroupsMustBearTheAdministratorsName) {
  FakeAccountGroups groups;
  EXPECT_TRUE(app::IsUserAdministrator(groups));
  groups.Names = {"SUDO", "sudoers", ""};
  EXPECT_FALSE(app::IsUserAdministrator(groups));
  groups.Names.reset();
  EXPECT_FALSE(app::IsUserAdministrator(groups));
  groups.Names = {"sudo", ""};
  groups.Administrators.reset();
  EXPECT_FALSE(app::IsUserAdministrator(groups));
}

TEST(CommandLineTest, IsAnsweredAtOnceUnlessItIsTheConsolesOrTheToolkits) {
  using Arguments = std::vector<std::string>;
  for (const Arguments& starts :
       {Arguments{}, {"/dEbUG", "xdebugx"}, {"-platform", "--what", "--style=fusion"}}) {
    EXPECT_EQ(app::AnswerAtOnce(starts), std::nullopt);
  }
  const std::pair<Arguments, int> ends[] = {
      {{"Debug", "--version"}, 0}, {{"--help"}, 0}, {{"--styles"}, 2},
      {{"-style=x", "file"}, 2},   {{"--a\nb"}, 2}, {{"-reverse=1"}, 2}};
  for (const auto& [arguments, status] : ends) {
    const auto answer = app::AnswerAtOnce(arguments);
    ASSERT_TRUE(answer) << arguments.back();
    EXPECT_EQ(answer->Status, status) << arguments.back();
    EXPECT_TRUE(status == 0 || std::ranges::count(answer->Text, '\n') == 1) << "one sentence";
  }
}

TEST(ShutdownTest, AcknowledgesWhatIsPendingOnlyWhenTheOperatorSaysSo) {
  struct Case {
    std::vector<int> Rows;
    PromptAnswer Answer;
    std::string Asked;
    std::string Acknowledging;
  };
  const std::string asked = "Ask: Do you want to acknowledge all traps?; ";
  const std::string busy = "ShowBusy: Acknowledging Trap(s); ";
  const std::string execute = "AcknowledgeAll 1234; ";
  const Case cases[] = {{{0, 0}, {}, "", ""},
                        {{0, 0, 3}, PromptAnswer::No, asked, busy + "ShowFree; "},
                        {{3, 0}, PromptAnswer::Yes, asked, busy + execute + "ShowFree; "}};
  for (const Case& c : cases) {
    FakeConsole console;
    console.State.gLastTrapTime = 1234;
    console.TrapsInRows = c.Rows;
    console.Prompt.WillAnswer(c.Answer);
    console.Quit();
    console.Prompt.ForgetScript();
    EXPECT_EQ(CallsOf(console),
              "DisableTimers; " + c.Asked +
                  "ShowBusy: Saving New Data; StopRecvEvents; SaveSystems; ShowFree; unload; " +
                  c.Acknowledging +
                  "ShowBusy: Unloading...; SaveSetting MainWindowState=2; DestroyChildren; CloseDatabase; "
                  "ReleaseLists; Sockets::Cleanup; ShowFree");
  }
}

TEST(ShutdownTest, FailuresAreReportedAndNothingElseIsSkipped) {
  FakeConsole console;
  console.TrapsInRows = {1};
  console.Prompt.WillAnswer(PromptAnswer::Yes);
  console.WritesFail = true;
  console.Machine.Sockets.CleanupError = 10093;
  console.Quit();
  EXPECT_THAT(
      console.Calls,
      testing::IsSupersetOf(
          {"Show: The list of systems was not saved. The disk of the trap store is full. Nothing was "
           "changed.",
           "Show: The traps were not acknowledged. The disk of the trap store is full. Nothing was changed.",
           "SaveSetting MainWindowState=2", "CloseDatabase", "ReleaseLists",
           "Show: Socket error 10093 occurred in Cleanup"}));
  EXPECT_THAT(console.Prompt.Causes,
              testing::ElementsAre("disk full: SaveSystems", "disk full: AcknowledgeAll"));
  EXPECT_EQ(console.Busy.Depth(), 0);
}

TEST(WindowPlacementTest, DamagedValuesFallBackToTheirDefaults) {
  FakeSettings settings;
  settings.Values = {{"Settings/MainTop", "nan"}, {"Settings/MainHeight", "1e99"}};
  EXPECT_EQ(app::RestorePlacement(settings), app::WindowPlacement());
}

}  // namespace
}  // namespace korvane::test
