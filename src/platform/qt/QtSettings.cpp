#include "platform/qt/QtSettings.h"

#include <QSettings>
#include <QString>

#include "platform/ApplicationTitle.h"

namespace korvane::platform {
namespace {

QString Text(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QSettings UserSettings() {
  const QString title = Text(kApplicationTitle);
  return QSettings(title, title);
}

QString KeyOf(std::string_view section, std::string_view name) {
  return Text(section) + QLatin1Char('/') + Text(name);
}

}  // namespace

std::string QtSettings::GetSetting(std::string_view section, std::string_view name,
                                   std::string_view defaultText) {
  return UserSettings().value(KeyOf(section, name), Text(defaultText)).toString().toStdString();
}

void QtSettings::SaveSetting(std::string_view section, std::string_view name, std::string_view text) {
  QSettings settings = UserSettings();
  settings.setValue(KeyOf(section, name), Text(text));
  settings.sync();
}

}  // namespace korvane::platform
