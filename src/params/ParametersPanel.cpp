#include "params/ParametersPanel.h"

#include <QComboBox>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPalette>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QStringListModel>

#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "params/WindowParametersForm.h"
#include "store/Codes.h"
#include "ui_ParametersPanel.h"

namespace korvane::params {

namespace {

QStringList VisibleTexts(const ListControl& control) {
  QStringList texts;
  texts.reserve(static_cast<qsizetype>(control.Items.size()));
  for (const std::string& item : control.Items) {
    texts.append(ToVisibleQString(item));
  }
  return texts;
}

bool SameTexts(const QComboBox& combo, const QStringList& texts) {
  if (combo.count() != texts.size()) {
    return false;
  }
  for (int i = 0; i < combo.count(); ++i) {
    if (combo.itemText(i) != texts[i]) {
      return false;
    }
  }
  return true;
}

// Controls that can't be used but are there to be read: their texts keep the contrast of usable ones.
QPalette ReadableWhenDisabled(QPalette palette) {
  for (const QPalette::ColorRole role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
    palette.setBrush(QPalette::Disabled, role, palette.brush(QPalette::Active, role));
  }
  palette.setBrush(QPalette::Disabled, QPalette::HighlightedText,
                   palette.brush(QPalette::Active, QPalette::Text));
  return palette;
}

std::size_t ToPosition(int index) {
  return index < 0 ? 0 : static_cast<std::size_t>(index);
}

}  // namespace

ParametersPanel::ParametersPanel(QWidget* parent)
    : QGroupBox(parent),
      ui_(std::make_unique<Ui::ParametersPanel>()),
      trapsModel_(new QStringListModel(this)) {
  ui_->setupUi(this);
  ui_->lvTraps->setModel(trapsModel_);
  ConnectControls();
}

ParametersPanel::~ParametersPanel() = default;

void ParametersPanel::SetForm(WindowParametersForm& form) {
  form_ = &form;
  if (form.ReadOnly()) {
    setPalette(ReadableWhenDisabled(palette()));
  }
  ShowForm();
  const int firstSeverity = 1;  // behind "-All-"
  for (int code = 0; code < static_cast<int>(store::kSeverityNames.size()); ++code) {
    ui_->cboSeverity->setItemIcon(firstSeverity + code, SeverityIcon(code));
  }
}

// Only what the operator does is passed on (clicked, activated, textEdited), never what ShowForm sets.
void ParametersPanel::ConnectControls() {
  const auto pass = [this](auto method) {
    return [this, method](auto... arguments) {
      (form_->*method)(arguments...);
      ShowForm();
    };
  };
  const auto passPosition = [this](auto method) {
    return [this, method](int index) {
      (form_->*method)(ToPosition(index));
      ShowForm();
    };
  };
  const auto passText = [this](auto method) {
    return [this, method](const QString& text) { (form_->*method)(ToUtf8(text)); };
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
  const QString text = ToQString(control.Text);
  if (edit->text() != text) {
    edit->setText(text);
    edit->setCursorPosition(0);
  }
  edit->setEnabled(control.Enabled);
  label->setEnabled(control.Enabled || form_->ReadOnly());
}

void ParametersPanel::ShowCombo(QComboBox* combo, QLabel* label, const ListControl& control) {
  const QSignalBlocker blocker(combo);
  const QStringList texts = VisibleTexts(control);
  if (!SameTexts(*combo, texts)) {
    combo->clear();
    combo->addItems(texts);
  }
  combo->setCurrentIndex(static_cast<int>(control.Position));
  // A long name is cut off in the box; escaped, since a tool tip takes markup.
  combo->setToolTip(control.Position == 0 && control.Text() == kAll ? QString()
                                                                    : combo->currentText().toHtmlEscaped());
  combo->setEnabled(control.Enabled);
  label->setEnabled(control.Enabled || form_->ReadOnly());
}

void ParametersPanel::ShowTraps(const ListControl& control) {
  const QSignalBlocker blocker(ui_->lvTraps->selectionModel());
  const QStringList texts = VisibleTexts(control);
  if (trapsModel_->stringList() != texts) {
    trapsModel_->setStringList(texts);
  }
  const QModelIndex chosen = trapsModel_->index(static_cast<int>(control.Position));
  if (ui_->lvTraps->currentIndex() != chosen) {
    ui_->lvTraps->setCurrentIndex(chosen);
    ui_->lvTraps->scrollTo(chosen);
    ui_->lvTraps->viewport()->update();
  }
  ui_->lvTraps->setEnabled(control.Enabled);
  ui_->lblTraps->setEnabled(control.Enabled || form_->ReadOnly());
}

}  // namespace korvane::params
