// The windows of alerts, driven by keyboard and mouse as an operator would, over a real store.
#include <gmock/gmock.h>

#include <QAction>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <functional>
#include <string>

#include "alerts/AlertForm.h"
#include "alerts/AlertsForm.h"
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

struct AlertWindowsTest : test::RulesWorld, testing::Test {
  AlertWindowsTest() {
    Platform.Registry.AddKey(kManagerKey);
    Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme");
    Store.AddDefinition("1.3.6.1.4.1.9.5", 8, "fanFailed", "acme");
  }
  static std::vector<std::string> Shown(const QTableView& list) { return test::Rows(list, {0, 1, 2, 3, 4}); }
  AlertReports Reports{Connection};
  // The window opens, something is done in it, and it closes: whether the receiver was told.
  bool ToldAfter(const std::function<void(frmAlerts&, QTableView&)>& work) {
    Platform.Registry.Remove(kManagerKey, kActionUpdateValue);
    frmAlerts window(ForAlerts);
    test::ShowActive(window);
    auto& list = Find<QTableView>(window, "lvAlerts");
    list.setFocus();
    work(window, list);
    EXPECT_EQ(Platform.Registry.Dword(kManagerKey, kActionUpdateValue), std::nullopt) << "once, at the end";
    test::Press(window, Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
    return Platform.Registry.Dword(kManagerKey, kActionUpdateValue) == 1U;
  }
};

TEST_F(AlertWindowsTest, AnOperatorAddsEditsAndRemovesAnAlertAndTheReceiverIsTold) {
  EXPECT_TRUE(ToldAfter([&](frmAlerts& window, QTableView& list) {
    EXPECT_FALSE(IsEnabled(window, "cmdEdit"));
    test::InDialog([&] { Click(window, "cmdAdd"); },
                   [&](QDialog& dialog) {
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
                     Type(dialog, "txtVarBinds", "it's");
                     Click(dialog, "cmdOK");
                     EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Critical);
                     EXPECT_EQ(TextOf(dialog, "txtVarBinds"), "it's") << "to be mended";
                     Type(dialog, "txtVarBinds", "its");
                     test::Press(dialog, Qt::Key_Return);
                   });
    EXPECT_THAT(Shown(list), ElementsAre("Line down|No|No|Yes|No"));
  }));
  EXPECT_FALSE(ToldAfter([&](frmAlerts& window, QTableView&) {
    test::InDialog([&] { Click(window, "cmdAdd"); },
                   [&](QDialog& dialog) {
                     Type(dialog, "txtAlertDesc", "Line down");
                     Click(dialog, "cmdOK");
                     EXPECT_THAT(Prompt.LastMessage(),
                                 testing::StartsWith("Alert description is not unique."));
                     test::Press(dialog, Qt::Key_Escape);
                   });
  }));
  EXPECT_TRUE(ToldAfter([&](frmAlerts& window, QTableView& list) {
    test::InDialog([&] { Click(window, "cmdEdit"); },
                   [](QDialog& dialog) {
                     EXPECT_EQ(TextOf(dialog, "cboGeneric") + TextOf(dialog, "txtVarBinds"), "linkDownits");
                     test::Choose(dialog, "cboGeneric", "enterpriseSpecific");
                     test::Choose(dialog, "cboEnterprise", "acme");
                     test::Choose(dialog, "lvTraps", "fanFailed (1.3.6.1.4.1.9.5.0.8)");
                     Click(dialog, "cmdOK");
                   });
    EXPECT_EQ(Rows("Trap_Detail WHERE GenericTrap = 6 AND EnterpriseOid = '1.3.6.1.4.1.9.5' AND "
                   "SpecificTrap = 8 AND Community = '' AND Severity = 0"),
              1);
    test::InDialog([&] { Find<QAction>(window, "mnuCustom").trigger(); },
                   [](QDialog& actions) {
                     Type(actions, "cboCustom", "/opt/tool");
                     Click(actions, "cmdOK");
                   });
    EXPECT_THAT(Shown(list), ElementsAre("Line down|No|No|Yes|Yes"));
  }));
  EXPECT_TRUE(ToldAfter([&](frmAlerts&, QTableView& list) {
    list.setCurrentIndex(list.model()->index(0, 4));
    QTest::keyClick(&list, Qt::Key_Delete);
    EXPECT_THAT(Shown(list), ElementsAre("Line down|No|No|Yes|No"));
  }));
  // Our own table refuses NULL; that of a store that was made by other means need not.
  Store.Execute("ALTER TABLE Trap_Detail RENAME TO Strict");
  Store.Execute("CREATE TABLE Trap_Detail AS SELECT * FROM Strict");
  Store.Execute("UPDATE Trap_Detail SET GenericTrap = NULL");
  EXPECT_EQ(AlertForm(ForAlerts, AlertsForm(ForAlerts).Alerts().at(0)).Criteria().Criteria().GenericTrap, -1);
  for (const PromptAnswer answer : {PromptAnswer::No, PromptAnswer::Yes}) {
    Prompt.WillAnswer(answer);
    const bool removed = answer == PromptAnswer::Yes;
    EXPECT_EQ(ToldAfter([&](frmAlerts& window, QTableView& list) {
                Click(window, "cmdRemove");
                EXPECT_EQ(list.model()->rowCount(), removed ? 0 : 1);
              }),
              removed);
  }
  EXPECT_EQ(Rows("Trap_Detail"), 2) << "the criteria stay";
}

