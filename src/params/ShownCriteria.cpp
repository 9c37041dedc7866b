#include "params/ShownCriteria.h"

#include <QComboBox>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QStringListModel>

#include "common/qt/QtText.h"
#include "common/qt/TextLength.h"
#include "params/ShownControls.h"
#include "params/TrapCriteriaForm.h"
#include "store/ColumnLengths.h"

namespace korvane::params {

ShownCriteria::ShownCriteria(TrapCriteriaForm& form, const CriteriaControls& controls, QObject* parent)
    : QObject(parent), form_(form), controls_(controls), traps_(new QStringListModel(this)) {
  controls_.lvTraps.setModel(traps_);
  SelectAllOnEntering(controls_.txtSource);
  LimitLength(controls_.txtSource, store::LengthOf(store::kTrapDetail, "Source_Agent"));
  Connect();
}

void ShownCriteria::Connect() {
  connect(&controls_.txtSource, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.EditSource(ToUtf8(text)); });
  connect(&controls_.txtVarBinds, &QLineEdit::textEdited, this,
          [this](const QString& text) { form_.EditVarBinds(ToUtf8(text)); });
  connect(&controls_.cboGeneric, &QComboBox::currentIndexChanged, this, [this](int index) {
    form_.ChooseGeneric(ToPosition(index));
    ShowChoice();
  });
  connect(&controls_.cboEnterprise, &QComboBox::currentIndexChanged, this, [this](int index) {
    form_.ChooseEnterprise(ToPosition(index));
    ShowChoice();
  });
  connect(controls_.lvTraps.selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
    const QModelIndexList selected = controls_.lvTraps.selectionModel()->selectedIndexes();
    form_.ChooseTrap(selected.isEmpty() ? 0 : ToPosition(selected.first().row()));
    ShowChoice();
  });
}

void ShownCriteria::ShowChoice() {
  Show();
  Q_EMIT Chosen();
}

void ShownCriteria::Show() {
  const TrapCriteriaControls& shown = form_.Controls();
  ShowText(controls_.txtSource, shown.txtSource);
  ShowCombo(controls_.cboGeneric, shown.cboGeneric);
  ShowCombo(controls_.cboEnterprise, shown.cboEnterprise);
  controls_.lblEnterprise.setEnabled(shown.cboEnterprise.Enabled);
  ShowList(controls_.lvTraps, *traps_, shown.lvTraps);
  ShowText(controls_.txtVarBinds, shown.txtVarBinds);
}

}  // namespace korvane::params
