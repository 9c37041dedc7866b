#include "alerts/frmAlertCnfg.h"

#include <QCheckBox>
#include <QPushButton>

#include "alerts/frmActions.h"
#include "common/qt/DialogButtons.h"
#include "common/qt/QtText.h"
#include "common/qt/TextLength.h"
#include "params/ShownCriteria.h"
#include "store/ColumnLengths.h"
#include "ui_frmAlertCnfg.h"

namespace korvane::alerts {

frmAlertCnfg::frmAlertCnfg(const AlertServices& services, const std::optional<Alert>& alert, QWidget* parent)
    : QDialog(parent),
      services_(services),
      form_(services, alert),
      ui_(std::make_unique<Ui::frmAlertCnfg>()) {
  ui_->setupUi(this);
  ui_->txtAlertDesc->setText(ToQString(form_.Description()));
  ui_->txtAlertDesc->setCursorPosition(0);
  LimitLength(*ui_->txtAlertDesc, store::LengthOf(store::kTrapActionGroup, "Description"));
  AddOkAndCancel(*ui_->buttons, tr("&Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmAlertCnfg::Ok);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(ui_->txtAlertDesc, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.EditDescription(ToUtf8(text)); });
  auto* criteria = new params::ShownCriteria(form_.Criteria(),
                                             {.txtSource = *ui_->txtSource,
                                              .cboGeneric = *ui_->cboGeneric,
                                              .lblEnterprise = *ui_->lblEnterprise,
                                              .cboEnterprise = *ui_->cboEnterprise,
                                              .lvTraps = *ui_->lvTraps,
                                              .txtVarBinds = *ui_->txtVarBinds},
                                             this);
  criteria->Show();
  ConnectActions();
  ShowActions();
  LineUp();
}

frmAlertCnfg::~frmAlertCnfg() = default;

// The description stands above the fields of the frame below it.
void frmAlertCnfg::LineUp() {
  ui_->rows->activate();
  ui_->grid->activate();
  const QRect label = ui_->lblSource->geometry();
  const QRect field = ui_->txtSource->geometry();
  ui_->descRow->setContentsMargins(label.left(), 0, ui_->fraTrap->width() - field.right() - 1, 0);
  ui_->lblAlertDesc->setMinimumWidth(field.left() - label.left() - ui_->descRow->spacing());
}

void frmAlertCnfg::ConnectActions() {
  for (const ActionKind kind : kActionKinds) {
    connect(BoxOf(kind), &QCheckBox::clicked, this,
            [this, kind](bool checked) { ActionClicked(kind, checked); });
  }
  connect(ui_->cmdEdit, &QPushButton::clicked, this, &frmAlertCnfg::EditActions);
}

QCheckBox* frmAlertCnfg::BoxOf(ActionKind kind) const {
  switch (kind) {
    case ActionKind::Beep:
      return ui_->chkBeep;
    case ActionKind::Email:
      return ui_->chkEmail;
    case ActionKind::Message:
      return ui_->chkMsg;
    case ActionKind::Custom:
      break;
  }
  return ui_->chkCustom;
}

void frmAlertCnfg::ShowActions() {
  bool any = false;
  for (const ActionKind kind : kActionKinds) {
    BoxOf(kind)->setChecked(form_.Uses(kind));
    any = any || form_.Uses(kind);
  }
  ui_->cmdEdit->setEnabled(any);
}

void frmAlertCnfg::ActionClicked(ActionKind kind, bool checked) {
  if (checked) {
    Configure({kind});  // cancelled: the box is cleared again by what the form says
  } else {
    form_.ClearAction(kind);
  }
  ShowActions();
}

void frmAlertCnfg::EditActions() {
  std::vector<ActionKind> used;
  for (const ActionKind kind : kActionKinds) {
    if (form_.Uses(kind)) {
      used.push_back(kind);
    }
  }
  Configure(used);
  ShowActions();
}

bool frmAlertCnfg::Configure(const std::vector<ActionKind>& kinds) {
  const std::optional<ActionIds> ids = ConfigureActions(services_, kinds, form_.Actions(), this);
  if (!ids) {
    return false;
  }
  for (const ActionKind kind : kinds) {
    form_.SetAction(kind, IdOf(*ids, kind));
  }
  return true;
}

void frmAlertCnfg::Ok() {
  if (form_.Ok()) {
    accept();
  }
}

}  // namespace korvane::alerts
