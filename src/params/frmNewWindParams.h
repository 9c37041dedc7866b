// The dialog "Select Window Parameters": fills the parameters of a new Traps window (mode 11), or shows those
// of an existing one (mode 12).  The opener sets the record's Mode and Cancelled, runs exec(), and reads the
// record unless Cancelled is still set.  One object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>

#include "common/Prompts.h"
#include "params/ParametersLists.h"
#include "params/WindowParameters.h"
#include "params/WindowParametersForm.h"

namespace Ui {
class frmNewWindParams;
}

namespace korvane::params {

class frmNewWindParams : public QDialog {
  Q_OBJECT

 public:
  // parameters, lists and prompts must outlive the dialog.
  frmNewWindParams(WindowParameters& parameters, ParametersLists& lists, Prompts& prompts,
                   QWidget* parent = nullptr);
  ~frmNewWindParams() override;

 private:
  std::unique_ptr<Ui::frmNewWindParams> ui_;
  WindowParametersForm form_;
};

}  // namespace korvane::params
