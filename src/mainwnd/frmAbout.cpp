#include "mainwnd/frmAbout.h"

#include <QFont>
#include <string>

#include "common/RegistryValues.h"
#include "common/Version.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"
#include "platform/ApplicationTitle.h"
#include "ui_frmAbout.h"

namespace korvane::mainwnd {
namespace {

constexpr int kIconSize = 64;

}  // namespace

frmAbout::frmAbout(platform::RegistryStore& registry, QWidget* parent)
    : QDialog(parent), ui_(std::make_unique<Ui::frmAbout>()) {
  ui_->setupUi(this);
  ui_->imgIcon->setPixmap(ApplicationIcon().pixmap(QSize(kIconSize, kIconSize), devicePixelRatioF()));
  QFont titleFont = ui_->lblTitle->font();
  titleFont.setPointSizeF(titleFont.pointSizeF() * 1.5);
  titleFont.setBold(true);
  ui_->lblTitle->setFont(titleFont);
  ui_->lblTitle->setText(ToQString(platform::kApplicationTitle));

  std::string version;
  GetRegistryValue(registry, platform::RegistryHive::LocalMachine, kManagerKey, kVersionValue, version);
  const QString own = ToQString(ProgramVersion());
  const QString installed = version.empty() ? own : ToVisibleQString(version);
  ui_->lblVersion->setText(tr("Version %1").arg(installed));
  ui_->lblProgramVersion->setText(tr("This program is version %1.").arg(own));
  ui_->lblProgramVersion->setVisible(installed != own);
  connect(ui_->buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
}

frmAbout::~frmAbout() = default;

}  // namespace korvane::mainwnd
