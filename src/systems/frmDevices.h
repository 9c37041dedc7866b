// The Systems window: the list of systems with their counts, the status texts, and the two timers of the
// console.  The frame creates it once, hosts it in its first sub-window and keeps it until the program ends.
// User-interface thread only.
#pragma once

#include <QModelIndex>
#include <QPoint>
#include <QWidget>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/Desk.h"
#include "common/OpenForms.h"
#include "intake/ViewWindows.h"
#include "params/TrapFilters.h"
#include "systems/SystemsModel.h"

class QLabel;
class QTableView;
class QTimer;

namespace Ui {
class frmDevices;
}

namespace korvane {
class ColumnWidths;
}

namespace korvane::systems {

class SystemsTableModel;

class frmDevices : public QWidget, public Form {
  Q_OBJECT

 public:
  // Both timers run from here on.  The model has its intake attached.
  frmDevices(SystemsModel& model, Desk& desk, const params::TrapFilters& filters,
             intake::ViewWindows& windows, QWidget* parent = nullptr);
  ~frmDevices() override;

  // Counts what is stored, may ask for the view option, and starts the receiver link: to be called once,
  // when the frame shows this window first.
  void Load();
  void Reset();
  void Custom_Activate();  // this window became the active child
  void StopTimers();

  // What the empty list says before the first trap, below that there is none: see intake/FirstTrap.h.
  void SayHowToSend(const std::string& words);

  // The system of the selected row; null when no row is selected.
  const intake::System* SelectedSystem() const;
  // Opens the Traps window of the selected system; nothing without one.
  void ShowPerDeviceWindow();

  std::string_view FormName() const override { return kSystemsFormName; }
  void RepaintNow() override;

 Q_SIGNALS:
  // A right click or the menu key in the list, at a position of the screen; the selection is settled before.
  void PopUpMenuRequested(const QPoint& globalPosition, const korvane::intake::System* system);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void SetUpList();
  void SetUpStatusBar();
  void SetUpTimers();
  void FillWidth();
  void RequestPopUp(const QPoint& position);
  void ShowStatus();
  QString EmptyText() const;
  void SelectNext(std::optional<std::int32_t> severity);
  void ClearNewsOfSelection();
  void KeepSelection();
  void RestoreSelection();
  const intake::System* SystemAt(const QModelIndex& index) const;
  QModelIndex IndexOf(const intake::System* system) const;
  bool OperatorReads() const;
  void TickTraps();
  void TakeMoreTraps();
  void FollowStorm(bool more);
  void TickResolve();

  SystemsModel& model_;
  Desk& desk_;
  const params::TrapFilters& filters_;
  intake::ViewWindows& windows_;
  std::unique_ptr<Ui::frmDevices> ui_;
  std::unique_ptr<ColumnWidths> widths_;
  SystemsTableModel* table_ = nullptr;
  QTimer* tmrCheckTraps_ = nullptr;
  QTimer* tmrResolve_ = nullptr;
  QTimer* tmrMoreTraps_ = nullptr;  // between two ticks, while a storm lasts
  int emptyLooks_ = 0;
  // Into labels, and into buttons where what is counted can be looked for.
  std::array<std::function<void(const QString&)>, kStatusTexts> showStatusText_;
  QLabel* filtersLabel_ = nullptr;
  QString howToSend_;

  // What the operator had before the rows were loaded again.
  std::vector<const intake::System*> selectedBefore_;
  const intake::System* currentBefore_ = nullptr;
  const intake::System* topBefore_ = nullptr;
  bool restoring_ = false;
};

}  // namespace korvane::systems
