#include "params/ParametersPanel.h"

#include <QComboBox>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QRadioButton>
#include <QStringListModel>

#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "params/ReadOnlyLook.h"
#include "params/ShownControls.h"
#include "params/WindowParametersForm.h"
#include "store/Codes.h"
#include "ui_ParametersPanel.h"

namespace korvane::params {

ParametersPanel::ParametersPanel(QWidget* parent)
    : QGroupBox(parent),
      ui_(std::make_unique<Ui::ParametersPanel>()),
      trapsModel_(new QStringListModel(this)) {
  ui_->setupUi(this);
  ui_->lvTraps->setModel(trapsModel_);
  SelectAllOnEntering(*ui_->txtSource);
  ConnectControls();
}

ParametersPanel::~ParametersPanel() = default;

void ParametersPanel::SetForm(WindowParametersForm& form) {
  form_ = &form;
  if (form.ReadOnly()) {
    ShowAsReadOnly(*this);
  }
  ShowForm();
  const int firstSeverity = 1;  // behind "-All-"
  for (int code = 0; code < static_cast<int>(store::kSeverityNames.size()); ++code) {
    ui_->cboSeverity->setItemIcon(firstSeverity + code, SeverityIcon(code));
  }
}

int ParametersPanel::FieldsLeft() const {
  constexpr int kFieldColumn = 2;
  ui_->grid->activate();
  return ui_->grid->cellRect(0, kFieldColumn).left();
}

// Only what the operator does is passed on (clicked, activated, textEdited), never what ShowForm sets.
// The form is held in a local for the call: g++ 12 checks a wrong address under -fsanitize=vptr otherwise.
void ParametersPanel::ConnectControls() {
  const auto pass = [this](auto method) {
    return [this, method](auto... arguments) {
      WindowParametersForm* const form = form_;
      (form->*method)(arguments...);
      ShowForm();
    };
  };
  const auto passPosition = [this](auto method) {
    return [this, method](int index) {
      WindowParametersForm* const form = form_;
      (form->*method)(ToPosition(index));
      ShowForm();
    };
  };
  const auto passText = [this](auto method) {
    return [this, method](const QString& text) {
      WindowParametersForm* const form = form_;
      (form->*method)(ToUtf8(text));
    };
  };
  using Form = WindowParametersForm;
  connect(ui_->optEvtGrp, &QRadioButton::clicked, this, [choose = pass(&Form::ChooseEvtGrp)] { choose(); });
  connect(ui_->optCustom, &QRadioButton::clicked, this, [choose = pass(&Form::ChooseCustom)] { choose(); });
  connect(ui_->cboEvtGrps, &QComboBox::currentIndexChanged, this, passPosition(&Form::ChooseCategory));
  connect(ui_->cboSeverity, &QComboBox::currentIndexChanged, this, passPosition(&Form::ChooseSeverity));
  connect(ui_->cboGeneric, &QComboBox::currentIndexChanged, this, passPosition(&Form::ChooseGeneric));
  connect(ui_->cboEnterprise, &QComboBox::currentIndexChanged, this, passPosition(&Form::ChooseEnterprise));
  connect(ui_->txtWindowName, &QLineEdit::textEdited, this, passText(&Form::EditWindowName));
  connect(ui_->txtSource, &QLineEdit::textEdited, this, passText(&Form::EditSource));
  connect(ui_->txtVarBinds, &QLineEdit::textEdited, this, passText(&Form::EditVarBinds));
  connect(ui_->lvTraps->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
    const QModelIndexList selected = ui_->lvTraps->selectionModel()->selectedIndexes();
    form_->ChooseTrap(selected.isEmpty() ? 0 : ToPosition(selected.first().row()));
    ShowForm();
  });
}

void ParametersPanel::ShowForm() {
  const ParametersControls& controls = form_->Controls();
  setTitle(ToQString(controls.FrameCaption));
  ShowText(ui_->txtWindowName, ui_->lblWindowName, controls.txtWindowName);
  ui_->optEvtGrp->setEnabled(controls.optEvtGrp.Enabled);
  ui_->optEvtGrp->setChecked(controls.optEvtGrp.Checked);
  ui_->optCustom->setEnabled(controls.optCustom.Enabled);
  ui_->optCustom->setChecked(controls.optCustom.Checked);
  ShowCombo(ui_->cboEvtGrps, ui_->lblEvtGrps, controls.cboEvtGrps);
  ShowText(ui_->txtSource, ui_->lblSource, controls.txtSource);
  ShowCombo(ui_->cboSeverity, ui_->lblSeverity, controls.cboSeverity);
  ShowCombo(ui_->cboGeneric, ui_->lblGeneric, controls.cboGeneric);
  ShowCombo(ui_->cboEnterprise, ui_->lblEnterprise, controls.cboEnterprise);
  ShowTraps(controls.lvTraps);
  ShowText(ui_->txtVarBinds, ui_->lblVarBinds, controls.txtVarBinds);
}

void ParametersPanel::ShowText(QLineEdit* edit, QLabel* label, const TextControl& control) {
  params::ShowText(*edit, control);
  label->setEnabled(control.Enabled || form_->ReadOnly());
}

void ParametersPanel::ShowCombo(QComboBox* combo, QLabel* label, const ListControl& control) {
  params::ShowCombo(*combo, control);
  label->setEnabled(control.Enabled || form_->ReadOnly());
}

void ParametersPanel::ShowTraps(const ListControl& control) {
  ShowList(*ui_->lvTraps, *trapsModel_, control);
  ui_->lblTraps->setEnabled(control.Enabled || form_->ReadOnly());
}

}  // namespace korvane::params
