#include "traps/frmNotesConflict.h"

#include <QPushButton>
#include <string>

#include "common/qt/QtText.h"
#include "ui_frmNotesConflict.h"

namespace korvane::traps {

frmNotesConflict::frmNotesConflict(const NotesConflict& conflict, std::int32_t timeZoneBias, QWidget* parent)
    : QDialog(parent), ui_(std::make_unique<Ui::frmNotesConflict>()) {
  ui_->setupUi(this);
  setSizeGripEnabled(true);
  const QString who = ToVisibleQString(store::WhoAndWhenText(conflict.TheirStamp, timeZoneBias));
  const QString changed = who.isEmpty()
                              ? tr("Somebody else changed the notes on this trap while you wrote.")
                              : tr("The notes on this trap were changed while you wrote, by %1.").arg(who);
  ui_->lblHelp->setText(changed + QLatin1Char(' ') + tr("Yours are not written yet. Which are to be kept?"));
  ui_->lblTrap->SetValue(conflict.Trap.TrapID + ", " + conflict.Trap.Source + ", " + conflict.Trap.DateTime);
  ui_->txtTheirs->SetText(conflict.Theirs);
  ui_->txtMine->SetText(conflict.Mine);
  SetUpChoices(!conflict.Theirs.empty() && !conflict.Mine.empty());
}

frmNotesConflict::~frmNotesConflict() = default;

void frmNotesConflict::SetUpChoices(bool both) {
  const auto offer = [this](QPushButton* button, NotesChoice choice) {
    connect(button, &QPushButton::clicked, this, [this, choice] {
      choice_ = choice;
      accept();
    });
  };
  offer(ui_->cmdTheirs, NotesChoice::Theirs);
  offer(ui_->cmdMine, NotesChoice::Mine);
  offer(ui_->cmdBoth, NotesChoice::Both);
  connect(ui_->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
  // Of a text and none there are no both.
  ui_->cmdBoth->setVisible(both);
  if (!both) {
    ui_->lblBoth->clear();
  }
  // Enter loses nobody's text.
  QPushButton* safe = both ? ui_->cmdBoth : ui_->cmdCancel;
  safe->setDefault(true);
  safe->setFocus();
}

}  // namespace korvane::traps
