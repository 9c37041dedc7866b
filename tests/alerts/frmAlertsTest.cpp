// The Alerts window and its dialogs, driven as an operator would.
#include "alerts/frmAlerts.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include "alerts/AlertsWorld.h"
#include "alerts/frmActions.h"
#include "alerts/frmAlertCnfg.h"
#include "common/RegistryValues.h"
#include "support/OpenDialogs.h"

namespace korvane::alerts {
namespace {

using test::Click;
using test::Find;
using test::WhileOpen;

struct frmAlertsTest : test::AlertsWorld, testing::Test {
  QString Cell(frmAlerts& window, int row, int column) {
    return Find<QTableView>(window, "lvAlerts").model()->index(row, column).data().toString();
  }
};

TEST_F(frmAlertsTest, AnOperatorAddsEditsAndRemovesAnAlert) {
  Platform.Registry.AddKey(kManagerKey);
  frmAlerts window(Services);
  window.show();
  EXPECT_FALSE(Find<QPushButton>(window, "cmdEdit").isEnabled());
  WhileOpen<frmAlertCnfg>(
      [&](frmAlertCnfg& dialog) {
        EXPECT_FALSE(Find<QPushButton>(dialog, "cmdEdit").isEnabled());
        QTest::keyClicks(&Find<QLineEdit>(dialog, "txtAlertDesc"), QStringLiteral("Line down"));
        Find<QComboBox>(dialog, "cboGeneric").setCurrentIndex(2);
        EXPECT_FALSE(Find<QComboBox>(dialog, "cboEnterprise").isEnabled());
        // Cancelled: the box is clear again.
        WhileOpen<frmActions>([](frmActions& actions) { actions.reject(); },
                              [&] { Click(dialog, "chkBeep"); });
        EXPECT_FALSE(Find<QCheckBox>(dialog, "chkBeep").isChecked());
        WhileOpen<frmActions>(
            [](frmActions& actions) {
              Find<QComboBox>(actions, "cboMsgDest").setEditText(QStringLiteral("pc1"));
              Click(actions, "cmdOK");
            },
            [&] { Click(dialog, "chkMsg"); });
        EXPECT_TRUE(Find<QCheckBox>(dialog, "chkMsg").isChecked());
        EXPECT_TRUE(Find<QPushButton>(dialog, "cmdEdit").isEnabled());
        // The store refuses an apostrophe: the dialog stays with what was entered, and nothing is written.
        auto& bindings = Find<QLineEdit>(dialog, "txtVarBinds");
        QTest::keyClicks(&bindings, QStringLiteral("it's"));
        Click(dialog, "cmdOK");
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_EQ(Prompt.Messages().size(), 1U);
        EXPECT_EQ(bindings.text(), QStringLiteral("it's"));
        EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM Trap_Action_Group"), 0);
        bindings.selectAll();
        QTest::keyClicks(&bindings, QStringLiteral("its"));
        Click(dialog, "cmdOK");
      },
      [&] { Click(window, "cmdAdd"); });
  EXPECT_EQ(Cell(window, 0, 0), QStringLiteral("Line down"));
  EXPECT_EQ(Cell(window, 0, 1), QStringLiteral("No"));
  EXPECT_EQ(Cell(window, 0, 3), QStringLiteral("Yes"));

  auto& menu = Find<QMenu>(window, "mnuActions");
  auto* custom = menu.findChild<QAction*>(QStringLiteral("mnuCustom"));
  ASSERT_NE(custom, nullptr);
  WhileOpen<frmActions>(
      [](frmActions& actions) {
        Find<QComboBox>(actions, "cboCustom").setEditText(QStringLiteral("/opt/tool"));
        Click(actions, "cmdOK");
      },
      [&] { custom->trigger(); });
  EXPECT_EQ(Cell(window, 0, 4), QStringLiteral("Yes"));

  auto& list = Find<QTableView>(window, "lvAlerts");
  window.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  list.setFocus();
  list.setCurrentIndex(list.model()->index(0, 4));
  QTest::keyClick(&list, Qt::Key_Delete);
  EXPECT_EQ(Cell(window, 0, 4), QStringLiteral("No"));

  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(window, "cmdRemove");
  EXPECT_EQ(list.model()->rowCount(), 0);
  EXPECT_EQ(Platform.Registry.Dword(kManagerKey, kActionUpdateValue), std::nullopt) << "told on closing";
  Click(window, "cmdOK");
  EXPECT_FALSE(window.isVisible());
  EXPECT_EQ(Platform.Registry.Dword(kManagerKey, kActionUpdateValue), 1U);
}

}  // namespace
}  // namespace korvane::alerts
