// The dialogs of window parameters and filters, driven by keyboard and mouse as an operator would.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QLineEdit>
#include <QTableView>
#include <QTest>
#include <array>
#include <functional>
#include <memory>

#include "params/frmFilters.h"
#include "params/frmNewWindParams.h"
#include "support/FakeLists.h"
#include "support/RulesWorld.h"
#include "support/WindowDriver.h"

namespace korvane::params {
namespace {

using test::Choose;
using test::Click;
using test::Find;
using test::IsEnabled;
using test::TextOf;
using test::Type;
using testing::ElementsAre;

struct FiltersWindowTest : test::RulesWorld, testing::Test {
  FiltersWindowTest() {
    Store.AddDefinition("1.3.6.1.4.1.50", 1, "fanFailed", "Acme");
    Store.AddDefinition("1.3.6.1.4.1.50", 2, "fanBack", "Acme");
  }
  void Open() {
    Dialog = std::make_unique<frmFilters>(ForFilters);
    List = &Find<QTableView>(*Dialog, "lvEvtFilters");
    Tester = std::make_unique<QAbstractItemModelTester>(List->model());
    Activate();
  }
  void Activate() {
    test::ShowActive(*Dialog);
    List->setFocus();
  }
  // Does this in the dialog "Trap Filter" that is opened, and leaves it by OK.
  void InTrapFilter(const std::function<void()>& open, const std::function<void(QDialog&)>& act) {
    test::InDialog(open, [&](QDialog& info) {
      EXPECT_EQ(info.windowTitle(), QStringLiteral("Trap Filter"));
      act(info);
      Click(info, "cmdOK");
    });
    Activate();
  }
  void ChangeSource(const char* button, const char* source) {
    InTrapFilter([&] { Click(*Dialog, button); }, [&](QDialog& info) { Type(info, "txtSource", source); });
  }

  std::unique_ptr<frmFilters> Dialog;
  QTableView* List = nullptr;
  std::unique_ptr<QAbstractItemModelTester> Tester;
};

TEST_F(FiltersWindowTest, AFilterIsAddedEditedAndRemoved) {
  Open();
  EXPECT_TRUE(test::IsShown(*Dialog, "lblEmptyList"));
  EXPECT_FALSE(IsEnabled(*Dialog, "cmdEdit") || IsEnabled(*Dialog, "cmdRemove"));
  test::Press(*Dialog, Qt::Key_Return);
  EXPECT_TRUE(Dialog->isVisible()) << "nothing to edit, nothing to close";
  InTrapFilter([&] { Click(*Dialog, "cmdAdd"); },
               [&](QDialog& info) {
                 Click(info, "cmdOK");
                 EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Information)
                     << "it would hide every trap";
                 EXPECT_FALSE(IsEnabled(info, "cboEnterprise"));
                 Choose(info, "cboGeneric", "enterpriseSpecific");
                 Choose(info, "cboEnterprise", "Acme");
                 Choose(info, "lvTraps", "fanBack");
                 auto& source = Find<QLineEdit>(info, "txtSource");
                 QTest::mouseClick(&source, Qt::LeftButton);
                 EXPECT_TRUE(test::WaitFor([&] { return source.hasSelectedText(); }));
                 QTest::keyClicks(&source, QStringLiteral("router1"));  // takes the place of "-All-"
               });
  EXPECT_THAT(test::Rows(*List), ElementsAre("router1|enterpriseSpecific|Acme|fanBack|-All-"));
  EXPECT_TRUE(IsEnabled(*Dialog, "cmdEdit") && IsEnabled(*Dialog, "cmdRemove")) << "the new row is selected";
  InTrapFilter([&] { test::Press(*Dialog, Qt::Key_Return); },
               [&](QDialog& info) { Type(info, "txtVarBinds", "rpm"); });
  test::InDialog([&] { test::DoubleClick(*List, 0); },
                 [](QDialog& info) {
                   Type(info, "txtVarBinds", "lost");
                   test::Press(info, Qt::Key_Escape);
                 });
  EXPECT_THAT(test::Rows(*List), ElementsAre("router1|enterpriseSpecific|Acme|fanBack|rpm")) << "cancelled";

