#include "alerts/frmAlertCnfg.h"

#include <QCheckBox>
#include <QItemSelectionModel>
#include <QPushButton>
#include <QStringListModel>

#include "alerts/frmActions.h"
#include "common/qt/QtText.h"
#include "params/ShownControls.h"
#include "ui_frmAlertCnfg.h"

namespace korvane::alerts {

frmAlertCnfg::frmAlertCnfg(const AlertServices& services, const std::optional<Alert>& alert, QWidget* parent)
    : QDialog(parent),
      services_(services),
      form_(services, alert),
      ui_(std::make_unique<Ui::frmAlertCnfg>()),
      trapsModel_(new QStringListModel(this)) {
  ui_->setupUi(this);
  ui_->lvTraps->setModel(trapsModel_);
  ui_->txtAlertDesc->setText(ToQString(form_.Description()));
  ui_->txtAlertDesc->setCursorPosition(0);
  QPushButton* ok = ui_->buttons->addButton(tr("OK"), QDialogButtonBox::AcceptRole);
  ok->setObjectName(QStringLiteral("cmdOK"));
  ok->setDefault(true);
  QPushButton* cancel = ui_->buttons->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("cmdCancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmAlertCnfg::Ok);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(ui_->txtAlertDesc, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.EditDescription(ToUtf8(text)); });
  ConnectCriteria();
  ConnectActions();
  ShowForm();
}

frmAlertCnfg::~frmAlertCnfg() = default;

// Only what the operator does is passed on, never what ShowForm sets.
void frmAlertCnfg::ConnectCriteria() {
  params::SelectAllOnEntering(*ui_->txtSource);
  connect(ui_->txtSource, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.Criteria().EditSource(ToUtf8(text)); });
  connect(ui_->txtVarBinds, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.Criteria().EditVarBinds(ToUtf8(text)); });
  connect(ui_->cboGeneric, &QComboBox::currentIndexChanged, this, [this](int index) {
    form_.Criteria().ChooseGeneric(params::ToPosition(index));
    ShowForm();
  });
  connect(ui_->cboEnterprise, &QComboBox::currentIndexChanged, this, [this](int index) {
    form_.Criteria().ChooseEnterprise(params::ToPosition(index));
    ShowForm();
  });
  connect(ui_->lvTraps->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
    const QModelIndexList selected = ui_->lvTraps->selectionModel()->selectedIndexes();
    form_.Criteria().ChooseTrap(selected.isEmpty() ? 0 : params::ToPosition(selected.first().row()));
    ShowForm();
  });
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

void frmAlertCnfg::ShowForm() {
  const params::TrapCriteriaControls& controls = form_.Criteria().Controls();
  params::ShowText(*ui_->txtSource, controls.txtSource);
  params::ShowCombo(*ui_->cboGeneric, controls.cboGeneric);
  params::ShowCombo(*ui_->cboEnterprise, controls.cboEnterprise);
  ui_->lblEnterprise->setEnabled(controls.cboEnterprise.Enabled);
  params::ShowList(*ui_->lvTraps, *trapsModel_, controls.lvTraps);
  params::ShowText(*ui_->txtVarBinds, controls.txtVarBinds);
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
  ShowForm();
}

void frmAlertCnfg::EditActions() {
  std::vector<ActionKind> used;
  for (const ActionKind kind : kActionKinds) {
    if (form_.Uses(kind)) {
      used.push_back(kind);
    }
  }
  Configure(used);
  ShowForm();
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
