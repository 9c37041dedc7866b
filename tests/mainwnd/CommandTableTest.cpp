#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/OpenForms.h"
#include "common/RegistryValues.h"
#include "mainwnd/CommandDispatch.h"
#include "mainwnd/CommandTable.h"
#include "mainwnd/FirstPlaces.h"
#include "mainwnd/HelperPrograms.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"

namespace korvane::test {
namespace {

using mainwnd::Action;
using mainwnd::ActiveWindow;
using mainwnd::Command;
using mainwnd::Menu;
using testing::ElementsAre;
using testing::IsEmpty;

// "&File: &New Window | ..." with a bar for a separator.
std::string Outline(const Menu& menu) {
  std::string text(menu.Caption);
  for (const std::string_view item : menu.Items) {
    text += item.empty() ? "; |" : "; " + std::string(mainwnd::FindCommand(item)->Caption);
  }
  return text;
}

std::vector<std::string> Outlines(std::span<const Menu> menus) {
  std::vector<std::string> texts;
  for (const Menu& menu : menus) {
    texts.push_back(Outline(menu));
  }
  return texts;
}

std::string AccessKey(std::string_view caption) {
  const std::size_t mark = caption.find('&');
  return mark == std::string_view::npos ? ""
                                        : std::string(1, static_cast<char>(std::tolower(caption[mark + 1])));
}

TEST(CommandTableTest, MenusStandAsTheOperatorKnowsThem) {
  EXPECT_THAT(
      Outlines(mainwnd::MenuBar()),
      ElementsAre("&File; &New Window; |; &Print Preview; |; E&xit",
                  "&Edit; Re&name Window; |; Clear / &Acknowledge Trap(s)",
                  "&View; &Toolbar; |; &Trap Details; &Window Properties",
                  "&Options; &Filters; &Alerts; |; &Configuration",
                  "&Reports; &Report / History; |; &Categories; |; &Export Categories; &Import Categories",
                  "&Tools; Mib &Compiler",
                  "&Window; &New Window; |; Ca&scade; Tile &Horizontal; Tile &Vertical; |; &Close; "
                  "Close &All",
                  "&Help; &Contents; &Support; |; &About"));
  EXPECT_THAT(Outlines(mainwnd::PopUpMenus()),
              ElementsAre("; Trap Details; Clear / Acknowledge Trap(s); Window Properties",
                          "; Find...; Copy; Select All; |; Export to CSV...",
                          "; View Traps; Clear / Acknowledge Trap(s)"));
  std::vector<std::string> buttons;
  for (const std::string_view name : mainwnd::ToolbarButtons()) {
    buttons.emplace_back(mainwnd::FindCommand(name)->Caption);
  }
  EXPECT_THAT(buttons, ElementsAre("Trap Details", "Trap Categories", "Alerts", "Filters", "Report", "Help"));
}

TEST(CommandTableTest, EveryCommandIsReachableOnceAndKeysAreUnique) {
  std::multiset<std::string_view> placed(mainwnd::ToolbarButtons().begin(), mainwnd::ToolbarButtons().end());
  std::set<std::string> barKeys;
  for (const Menu& menu : mainwnd::MenuBar()) {
    EXPECT_TRUE(barKeys.insert(AccessKey(menu.Caption)).second) << menu.Caption;
  }
  for (const auto& menus : {mainwnd::MenuBar(), mainwnd::PopUpMenus()}) {
    for (const Menu& menu : menus) {
      std::set<std::string> keys;
      for (const std::string_view item : menu.Items) {
        if (item.empty()) {
          continue;
        }
        placed.insert(item);
        const std::string_view caption = mainwnd::FindCommand(item)->Caption;
        // "&Toolbar" and "&Trap Details" share their key: both captions are fixed.
        if (!AccessKey(caption).empty() && caption != "&Trap Details") {
          EXPECT_TRUE(keys.insert(AccessKey(caption)).second) << menu.Caption << " " << caption;
        }
      }
    }
  }
  std::set<std::string> shortcuts;
  for (const Command& command : mainwnd::Commands()) {
    EXPECT_EQ(placed.count(command.Name), 1U) << command.Name;
    for (std::string_view rest = command.Shortcuts; !rest.empty();) {
      const std::size_t end = rest.find("; ");
      EXPECT_TRUE(shortcuts.insert(std::string(rest.substr(0, end))).second) << command.Shortcuts;
      rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 2);
    }
  }
  EXPECT_EQ(placed.size(), mainwnd::Commands().size());
}

TEST(CommandTableTest, TheSameActionNeedsTheSameWindowEverywhere) {
  std::map<Action, const Command*> first;
  for (const Command& command : mainwnd::Commands()) {
    const Command& other = *first.emplace(command.Do, &command).first->second;
    EXPECT_EQ(command.Needs, other.Needs) << command.Name;
    EXPECT_EQ(command.NoWindow, other.NoWindow) << command.Name;
    EXPECT_EQ(command.WrongKind, other.WrongKind) << command.Name;
  }
}

struct OneActiveWindow : mainwnd::ChildWindows {
  std::optional<std::string_view> Active;
  std::optional<std::string_view> ActiveFormName() const override { return Active; }
};

TEST(CommandDispatchTest, ACommandRefusesAMissingWindowAndAWrongKindInItsOwnWords) {
  struct Row {
    std::string_view Name;
    std::set<std::string_view> Allowed;
    std::string NoWindow;
    std::string WrongKind;
  };
  const std::set<std::string_view> any = {kTrapsFormName, kReportFormName, kSystemsFormName};
  const std::set<std::string_view> lists = {kTrapsFormName, kReportFormName};
  const std::string details = "There is no active window from where the selected trap's detail can be shown.";
  const std::string detailsKind =
      "The current active window should be a 'Traps' or 'Report / History' window from where selected trap's "
      "detail will be shown.";
  const std::string ack =
      "There is no active window from where the selected traps can be acknowledged / cleared.";
  const std::string ackKind =
      "The current active window should be a 'Traps' window from where selected traps will be acknowledged / "
      "cleared.";
  const std::string kind = "The current active window should be a 'Traps' or 'Report / History' window.";
  const Row rows[] = {
      {"mnuFilePrintPreview", lists, "There is no active window from where the traps can be printed.",
       "The current active window should be a 'Traps' or 'Report / History' window from where traps will be "
       "printed."},
      {"mnuViewWindowProperties", lists, "There is no active window.", kind},
      {"mnufrmTrapsPopUpMenuWindowProperties", lists, "There is no active window.", kind},
      {"mnuViewTrapDetails", lists, details, detailsKind},
      {"mnufrmTrapsPopUpMenuTrapDetails", lists, details, detailsKind},
      {"tbTrapDetails", lists, details, detailsKind},
      {"mnuEditAcknowledge", {kTrapsFormName}, ack, ackKind},
      {"mnufrmTrapsPopUpMenuAcknowledge", {kTrapsFormName}, ack, ackKind},
      {"mnuEditRenameWindow", any, "There is no active window that can be renamed.", ""},
      {"mnuWindowClose", any, "There is no active window that can be closed.", ""}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.Name);
    OneActiveWindow windows;
    ScriptedPrompts prompts;
    const mainwnd::CommandDispatch dispatch(windows, prompts);
    const Command& command = *mainwnd::FindCommand(row.Name);
    EXPECT_FALSE(dispatch.CheckActiveWindow(command));
    EXPECT_THAT(prompts.Messages(), ElementsAre(ScriptedPrompts::Shown{row.NoWindow, PromptIcon::Information,
                                                                       PromptButtons::Ok}));
    for (const std::string_view form : any) {
      prompts.Clear();
      windows.Active = form;
      EXPECT_EQ(dispatch.CheckActiveWindow(command), row.Allowed.contains(form)) << form;
      if (row.Allowed.contains(form)) {
        EXPECT_THAT(prompts.Messages(), IsEmpty());
      } else {
        EXPECT_THAT(prompts.Messages(), ElementsAre(ScriptedPrompts::Shown{
                                            row.WrongKind, PromptIcon::Information, PromptButtons::Ok}));
      }
    }
  }
}

