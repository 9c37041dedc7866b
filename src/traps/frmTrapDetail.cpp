#include "traps/frmTrapDetail.h"

#include <QKeyEvent>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <array>

#include "common/Desk.h"
#include "common/NumberList.h"
#include "common/qt/DialogButtons.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "traps/TrapsList.h"
#include "traps/TrapsTableModel.h"
#include "traps/frmNotesConflict.h"
#include "ui_frmTrapDetail.h"

namespace korvane::traps {
namespace {

constexpr std::string_view kSizeSetting = "TrapDetailSize";
constexpr std::string_view kGoOnSetting = "TrapDetailGoOn";
constexpr std::string_view kAsTextSetting = "TrapDetailVarBindsAsText";
constexpr int kIconSize = 16;
constexpr QSize kFrameOfWindow(8, 36);  // what a desktop puts around a dialog
constexpr int kTextTop = 5;             // of a box, so that its caption stands on its first line

}  // namespace

void ShowTrapDetailDialog(const DetailServices& services, TrapsTableModel& table, TrapsList& list,
                          QWidget* parent) {
  frmTrapDetail dialog(services, table, list, list.SelectedPosition().value_or(0), parent);
  if (services.Replaced) {
    dialog.StoreReplaced();
  }
  dialog.exec();
  // Two dialogs that close at once, as after a conflict of notes, leave some desktops without an active
  // window.
  parent->window()->activateWindow();
}

frmTrapDetail::frmTrapDetail(const DetailServices& services, TrapsTableModel& table, TrapsList& list,
                             int position, QWidget* parent)
    : QDialog(parent),
      desk_(services.Desk),
      table_(table),
      list_(list),
      ui_(std::make_unique<Ui::frmTrapDetail>()),
      form_(
          services.Connection, services.Windows, services.Desk.Prompt, NotesEdit::Unedited,
          [this](const NotesConflict& conflict) { return AskChoice(conflict); }, services.Acknowledge) {
  ui_->setupUi(this);
  setSizeGripEnabled(true);
  for (QLabel* caption : {ui_->capVarBinds, ui_->capMoreInformation, ui_->capUserNotes}) {
    caption->setContentsMargins(0, kTextTop, 0, 0);
  }
  SetUpButtons();
  SetUpAcknowledge();
  SetUpVarBinds();
  RestoreSize();
  connect(&table_, &TrapsTableModel::BatchChanged, this, [this] {
    form_.ListChanged(table_.Shown());
    ShowPlace();
  });
  form_.Show(table_.Shown(), static_cast<std::size_t>(position));
  list_.SelectPosition(position);
  ShowTrap();
  ui_->txtUserNotes->setFocus();
}

frmTrapDetail::~frmTrapDetail() = default;

void frmTrapDetail::SetUpButtons() {
  AddOkAndCancel(*ui_->buttons, tr("Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmTrapDetail::accept);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(ui_->cmdPrevious, &QPushButton::clicked, this, &frmTrapDetail::ShowPrevious);
  connect(ui_->cmdNext, &QPushButton::clicked, this, &frmTrapDetail::ShowNext);

  // These work in the text boxes too, where Enter and the page keys are the boxes' own.
  const auto onKey = [this](const QKeySequence& key, void (frmTrapDetail::*act)()) {
    connect(new QShortcut(key, this), &QShortcut::activated, this, act);
  };
  onKey(Qt::CTRL | Qt::Key_Up, &frmTrapDetail::ShowPrevious);
  onKey(Qt::CTRL | Qt::Key_Down, &frmTrapDetail::ShowNext);
  onKey(Qt::CTRL | Qt::Key_Return, &frmTrapDetail::accept);
  onKey(Qt::CTRL | Qt::Key_Enter, &frmTrapDetail::accept);
  ui_->cmdPrevious->setToolTip(tr("Ctrl+Up"));
  ui_->cmdNext->setToolTip(tr("Ctrl+Down"));
}

void frmTrapDetail::SetUpAcknowledge() {
  // The row stays as high while the button is away.
  ui_->lblAcknowledged->setMinimumHeight(ui_->cmdAcknowledge->sizeHint().height());
  ui_->chkGoOn->setChecked(IsKept(kGoOnSetting));
  connect(ui_->chkGoOn, &QCheckBox::toggled, this, [this](bool on) { Keep(kGoOnSetting, on); });
  connect(ui_->cmdAcknowledge, &QPushButton::clicked, this, &frmTrapDetail::Acknowledge);
  ui_->cmdAcknowledge->installEventFilter(this);
  const QKeySequence key(Qt::CTRL | Qt::SHIFT | Qt::Key_A);
  auto* shortcut = new QShortcut(key, this);
  shortcut->setAutoRepeat(false);  // a key held too long must not run through the list
  connect(shortcut, &QShortcut::activated, this, &frmTrapDetail::Acknowledge);
  ui_->cmdAcknowledge->setToolTip(
      tr("Saves the notes and acknowledges the trap (%1)").arg(key.toString(QKeySequence::NativeText)));
}

void frmTrapDetail::SetUpVarBinds() {
  ui_->chkAsText->setChecked(IsKept(kAsTextSetting));
  connect(ui_->chkAsText, &QCheckBox::clicked, this, [this](bool asText) {
    Keep(kAsTextSetting, asText);
    ShowVarBinds();
  });
}

bool frmTrapDetail::IsKept(std::string_view setting) const {
  return desk_.Settings.GetSetting(platform::kSettingsSection, setting, {}) == "1";
}

void frmTrapDetail::Keep(std::string_view setting, bool value) {
  desk_.Settings.SaveSetting(platform::kSettingsSection, setting, value ? "1" : "0");
}

void frmTrapDetail::RestoreSize() {
  const auto size = ParseNumberList(desk_.Settings.GetSetting(platform::kSettingsSection, kSizeSetting, {}));
  const QSize kept = size && size->size() == 2 ? QSize(size->front(), size->back()) : this->size();
  resize(kept.boundedTo(screen()->availableSize() - kFrameOfWindow).expandedTo(minimumSizeHint()));
}

void frmTrapDetail::ShowPrevious() {
  StepTo(form_.Place().Above());
}

void frmTrapDetail::ShowNext() {
  StepTo(form_.Place().Below());
}

void frmTrapDetail::StepTo(std::optional<std::size_t> position) {
  if (!position) {
    return;
  }
  form_.EditNotes(ui_->txtUserNotes->Notes());
  form_.Show(table_.Shown(), *position);
  list_.SelectPosition(static_cast<int>(*position));
  ShowTrap();
}

void frmTrapDetail::Acknowledge() {
  const bool byButton = ui_->cmdAcknowledge->hasFocus();
  form_.EditNotes(ui_->txtUserNotes->Notes());
  const bool done = form_.Acknowledge(table_.Shown());
  ShowTrap();
  if (done && ui_->chkGoOn->isChecked()) {
    ShowNext();
  }
  if (byButton && form_.MayAcknowledge()) {
    ui_->cmdAcknowledge->setFocus();  // it was away for a moment
  }
}

void frmTrapDetail::ShowTrap() {
  const TrapDetail& trap = form_.Trap();
  ui_->lblDateTime->SetValue(trap.DateTime);
  ui_->lblSource->SetValue(trap.Source);
  ui_->lblIPAddress->SetValue(trap.IPAddress);
  ui_->lblSeverity->SetValue(trap.Severity);
  ui_->lblEnterprise->SetValue(trap.Enterprise);
  ui_->lblGeneric->SetValue(trap.Generic);
  ui_->lblTrapID->SetValue(trap.TrapID);
  ui_->txtVarBinds->SetText(trap.VarBinds);
  ui_->chkAsText->setEnabled(ui_->lvVarBinds->SetBindings(trap.VarBinds));
  ui_->txtMoreInformation->SetText(trap.MoreInformation);
  ShowVarBinds();
  ShowAcknowledged();
  ShowNotes();
  ShowIcons();
  ShowPlace();
}

// What is no list of bindings is shown as the text that it is.
void frmTrapDetail::ShowVarBinds() {
  const bool asText = ui_->chkAsText->isChecked() || !ui_->chkAsText->isEnabled();
  QWidget* shown = asText ? static_cast<QWidget*>(ui_->txtVarBinds) : ui_->lvVarBinds;
  ui_->stkVarBinds->setCurrentWidget(shown);
  ui_->capVarBinds->setBuddy(shown);
}

void frmTrapDetail::ShowAcknowledged() {
  ui_->lblAcknowledged->SetValue(form_.Trap().Acknowledged);
  const bool may = form_.MayAcknowledge();
  // Where the focus goes by itself the next blank might close the dialog.
  if (!may && (ui_->cmdAcknowledge->hasFocus() || ui_->chkGoOn->hasFocus())) {
    QWidget* next = ui_->cmdNext;
    (next->isEnabled() ? next : ui_->lblAcknowledged)->setFocus();
  }
  ui_->cmdAcknowledge->setVisible(may);
  ui_->chkGoOn->setVisible(may);
}

void frmTrapDetail::ShowNotes() {
  ui_->txtUserNotes->SetNotes(form_.Notes());
  ShowNews();
}

void frmTrapDetail::ShowNews() {
  const QString news = ToVisibleQString(form_.NotesNews(desk_.State.gTimeZoneBias));
  ui_->lblNotesNews->setText(news);
  for (QLabel* each : {ui_->imgNotesNews, ui_->lblNotesNews}) {
    each->setVisible(!news.isEmpty());
  }
  ui_->txtUserNotes->setAccessibleDescription(news);
}

void frmTrapDetail::NotesChanged(std::int32_t sequenceNumber, std::string_view notes,
                                 const store::ChangeStamp& stamp) {
  form_.EditNotes(ui_->txtUserNotes->Notes());
  if (form_.NotesChanged(sequenceNumber, notes, stamp)) {
    ShowNotes();
  } else {
    ShowNews();
  }
}

void frmTrapDetail::ApplyChange(const store::Change& change) {
  if (form_.ApplyChange(change, desk_.State.gTimeZoneBias)) {
    ShowAcknowledged();
  }
}

void frmTrapDetail::StoreReplaced() {
  form_.EditNotes(ui_->txtUserNotes->Notes());
  form_.StoreReplaced();
  ShowAcknowledged();
  ShowNews();
  ShowPlace();
}

std::optional<NotesChoice> frmTrapDetail::AskChoice(const NotesConflict& conflict) {
  frmNotesConflict question(conflict, desk_.State.gTimeZoneBias, this);
  question.exec();
  return question.Choice();
}

void frmTrapDetail::ShowIcons() {
  const QSize size(kIconSize, kIconSize);
  ui_->imgSeverity->setPixmap(SeverityIcon(form_.Trap().SeverityCode).pixmap(size, devicePixelRatio()));
  ui_->imgNotesNews->setPixmap(NotesIcon().pixmap(size, devicePixelRatio()));
}

void frmTrapDetail::ShowPlace() {
  const FollowedTrap& place = form_.Place();
  const bool above = place.Above().has_value();
  const bool below = place.Below().has_value();
  // A button that is disabled hands its focus on, and in the end OK would have it: whoever steps with the
  // blank bar would close the dialog with it.
  if ((ui_->cmdPrevious->hasFocus() && !above) || (ui_->cmdNext->hasFocus() && !below)) {
    QWidget* last = ui_->lblTrapID;
    if (above || below) {
      last = above ? ui_->cmdPrevious : ui_->cmdNext;
    }
    last->setFocus();
  }
  ui_->cmdPrevious->setEnabled(above);
  ui_->cmdNext->setEnabled(below);
  const auto position = place.Position();
  ui_->lblPlace->setText(position ? tr("Trap %L1 of %L2").arg(*position + 1).arg(place.ListCount())
                                  : tr("No longer in the list"));
}

void frmTrapDetail::accept() {
  form_.EditNotes(ui_->txtUserNotes->Notes());
  if (form_.Ok(table_.Shown())) {
    QDialog::accept();
    return;
  }
  if (!form_.Replaced()) {
    ShowTrap();  // else what was typed stands
  }
  if (const auto position = form_.Place().Position()) {
    list_.SelectPosition(static_cast<int>(*position));
  }
  ui_->txtUserNotes->setFocus();
}

void frmTrapDetail::done(int result) {
  const QSize size = isMaximized() || isFullScreen() ? normalGeometry().size() : this->size();
  desk_.Settings.SaveSetting(platform::kSettingsSection, kSizeSetting,
                             NumberListText(std::array{size.width(), size.height()}));
  QDialog::done(result);
}

// The second click of a double one is not meant for the trap that came up in between.
bool frmTrapDetail::eventFilter(QObject* watched, QEvent* event) {
  return (watched == ui_->cmdAcknowledge && event->type() == QEvent::MouseButtonDblClick) ||
         QDialog::eventFilter(watched, event);
}

void frmTrapDetail::keyPressEvent(QKeyEvent* event) {
  // Arrives here only when the control with the focus has no use for the key.
  switch (event->key()) {
    case Qt::Key_PageUp:
      return ShowPrevious();
    case Qt::Key_PageDown:
      return ShowNext();
    default:
      QDialog::keyPressEvent(event);
  }
}

void frmTrapDetail::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange) {
    ShowIcons();
  }
  QDialog::changeEvent(event);
}

}  // namespace korvane::traps
