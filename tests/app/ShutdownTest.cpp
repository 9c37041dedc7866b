#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "app/StartupFixture.h"

namespace korvane::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const std::string kQuestion = "Ask: Do you want to acknowledge all traps?";
const std::string kStatement =
    "Execute UPDATE EventTrap SET EventAck = 1 WHERE EventAck = 0 AND EventTime < 1234";

CallLog Unloading() {
  return {"ShowBusy: Unloading...",
          "SaveSetting MainWindowState=2",
          "DestroyChildren",
          "CloseDatabase",
          "ReleaseLists",
          "Sockets::Cleanup",
          "ShowFree"};
}

CallLog Joined(CallLog first, const CallLog& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(ShutdownTest, WithNothingPendingNothingIsAskedOrAcknowledged) {
  for (const std::vector<int>& rows : {std::vector<int>{}, std::vector<int>{0, 0}}) {
    FakeConsole console;
    console.Systems.Rows = rows;
    console.Close();
    EXPECT_TRUE(console.State.gShuttingDown);
    EXPECT_FALSE(console.State.gTrapsPending);
    EXPECT_EQ(console.Calls(), Joined({"DisableTimers", "ShowBusy: Saving New Data", "StopRecvEvents",
                                       "SaveSystems", "ShowFree", "unload"},
                                      Unloading()));
  }
}

TEST(ShutdownTest, PendingTrapsAreAcknowledgedOnlyWhenTheOperatorSaysSo) {
  for (const PromptAnswer answer : {PromptAnswer::Yes, PromptAnswer::No}) {
    FakeConsole console;
    console.State.gLastTrapTime = 1234;
    console.Systems.Rows = {0, 0, 3};
    console.Prompt.WillAnswer(answer);
    console.Close();

    CallLog expected = {
        "DisableTimers", kQuestion, "ShowBusy: Saving New Data",      "StopRecvEvents", "SaveSystems",
        "ShowFree",      "unload",  "ShowBusy: Acknowledging Trap(s)"};
    if (answer == PromptAnswer::Yes) {
      expected.push_back(kStatement);
    }
    expected.emplace_back("ShowFree");
    EXPECT_EQ(console.Calls(), Joined(expected, Unloading()));
    EXPECT_EQ(console.State.gAckAllAnswer, answer == PromptAnswer::Yes ? 6 : 7);
    EXPECT_EQ(console.Prompt.Questions().front().Buttons, PromptButtons::YesNo);
    EXPECT_EQ(console.Prompt.Questions().front().Icon, PromptIcon::Question);
  }
}

TEST(ShutdownTest, FailuresAreReportedAndNothingElseIsSkipped) {
  FakeConsole console;
  console.Systems.Rows = {1};
  console.Prompt.WillAnswer(PromptAnswer::Yes);
  console.Store.WritesFail = true;
  console.Machine.Sockets.CleanupError = 10093;
  console.Close();
  EXPECT_THAT(
      console.Prompt.Messages(),
      ElementsAre(ScriptedPrompts::Shown{"disk full: SaveSystems", PromptIcon::Critical, PromptButtons::Ok},
                  ScriptedPrompts::Shown{"disk full: Execute", PromptIcon::Critical, PromptButtons::Ok},
                  ScriptedPrompts::Shown{"Socket error 10093 occurred in Cleanup", PromptIcon::Critical,
                                         PromptButtons::Ok}));
  for (const char* call : {"SaveSetting MainWindowState=2", "CloseDatabase", "ReleaseLists"}) {
    EXPECT_THAT(console.Calls(), Contains(call));
  }
  EXPECT_EQ(console.Busy.Depth(), 0);
}

TEST(ShutdownTest, AReceiverThatDoesNotStopIsLoggedInDebugModeOnly) {
  const auto before = std::filesystem::current_path();
  for (const bool debug : {false, true}) {
    const TempFolder folder;
    std::filesystem::current_path(folder.Path());
    FakeConsole console;
    console.State.gDebugMode = debug;
    console.Library.StopAnswer = 1;
    console.Close();
    EXPECT_THAT(console.Prompt.Messages(), IsEmpty());
    EXPECT_THAT(console.Calls(), Contains("SaveSystems"));
    std::ostringstream text;
    text << std::ifstream(folder / "KVConsole.Log").rdbuf();
    EXPECT_EQ(text.str(), debug ? "\"Could not stop the thread that receives new traps.\"\r\n" : "");
    std::filesystem::current_path(before);
  }
}

TEST(ShutdownTest, ALogThatCannotBeWrittenDoesNotKeepTheConsoleOpen) {
  const TempFolder folder;
  const auto before = std::filesystem::current_path();
  std::filesystem::create_directory(folder / "KVConsole.Log");
  std::filesystem::current_path(folder.Path());
  FakeConsole console;
  console.State.gDebugMode = true;
  console.Library.StopAnswer = 0;
  console.Close();
  std::filesystem::current_path(before);
  EXPECT_THAT(console.Calls(), Contains("SaveSystems"));
  EXPECT_THAT(console.Calls(), Contains("CloseDatabase"));
}

TEST(WindowPlacementTest, WhatIsSavedDependsOnTheState) {
  const app::WindowPlacement placed{.Left = -30, .Top = 1512.5F, .Width = 19200, .Height = 60};
  const std::pair<std::int16_t, CallLog> cases[] = {
      {app::kStateNormal,
       {"SaveSetting MainLeft=-30", "SaveSetting MainTop=1512.5", "SaveSetting MainWidth=19200",
        "SaveSetting MainHeight=60", "SaveSetting MainWindowState=0"}},
      {app::kStateMinimised, {}},
      {app::kStateMaximised, {"SaveSetting MainWindowState=2"}}};
  for (const auto& [state, calls] : cases) {
    FakeSettings settings;
    CallLog log;
    settings.Calls = &log;
    app::WindowPlacement placement = placed;
    placement.State = state;
    app::SavePlacement(settings, placement);
    EXPECT_THAT(log, ElementsAreArray(calls));
    if (state == app::kStateNormal) {
      EXPECT_EQ(app::RestorePlacement(settings), placement);
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
