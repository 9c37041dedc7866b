// The five controls of trap criteria in a dialog: shows what the form says of them and hands on what the
// operator does, never what is shown.  User-interface thread.
#pragma once

#include <QObject>

class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QStringListModel;

namespace korvane::params {

class TrapCriteriaForm;

struct CriteriaControls {
  QLineEdit& txtSource;
  QComboBox& cboGeneric;
  QLabel& lblEnterprise;
  QComboBox& cboEnterprise;
  QListView& lvTraps;  // the traps of the enterprise
  QLineEdit& txtVarBinds;
};

class ShownCriteria : public QObject {
  Q_OBJECT

 public:
  // Gives the list its model.  form and controls must outlive this object.
  ShownCriteria(TrapCriteriaForm& form, const CriteriaControls& controls, QObject* parent);

  void Show();

 Q_SIGNALS:
  // The operator chose in one of the lists; the controls show it already.
  void Chosen();

 private:
  void Connect();
  void ShowChoice();

  TrapCriteriaForm& form_;
  CriteriaControls controls_;
  QStringListModel* traps_;
};

}  // namespace korvane::params
