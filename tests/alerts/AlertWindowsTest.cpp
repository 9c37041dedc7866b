// The windows of alerts, driven by keyboard and mouse as an operator would, over a real store.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QMenu>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <optional>
#include <string>

#include "alerts/frmActions.h"
#include "alerts/frmAlerts.h"
#include "common/RegistryValues.h"
#include "support/RulesWorld.h"
#include "support/WindowDriver.h"

namespace korvane::alerts {
namespace {

using test::Click;
using test::Find;
using test::IsEnabled;
using test::TextOf;
using test::Type;
using testing::ElementsAre;
using testing::IsEmpty;

struct AlertWindowsTest : test::RulesWorld, testing::Test {};

TEST_F(AlertWindowsTest, AnOperatorAddsEditsAndRemovesAnAlert) {
  Platform.Registry.AddKey(kManagerKey);
  frmAlerts window(ForAlerts);
  test::ShowActive(window);
  auto& list = Find<QTableView>(window, "lvAlerts");
  EXPECT_FALSE(IsEnabled(window, "cmdEdit"));
  test::InDialog([&] { Click(window, "cmdAdd"); },
                 [&](QDialog& dialog) {
                   EXPECT_EQ(test::RepeatedMnemonics(dialog), "");
                   EXPECT_FALSE(IsEnabled(dialog, "cmdEdit"));
                   Click(dialog, "cmdOK");
                   EXPECT_EQ(Prompt.LastMessage(), "Alert description should not be empty.");
                   Type(dialog, "txtAlertDesc", "Line down");
                   test::Choose(dialog, "cboGeneric", "linkDown");
                   EXPECT_FALSE(IsEnabled(dialog, "cboEnterprise"));
                   test::InDialog([&] { Click(dialog, "chkBeep"); },
                                  [](QDialog& actions) { test::Press(actions, Qt::Key_Escape); });
                   EXPECT_FALSE(test::IsChecked(dialog, "chkBeep")) << "cancelled";
                   test::InDialog([&] { Click(dialog, "chkMsg"); },
                                  [](QDialog& actions) {
                                    Type(actions, "cboMsgDest", "pc1");
                                    Click(actions, "cmdOK");
                                  });
                   EXPECT_TRUE(test::IsChecked(dialog, "chkMsg"));
                   EXPECT_TRUE(IsEnabled(dialog, "cmdEdit"));
                   // What is refused stays as it was entered.
                   Type(dialog, "txtVarBinds", "it's");
                   Click(dialog, "cmdOK");
                   EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Critical);
                   EXPECT_EQ(TextOf(dialog, "txtVarBinds"), "it's");
                   Type(dialog, "txtVarBinds", "its");
                   test::Press(dialog, Qt::Key_Return);
                 });
  EXPECT_THAT(test::Rows(list), ElementsAre("Line down|No|No|Yes|No"));
  test::InDialog([&] { Click(window, "cmdAdd"); },
                 [&](QDialog& dialog) {
                   Type(dialog, "txtAlertDesc", "Line down");
                   Click(dialog, "cmdOK");
                   EXPECT_EQ(Prompt.LastMessage(),
                             "Alert description is not unique. An alert with the same name exists. Please "
                             "modify alert description.");
                   test::Press(dialog, Qt::Key_Escape);
                 });
  test::InDialog([&] { Find<QAction>(window, "mnuCustom").trigger(); },
                 [](QDialog& actions) {
                   Type(actions, "cboCustom", "/opt/tool");
                   Click(actions, "cmdOK");
                 });
  EXPECT_THAT(test::Rows(list), ElementsAre("Line down|No|No|Yes|Yes"));
  test::ShowActive(window);
  list.setFocus();
  list.setCurrentIndex(list.model()->index(0, 4));
  QTest::keyClick(&list, Qt::Key_Delete);
  EXPECT_THAT(test::Rows(list), ElementsAre("Line down|No|No|Yes|No"));

  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(window, "cmdRemove");
  EXPECT_THAT(test::Rows(list), IsEmpty());
  EXPECT_EQ(Platform.Registry.Dword(kManagerKey, kActionUpdateValue), std::nullopt) << "told on closing";
  test::Press(window, Qt::Key_Escape);
  EXPECT_FALSE(window.isVisible());
  EXPECT_EQ(Platform.Registry.Dword(kManagerKey, kActionUpdateValue), 1U);
}

TEST_F(AlertWindowsTest, ActionsAreCheckedTabByTabAndSavedTogether) {
  frmActions dialog(ForAlerts);
  dialog.AddBeepTab(1);
  dialog.AddEmailTab(1);
  dialog.AddMessageTab(1);
  dialog.AddCustomTab(1);
  test::ShowActive(dialog);
  auto& tabs = Find<QTabWidget>(dialog, "tabActions");
  ASSERT_EQ(tabs.count(), 4);
  EXPECT_EQ(test::TabOrder(dialog, "txtBeepDesc"),
            "txtBeepDesc txtBeepCount txtDuration txtDelay txtFreq cmdOK cmdCancel qt_tabwidget_tabbar");
  const auto expectRefusal = [&](const char* text, int tab) {
    tabs.setCurrentIndex(0);
    Click(dialog, "cmdOK");
    EXPECT_EQ(Prompt.LastMessage(), text);
    EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Information);
    EXPECT_EQ(tabs.currentIndex(), tab) << text;
  };
  expectRefusal("Beep description should not be empty.", 0);
  Type(dialog, "txtBeepDesc", "three short ones");
  Type(dialog, "txtBeepCount", "3x-1");
  EXPECT_EQ(TextOf(dialog, "txtBeepCount"), "31") << "digits only";
  Type(dialog, "txtDelay", "0");
  EXPECT_EQ(TextOf(dialog, "cboSMTPServer"), "mail.example.net") << "the machine's own";
  EXPECT_EQ(TextOf(dialog, "txtEmailFrom"), "Korvane@example.net");
  EXPECT_EQ(TextOf(dialog, "txtSubject"), "Korvane");
  for (const auto& [field, text, refusal] :
       {std::tuple("cboSMTPServer", "smtp", "SMTP Server address should not be empty."),
        std::tuple("cboEmailTo", "ops@example.net", "Destination Email address should not be empty."),
        std::tuple("txtEmailFrom", "k@example.net", "Source Email address should not be empty.")}) {
    tabs.setCurrentIndex(1);
    Type(dialog, field, "");
    expectRefusal(refusal, 1);
    Type(dialog, field, text);
  }
  expectRefusal("Message destination should not be empty.", 2);
  Type(dialog, "cboMsgDest", "pc1");
  expectRefusal("You have not configured Custom details.", 3);
  EXPECT_EQ(Rows("Beep_Detail") + Rows("Email_Detail"), 2) << "the no-action rows";
  Prompt.WillAnswerFiles({"/opt/tool"});
  Click(dialog, "cmdBrowse");
  EXPECT_EQ(TextOf(dialog, "cboCustom"), "/opt/tool");
  EXPECT_TRUE(dialog.Cancelled());
  Click(dialog, "cmdOK");
  EXPECT_FALSE(dialog.Cancelled());
  EXPECT_EQ(dialog.Ids(), (ActionIds{2, 2, 2, 2}));
  EXPECT_EQ(Rows("Beep_Detail WHERE Beep_ID = 2 AND Beep_Count = 31 AND Delay = 0 AND Frequency = 0"), 1);

