#include "alerts/frmActions.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QStringList>
#include <algorithm>

#include "common/Translation.h"
#include "common/qt/DialogButtons.h"
#include "common/qt/QtText.h"
#include "common/qt/TextLength.h"
#include "store/ColumnLengths.h"
#include "ui_frmActions.h"

namespace korvane::alerts {
namespace {

// A long text is shown from its beginning.
void Show(QLineEdit& edit, const std::string& text) {
  edit.setText(ToQString(text));
  edit.setCursorPosition(0);
}

void Show(QComboBox& combo, const std::vector<std::string>& entered, const std::string& text) {
  QStringList texts;
  for (const std::string& entry : entered) {
    texts.append(ToQString(entry));
  }
  combo.clear();
  combo.addItems(texts);
  Show(*combo.lineEdit(), text);
}

}  // namespace

frmActions::frmActions(const AlertServices& services, QWidget* parent)
    : QDialog(parent), services_(services), form_(services), ui_(std::make_unique<Ui::frmActions>()) {
  ui_->setupUi(this);
  AddField(ui_->txtBeepDesc, ui_->lblBeepHelp, tr("Enter a brief description for the beep configuration."));
  AddField(ui_->txtBeepCount, ui_->lblBeepHelp, tr("Specify the number of times beep should be generated."));
  AddField(ui_->txtDuration, ui_->lblBeepHelp, tr("Specifies the duration, in seconds, of the sound."));
  AddField(ui_->txtDelay, ui_->lblBeepHelp, tr("Specify delay between two beeps in seconds."));
  AddField(ui_->txtFreq, ui_->lblBeepHelp, tr("Specifies the frequency, in hertz, of the sound."));
  AddField(ui_->cboSMTPServer, ui_->lblEmailHelp, tr("Specify the SMTP server for outgoing mails."));
  AddField(ui_->cboEmailTo, ui_->lblEmailHelp,
           tr("Specify the Email address to where notification should send."));
  AddField(ui_->txtEmailFrom, ui_->lblEmailHelp,
           tr("Specify the Email address from where notifications should be send."));
  AddField(ui_->txtSubject, ui_->lblEmailHelp, tr("Specify subject for EMail message."));
  for (QLineEdit* number : {ui_->txtBeepCount, ui_->txtDuration, ui_->txtDelay, ui_->txtFreq}) {
    TakeDigitsOnly(*number);
  }
  LimitLengths();
  AddOkAndCancel(*ui_->buttons, tr("Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmActions::Ok);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(ui_->cmdBrowse, &QPushButton::clicked, this, &frmActions::Browse);
  ClearTabs();
}

frmActions::~frmActions() = default;

void frmActions::AddField(QWidget* editor, QLabel* help, const QString& text) {
  fields_.push_back({.Editor = editor, .Help = help, .Text = text});
  editor->setToolTip(text);
  // An editable list has the focus in its own text box.
  if (auto* combo = qobject_cast<QComboBox*>(editor)) {
    combo->lineEdit()->installEventFilter(this);
  }
  editor->installEventFilter(this);
}

void frmActions::TakeDigitsOnly(QLineEdit& edit) {
  edit.setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]*")), &edit));
  connect(&edit, &QLineEdit::inputRejected, this, [] { QApplication::beep(); });
}

void frmActions::LimitLengths() {
  using store::LengthOf;
  LimitLength(*ui_->txtBeepDesc, LengthOf(store::kBeepDetail, "Description"));
  LimitLength(*ui_->cboSMTPServer->lineEdit(), LengthOf(store::kEmailDetail, "Smtp_Server"));
  LimitLength(*ui_->cboEmailTo->lineEdit(), LengthOf(store::kEmailDetail, "Email_To"));
  LimitLength(*ui_->txtEmailFrom, LengthOf(store::kEmailDetail, "Email_From"));
  LimitLength(*ui_->cboMsgDest->lineEdit(), LengthOf(store::kMessageDetail, "Destination"));
}

bool frmActions::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::FocusIn) {
    const auto field = std::find_if(fields_.begin(), fields_.end(), [&](const Field& each) {
      return each.Editor == watched || each.Editor == watched->parent();
    });
    if (field != fields_.end()) {
      field->Help->setText(field->Text);
    }
  } else if (event->type() == QEvent::KeyPress) {
    const auto& key = *static_cast<QKeyEvent*>(event);
    if (key.modifiers() == Qt::NoModifier && (key.key() == Qt::Key_Up || key.key() == Qt::Key_Down)) {
      return StepFrom(watched, key.key() == Qt::Key_Up ? -1 : 1);
    }
  }
  return QDialog::eventFilter(watched, event);
}

// The fields of both pages stand in one list, in order; those of one page have one help label.
bool frmActions::StepFrom(const QObject* editor, int step) {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (fields_[i].Editor != editor && fields_[i].Editor != editor->parent()) {
      continue;
    }
    const std::size_t next = i + static_cast<std::size_t>(step);
    if (next < fields_.size() && fields_[next].Help == fields_[i].Help) {
      fields_[next].Editor->setFocus(Qt::TabFocusReason);
    }
    return true;
  }
  return false;
}

void frmActions::ClearTabs() {
  form_.ClearTabs();
  for (QWidget* page : {ui_->pagBeep, ui_->pagEmail, ui_->pagMessage, ui_->pagCustom}) {
    if (const int index = ui_->tabActions->indexOf(page); index >= 0) {
      ui_->tabActions->removeTab(index);
    }
    page->setParent(this);
    page->hide();
  }
}

