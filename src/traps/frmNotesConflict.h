// Asks an operator what becomes of two notes on one trap, the stored ones and those just typed: shows both
// and offers to keep either or both.  Cancel leaves it open.  One object per question; user-interface thread.
#pragma once

#include <QDialog>
#include <memory>
#include <optional>

#include "traps/TrapDetailForm.h"

namespace Ui {
class frmNotesConflict;
}

namespace korvane::traps {

class frmNotesConflict : public QDialog {
  Q_OBJECT

 public:
  frmNotesConflict(const NotesConflict& conflict, std::int32_t timeZoneBias, QWidget* parent = nullptr);
  ~frmNotesConflict() override;

  // Nothing before the operator has chosen, and when they did not.
  std::optional<NotesChoice> Choice() const { return choice_; }

 private:
  void SetUpChoices(bool both);

  std::unique_ptr<Ui::frmNotesConflict> ui_;
  std::optional<NotesChoice> choice_;
};

}  // namespace korvane::traps