TEST_F(AlertWindowsTest, AlertsAreSwitchedOffAndTriedAndAnotherConsolesChangesComeIn) {
  AlertStore elsewhere(Connection);
  const std::int32_t first = elsewhere.SaveAlert("First", {.GenericTrap = 2}, {.Message = 2}, std::nullopt);
  const std::int32_t second = elsewhere.SaveAlert("Second", {}, {.Message = 2}, std::nullopt);
  EXPECT_TRUE(ToldAfter([&](frmAlerts& window, QTableView& list) {
    list.selectRow(1);
    Click(window, "cmdTest");
    EXPECT_THAT(TextOf(window, "lblNotice"), testing::HasSubstr("waiting for a receiver"));
    EXPECT_EQ(Rows(fmt::format("Alert_Test WHERE Trap_Group_ID = {} AND Taken_By = ''", second)), 1);
    Store.Execute(
        "UPDATE Alert_Test SET Taken_By = 'pc7', Done = 1, Result = 'a message: failed: no route\n'");
    Store.Execute(
        fmt::format("INSERT INTO Alert_State VALUES ({}, 0, 86400, 'a message: no route')", second));
    ASSERT_TRUE(test::WaitFor([&] {
      return TextOf(window, "lblNotice").find("all of \"Second\": a message: failed: no route") !=
             std::string::npos;
    }));
    EXPECT_EQ(Rows("Alert_Test"), 0);
    EXPECT_THAT(test::Cell(list, 1, 6), testing::HasSubstr("a message: no route"));
    list.setCurrentIndex(list.model()->index(1, 0));
    QTest::keyClick(&list, Qt::Key_Space);
    EXPECT_EQ(Rows(fmt::format("Alert_Off WHERE Trap_Group_ID = {}", second)), 1);

    // Another console removes the first one, and changes the second while it is open here.
    QCoreApplication::processEvents();
    elsewhere.DeleteAlert(first);
    window.Reload();
    EXPECT_THAT(Shown(list), ElementsAre("Second|No|No|Yes|No"));
    EXPECT_EQ(list.currentIndex().row(), 0) << "still the selected one";
    test::InDialog([&] { Click(window, "cmdEdit"); },
                   [&](QDialog& dialog) {
                     elsewhere.SaveAlert("Theirs", {}, {.Message = 2}, second);
                     Prompt.WillAnswer(PromptAnswer::No);
                     Type(dialog, "txtAlertDesc", "Ours");
                     Click(dialog, "cmdOK");
                     Prompt.WillAnswer(PromptAnswer::Yes);
                     Click(dialog, "cmdOK");
                   });
    EXPECT_THAT(Shown(list), ElementsAre("Ours|No|No|Yes|No"));
    Click(window, "cmdTest");
  }));
  EXPECT_EQ(Rows("Alert_Test"), 0) << "withdrawn with its window";
  EXPECT_EQ(Rows("Change_Log WHERE Kind = 7"), 6);
  AlertTrial trial(Reports);
  trial.Begin(second, "Ours");
  trial.Follow(std::chrono::seconds(20));
  EXPECT_EQ(trial.State(), TrialState::NoAnswer);
  // A signal that can't be written is reported once.
  test::FakeRegistry noKey;
  for (const bool off : {false, true}) {
    AlertsForm form({Connection, Names, Prompt, noKey, Platform.Settings, Library, 0, SignalFailureTold});
    form.Switch(second, off);
    form.Close();
  }
  EXPECT_EQ(Prompt.Messages().size(), 1U);
}

TEST_F(AlertWindowsTest, ActionsAreCheckedTabByTabAndSavedTogether) {
  frmActions dialog(ForAlerts);
  dialog.AddBeepTab(1);
  dialog.AddEmailTab(1);
  dialog.AddMessageTab(1);
  dialog.AddCustomTab(1);
  test::ShowActive(dialog);
  auto& tabs = Find<QTabWidget>(dialog, "tabActions");
  const auto refused = [&](int tab, const char* field, const char* text) {
    tabs.setCurrentIndex(0);
    Click(dialog, "cmdOK");
    EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Information);
    EXPECT_EQ(tabs.currentIndex(), tab) << field;
    Type(dialog, field, text);
  };
  Type(dialog, "txtBeepDesc", std::string(255, 'x') + "yz");
  EXPECT_EQ(TextOf(dialog, "txtBeepDesc"), std::string(255, 'x')) << "what its column takes";
  Type(dialog, "txtBeepDesc", "");
  refused(0, "txtBeepDesc", "three short ones");
  Type(dialog, "txtBeepCount", "3x-1");
  EXPECT_EQ(TextOf(dialog, "txtBeepCount"), "31") << "digits only";
  Type(dialog, "txtDelay", "99999999999");
  Click(dialog, "cmdOK");
  EXPECT_EQ(dialog.focusWidget()->objectName(), QLatin1String("txtDelay")) << "too large";
  Type(dialog, "txtDelay", "0");
  EXPECT_EQ(TextOf(dialog, "cboSMTPServer"), "mail.example.net") << "the machine's own";
  tabs.setCurrentIndex(1);
  Type(dialog, "cboEmailTo", "");
  refused(1, "cboEmailTo", "ops@example.net");
  EXPECT_EQ(Prompt.LastMessage(), "Destination Email address should not be empty.");
  Type(dialog, "txtEmailFrom", "k@example.net");
  refused(2, "cboMsgDest", "pc1");
  Click(dialog, "cmdOK");
  EXPECT_EQ(Prompt.LastMessage(), "You have not configured Custom details.");
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
}

}  // namespace
}  // namespace korvane::alerts
