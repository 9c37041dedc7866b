#include "common/qt/DesktopScheme.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include "platform/qt/SessionBus.h"

namespace korvane {
namespace {

constexpr uint kPrefersDark = 1;
constexpr uint kPrefersLight = 2;

QString PortalService() {
  return QStringLiteral("org.freedesktop.portal.Desktop");
}
QString PortalPath() {
  return QStringLiteral("/org/freedesktop/portal/desktop");
}
QString PortalSettings() {
  return QStringLiteral("org.freedesktop.portal.Settings");
}
QString AppearanceGroup() {
  return QStringLiteral("org.freedesktop.appearance");
}
QString SchemeKey() {
  return QStringLiteral("color-scheme");
}

// The portal wraps its answer in one variant or, from its older call, in two.
QVariant Unwrapped(QVariant value) {
  while (value.canConvert<QDBusVariant>()) {
    value = value.value<QDBusVariant>().variant();
  }
  return value;
}

}  // namespace

DesktopScheme::DesktopScheme(bool darkAtStart, QObject* parent)
    : QObject(parent), darkAtStart_(darkAtStart), dark_(darkAtStart) {
  if (platform::SessionBusThere()) {
    AskPortal();
  }
}

void DesktopScheme::AskPortal() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    return;
  }
  // The bus finds a slot only when the types of all its arguments are known by then.
  qRegisterMetaType<QDBusVariant>();
  // The toolkit wants the signature without blanks.
  // clang-format off
  bus.connect(PortalService(), PortalPath(), PortalSettings(), QStringLiteral("SettingChanged"), this,
              SLOT(SettingChanged(QString,QString,QDBusVariant)));
  // clang-format on
  QDBusMessage read =
      QDBusMessage::createMethodCall(PortalService(), PortalPath(), PortalSettings(), QStringLiteral("Read"));
  read << AppearanceGroup() << SchemeKey();
  auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(read), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
    const QDBusPendingReply<QDBusVariant> reply = *finished;
    if (reply.isValid()) {
      Take(Unwrapped(reply.value().variant()).toUInt());
    }
    finished->deleteLater();
  });
}

void DesktopScheme::SettingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
  if (group == AppearanceGroup() && key == SchemeKey()) {
    Take(Unwrapped(value.variant()).toUInt());
  }
}

void DesktopScheme::Take(uint scheme) {
  const bool dark = scheme == kPrefersDark || (scheme != kPrefersLight && darkAtStart_);
  if (dark != dark_) {
    dark_ = dark;
    Q_EMIT Changed(dark);
  }
}

}  // namespace korvane
