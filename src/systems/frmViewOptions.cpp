#include "systems/frmViewOptions.h"

#include <QApplication>
#include <QPushButton>

#include "ui_frmViewOptions.h"

namespace korvane::systems {

frmViewOptions::frmViewOptions(std::int64_t unacknowledgedTraps, std::int32_t maxViewTraps, QWidget* parent)
    : QDialog(parent), ui_(std::make_unique<Ui::frmViewOptions>()) {
  ui_->setupUi(this);
  setWindowFlag(Qt::WindowContextHelpButtonHint, false);
  ui_->lblMessage->setText(tr("There are %L1 unacknowledged traps. Loading all may cause delay.\n"
                              "Please select a view option.")
                               .arg(unacknowledgedTraps));
  ui_->optLoadRecentTraps->setText(
      tr("Load Recent Traps (upto maximum traps view limit, currently: %L1)").arg(maxViewTraps));
  QPushButton* cmdOK = ui_->buttons->addButton(tr("OK"), QDialogButtonBox::AcceptRole);
  cmdOK->setObjectName(QStringLiteral("cmdOK"));
  cmdOK->setDefault(true);
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  ui_->optLoadRecentTraps->setFocus();
}

frmViewOptions::~frmViewOptions() = default;

intake::ViewOption frmViewOptions::Choice() const {
  return ui_->optShowOnlyNewTraps->isChecked() ? intake::ViewOption::ShowOnlyNewTraps
                                               : intake::ViewOption::LoadRecentTraps;
}

intake::ViewOption ViewOptionsDialog::AskViewOption(std::int64_t unacknowledgedTraps,
                                                    std::int32_t maxViewTraps) {
  QWidget* parent = parent_ ? parent_() : QApplication::activeWindow();
  frmViewOptions dialog(unacknowledgedTraps, maxViewTraps, parent);
  dialog.exec();  // whichever way it was left, the choice it shows is the answer
  return dialog.Choice();
}

}  // namespace korvane::systems
