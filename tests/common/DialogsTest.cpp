// What all dialogs have in common, looked at on the dialogs themselves.
#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QScreen>
#include <string>
#include <vector>

#include "alerts/frmActions.h"
#include "alerts/frmAlertCnfg.h"
#include "alerts/frmAlerts.h"
#include "categories/frmCategories.h"
#include "categories/frmCategoryChoice.h"
#include "categories/frmTrpCatWiz.h"
#include "common/qt/DialogStyle.h"
#include "common/qt/KorvaneStyle.h"
#include "config/frmConfig.h"
#include "mainwnd/frmAbout.h"
#include "params/frmFilterInfo.h"
#include "params/frmFilters.h"
#include "params/frmNewWindParams.h"
#include "reports/frmSetReport.h"
#include "support/RulesWorld.h"
#include "support/WindowDriver.h"
#include "systems/frmViewOptions.h"

namespace korvane {
namespace {

// A screen of 1440 x 900 at 200 % has 720 x 450 logical pixels, of which a window manager takes some.
constexpr QSize kSmallScreen(712, 418);

// That it can be made so small, that no list drops down over the whole screen, and that a screen reader has a
// name for whatever takes the focus.
void LookAt(QDialog& dialog) {
  SCOPED_TRACE(dialog.objectName().toStdString());
  test::ShowActive(dialog);
  dialog.resize(1, 1);
  EXPECT_LE(dialog.width(), kSmallScreen.width());
  EXPECT_LE(dialog.height(), kSmallScreen.height());
  for (auto* combo : dialog.findChildren<QComboBox*>()) {
    if (combo->isVisible() && combo->isEnabled() && combo->count() > 0) {
      combo->showPopup();
      const QAbstractItemView& list = *combo->view();
      EXPECT_LE(list.height(), (kMostListEntries + 1) * list.sizeHintForRow(0))
          << combo->objectName().toStdString();
      combo->hidePopup();
    }
  }
  for (auto* control : dialog.findChildren<QWidget*>()) {
    if (control->isVisible() && control->focusPolicy() != Qt::NoFocus) {
      EXPECT_NE(QAccessible::queryAccessibleInterface(control)->text(QAccessible::Name), QString())
          << control->metaObject()->className() << control->objectName().toStdString();
    }
  }
}

TEST(DialogsTest, EveryDialogFitsASmallScreenAndNamesItsFields) {
  QApplication::setStyle(new KorvaneStyle);
  test::RulesWorld world;
  for (int i = 0; i < 40; ++i) {
    const std::string number = std::to_string(i);
    world.Store.AddDefinition("1.3.6.1.4.1." + number, 1, "failed", "maker" + number);
  }
  params::StoredParametersLists lists(world.Connection, world.Names);
  alerts::frmAlerts large(world.ForAlerts);
  large.resize(5000, 5000);
  large.show();
  EXPECT_LE(large.height(), large.screen()->availableSize().height()) << "no larger than the screen";
  LookAt(large);
  LookAt(*std::make_unique<alerts::frmAlertCnfg>(world.ForAlerts, std::nullopt));
  for (const auto add : {&alerts::frmActions::AddBeepTab, &alerts::frmActions::AddEmailTab,
                         &alerts::frmActions::AddMessageTab, &alerts::frmActions::AddCustomTab}) {
    alerts::frmActions actions(world.ForAlerts);
    (actions.*add)(1);
    LookAt(actions);
  }
  LookAt(*std::make_unique<config::frmConfig>(config::ConfigServices{
      world.Platform.Registry, world.Platform.Services, world.Platform.Clock, world.Prompt, world.Busy}));
  LookAt(*std::make_unique<params::frmFilters>(world.ForFilters));
  LookAt(*std::make_unique<params::frmFilterInfo>(params::FilterValues{.GenericTrap = 6}, world.Names,
                                                  world.Prompt));
  for (const int mode : {params::kModeNewWindow, params::kModeShowParameters}) {
    params::ReportParameters record{};
    record.Window.Mode = mode;
    LookAt(*std::make_unique<params::frmNewWindParams>(record.Window, lists, world.Prompt));
    LookAt(*std::make_unique<reports::frmSetReport>(record, lists, world.Prompt, world.Platform.Clock, 0));
  }
  LookAt(*std::make_unique<systems::frmViewOptions>(43'008, 10'000));
  LookAt(*std::make_unique<mainwnd::frmAbout>(world.Platform.Registry));
  LookAt(*std::make_unique<categories::frmCategories>(world.ForCategories));
  categories::CategoryTransaction transaction(world.Connection);
  categories::WizardTask task;
  categories::frmTrpCatWiz wizard(task, transaction, {world.Names, world.Prompt, world.Busy});
  LookAt(wizard);
  test::Type(wizard, "txtCatName", "Fans");
  test::Click(wizard, "cmdNextFinish");
  LookAt(wizard);
  std::vector<categories::OfferedCategory> offered;
  LookAt(*std::make_unique<categories::frmCategoryChoice>(categories::CategoryChoice::Export, offered));
}

}  // namespace
}  // namespace korvane
