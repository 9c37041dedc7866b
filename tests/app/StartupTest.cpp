#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "app/StartupChecks.h"
#include "app/StartupFixture.h"

namespace korvane::test {
namespace {

using app::StartupResult;
using testing::ElementsAre;

const std::string kSupport = "If the problem persists, please contact support at " + SupportContact();

// Every call of a start that goes well.  A failing step cuts this list and puts its message in place.
CallLog WholeStart() {
  return {"Splash::Show",
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
}

TEST(StartupTest, DoesEveryStepInOrder) {
  FakeConsole console;
  console.Machine.Clock.BiasMinutes = -90;
  console.Machine.Registry.PutDword(kManagerKey, kMaxViewTrapsValue, 12);
  EXPECT_EQ(console.Main(), StartupResult::Running);
  EXPECT_EQ(console.Calls(), WholeStart());
  EXPECT_EQ(console.State.gMaxViewTraps, 12);
  EXPECT_EQ(console.State.gTimeZoneBias, -5400);
  EXPECT_FALSE(console.State.gDebugMode);
}

TEST(StartupTest, ALimitThatIsNoneCountsAsAThousandAndNoneIsEndless) {
  const std::pair<std::optional<std::uint32_t>, std::int32_t> limits[] = {
      {std::nullopt, 1000},   {0, 1000}, {0xFFFFFFFF, 1000}, {0x80000000, 1000}, {1, 1}, {999'999, 999'999},
      {0x7FFFFFFF, 1'000'000}};
  for (const auto& [stored, limit] : limits) {
    FakeConsole console;
    console.State.gMaxViewTraps = 5;
    if (stored) {
      console.Machine.Registry.PutDword(kManagerKey, kMaxViewTrapsValue, *stored);
    }
    console.Main();
    EXPECT_EQ(console.State.gMaxViewTraps, limit) << stored.value_or(7);
  }
}

struct FailingStep {
  std::string LastCall;  // of the whole start
  std::string Message;
  std::function<void(FakeConsole&)> Break;
};

TEST(StartupTest, AStepThatFailsShowsItsMessageAndEndsEverything) {
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
       "corrupt "
       "registry. " +
           kSupport,
       [](FakeConsole& c) { c.Machine.Directories.Allowed = false; }},
      {"Sockets::Start", "ws2_32.dll is not responding.",
       [](FakeConsole& c) { c.Machine.Sockets.Answer.Started = false; }},
      {"Sockets::Start", "Windows Sockets version 1.0 is not supported by ws2_32.dll ",
       [](FakeConsole& c) { c.Machine.Sockets.Answer.Version = 0x0001; }},
      {"Sockets::Start", "This application requires a minimum of 1 supported sockets.",
       [](FakeConsole& c) { c.Machine.Sockets.Answer.MaxSockets = 0; }},
      {"LoadSystems", "Could not read system information from the Database. " + kSupport,
       [](FakeConsole& c) { c.Store.FailingRead = "LoadSystems"; }},
      {"ReloadCategoryInformation", "Could not read category information from the Database. " + kSupport,
       [](FakeConsole& c) { c.Store.FailingRead = "ReloadCategoryInformation"; }},
      {"LoadFilters", "Could not read filter information from the Database. " + kSupport,
       [](FakeConsole& c) { c.Store.FailingRead = "LoadFilters"; }}};
  for (const FailingStep& step : steps) {
    SCOPED_TRACE(step.Message);
    FakeConsole console;
    step.Break(console);
    EXPECT_EQ(console.Main("debug"), StartupResult::Failed);

    CallLog expected = WholeStart();
    expected.erase(std::ranges::find(expected, step.LastCall) + 1, expected.end());
    expected.insert(expected.end(), {"Splash::Close", "Show: " + step.Message});
    EXPECT_EQ(console.Calls(), expected);
    EXPECT_THAT(console.Prompt.Messages(),
                ElementsAre(ScriptedPrompts::Shown{step.Message, PromptIcon::Critical, PromptButtons::Ok}));
  }
}

TEST(StartupTest, ASecondCopyBringsTheFirstToTheFrontAndEndsSilently) {
  FakeConsole console;
  console.Machine.Instance.Exists = true;
  console.Machine.Instance.WindowTitle = "Korvane Manager Console ";
  EXPECT_EQ(console.Main(), StartupResult::PreviousInstance);
  EXPECT_THAT(console.Calls(), ElementsAre("Splash::Show", "PreviousInstanceExists", "Splash::Close",
                                           "FindTopLevelWindow Korvane Manager Console ", "BringToForeground",
                                           "ShowMaximised"));
}

TEST(StartupTest, ASecondCopyThatCannotSwitchSaysSoAndStillEnds) {
  const std::function<void(FakeRunningInstance&)> faults[] = {
      [](FakeRunningInstance& i) { i.WindowTitle = "Korvane Manager Console"; },
      [](FakeRunningInstance& i) { i.Foreground = false; },
      [](FakeRunningInstance& i) { i.Maximised = false; }};
  for (const auto& fault : faults) {
    FakeConsole console;
    console.Machine.Instance.Exists = true;
    console.Machine.Instance.WindowTitle = "Korvane Manager Console ";
    fault(console.Machine.Instance);
    EXPECT_EQ(console.Main(), StartupResult::PreviousInstance);
    EXPECT_THAT(console.Prompt.Messages(),
                ElementsAre(ScriptedPrompts::Shown{
                    "You are already running an instance of 'Korvane Manager Console'. Please switch to it "
                    "manually as "
                    "there was an error while trying to switch to the previous instance.",
                    PromptIcon::Exclamation, PromptButtons::Ok}));
    EXPECT_EQ(console.Calls().back().substr(0, 5), "Show:");
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

TEST(PrivilegesTest, OneOfTheGroupsMustBearTheAdministratorsName) {
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

}  // namespace
}  // namespace korvane::test
