#include "config/frmConfig.h"

#include <QLineEdit>
#include <algorithm>

#include "common/qt/DialogButtons.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "config/UpDown.h"
#include "ui_frmConfig.h"

namespace korvane::config {
namespace {

constexpr int kHoursOfADay = 24;
constexpr int kNoticePicture = 16;

void SetUp(UpDown& box, const char* textBox, const QString& accessibleName, const std::string& text) {
  box.Box().setObjectName(QString::fromLatin1(textBox));
  box.Box().setText(ToQString(text));
  box.setAccessibleName(accessibleName);
}

}  // namespace

frmConfig::frmConfig(const ConfigServices& services, QWidget* parent)
    : QDialog(parent), form_(services), ui_(std::make_unique<Ui::frmConfig>()) {
  ui_->setupUi(this);
  const ConfigValues& loaded = form_.Loaded();
  ui_->UpDown2->SetRange(1, 90, 1);
  ui_->UpDown1->SetRange(1000, 10000, 1000);
  SetUp(*ui_->UpDown2, "txtPurge", tr("Days until traps are purged"), loaded.PurgeDays);
  SetUp(*ui_->UpDown1, "txtViewLimit", tr("Most traps of a window"), loaded.MaxViewTraps);
  ShowHours(loaded.AckHours);
  ui_->imgNever->setPixmap(MessageIcon(MessagePicture::Exclamation).pixmap(kNoticePicture));
  connect(&ui_->UpDown2->Box(), &QLineEdit::textChanged, this, &frmConfig::ShowPurging);
  ShowPurging();
  // The boxes of both frames stand below each other.
  const int labels = std::max(ui_->lblTraps1->sizeHint().width(), ui_->lblAck1->sizeHint().width());
  ui_->lblTraps1->setMinimumWidth(labels);
  ui_->lblAck1->setMinimumWidth(labels);

  AddOkAndCancel(*ui_->buttons, tr("&Cancel"));
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &frmConfig::Ok);
  connect(ui_->buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  ui_->UpDown2->setFocus();
  ui_->UpDown2->selectAll();
}

frmConfig::~frmConfig() = default;

void frmConfig::ShowHours(const std::string& hours) {
  for (int hour = 1; hour <= kHoursOfADay; ++hour) {
    ui_->cboHours->addItem(QString::number(hour));
  }
  const QString stored = ToQString(hours);
  if (ui_->cboHours->findText(stored) < 0) {
    ui_->cboHours->addItem(stored);  // kept until another is chosen
  }
  ui_->cboHours->setCurrentText(stored);
}

void frmConfig::ShowPurging() {
  const bool never = ConfigForm::SwitchesPurgingOff(ToUtf8(ui_->UpDown2->text()));
  ui_->imgNever->setVisible(never);
  ui_->lblNever->setVisible(never);
  ui_->UpDown2->Box().setAccessibleDescription(never ? ui_->lblNever->text() : QString());
}

void frmConfig::Ok() {
  if (form_.Ok({.AckHours = ToUtf8(ui_->cboHours->currentText()),
                .PurgeDays = ToUtf8(ui_->UpDown2->text()),
                .MaxViewTraps = ToUtf8(ui_->UpDown1->text())})) {
    accept();
  }
}

}  // namespace korvane::config
