// The window "Alerts": the alerts with their actions, to be added, edited, switched off, tried and removed,
// and what became of each.  When it closes after a change, the receiver service is told through the registry.
// The frame runs exec(); one object per use; user-interface thread.
#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <QTimer>
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

namespace korvane {
class NoticeBar;
}

namespace korvane::alerts {

class AlertsTableModel;

class frmAlerts : public QDialog {
  Q_OBJECT

 public:
  explicit frmAlerts(const AlertServices& services, QWidget* parent = nullptr);
  ~frmAlerts() override;

  void done(int result) override;

 public Q_SLOTS:
  // Another console changed alerts: the list is read anew, the selection stays.
  void Reload();

 private:
  void SetUpList();
  void SetUpMenu();
  void SetUpTrial();
  std::optional<Alert> SelectedAlert() const;
  // The list as the form has it now, with this alert selected where it is still there.
  void ShowList(std::optional<std::int32_t> groupId);
  void SelectAlert(std::int32_t groupId);
  void EnableButtons();
  void Add();
  void Edit();
  void Remove();
  void SendTest();
  // Looks what the receivers have told meanwhile.
  void Follow();
  void ShowTrial();
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
  NoticeBar* trial_;
  QTimer follow_;
  QElapsedTimer sinceAsked_;
};

}  // namespace korvane::alerts