QWidget* frmActions::FirstFieldOf(ActionKind kind) const {
  switch (kind) {
    case ActionKind::Beep:
      return ui_->txtBeepDesc;
    case ActionKind::Email:
      return ui_->cboSMTPServer;
    case ActionKind::Message:
      return ui_->cboMsgDest;
    case ActionKind::Custom:
      break;
  }
  return ui_->cboCustom;
}

QWidget* frmActions::FieldToMend(ActionKind kind) const {
  if (kind == ActionKind::Beep && !ui_->txtBeepDesc->text().isEmpty()) {
    for (QLineEdit* number : {ui_->txtBeepCount, ui_->txtDuration, ui_->txtDelay, ui_->txtFreq}) {
      if (!ActionsForm::IsNumber(ToUtf8(number->text()))) {
        return number;
      }
    }
  } else if (kind == ActionKind::Email && !ui_->cboSMTPServer->currentText().isEmpty()) {
    if (ui_->cboEmailTo->currentText().isEmpty()) {
      return ui_->cboEmailTo;
    }
    if (ui_->txtEmailFrom->text().isEmpty()) {
      return ui_->txtEmailFrom;
    }
  }
  return FirstFieldOf(kind);
}

void frmActions::AddTab(ActionKind kind, std::int32_t id, QWidget* page, const QString& caption) {
  form_.AddTab(kind, id);
  ui_->tabActions->addTab(page, caption);
  ShowPages();
  if (form_.Tabs().size() == 1) {
    FirstFieldOf(kind)->setFocus();
  }
}

void frmActions::AddBeepTab(std::int32_t beepId) {
  AddTab(ActionKind::Beep, beepId, ui_->pagBeep, tr("Beep"));
}

void frmActions::AddEmailTab(std::int32_t emailId) {
  AddTab(ActionKind::Email, emailId, ui_->pagEmail, tr("Email"));
}

void frmActions::AddMessageTab(std::int32_t messageId) {
  AddTab(ActionKind::Message, messageId, ui_->pagMessage, tr("Message"));
}

void frmActions::AddCustomTab(std::int32_t customId) {
  AddTab(ActionKind::Custom, customId, ui_->pagCustom, tr("Custom"));
}

void frmActions::ShowPages() {
  Show(*ui_->txtBeepDesc, form_.Beep.Description);
  Show(*ui_->txtBeepCount, form_.Beep.Count);
  Show(*ui_->txtDuration, form_.Beep.Duration);
  Show(*ui_->txtDelay, form_.Beep.Delay);
  Show(*ui_->txtFreq, form_.Beep.Frequency);
  Show(*ui_->cboSMTPServer, form_.Email.SmtpServers, form_.Email.Mail.SmtpServer);
  Show(*ui_->cboEmailTo, form_.Email.Recipients, form_.Email.Mail.To);
  Show(*ui_->txtEmailFrom, form_.Email.Mail.From);
  Show(*ui_->txtSubject, form_.Email.Mail.Subject);
  Show(*ui_->cboMsgDest, form_.Message.Entered, form_.Message.Text);
  Show(*ui_->cboCustom, form_.Custom.Entered, form_.Custom.Text);
}

void frmActions::TakePages() {
  form_.Beep = {.Description = ToUtf8(ui_->txtBeepDesc->text()),
                .Count = ToUtf8(ui_->txtBeepCount->text()),
                .Duration = ToUtf8(ui_->txtDuration->text()),
                .Delay = ToUtf8(ui_->txtDelay->text()),
                .Frequency = ToUtf8(ui_->txtFreq->text())};
  form_.Email.Mail = {.SmtpServer = ToUtf8(ui_->cboSMTPServer->currentText()),
                      .To = ToUtf8(ui_->cboEmailTo->currentText()),
                      .From = ToUtf8(ui_->txtEmailFrom->text()),
                      .Subject = ToUtf8(ui_->txtSubject->text())};
  form_.Message.Text = ToUtf8(ui_->cboMsgDest->currentText());
  form_.Custom.Text = ToUtf8(ui_->cboCustom->currentText());
}

void frmActions::Browse() {
  const std::vector<std::string> files =
      services_.Prompt.AskOpenFiles({.Caption = Translated("Select a file to execute"),
                                     .Path = ToUtf8(ui_->cboCustom->currentText()),
                                     .Kind = {},
                                     .Extension = {}});
  if (!files.empty()) {
    ui_->cboCustom->setEditText(QDir::toNativeSeparators(ToQString(files.front())));
  }
}

void frmActions::Ok() {
  TakePages();
  const std::optional<ActionKind> failed = form_.Ok();
  if (!failed) {
    cancelled_ = false;
    accept();
    return;
  }
  const auto tab = std::find(form_.Tabs().begin(), form_.Tabs().end(), *failed);
  ui_->tabActions->setCurrentIndex(static_cast<int>(tab - form_.Tabs().begin()));
  FieldToMend(*failed)->setFocus();
}

std::optional<ActionIds> ConfigureActions(const AlertServices& services, const std::vector<ActionKind>& kinds,
                                          const ActionIds& ids, QWidget* parent) {
  frmActions dialog(services, parent);
  for (const ActionKind kind : kinds) {
    switch (kind) {
      case ActionKind::Beep:
        dialog.AddBeepTab(ids.Beep);
        break;
      case ActionKind::Email:
        dialog.AddEmailTab(ids.Email);
        break;
      case ActionKind::Message:
        dialog.AddMessageTab(ids.Message);
        break;
      case ActionKind::Custom:
        dialog.AddCustomTab(ids.Custom);
        break;
    }
  }
  dialog.exec();
  return dialog.Cancelled() ? std::nullopt : std::optional(dialog.Ids());
}

}  // namespace korvane::alerts
