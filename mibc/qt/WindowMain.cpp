#include "WindowMain.h"

#include <QApplication>
#include <clocale>

#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtText.h"
#include "common/qt/TextTranslator.h"
#include "frmMibCompiler.h"
#include "platform/ApplicationTitle.h"
#include "store/Connection.h"

namespace korvane::mibc {

bool HasDisplay() {
  return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
         qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}

int ShowWindow(int argc, char** argv) {
  QApplication application(argc, argv);
  std::setlocale(LC_NUMERIC, "C");  // drivers read and write numbers
  QApplication::setApplicationName(ToQString(platform::kApplicationTitle));
  QApplication::setDesktopFileName(QStringLiteral("korvane-console"));
  ApplyKorvaneStyle(application);
  InstallTranslations(application);
  frmMibCompiler window(
      {.Reader = {.Folders = StandardFolders()}, .DataSource = std::string(store::kDataSourceName)});
  window.show();
  return QApplication::exec();
}

}  // namespace korvane::mibc
