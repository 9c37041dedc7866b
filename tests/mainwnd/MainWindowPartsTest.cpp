// The parts of the frame: its commands, the places of its windows, the programs that it starts, its busy box.
#include <gtest/gtest.h>

#include <QCloseEvent>
#include <QDialog>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLayout>
#include <QProgressBar>
#include <QTest>
#include <QTimer>
#include <set>
#include <string>
#include <vector>

#include "common/OpenForms.h"
#include "common/RegistryValues.h"
#include "common/qt/QtText.h"
#include "mainwnd/CommandDispatch.h"
#include "mainwnd/CommandTable.h"
#include "mainwnd/FirstPlaces.h"
#include "mainwnd/FrameStrip.h"
#include "mainwnd/HelperPrograms.h"
#include "mainwnd/frmWait.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"
#include "support/WindowDriver.h"

namespace korvane::test {
namespace {

using mainwnd::Command;

TEST(CommandTableTest, EveryCommandIsReachableOnceAndKeysAreUnique) {
  std::multiset<std::string_view> placed(mainwnd::ToolbarButtons().begin(), mainwnd::ToolbarButtons().end());
  for (const auto& menus : {mainwnd::MenuBar(), mainwnd::PopUpMenus()}) {
    for (const mainwnd::Menu& menu : menus) {
      placed.insert(menu.Items.begin(), menu.Items.end());
    }
  }
  placed.erase("");  // separators
  std::set<QKeySequence> keys;
  for (const Command& command : mainwnd::Commands()) {
    EXPECT_EQ(placed.count(command.Name), 1U) << command.Name;
    for (const QKeySequence& key : QKeySequence::listFromString(ToQString(command.Shortcuts))) {
      EXPECT_TRUE(key.isEmpty() || keys.insert(key).second) << command.Shortcuts;
    }
  }
  EXPECT_EQ(placed.size(), mainwnd::Commands().size());
}

struct OneActiveWindow : mainwnd::ChildWindows {
  std::optional<std::string_view> Active;
  std::optional<std::string_view> ActiveFormName() const override { return Active; }
};

TEST(CommandDispatchTest, ACommandRefusesAMissingWindowAndAWrongKindInItsOwnWords) {
  using Forms = std::set<std::string_view>;
  const std::pair<const char*, Forms> rows[] = {
      {"mnuFilePrintPreview", {kTrapsFormName, kReportFormName}},
      {"mnuEditAcknowledge", {kTrapsFormName}},
      {"mnuWindowClose", {kTrapsFormName, kReportFormName, kSystemsFormName}},
      {"mnufrmTrapsPopUpMenuExport", {kTrapsFormName, kReportFormName}}};
  OneActiveWindow windows;
  ScriptedPrompts prompts;
  const mainwnd::CommandDispatch dispatch(windows, prompts);
  for (const auto& [name, allowed] : rows) {
    const Command& command = *mainwnd::FindCommand(name);
    windows.Active.reset();
    EXPECT_FALSE(dispatch.CheckActiveWindow(command)) << name;
    for (const std::string_view form : {kTrapsFormName, kReportFormName, kSystemsFormName}) {
      prompts.Clear();
      windows.Active = form;
      EXPECT_EQ(dispatch.CheckActiveWindow(command), allowed.contains(form)) << name << " " << form;
      EXPECT_EQ(prompts.LastMessage(), allowed.contains(form) ? "" : command.WrongKind) << name;
    }
  }
}

TEST(HelperProgramsTest, StartFromTheirDirectoriesOrSaySo) {
  const std::string shared = "C:\\Family Tools\\dvlSupport.exe";
  const std::string local = ".\\dvlSupport.exe";
  struct Case {
    std::set<std::string> Missing;
    std::vector<FakePrograms::Started> Attempts;
    std::string Said;
  };
  const Case cases[] = {{{}, {{shared, {}}}, ""},
                        {{shared}, {{shared, {}}, {local, {}}}, ""},
                        {{shared, local}, {{shared, {}}, {local, {}}}, "Please email " + SupportContact()}};
  for (const Case& c : cases) {
    FakePlatform machine;
    machine.Registry.PutText(kFamilyKey, kLocalRootDirValue, "C:\\Family Tools");
    machine.Programs.Missing = c.Missing;
    ScriptedPrompts prompts;
    mainwnd::StartSupportTool(machine.Registry, machine.Programs, prompts);
    EXPECT_EQ(machine.Programs.Attempts, c.Attempts);
    EXPECT_EQ(prompts.LastMessage(), c.Said);
  }
}

TEST(FirstPlacesTest, WhatWasSavedComesBackAndDamageDoesNot) {
  const mainwnd::FirstPlaces places = {
      {{.Left = -120, .Top = 0, .Right = 5000, .Bottom = 10000}, {.Left = 5000, .Right = 10400}}};
  EXPECT_EQ(mainwnd::PlacesFromText(mainwnd::ToText(places)), places);
  for (const char* damaged : {"", "0 0 10000 3800 0 3800 10000", "0 0 10000 3800 0 3800 10000 10000 1",
                              "0 0 10000 3800 0 9900 10000 19000", "0 -4000 10000 3800 0 3800 10000 10000",
                              "0 0 99999999999 3800 0 3800 10000 10000", "a b c d e f g h"}) {
    EXPECT_EQ(mainwnd::PlacesFromText(damaged), std::nullopt) << damaged;
  }
}

TEST(FrameStripTest, SaysWhatIsSoUntilItIsOverAndWhatHappenedForAWhile) {
  FakeClock clock;
  ProcessState state;
  Log log{state};
  StripLines lines{clock, log};
  int undone = 0;
  mainwnd::FrameStrip strip;
  strip.Follow(lines, clock);
  strip.resize(800, 40);
  strip.show();
  const int calm = strip.sizeHint().height();
  const auto said = [&strip] {
    std::string all;
    for (const char* name : {"lblStoreAway", "lblReceiverSilent", "lblElsewhere", "lblTold"}) {
      all += IsShown(strip, name) ? TextOf(strip, name) + "|" : "";
    }
    return all;
  };
  const auto tell = [&] {
    lines.Tell("12 traps acknowledged", "Undo", [&] { ++undone, lines.Clear(StripKind::Told); });
  };
  tell();
  EXPECT_EQ(strip.layout()->totalHeightForWidth(800), calm) << "nothing above it moves";
  lines.Set(StripKind::StoreAway, {.Text = "The store <is> away.", .Icon = PromptIcon::Critical});
  EXPECT_EQ(said(), "The store <is> away.|12 traps acknowledged|");
  Click(strip, "cmdTold");
  EXPECT_EQ(undone, 1);
  EXPECT_EQ(said(), "The store <is> away.|");
  tell();
  clock.Advance(StripLines::kToldFor);
  lines.Clear(StripKind::StoreAway);  // whatever changes, what is over is not shown again
  EXPECT_EQ(said(), "");
  EXPECT_EQ(lines.NextEnd(), std::nullopt);
}

struct frmWaitTest : testing::Test {
  frmWaitTest() {
    Frame.resize(800, 600);
    Frame.show();
    QTest::qWait(0);
  }
  QWidget Frame;
  mainwnd::frmWait Wait{&Frame};
};

TEST_F(frmWaitTest, ShowsTheInnermostTextAndItsProgressAndLetsNothingElseHappen) {
  bool other = false;
  QTimer::singleShot(0, &Frame, [&] { other = true; });
  const auto& bar = Find<QProgressBar>(Wait, "prgWait");
  Wait.ShowBusy("Loading Trap(s)");
  Wait.ShowProgress(2500, 10000);
  EXPECT_TRUE(bar.isVisible());
  EXPECT_EQ(bar.value() * 4, bar.maximum());
  Wait.ShowBusy("Acknowledging <all> Trap(s)");
  EXPECT_EQ(TextOf(Wait, "lblInfo"), "Acknowledging <all> Trap(s)");
  EXPECT_FALSE(bar.isVisible()) << "the progress was the outer work's";
  Wait.ShowFree();
  EXPECT_EQ(TextOf(Wait, "lblInfo"), "Loading Trap(s)");
  EXPECT_TRUE(Wait.IsBusy());
  Wait.ShowFree();
  Wait.ShowFree();
  EXPECT_FALSE(Wait.isVisible() || Wait.IsBusy());
  EXPECT_FALSE(other);
}

TEST_F(frmWaitTest, TheCloseOfADialogDoesNotReachTheMiddleOfAWork) {
  QDialog dialog(&Frame);
  dialog.show();
  Wait.ShowBusy("Loading Trap(s)");
  QTest::qSleep(50);
  QCoreApplication::postEvent(dialog.windowHandle(), new QCloseEvent);
  QCoreApplication::postEvent(&dialog, new QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier));
  EXPECT_TRUE(Wait.GoOn()) << "there is no Stop";
  EXPECT_TRUE(dialog.isVisible());
}

TEST_F(frmWaitTest, WorkThatBlocksNothingShowsInTheCornerAndCanBeStopped) {
  std::unique_ptr<WorkInProgress> first = Wait.ShowWork("Loading Trap(s)", [&] { first.reset(); });
  std::unique_ptr<WorkInProgress> second = Wait.ShowWork("Loading Trap(s)", [] {});
  EXPECT_FALSE(Wait.IsBusy());
  const auto& cards = Find<QFrame>(Frame, "fraWorks");
  Frame.resize(700, 500);
  QTest::qWait(0);
  EXPECT_TRUE(Frame.rect().contains(cards.geometry()));
  Click(cards, "cmdStop");
  EXPECT_EQ(first, nullptr);
  EXPECT_TRUE(cards.isVisible()) << "the other one goes on";
  second.reset();
  EXPECT_FALSE(cards.isVisible());
}

}  // namespace
}  // namespace korvane::test