  // What was stored is offered, and opens as it was.
  frmActions again(ForAlerts);
  again.AddEmailTab(2);
  EXPECT_EQ(TextOf(again, "txtEmailFrom"), "k@example.net");
  again.ClearTabs();
  again.AddMessageTab(2);
  EXPECT_EQ(Find<QTabWidget>(again, "tabActions").count(), 1);
  test::ShowActive(again);
  Click(again, "cmdOK");
  EXPECT_EQ(again.Ids(), (ActionIds{.Message = 2}));
}

TEST_F(AlertWindowsTest, FieldsSayWhatTheyAreForAndArrowsMoveBetweenThem) {
  frmActions dialog(ForAlerts);
  dialog.AddBeepTab(1);
  dialog.AddEmailTab(1);
  test::ShowActive(dialog);
  const auto press = [&](Qt::Key key) {
    test::Press(dialog, key);
    return dialog.focusWidget()->objectName().toStdString();
  };
  EXPECT_EQ(press(Qt::Key_Down), "txtBeepCount");
  EXPECT_EQ(TextOf(dialog, "lblBeepHelp"), "Specify the number of times beep should be generated.");
  EXPECT_EQ(press(Qt::Key_Up), "txtBeepDesc");
  EXPECT_EQ(press(Qt::Key_Up), "txtBeepDesc") << "the first stays";
  EXPECT_EQ(TextOf(dialog, "lblBeepHelp"), "Enter a brief description for the beep configuration.");
  Find<QTabWidget>(dialog, "tabActions").setCurrentIndex(1);
  Find<QWidget>(dialog, "cboSMTPServer").setFocus();
  EXPECT_EQ(press(Qt::Key_Down), "cboEmailTo");
  EXPECT_EQ(TextOf(dialog, "lblEmailHelp"), "Specify the Email address to where notification should send.");
  Find<QWidget>(dialog, "txtSubject").setFocus();
  EXPECT_EQ(press(Qt::Key_Down), "txtSubject") << "the other page is another matter";
}

}  // namespace
}  // namespace korvane::alerts