TEST(CommandDispatchTest, ACommandOfTheFrameNeedsNoChildWindow) {
  OneActiveWindow windows;
  ScriptedPrompts prompts;
  EXPECT_TRUE(
      mainwnd::CommandDispatch(windows, prompts).CheckActiveWindow(*mainwnd::FindCommand("mnuFileExit")));
  EXPECT_THAT(prompts.Messages(), IsEmpty());
}

TEST(HelperProgramsTest, TheMibCompilerStartsFromTheInstallDirectory) {
  FakePrograms programs;
  ScriptedPrompts prompts;
  mainwnd::StartMibCompiler("/opt/kv", programs, prompts);
  EXPECT_THAT(programs.Attempts, ElementsAre(FakePrograms::Started{"/opt/kv\\mibc.exe", {}}));
  EXPECT_THAT(prompts.Messages(), IsEmpty());
  programs.Missing = {"/opt/kv\\mibc.exe"};
  mainwnd::StartMibCompiler("/opt/kv", programs, prompts);
  EXPECT_THAT(prompts.Messages(),
              ElementsAre(ScriptedPrompts::Shown{"Could not start 'Mib Compiler'.", PromptIcon::Exclamation,
                                                 PromptButtons::Ok}));
}

TEST(HelperProgramsTest, TheSupportToolFallsBackToTheWorkingDirectoryAndThenToTheAddress) {
  const FakePrograms::Started shared{"C:\\Family Tools\\dvlSupport.exe", {}};
  const FakePrograms::Started local{".\\dvlSupport.exe", {}};
  struct Case {
    bool DirectoryKnown;
    std::set<std::string> Missing;
    std::vector<FakePrograms::Started> Attempts;
    bool Message;
  };
  const Case cases[] = {{true, {}, {shared}, false},
                        {true, {shared.Program}, {shared, local}, false},
                        {false, {}, {local}, false},
                        {false, {local.Program}, {local}, true},
                        {true, {shared.Program, local.Program}, {shared, local}, true}};
  for (const Case& c : cases) {
    FakeRegistry registry;
    if (c.DirectoryKnown) {
      registry.PutText(kFamilyKey, kLocalRootDirValue, "C:\\Family Tools");
    }
    FakePrograms programs;
    programs.Missing = c.Missing;
    ScriptedPrompts prompts;
    mainwnd::StartSupportTool(registry, programs, prompts);
    EXPECT_EQ(programs.Attempts, c.Attempts);
    if (c.Message) {
      EXPECT_THAT(prompts.Messages(),
                  ElementsAre(ScriptedPrompts::Shown{"Please email " + SupportContact(),
                                                     PromptIcon::Information, PromptButtons::Ok}));
    } else {
      EXPECT_THAT(prompts.Messages(), IsEmpty());
    }
  }
}

TEST(FirstPlacesTest, WhatWasSavedComesBackAndDamageDoesNot) {
  const mainwnd::FirstPlaces places = {
      {{.Left = -120, .Top = 0, .Right = 5000, .Bottom = 10000}, {.Left = 5000, .Right = 10400}}};
  EXPECT_EQ(mainwnd::PlacesFromText(mainwnd::ToText(places)), places);
  EXPECT_EQ(mainwnd::PlacesFromText(mainwnd::ToText(mainwnd::kFreshPlaces)), mainwnd::kFreshPlaces);
  for (const char* damaged :
       {"", "0 0 10000 3800", "0 0 10000 3800 0 3800 10000", "0 0 10000 3800 0 3800 10000 10000 1",
        "0 0 10000 3800 0 9900 10000 19000", "0 -4000 10000 3800 0 3800 10000 10000",
        "5000 0 0 3800 0 3800 10000 10000", "0 0 99999999999 3800 0 3800 10000 10000", "a b c d e f g h"}) {
    EXPECT_EQ(mainwnd::PlacesFromText(damaged), std::nullopt) << damaged;
  }
}

}  // namespace
}  // namespace korvane::test
