// The category wizard: adds a category (mode 5), edits one (8), adds trap details to one (9), edits one trap
// detail (10).  Runs inside the transaction of the window that opens it.  One object per use;
// user-interface thread.
#pragma once

#include <QDialog>
#include <memory>

#include "categories/CategoryTransaction.h"
#include "categories/WizardForm.h"
#include "categories/WizardTask.h"

class QPushButton;
class QStandardItemModel;
namespace korvane::params {
class ShownCriteria;
}
namespace Ui {
class frmTrpCatWiz;
}

namespace korvane::categories {

class frmTrpCatWiz : public QDialog {
  Q_OBJECT

 public:
  // transaction: the opener's.  All of it must outlive the dialog.
  frmTrpCatWiz(WizardTask& task, CategoryTransaction& transaction, const WizardServices& services,
               QWidget* parent = nullptr);
  ~frmTrpCatWiz() override;

  // False, after its message: there is nothing to show, see WizardForm.
  bool WasRead() const { return form_.WasRead(); }

 private:
  void SetUpPendingList();
  void ConnectControls();
  void ShowPage();
  void ShowTrapDescription();
  void ShowAdded();
  void RemovePending();
  void ShowCommands();
  void ShowDefault();
  void GiveRoom();
  void NextOrFinish();

  WizardForm form_;
  std::unique_ptr<Ui::frmTrpCatWiz> ui_;
  params::ShownCriteria* criteria_;
  QStandardItemModel* pending_;
  QPushButton* cmdNextFinish_;
  int fullHeight_ = 0;  // of the page of traps, as designed
};

}  // namespace korvane::categories
