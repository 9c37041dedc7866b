// The window "Alerts": the alerts with their actions, to be added, edited and removed.  When it closes after
// a change, the receiver service is told through the registry.  The frame runs exec(); one object per use;
// user-interface thread.
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "alerts/AlertServices.h"
#include "alerts/AlertsForm.h"
#include "common/qt/ColumnWidths.h"

class QMenu;
namespace Ui {
class frmAlerts;
}

namespace korvane::alerts {

class AlertsTableModel;

class frmAlerts : public QDialog {
  Q_OBJECT

 public:
  explicit frmAlerts(const AlertServices& services, QWidget* parent = nullptr);
  ~frmAlerts() override;

  void reject() override;

 private:
  void SetUpList();
  void SetUpMenu();
  std::optional<std::size_t> SelectedRow() const;
  void SelectAlert(std::int32_t groupId);
  void EnableButtons();
  void Add();
  void Edit();
  void Remove();
  void ConfigureActions(const std::vector<ActionKind>& kinds);
  // Of the action's cell that is the current one.
  void ClearCurrentAction();
  void ShowMenu(const QPoint& position);

  AlertServices services_;
  AlertsForm form_;
  std::unique_ptr<Ui::frmAlerts> ui_;
  AlertsTableModel* table_;
  QMenu* mnuActions_;
  std::unique_ptr<ColumnWidths> widths_;
};

}  // namespace korvane::alerts
