#include "platform/qt/SessionBus.h"

#include <QFile>
#include <QStandardPaths>

namespace korvane::platform {

bool SessionBusThere() {
  return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
         QFile::exists(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) +
                       QStringLiteral("/bus"));
}

}  // namespace korvane::platform
