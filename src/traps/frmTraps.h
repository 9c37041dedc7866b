// A Traps window: the live list of the traps of one system, or of those its parameters select.  The frame
// creates it inside a sub-window, shows it and calls Reset once to load it; the intake offers it every new
// trap; the commands act on it through the public operations.  Owns its model, which does the work.
// A per-system window asks on closing whether to acknowledge its system's traps.
#pragma once

#include <QWidget>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "intake/Intake.h"
#include "params/WindowParameters.h"
#include "traps/TrapListWindow.h"
#include "traps/TrapsModel.h"
#include "traps/TrapsTableModel.h"

class QLabel;

namespace Ui {
class frmTraps;
}

namespace korvane {
class NoticeBar;
}

namespace korvane::traps {

class ListTools;
class TrapsList;

class frmTraps : public QWidget, public TrapListWindow, public intake::TrapsWindow {
  Q_OBJECT

 public:
  // The window's caption is parameters.WindowName.  system: of a per-system window, else null; it must
  // outlive the window, as must the services.
  frmTraps(TrapsServices& services, intake::ViewWindows& windows, WindowKind kind,
           params::WindowParameters parameters, const intake::System* system = nullptr,
           QWidget* parent = nullptr);
  ~frmTraps() override;

  std::string_view FormName() const override { return kTrapsFormName; }
  bool AsksOnClosing() const override { return model_.AsksOnClosing(); }
  void RepaintNow() override;

  void PublicAddTraps(const store::IncomingTrap& trap) override;
  void UpdateStatusBar() override;
  void StoreReplaced() override;

  void Reset();
  // Acknowledges the selected traps; says so when the list is empty.
  void AcknowledgeTrap();
  // With an empty list these two only say so.
  void ShowTrapDetail() override;
  void Printable() override;
  void ShowWindowParameters() override;
  void Custom_Activate() override;
  ListTools& Tools() override { return *tools_; }
  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) override;

  // For ViewWindows: traps acknowledged somewhere leave the list.
  void TrapsAcknowledged(std::span<const store::TrapSelection> traps);

  TrapsModel& Model() { return model_; }
  TrapsTableModel& Table() { return table_; }
  TrapsList& List() { return *list_; }

 Q_SIGNALS:
  // A right click or the menu key on the list.
  void ContextMenuRequested(const QPoint& globalPosition);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void ShowStatus();
  void ShowState();  // the same, and what is said beside the rows
  QString EmptyText() const;
  QString WhatIsMissing() const;
  bool HasTraps();

  TrapsServices& services_;
  intake::ViewWindows& windows_;
  TrapsModel model_;
  TrapsTableModel table_;
  std::unique_ptr<Ui::frmTraps> ui_;
  std::unique_ptr<TrapsList> list_;
  std::unique_ptr<ListTools> tools_;
  QLabel* maximumTraps_;
  QLabel* selectedTrap_;
  QLabel* totalTraps_;
  QLabel* filters_;
  NoticeBar* notice_;
};

}  // namespace korvane::traps
