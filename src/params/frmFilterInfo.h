// The dialog "Trap Filter": the conditions of one filter.  The opener runs exec() and reads Filter() when it
// was accepted.  One object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>

#include "common/Prompts.h"
#include "params/FilterInfoForm.h"
#include "params/FilterStore.h"
#include "store/TrapNames.h"

namespace Ui {
class frmFilterInfo;
}

namespace korvane::params {

class frmFilterInfo : public QDialog {
  Q_OBJECT

 public:
  // filter: the one to edit, or a default one.  names and prompts must outlive the dialog.
  frmFilterInfo(const FilterValues& filter, store::TrapNames& names, Prompts& prompts,
                QWidget* parent = nullptr);
  ~frmFilterInfo() override;

  const FilterValues& Filter() const { return form_.Filter(); }

 private:
  void Ok();

  FilterInfoForm form_;
  std::unique_ptr<Ui::frmFilterInfo> ui_;
};

}  // namespace korvane::params