  Prompt.WillAnswer(PromptAnswer::No);
  Click(*Dialog, "cmdRemove");
  EXPECT_EQ(Prompt.Questions().back(),
            (test::ScriptedPrompts::Shown{"Are you sure you want to remove the selected Trap Filter?",
                                          PromptIcon::Question, PromptButtons::YesNo}));
  EXPECT_EQ(List->model()->rowCount(), 1);
  Prompt.WillAnswer(PromptAnswer::Yes);
  Activate();
  test::Press(*Dialog, Qt::Key_Delete);
  EXPECT_EQ(List->model()->rowCount(), 0);
  EXPECT_FALSE(IsEnabled(*Dialog, "cmdEdit") || IsEnabled(*Dialog, "cmdRemove"));
}

TEST_F(FiltersWindowTest, EveryWayOutSavesAndPassesTheChangeOn) {
  const std::array<std::function<void()>, 3> ways = {[&] { Click(*Dialog, "cmdOK"); },
                                                     [&] { test::Press(*Dialog, Qt::Key_Escape); },
                                                     [&] { Dialog->close(); }};
  int saved = 0;
  for (const auto& leave : ways) {
    Open();
    ChangeSource("cmdAdd", std::to_string(++saved).c_str());
    leave();
    EXPECT_FALSE(Dialog->isVisible());
    EXPECT_THAT(Filters.Filters(), testing::SizeIs(saved));
    EXPECT_EQ(Changes, saved);
  }
}

TEST_F(FiltersWindowTest, AFilterThatCanNotBeSavedKeepsTheDialogOpen) {
  Store.AddFilter({.Source_Agent = "<b>bold\x01"});
  Open();
  EXPECT_EQ(test::Cell(*List, 0, 0), "<b>bold␁");
  ChangeSource("cmdEdit", "o'brien");
  for (const PromptAnswer answer : {PromptAnswer::Cancel, PromptAnswer::No}) {
    Prompt.WillAnswer(answer);
    Dialog->close();
    EXPECT_EQ(Dialog->isVisible(), answer == PromptAnswer::Cancel);
    EXPECT_EQ(Changes, answer == PromptAnswer::Cancel ? 0 : 1);
  }
  EXPECT_EQ(Rows("Trap_Filter_Group"), 1);
}

TEST_F(FiltersWindowTest, RowsAreFoundInAnyOrderOfTheList) {
  for (const char* source : {"b", "c", "a"}) {
    Store.AddFilter({.Source_Agent = source});
  }
  Open();
  test::Press(*Dialog, Qt::Key_1, Qt::ControlModifier);
  EXPECT_THAT(test::Rows(*List, {0}), ElementsAre("a", "b", "c"));
  List->selectRow(1);
  ChangeSource("cmdEdit", "z");
  EXPECT_THAT(test::Rows(*List, {0}), ElementsAre("a", "c", "z"));
  EXPECT_EQ(List->currentIndex().row(), 2) << "the edited row stays selected where it went";
  List->selectRow(0);
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(*Dialog, "cmdRemove");
  EXPECT_THAT(test::Rows(*List, {0}), ElementsAre("c", "z"));
  EXPECT_EQ(Rows("Trap_Filter_Group"), 2);
  EXPECT_TRUE(List->selectionModel()->isRowSelected(0));

  EXPECT_EQ(test::TabOrder(*Dialog, "lvEvtFilters"), "lvEvtFilters cmdAdd cmdEdit cmdRemove cmdOK");
  EXPECT_EQ(TextOf(*Dialog, "cmdOK"), "&Close");
  EXPECT_EQ(test::RepeatedMnemonics(*Dialog), "");
  InTrapFilter([&] { Click(*Dialog, "cmdEdit"); },
               [&](QDialog& info) {
                 Choose(info, "cboGeneric", "enterpriseSpecific");
                 EXPECT_EQ(test::TabOrder(info, "txtSource"),
                           "txtSource cboGeneric cboEnterprise lvTraps txtVarBinds cmdOK cmdCancel");
                 EXPECT_EQ(test::DefaultButton(info), "cmdOK");
                 EXPECT_EQ(test::RepeatedMnemonics(info), "");
               });
}

struct NewWindowTest : testing::Test {
  frmNewWindParams& Open(int mode) {
    Record.Mode = mode;
    Dialog = std::make_unique<frmNewWindParams>(Record, Lists, Prompts);
    test::ShowActive(*Dialog);
    return *Dialog;
  }

