// The trap detail dialog: every field of one trap of a list, stepping through the list, the operator's notes,
// and acknowledging.  It shows what the list's rows hold and asks the store for nothing; only OK and
// Acknowledge write.  The list may change while the dialog is open.  User-interface thread.
#pragma once

#include <QDialog>
#include <memory>
#include <optional>
#include <string_view>

#include "traps/TrapDetailForm.h"

namespace Ui {
class frmTrapDetail;
}

namespace korvane {
struct Desk;
}

namespace korvane::intake {
class ViewWindows;
}  // namespace korvane::intake

namespace korvane::traps {

class TrapsTableModel;
class TrapsList;

// All of it outlives the dialog.
struct DetailServices {
  korvane::Desk& Desk;
  store::Connection& Connection;
  intake::ViewWindows& Windows;
  TrapDetailForm::AcknowledgeTrap Acknowledge;  // none in a report
  bool Replaced = false;                        // the report is of another state of the store
};

// Runs the dialog on the list's selected trap, or on its first; the list must hold one.
void ShowTrapDetailDialog(const DetailServices& services, TrapsTableModel& table, TrapsList& list,
                          QWidget* parent);

class frmTrapDetail : public QDialog {
  Q_OBJECT

 public:
  // position: in the list.  All that is passed must outlive the dialog.
  frmTrapDetail(const DetailServices& services, TrapsTableModel& table, TrapsList& list, int position,
                QWidget* parent = nullptr);
  ~frmTrapDetail() override;

  // Somebody else stored notes on a trap: told by the frame, which finds the open dialog among its children.
  void NotesChanged(std::int32_t sequenceNumber, std::string_view notes, const store::ChangeStamp& stamp);

  // Traps were acknowledged, made new again or deleted: told as well.
  void ApplyChange(const store::Change& change);

  // The store is in another state: told as well.
  void StoreReplaced();

  // Saves the notes; stays open when the store refuses them, or the operator does not settle a conflict.
  void accept() override;
  void done(int result) override;

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void SetUpButtons();
  void SetUpAcknowledge();
  void SetUpVarBinds();
  bool IsKept(std::string_view setting) const;
  void Keep(std::string_view setting, bool value);
  void RestoreSize();
  void StepTo(std::optional<std::size_t> position);
  void ShowPrevious();
  void ShowNext();
  void Acknowledge();
  void ShowTrap();
  void ShowAcknowledged();
  void ShowVarBinds();
  void ShowIcons();
  void ShowPlace();
  void ShowNotes();
  void ShowNews();
  std::optional<NotesChoice> AskChoice(const NotesConflict& conflict);

  Desk& desk_;
  TrapsTableModel& table_;
  TrapsList& list_;
  std::unique_ptr<Ui::frmTrapDetail> ui_;
  TrapDetailForm form_;
};

}  // namespace korvane::traps
