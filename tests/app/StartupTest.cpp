// The start and the end of the console, step by step.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "ConsoleFakes.h"
#include "app/StartupChecks.h"

namespace korvane::test {
namespace {

using app::StartupResult;
using testing::Contains;
using testing::ElementsAre;

const std::string kSupport = "If the problem persists, please contact support at " + SupportContact();

// Every call of a start that goes well.  A failing step cuts this list and puts its message in place.
const std::string kWholeStart =
    "Splash::Show; PreviousInstanceExists; GroupNames; AdministratorsName; QueryValue KVInstallPath; "
    "SetCurrentDirectory /opt/korvane; CreateMainWindow /opt/korvane; SetPlacement; "
    "SetCaption [Korvane Manager Console ]; QueryValue MaxViewTraps; Sockets::Start; OpenDatabase; "
    "LoadSystems; "
    "ReloadCategoryInformation; LoadFilters; Splash::Close; MainWindow::Show";

std::string CallsOf(const FakeConsole& console) {
  return fmt::to_string(fmt::join(console.Calls, "; "));
}

ScriptedPrompts::Shown Said(std::string text) {
  return {std::move(text), PromptIcon::Critical, PromptButtons::Ok};
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
    EXPECT_EQ(console.State.gMaxViewTraps, limit) << stored.value_or(7);
    EXPECT_EQ(console.State.gTimeZoneBias, -5400);
    EXPECT_TRUE(console.State.gDebugMode);
  }
}

TEST(StartupTest, AStepThatFailsShowsItsMessageAndEndsEverything) {
  struct FailingStep {
    std::string LastCall;  // of the whole start
    std::string Message;
    std::function<void(FakeConsole&)> Break;  // empty: it can't be read
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
      {"LoadSystems", "Could not read system information from the Database. " + kSupport, {}},
      {"ReloadCategoryInformation", "Could not read category information from the Database. " + kSupport, {}},
      {"LoadFilters", "Could not read filter information from the Database. " + kSupport, {}}};
  for (const FailingStep& step : steps) {
    FakeConsole console;
    if (step.Break) {
      step.Break(console);
    } else {
      console.FailingRead = step.LastCall;
    }
    EXPECT_EQ(console.Main(), StartupResult::Failed);
    const std::size_t end = kWholeStart.find(step.LastCall) + step.LastCall.size();
    EXPECT_EQ(CallsOf(console), kWholeStart.substr(0, end) + "; Splash::Close; Show: " + step.Message);
    EXPECT_THAT(console.Prompt.Messages(), ElementsAre(Said(step.Message)));
    EXPECT_FALSE(console.State.gDebugMode);
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

TEST(ShutdownTest, AcknowledgesWhatIsPendingOnlyWhenTheOperatorSaysSo) {
  struct Case {
    std::vector<int> Rows;
    PromptAnswer Answer;
    std::string Asked;
    std::string Acknowledging;
  };
  const std::string asked = "Ask: Do you want to acknowledge all traps?; ";
  const std::string busy = "ShowBusy: Acknowledging Trap(s); ";
  const std::string execute =
      "Execute UPDATE EventTrap SET EventAck = 1 WHERE EventAck = 0 AND EventTime < 1234; ";
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
    EXPECT_TRUE(console.State.gShuttingDown);
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

TEST(WindowPlacementTest, DamagedValuesFallBackToTheirDefaults) {
  FakeSettings settings;
  settings.Values = {{"Settings/MainTop", "nan"}, {"Settings/MainHeight", "1e99"}};
  EXPECT_EQ(app::RestorePlacement(settings), app::WindowPlacement());
}

}  // namespace
}  // namespace korvane::test
