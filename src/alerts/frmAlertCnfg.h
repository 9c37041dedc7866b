// The dialog "Alert Configuration": adds an alert or edits one.  The opener runs exec(); accepted: it is
// stored. One object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "alerts/AlertForm.h"
#include "alerts/AlertServices.h"

class QCheckBox;
namespace Ui {
class frmAlertCnfg;
}

namespace korvane::alerts {

class frmAlertCnfg : public QDialog {
  Q_OBJECT

 public:
  // alert: the one to edit; nothing: a new one.  The services must outlive the dialog.
  frmAlertCnfg(const AlertServices& services, const std::optional<Alert>& alert, QWidget* parent = nullptr);
  ~frmAlertCnfg() override;

  // False, after its message: there is nothing to show, see AlertForm.
  bool WasRead() const { return form_.WasRead(); }
  // Of the alert, after it was accepted.
  std::int32_t GroupId() const { return form_.GroupId(); }

 private:
  QCheckBox* BoxOf(ActionKind kind) const;
  void ConnectActions();
  void LineUp();
  void ShowActions();
  void ActionClicked(ActionKind kind, bool checked);
  void EditActions();
  // False when it was cancelled.
  bool Configure(const std::vector<ActionKind>& kinds);
  void Ok();

  AlertServices services_;
  AlertForm form_;
  std::unique_ptr<Ui::frmAlertCnfg> ui_;
};

}  // namespace korvane::alerts
