#include "common/qt/DesktopScheme.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QTest>

#include "support/PrivateBus.h"

namespace korvane {
namespace {

constexpr uint kNoPreference = 0;
constexpr uint kDark = 1;
constexpr uint kLight = 2;

// The desktop's settings portal, with one setting.
class Portal : public QDBusVirtualObject {
 public:
  explicit Portal(const QString& address)
      : bus_(QDBusConnection::connectToBus(address, QStringLiteral("portal"))) {
    bus_.registerVirtualObject(Path(), this);
    bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
  }
  ~Portal() override { QDBusConnection::disconnectFromBus(QStringLiteral("portal")); }

  void Set(uint scheme) {
    Scheme = scheme;
    Announce(QStringLiteral("org.freedesktop.appearance"), scheme);
  }
  void Announce(const QString& group, uint value) {
    QDBusMessage signal = QDBusMessage::createSignal(Path(), Settings(), QStringLiteral("SettingChanged"));
    signal << group << QStringLiteral("color-scheme") << QVariant::fromValue(QDBusVariant(value));
    bus_.send(signal);
  }

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    if (message.member() != QStringLiteral("Read")) {
      return false;
    }
    const QVariant inner = QVariant::fromValue(QDBusVariant(Scheme));
    return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(inner))));
  }

  uint Scheme = kNoPreference;

 private:
  static QString Path() { return QStringLiteral("/org/freedesktop/portal/desktop"); }
  static QString Settings() { return QStringLiteral("org.freedesktop.portal.Settings"); }

  QDBusConnection bus_;
};

// One test: the toolkit reaches for the session bus once in a process.
TEST(DesktopSchemeTest, FollowsThePortalAndItsChanges) {
  qunsetenv("DBUS_SESSION_BUS_ADDRESS");
  {
    const DesktopScheme alone(true);
    EXPECT_TRUE(alone.Dark()) << "without a bus the start decides";
  }
  const test::PrivateBus bus;
  qputenv("DBUS_SESSION_BUS_ADDRESS", bus.Address().c_str());
  Portal portal(QString::fromStdString(bus.Address()));
  portal.Scheme = kDark;
  DesktopScheme scheme(false);
  int changes = 0;
  QObject::connect(&scheme, &DesktopScheme::Changed, &scheme, [&changes](bool) { ++changes; });
  EXPECT_FALSE(scheme.Dark()) << "nobody waits for the portal";
  EXPECT_TRUE(QTest::qWaitFor([&scheme] { return scheme.Dark(); }, 20000));
  portal.Set(kLight);
  EXPECT_TRUE(QTest::qWaitFor([&scheme] { return !scheme.Dark(); }, 20000));
  portal.Announce(QStringLiteral("org.example.other"), kDark);
  portal.Set(kNoPreference);
  portal.Set(kDark);
  EXPECT_TRUE(QTest::qWaitFor([&scheme] { return scheme.Dark(); }, 20000));
  EXPECT_EQ(changes, 3);
}

}  // namespace
}  // namespace korvane
