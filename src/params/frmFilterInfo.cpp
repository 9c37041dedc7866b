#include "params/frmFilterInfo.h"

#include <QItemSelectionModel>
#include <QPushButton>
#include <QStringListModel>

#include "common/qt/QtText.h"
#include "params/ShownControls.h"
#include "ui_frmFilterInfo.h"

namespace korvane::params {

frmFilterInfo::frmFilterInfo(const FilterValues& filter, store::TrapNames& names, Prompts& prompts,
                             QWidget* parent)
    : QDialog(parent),
      form_(filter, names, prompts),
      ui_(std::make_unique<Ui::frmFilterInfo>()),
      trapsModel_(new QStringListModel(this)) {
  ui_->setupUi(this);
  ui_->lvTraps->setModel(trapsModel_);
  SelectAllOnEntering(*ui_->txtSource);
  QPushButton* ok = ui_->buttons->addButton(tr("OK"), QDialogButtonBox::AcceptRole);
  ok->setObjectName(QStringLiteral("cmdOK"));
  ok->setDefault(true);
  QPushButton* cancel = ui_->buttons->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("cmdCancel"));
  ConnectControls();
  ShowForm();
  ui_->txtSource->setFocus();
  ui_->txtSource->selectAll();
}

frmFilterInfo::~frmFilterInfo() = default;

// Only what the operator does is passed on, never what ShowForm sets.
void frmFilterInfo::ConnectControls() {
  connect(ui_->txtSource, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.EditSource(ToUtf8(text)); });
  connect(ui_->txtVarBinds, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.EditVarBinds(ToUtf8(text)); });
  connect(ui_->cboGeneric, &QComboBox::currentIndexChanged, this, [this](int index) {
    form_.ChooseGeneric(ToPosition(index));
    ShowForm();
  });
  connect(ui_->cboEnterprise, &QComboBox::currentIndexChanged, this, [this](int index) {
    form_.ChooseEnterprise(ToPosition(index));
    ShowForm();
  });
  connect(ui_->lvTraps->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
    const QModelIndexList selected = ui_->lvTraps->selectionModel()->selectedIndexes();
    form_.ChooseTrap(selected.isEmpty() ? 0 : ToPosition(selected.first().row()));
    ShowForm();
  });
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmFilterInfo::Ok);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void frmFilterInfo::ShowForm() {
  const TrapCriteriaControls& controls = form_.Controls();
  ShowText(*ui_->txtSource, controls.txtSource);
  ShowCombo(*ui_->cboGeneric, controls.cboGeneric);
  ShowCombo(*ui_->cboEnterprise, controls.cboEnterprise);
  ui_->lblEnterprise->setEnabled(controls.cboEnterprise.Enabled);
  ShowList(*ui_->lvTraps, *trapsModel_, controls.lvTraps);
  ShowText(*ui_->txtVarBinds, controls.txtVarBinds);
}

void frmFilterInfo::Ok() {
  if (form_.Ok()) {
    accept();
  }
}

}  // namespace korvane::params
