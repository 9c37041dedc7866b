// A Report / History window: the stored traps of a time range that satisfy its parameters, acknowledged or
// not, without a row limit.  Loaded when the frame calls Reset, beside whatever else goes on; it takes no
// live traps.  The frame creates it inside a sub-window.  User-interface thread.
#pragma once

#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <string_view>

#include "intake/ViewWindows.h"
#include "params/ReportParameters.h"
#include "reports/ReportModel.h"
#include "traps/TrapListWindow.h"
#include "traps/TrapsTableModel.h"

class QLabel;

namespace Ui {
class frmReport;
}

namespace korvane {
class NoticeBar;
}

namespace korvane::traps {
class ListTools;
class TrapsList;
}  // namespace korvane::traps

namespace korvane::reports {

class frmReport : public QWidget, public traps::TrapListWindow {
  Q_OBJECT

 public:
  // The window's caption is parameters.Window.WindowName.  services and windows must outlive it.
  frmReport(ReportServices& services, intake::ViewWindows& windows, params::ReportParameters parameters,
            QWidget* parent = nullptr);
  ~frmReport() override;

  std::string_view FormName() const override { return kReportFormName; }

  void Reset();
  void UpdateStatusBar();
  // With an empty list this only says so.
  void ShowTrapDetail() override;
  void ShowWindowParameters() override;
  // Writes what the list holds, be it nothing, also while it loads.
  void Printable() override;
  void Custom_Activate() override;
  traps::ListTools& Tools() override { return *tools_; }
  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) override;
  // Acknowledged or made new again, here or elsewhere: its rows follow.
  void ApplyChange(const store::Change& change);
  // The store is in another state: the report stays the picture that it is, and nothing changes it any more.
  void StoreReplaced() { replaced_ = true; }

  ReportModel& Model() { return model_; }
  traps::TrapsTableModel& Table() { return table_; }
  traps::TrapsList& List() { return *list_; }

 Q_SIGNALS:
  // A right click or the menu key on the list.
  void ContextMenuRequested(const QPoint& globalPosition);

 private:
  ReportModel::Events ModelEvents();
  bool IsLong() const;
  void TakeTurn();
  void ShowState();
  QString EmptyText() const;

  ReportServices& services_;
  bool replaced_ = false;  // the store, since the report was made
  intake::ViewWindows& windows_;
  // A turn comes when nothing else waits, so that painting and input go first.
  QTimer turn_;
  ReportModel model_;
  traps::TrapsTableModel table_;
  std::unique_ptr<Ui::frmReport> ui_;
  std::unique_ptr<traps::TrapsList> list_;
  std::unique_ptr<traps::ListTools> tools_;
  QLabel* selectedTrap_ = nullptr;
  QLabel* totalTraps_ = nullptr;
  QLabel* filters_ = nullptr;
  NoticeBar* notice_ = nullptr;
};

}  // namespace korvane::reports
