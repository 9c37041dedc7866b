#include <gtest/gtest.h>

#include <algorithm>
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

std::string AccessKey(std::string_view caption) {
  const std::size_t mark = caption.find('&');
  return mark == std::string_view::npos ? ""
                                        : std::string(1, static_cast<char>(std::tolower(caption[mark + 1])));
}

TEST(CommandTableTest, EveryCommandIsReachableOnceAndKeysAreUnique) {
  std::multiset<std::string_view> placed(mainwnd::ToolbarButtons().begin(), mainwnd::ToolbarButtons().end());
  std::set<std::string> keys;
  for (const auto& menus : {mainwnd::MenuBar(), mainwnd::PopUpMenus()}) {
    for (const Menu& menu : menus) {
      EXPECT_TRUE(menu.Caption.empty() || keys.insert(AccessKey(menu.Caption)).second) << menu.Caption;
      for (const std::string_view item : menu.Items) {
        if (item.empty()) {
          continue;
        }
        placed.insert(item);
        const std::string_view caption = mainwnd::FindCommand(item)->Caption;
        const std::string key = AccessKey(caption);
        // "&Toolbar" and "&Trap Details" share their key: both captions are fixed.
        EXPECT_TRUE(key.empty() || caption == "&Trap Details" ||
                    keys.insert(std::string(menu.Name) + key).second)
            << caption;
      }
    }
  }
  for (const Command& command : mainwnd::Commands()) {
    EXPECT_EQ(placed.count(command.Name), 1U) << command.Name;
    for (std::string_view rest = command.Shortcuts; !rest.empty();) {
      const std::size_t end = std::min(rest.find("; "), rest.size());
      EXPECT_TRUE(keys.insert(std::string(rest.substr(0, end))).second) << command.Shortcuts;
      rest.remove_prefix(std::min(end + 2, rest.size()));
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
  const std::string listsOnly = "The current active window should be a 'Traps' or 'Report / History' window";
  const Row rows[] = {
      {"mnuFilePrintPreview", lists, "There is no active window from where the traps can be printed.",
       listsOnly + " from where traps will be printed."},
      {"mnuViewWindowProperties", lists, "There is no active window.", listsOnly + "."},
      {"mnuViewTrapDetails", lists,
       "There is no active window from where the selected trap's detail can be shown.",
       listsOnly + " from where selected trap's detail will be shown."},
      {"mnuEditAcknowledge",
       {kTrapsFormName},
       "There is no active window from where the selected traps can be acknowledged / cleared.",
       "The current active window should be a 'Traps' window from where selected traps will be acknowledged "
       "/ "
       "cleared."},
      {"mnuEditRenameWindow", any, "There is no active window that can be renamed.", ""},
      {"mnuWindowClose", any, "There is no active window that can be closed.", ""},
      // Of a window's own pop-up: it can't be reached from elsewhere and says nothing.
      {"mnufrmReportPopUpMenuExport", {kReportFormName}, "", ""}};
  const auto said = [](const std::string& text) {
    return text.empty()
               ? std::vector<ScriptedPrompts::Shown>{}
               : std::vector<ScriptedPrompts::Shown>{{text, PromptIcon::Information, PromptButtons::Ok}};
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.Name);
    OneActiveWindow windows;
    ScriptedPrompts prompts;
    const mainwnd::CommandDispatch dispatch(windows, prompts);
    const Command& command = *mainwnd::FindCommand(row.Name);
    EXPECT_FALSE(dispatch.CheckActiveWindow(command));
    EXPECT_EQ(prompts.Messages(), said(row.NoWindow));
    EXPECT_TRUE(dispatch.CheckActiveWindow(*mainwnd::FindCommand("mnuFileExit"))) << "needs no window";
    for (const std::string_view form : any) {
      prompts.Clear();
      windows.Active = form;
      const bool allowed = row.Allowed.contains(form);
      EXPECT_EQ(dispatch.CheckActiveWindow(command), allowed) << form;
      EXPECT_EQ(prompts.Messages(), said(allowed ? "" : row.WrongKind)) << form;
    }
  }
}

TEST(HelperProgramsTest, StartFromTheirDirectoriesOrSaySo) {
  const std::string compiler = "/opt/kv\\mibc.exe";
  const std::string shared = "C:\\Family Tools\\dvlSupport.exe";
  const std::string local = ".\\dvlSupport.exe";
  struct Case {
    bool Compiler;
    bool DirectoryKnown;
    std::set<std::string> Missing;
    std::vector<std::string> Attempts;
    std::vector<ScriptedPrompts::Shown> Said;
  };
  const ScriptedPrompts::Shown noCompiler = {"Could not start 'Mib Compiler'.", PromptIcon::Exclamation};
  const ScriptedPrompts::Shown address = {"Please email " + SupportContact(), PromptIcon::Information};
  const Case cases[] = {{true, false, {}, {compiler}, {}},
                        {true, false, {compiler}, {compiler}, {noCompiler}},
                        {false, true, {}, {shared}, {}},
                        {false, true, {shared}, {shared, local}, {}},
                        {false, false, {}, {local}, {}},
                        {false, false, {local}, {local}, {address}},
                        {false, true, {shared, local}, {shared, local}, {address}}};
  for (const Case& c : cases) {
    FakeRegistry registry;
    if (c.DirectoryKnown) {
      registry.PutText(kFamilyKey, kLocalRootDirValue, "C:\\Family Tools");
    }
    FakePrograms programs;
    programs.Missing = c.Missing;
    ScriptedPrompts prompts;
    if (c.Compiler) {
      mainwnd::StartMibCompiler("/opt/kv", programs, prompts);
    } else {
      mainwnd::StartSupportTool(registry, programs, prompts);
    }
    std::vector<FakePrograms::Started> attempts;
    for (const std::string& program : c.Attempts) {
      attempts.push_back({program, {}});
    }
    EXPECT_EQ(programs.Attempts, attempts);
    EXPECT_EQ(prompts.Messages(), c.Said);
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
