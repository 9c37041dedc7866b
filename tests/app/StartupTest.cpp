// The start and the end of the console, step by step, and where its frame window stood in between.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "ConsoleFakes.h"
#include "app/StartupChecks.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::test {
namespace {

using app::StartupResult;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kTitle[] = "Korvane Manager Console ";
const std::string kSupport = "If the problem persists, please contact support at " + SupportContact();

// Every call of a start that goes well.  A failing step cuts this list and puts its message in place.
const CallLog kWholeStart = {"Splash::Show",
                             "PreviousInstanceExists",
                             "GroupNames",
                             "AdministratorsName",
                             "QueryValue KVInstallPath",
                             "SetCurrentDirectory /opt/korvane",
                             "CreateMainWindow /opt/korvane",
                             "SetPlacement",
                             "SetCaption [Korvane Manager Console ]",
                             "QueryValue MaxViewTraps",
                             "Sockets::Start",
                             "OpenDatabase",
                             "LoadSystems",
                             "ReloadCategoryInformation",
                             "LoadFilters",
                             "Splash::Close",
                             "MainWindow::Show"};

ScriptedPrompts::Shown Said(std::string text, PromptIcon icon = PromptIcon::Critical) {
  return {std::move(text), icon, PromptButtons::Ok};
}

TEST(StartupTest, DoesEveryStepInOrderAndReadsItsLimit) {
  // A limit that is none counts as a thousand, and none is endless.
  const std::pair<std::optional<std::uint32_t>, std::int32_t> limits[] = {
      {std::nullopt, 1000},   {0, 1000}, {0xFFFFFFFF, 1000}, {0x80000000, 1000}, {1, 1}, {999'999, 999'999},
      {0x7FFFFFFF, 1'000'000}};
  for (const auto& [stored, limit] : limits) {
    FakeConsole console;
    console.Machine.Clock.BiasMinutes = -90;
    if (stored) {
      console.Machine.Registry.PutDword(kManagerKey, kMaxViewTrapsValue, *stored);
    }
    EXPECT_EQ(console.Main(), StartupResult::Running);
    EXPECT_EQ(console.Calls, kWholeStart);
    EXPECT_EQ(console.State.gMaxViewTraps, limit) << stored.value_or(7);
    EXPECT_EQ(console.State.gTimeZoneBias, -5400);
  }
}

TEST(StartupTest, AStepThatFailsShowsItsMessageAndEndsEverything) {
  struct FailingStep {
    std::string LastCall;  // of the whole start
    std::string Message;
    std::function<void(FakeConsole&)> Break;
  };
  const FailingStep steps[] = {
      {"AdministratorsName", "You must have 'Administrator' privileges to run this program.",
       [](FakeConsole& c) {
         c.Machine.Groups.Names = {"users", "Sudo"};
       }},
      {"QueryValue KVInstallPath",
       "Could not retrieve the install path. This could be due to a failed / incomplete install or a corrupt "
       "registry. " +
           kSupport,
       [](FakeConsole& c) { c.Machine.Registry.Remove(kManagerKey, kInstallPathValue); }},
      {"SetCurrentDirectory /opt/korvane",
       "Could not set the 'Working Directory'. This could be due to a failed / incomplete install or a "
       "corrupt registry. " +
           kSupport,
       [](FakeConsole& c) { c.Machine.Directories.Allowed = false; }},
      {"Sockets::Start", "ws2_32.dll is not responding.",
       [](FakeConsole& c) { c.Machine.Sockets.Answer.Started = false; }},
      {"LoadSystems", "Could not read system information from the Database. " + kSupport,
       [](FakeConsole& c) { c.FailingRead = "LoadSystems"; }},
      {"ReloadCategoryInformation", "Could not read category information from the Database. " + kSupport,
       [](FakeConsole& c) { c.FailingRead = "ReloadCategoryInformation"; }},
      {"LoadFilters", "Could not read filter information from the Database. " + kSupport,
       [](FakeConsole& c) { c.FailingRead = "LoadFilters"; }}};
  for (const FailingStep& step : steps) {
    SCOPED_TRACE(step.Message);
    FakeConsole console;
    step.Break(console);
    EXPECT_EQ(console.Main("debug"), StartupResult::Failed);
    CallLog expected(kWholeStart.begin(), std::ranges::find(kWholeStart, step.LastCall) + 1);
    expected.insert(expected.end(), {"Splash::Close", "Show: " + step.Message});
    EXPECT_EQ(console.Calls, expected);
    EXPECT_THAT(console.Prompt.Messages(), ElementsAre(Said(step.Message)));
  }
}

TEST(StartupTest, ASecondCopyBringsTheFirstToTheFrontOrSaysThatItCannotAndEnds) {
  const std::vector<std::pair<std::string, std::function<void(FakeRunningInstance&)>>> ways = {
      {"", [](FakeRunningInstance&) {}},
      {"FindTopLevelWindow Korvane Manager Console ",
       [](FakeRunningInstance& i) { i.WindowTitle = "Korvane Manager Console"; }},
      {"BringToForeground", [](FakeRunningInstance& i) { i.Foreground = false; }},
      {"ShowMaximised", [](FakeRunningInstance& i) { i.Maximised = false; }}};
  for (const auto& [failing, fault] : ways) {
    FakeConsole console;
    console.Machine.Instance.Exists = true;
    console.Machine.Instance.WindowTitle = kTitle;
    fault(console.Machine.Instance);
    EXPECT_EQ(console.Main(), StartupResult::PreviousInstance);
    CallLog expected = {"Splash::Show",      "PreviousInstanceExists",
                        "Splash::Close",     "FindTopLevelWindow Korvane Manager Console ",
                        "BringToForeground", "ShowMaximised"};
    std::vector<ScriptedPrompts::Shown> said;
    if (!failing.empty()) {
      said.push_back(
          Said("You are already running an instance of 'Korvane Manager Console'. Please switch to it "
               "manually as there was an error while trying to switch to the previous instance.",
               PromptIcon::Exclamation));
      expected.erase(std::ranges::find(expected, failing) + 1, expected.end());
      expected.push_back("Show: " + said.front().Text);
    }
    EXPECT_EQ(console.Calls, expected);
    EXPECT_EQ(console.Prompt.Messages(), said);
  }
}

TEST(StartupTest, DebugAnywhereInTheCommandLineSwitchesTheLogOn) {
  const std::pair<std::string, bool> lines[] = {
      {"", false},       {"Debug", true},           {"/dEbUG", true},
      {"de bug", false}, {"--trace xdebugx", true}, {"a b DEBUG c", true}};
  for (const auto& [line, on] : lines) {
    FakeConsole console;
    console.Main(line);
    EXPECT_EQ(console.State.gDebugMode, on) << line;
  }
}

TEST(StartupTest, OneOfTheGroupsMustBearTheAdministratorsName) {
  struct Case {
    std::optional<std::vector<std::string>> Groups;
    std::optional<std::string> Administrators;
    bool Answer;
  };
  std::vector<std::string> inTheLastPlace(501, "users");
  inTheLastPlace.back() = "sudo";
  std::vector<std::string> onePlaceFurther(502, "users");
  onePlaceFurther.back() = "sudo";
  const Case cases[] = {
      {{{"users", "sudo"}}, "sudo", true}, {{{"users"}}, "sudo", false},   {{{"SUDO"}}, "sudo", false},
      {{{"sudoers"}}, "sudo", false},      {std::nullopt, "sudo", false},  {{{}}, "sudo", false},
      {{{"sudo"}}, std::nullopt, false},   {inTheLastPlace, "sudo", true}, {onePlaceFurther, "sudo", false}};
  for (const Case& c : cases) {
    FakeAccountGroups groups;
    groups.Names = c.Groups;
    groups.Administrators = c.Administrators;
    EXPECT_EQ(app::IsUserAdministrator(groups), c.Answer);
  }
}

// Every call of an end at which these questions were asked and these statements carried out.
CallLog WholeEnd(const CallLog& asked, const CallLog& acknowledging) {
  CallLog calls = {"DisableTimers"};
  calls.insert(calls.end(), asked.begin(), asked.end());
  calls.insert(calls.end(),
               {"ShowBusy: Saving New Data", "StopRecvEvents", "SaveSystems", "ShowFree", "unload"});
  calls.insert(calls.end(), acknowledging.begin(), acknowledging.end());
  calls.insert(calls.end(), {"ShowBusy: Unloading...", "SaveSetting MainWindowState=2", "DestroyChildren",
                             "CloseDatabase", "ReleaseLists", "Sockets::Cleanup", "ShowFree"});
  return calls;
}

TEST(ShutdownTest, AcknowledgesWhatIsPendingOnlyWhenTheOperatorSaysSo) {
  const CallLog kAsked = {"Ask: Do you want to acknowledge all traps?"};
  const std::string busy = "ShowBusy: Acknowledging Trap(s)";
  struct Case {
    std::vector<int> Rows;
    PromptAnswer Answer;
    CallLog Calls;
  };
  const Case cases[] = {
      {{}, {}, WholeEnd({}, {})},
      {{0, 0}, {}, WholeEnd({}, {})},
      {{0, 0, 3}, PromptAnswer::No, WholeEnd(kAsked, {busy, "ShowFree"})},
      {{0, 0, 3},
       PromptAnswer::Yes,
       WholeEnd(kAsked,
                {busy, "Execute UPDATE EventTrap SET EventAck = 1 WHERE EventAck = 0 AND EventTime < 1234",
                 "ShowFree"})}};
  for (const Case& c : cases) {
    FakeConsole console;
    console.State.gLastTrapTime = 1234;
    console.TrapsInRows = c.Rows;
    console.Prompt.WillAnswer(c.Answer);
    console.Quit();
    console.Prompt.ForgetScript();
    EXPECT_EQ(console.Calls, c.Calls);
    EXPECT_TRUE(console.State.gShuttingDown);
    const bool pending = c.Rows.size() == 3;
    EXPECT_EQ(console.State.gTrapsPending, pending);
    if (pending) {
      EXPECT_EQ(console.State.gAckAllAnswer, c.Answer == PromptAnswer::Yes ? 6 : 7);
      EXPECT_THAT(console.Prompt.Questions(),
                  ElementsAre(ScriptedPrompts::Shown{"Do you want to acknowledge all traps?",
                                                     PromptIcon::Question, PromptButtons::YesNo}));
    }
  }
}

TEST(ShutdownTest, FailuresAreReportedAndNothingElseIsSkipped) {
  FakeConsole console;
  console.TrapsInRows = {1};
  console.Prompt.WillAnswer(PromptAnswer::Yes);
  console.WritesFail = true;
  console.Machine.Sockets.CleanupError = 10093;
  console.Quit();
  EXPECT_THAT(console.Prompt.Messages(),
              ElementsAre(Said("disk full: SaveSystems"), Said("disk full: Execute"),
                          Said("Socket error 10093 occurred in Cleanup")));
  for (const char* call : {"SaveSetting MainWindowState=2", "CloseDatabase", "ReleaseLists"}) {
    EXPECT_THAT(console.Calls, Contains(call));
  }
  EXPECT_EQ(console.Busy.Depth(), 0);
}

TEST(ShutdownTest, AReceiverThatDoesNotStopIsLoggedInDebugModeOnlyAndALogThatFailsHoldsNothingUp) {
  const auto before = std::filesystem::current_path();
  const std::string line = "\"Could not stop the thread that receives new traps.\"\r\n";
  for (const bool debug : {false, true}) {
    for (const bool writable : {true, false}) {
      const TempFolder folder;
      std::filesystem::current_path(folder.Path());
      if (!writable) {
        std::filesystem::create_directory(folder / "KVConsole.Log");
      }
      FakeConsole console;
      console.State.gDebugMode = debug;
      console.StopAnswer = intake::kReceiverThreadOk + 1;
      console.Quit();
      EXPECT_EQ(console.Calls, WholeEnd({}, {}));
      EXPECT_THAT(console.Prompt.Messages(), IsEmpty());
      if (writable) {
        EXPECT_EQ(ReadFile(folder / "KVConsole.Log"), debug ? line : "");
      }
      std::filesystem::current_path(before);
    }
  }
}

TEST(WindowPlacementTest, WhatIsSavedDependsOnTheState) {
  const std::pair<std::int16_t, CallLog> cases[] = {
      {app::kStateNormal,
       {"SaveSetting MainLeft=-30", "SaveSetting MainTop=1512.5", "SaveSetting MainWidth=19200",
        "SaveSetting MainHeight=60", "SaveSetting MainWindowState=0"}},
      {app::kStateMinimised, {}},
      {app::kStateMaximised, {"SaveSetting MainWindowState=2"}}};
  for (const auto& [state, calls] : cases) {
    FakePlatform machine;
    const app::WindowPlacement placement{
        .Left = -30, .Top = 1512.5F, .Width = 19200, .Height = 60, .State = state};
    app::SavePlacement(machine.Settings, placement);
    EXPECT_EQ(machine.Calls, calls);
    if (state == app::kStateNormal) {
      EXPECT_EQ(app::RestorePlacement(machine.Settings), placement);
    }
  }
}

TEST(WindowPlacementTest, DamagedValuesFallBackToTheirDefaults) {
  FakeSettings settings;
  EXPECT_EQ(app::RestorePlacement(settings), app::WindowPlacement());
  settings.Values = {{"Settings/MainLeft", "12,5"},
                     {"Settings/MainTop", "nan"},
                     {"Settings/MainWidth", ""},
                     {"Settings/MainHeight", "1e99"},
                     {"Settings/MainWindowState", "70000"}};
  EXPECT_EQ(app::RestorePlacement(settings), app::WindowPlacement());
  settings.Values["Settings/MainWindowState"] = "1";
  EXPECT_EQ(app::RestorePlacement(settings).State, app::kStateMinimised);
}

}  // namespace
}  // namespace korvane::test