  WindowParameters Record;
  test::FakeLists Lists;
  test::ScriptedPrompts Prompts;
  std::unique_ptr<frmNewWindParams> Dialog;
};

TEST_F(NewWindowTest, ACustomWindowIsPutTogetherByKeyboardAndMouse) {
  frmNewWindParams& dialog = Open(kModeNewWindow);
  EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Select Window Parameters"));
  EXPECT_EQ(TextOf(dialog, "freParameters"), "Select View Parameters:");
  EXPECT_TRUE(test::IsChecked(dialog, "optEvtGrp"));
  Type(dialog, "txtWindowName", "Fans");
  Choose(dialog, "cboEvtGrps", "Links");
  Click(dialog, "optCustom");
  EXPECT_FALSE(IsEnabled(dialog, "cboEvtGrps") || IsEnabled(dialog, "cboEnterprise"));
  EXPECT_EQ(TextOf(dialog, "cboEvtGrps"), "-All-");
  Type(dialog, "txtSource", "router1");
  Choose(dialog, "cboGeneric", "enterpriseSpecific");
  Choose(dialog, "cboEnterprise", "Acme");
  Choose(dialog, "lvTraps", "fanBack");
  Choose(dialog, "cboSeverity", "Critical");
  Type(dialog, "txtVarBinds", "speed");
  // One stop for the two options, and none for what is disabled.
  EXPECT_EQ(
      test::TabOrder(dialog, "txtWindowName"),
      "txtWindowName optCustom txtSource cboSeverity cboGeneric cboEnterprise lvTraps txtVarBinds cmdOK "
      "cmdCancel");
  EXPECT_EQ(test::RepeatedMnemonics(dialog), "");
  test::Press(dialog, Qt::Key_Return);  // the default button
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_FALSE(Record.Cancelled);
  EXPECT_EQ(Record.WindowName + "|" + Record.Source + "|" + Record.Enterprise + "|" + Record.TrapName + "|" +
                Record.VarBindsMatch,
            "Fans (Custom View)|router1|Acme|fanBack|speed");
  EXPECT_EQ(Record.Generic, 6);
  EXPECT_EQ(Record.Severity, 5);
}

TEST_F(NewWindowTest, CancelEscapeAndTheCloseBoxLeaveTheRecordAlone) {
  const std::array<std::function<void()>, 3> ways = {[&] { Click(*Dialog, "cmdCancel"); },
                                                     [&] { test::Press(*Dialog, Qt::Key_Escape); },
                                                     [&] { Dialog->close(); }};
  for (const auto& leave : ways) {
    Type(Open(kModeNewWindow), "txtWindowName", "typed");
    leave();
    EXPECT_FALSE(Dialog->isVisible());
    EXPECT_TRUE(Record.Cancelled);
    EXPECT_EQ(Record.WindowName, "");
  }
  Record = {.WindowName = "Fans", .Source = "<b>router1</b>", .Severity = 3, .TrapName = "gone\nTrap"};
  frmNewWindParams& shown = Open(kModeShowParameters);
  EXPECT_EQ(shown.windowTitle(), QStringLiteral("Window Parameters"));
  EXPECT_EQ(TextOf(shown, "freParameters"), "Window Parameters (Read Only):");
  EXPECT_EQ(TextOf(shown, "txtSource"), "<b>router1</b>");
  EXPECT_EQ(TextOf(shown, "cboSeverity"), "Major");
  EXPECT_THAT(test::Rows(Find<QAbstractItemView>(shown, "lvTraps")), ElementsAre("gone␊Trap"));
  for (const char* control : {"txtWindowName", "optEvtGrp", "optCustom", "cboEvtGrps", "txtSource",
                              "cboSeverity", "cboGeneric", "cboEnterprise", "lvTraps", "txtVarBinds"}) {
    EXPECT_FALSE(IsEnabled(shown, control)) << control;
  }
  Click(shown, "cmdOK");
  EXPECT_FALSE(shown.isVisible());
  EXPECT_EQ(Record.WindowName, "Fans");
}

}  // namespace
}  // namespace korvane::params
