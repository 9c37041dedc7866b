// What can be told apart and read, measured on what is painted; the desktop's colour scheme; prompts.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QStyleOptionHeader>
#include <QTest>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common/qt/DesktopScheme.h"
#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtPrompts.h"
#include "common/qt/StatusText.h"
#include "platform/qt/QtNotifications.h"
#include "support/PrivateBus.h"
#include "support/WindowDriver.h"

namespace korvane {
namespace {

constexpr int kSeverities = 6;

// The picture in grey on the background: what is left of it without colour.
QImage GreyOn(const QIcon& icon, const QColor& background) {
  QImage image(16, 16, QImage::Format_RGB32);
  image.fill(background);
  QPainter painter(&image);
  icon.paint(&painter, image.rect());
  painter.end();
  return image.convertToFormat(QImage::Format_Grayscale8);
}

TEST(LookTest, SeveritiesAreToldApartWithoutColourAndEveryTextIsReadable) {
  using Pair = std::pair<QPalette::ColorRole, QPalette::ColorRole>;
  for (const QPalette& palette : {LightPalette(), DarkPalette()}) {
    const QColor background = palette.color(QPalette::Base);
    for (int a = 0; a < kSeverities; ++a) {
      EXPECT_NE(GreyOn(SeverityIcon(a), background), GreyOn(QIcon(), background)) << a;
      for (int b = 0; b < a; ++b) {
        EXPECT_NE(GreyOn(SeverityIcon(a), background), GreyOn(SeverityIcon(b), background)) << a << b;
      }
      EXPECT_GE(ContrastRatio(SeverityTextColour(a, palette), SeverityColour(a, palette)), 4.5) << a;
    }
    for (const auto& [text, ground] : {Pair{QPalette::WindowText, QPalette::Window},
                                       {QPalette::Text, QPalette::Base},
                                       {QPalette::Text, QPalette::AlternateBase},
                                       {QPalette::ButtonText, QPalette::Button},
                                       {QPalette::HighlightedText, QPalette::Highlight},
                                       {QPalette::ToolTipText, QPalette::ToolTipBase},
                                       {QPalette::PlaceholderText, QPalette::Base},
                                       {QPalette::PlaceholderText, QPalette::AlternateBase},
                                       {QPalette::Link, QPalette::Base}}) {
      EXPECT_GE(ContrastRatio(palette.color(text), palette.color(ground)), 4.5)
          << "role " << text << " on " << ground;
    }
  }
}

TEST(LookTest, AscendingPointsUpAndStatusTextsLoseWordsBeforeTheirNumbers) {
  QImage image(9, 9, QImage::Format_RGB32);
  image.fill(Qt::white);
  QPainter painter(&image);
  QStyleOptionHeader header;
  header.rect = image.rect();
  header.palette = LightPalette();
  header.sortIndicator = QStyleOptionHeader::SortDown;  // what the toolkit calls ascending
  KorvaneStyle().drawPrimitive(QStyle::PE_IndicatorHeaderArrow, &header, &painter, nullptr);
  painter.end();
  std::vector<int> inked;
  for (int y = 0; y < image.height(); ++y) {
    inked.push_back(0);
    for (int x = 0; x < image.width(); ++x) {
      inked.back() += image.pixelColor(x, y).lightness() < 230 ? 1 : 0;
    }
  }
  std::erase(inked, 0);
  EXPECT_LT(inked.front(), inked.back()) << "its tip is above";

  const QFontMetrics metrics(QApplication::font());
  const QString text = QStringLiteral("Trap Rate: 43,008 Trap(s) / Minute ");
  for (int width = metrics.horizontalAdvance(text) + 9; width > 80; width -= 10) {
    const QString shown = ShortStatusText(text, metrics, width);
    EXPECT_TRUE(shown.contains(QLatin1String("43,008"))) << width;
    EXPECT_LE(metrics.horizontalAdvance(shown.trimmed()), width);
  }
}

// The desktop's notification service: what it is asked for, and an answer to each call.
class NotificationService : public QDBusVirtualObject {
 public:
  explicit NotificationService(QDBusConnection bus) : bus_(std::move(bus)) {
    bus_.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), this);
    bus_.registerService(QStringLiteral("org.freedesktop.Notifications"));
  }
  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    const QVariantList arguments = message.arguments();
    if (message.member() == QStringLiteral("GetCapabilities")) {
      return connection.send(message.createReply(QStringList{QStringLiteral("body-markup")}));
    }
    if (message.member() == QStringLiteral("Notify")) {
      Asked.push_back(QStringLiteral("%1 %2: %3")
                          .arg(arguments[1].toUInt())
                          .arg(arguments[3].toString(), arguments[4].toString()));
      return connection.send(message.createReply(7U));
    }
    Asked.push_back(message.member() + QString::number(arguments.value(0).toUInt()));
    return connection.send(message.createReply());
  }
  void Choose() {
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/Notifications"),
                                                     QStringLiteral("org.freedesktop.Notifications"),
                                                     QStringLiteral("ActionInvoked"));
    bus_.send(signal << 7U << QStringLiteral("default"));
  }
  QStringList Asked;

 private:
  QDBusConnection bus_;
};

// The desktop's settings portal, with one setting.
class Portal : public QDBusVirtualObject {
 public:
  explicit Portal(const QString& address)
      : bus_(QDBusConnection::connectToBus(address, QStringLiteral("portal"))) {
    bus_.registerVirtualObject(QStringLiteral("/org/freedesktop/portal/desktop"), this);
    bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
  }
  QDBusConnection Bus() const { return bus_; }
  ~Portal() override { QDBusConnection::disconnectFromBus(QStringLiteral("portal")); }

  void Announce(const char* group, uint scheme) {
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                     QStringLiteral("org.freedesktop.portal.Settings"),
                                                     QStringLiteral("SettingChanged"));
    signal << QLatin1String(group) << QStringLiteral("color-scheme")
           << QVariant::fromValue(QDBusVariant(scheme));
    bus_.send(signal);
  }
  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    const QVariant dark = QVariant::fromValue(QDBusVariant(1U));
    return message.member() == QStringLiteral("Read") &&
           connection.send(message.createReply(QVariant::fromValue(QDBusVariant(dark))));
  }

 private:
  QDBusConnection bus_;
};

// One test: the toolkit reaches for the session bus once in a process.
TEST(DesktopTest, ItsSchemeIsFollowedAndItsNotificationsAreUsedWithoutWaiting) {
  qunsetenv("DBUS_SESSION_BUS_ADDRESS");
  platform::QtNotifications notifications;
  notifications.Show({"nobody", "sees it"});
  EXPECT_TRUE(DesktopScheme(true).Dark()) << "without a bus the start decides";
  const test::PrivateBus bus;
  qputenv("DBUS_SESSION_BUS_ADDRESS", bus.Address().c_str());
  Portal portal(QString::fromStdString(bus.Address()));
  DesktopScheme scheme(false);
  int changes = 0;
  QObject::connect(&scheme, &DesktopScheme::Changed, &scheme, [&changes](bool) { ++changes; });
  EXPECT_FALSE(scheme.Dark()) << "nobody waits for the portal";
  EXPECT_TRUE(test::WaitFor([&scheme] { return scheme.Dark(); }));
  portal.Announce("org.freedesktop.appearance", 2);
  EXPECT_TRUE(test::WaitFor([&scheme] { return !scheme.Dark(); }));
  portal.Announce("org.example.other", 1);
  portal.Announce("org.freedesktop.appearance", 0);  // no preference: as at the start
  portal.Announce("org.freedesktop.appearance", 1);
  EXPECT_TRUE(test::WaitFor([&scheme] { return scheme.Dark(); }));
  EXPECT_EQ(changes, 3);

  notifications.Show({"nobody", "listens"});
  notifications.Withdraw();
  NotificationService service(portal.Bus());
  bool chosen = false;
  notifications.SetListener([&chosen] { chosen = true; });
  const auto asked = [&service](const char* call) {
    return test::WaitFor([&] { return service.Asked.contains(QLatin1String(call)); });
  };
  EXPECT_TRUE(test::WaitFor([&] {
    notifications.Show({"first", ""});
    return !service.Asked.isEmpty();
  }));
  notifications.Show({"2 critical traps", "<b>a & b"});
  EXPECT_TRUE(asked("7 2 critical traps: &lt;b&gt;a &amp; b")) << "in the place of the first";
  service.Choose();
  EXPECT_TRUE(test::WaitFor([&chosen] { return chosen; }));
  notifications.Withdraw();
  EXPECT_TRUE(asked("CloseNotification7"));
}

QMessageBox& Box(QDialog& dialog) {
  return dynamic_cast<QMessageBox&>(dialog);
}

TEST(QtPromptsTest, ShowsPlainTextAndAnswersWhatIsPressed) {
  // NoButton is the Escape key, Ignore the Return key.
  for (const auto& row : {std::tuple(PromptButtons::Ok, QMessageBox::NoButton, PromptAnswer::Ok),
                          {PromptButtons::YesNo, QMessageBox::Yes, PromptAnswer::Yes},
                          {PromptButtons::NoYes, QMessageBox::Ignore, PromptAnswer::No},
                          {PromptButtons::NoYes, QMessageBox::Yes, PromptAnswer::Yes},
                          {PromptButtons::YesNo, QMessageBox::NoButton, PromptAnswer::No},
                          {PromptButtons::YesNoCancel, QMessageBox::Cancel, PromptAnswer::Cancel},
                          {PromptButtons::YesNoCancel, QMessageBox::NoButton, PromptAnswer::Cancel}}) {
    const auto& [buttons, pressed, answer] = row;
    test::InDialog(
        [&, offered = buttons, expected = answer] {
          EXPECT_EQ(QtPrompts().Ask("<b>'a&b\r%1</b>", offered, PromptIcon::Exclamation), expected);
        },
        [press = pressed](QDialog& open) {
          EXPECT_EQ(Box(open).text(), QStringLiteral("<b>'a&b\n%1</b>"));
          EXPECT_EQ(Box(open).textFormat(), Qt::PlainText);
          EXPECT_EQ(Box(open).icon(), QMessageBox::Warning);
          if (press == QMessageBox::NoButton || press == QMessageBox::Ignore) {
            QTest::keyClick(&open, press == QMessageBox::Ignore ? Qt::Key_Return : Qt::Key_Escape);
          } else {
            QTest::mouseClick(Box(open).button(press), Qt::LeftButton);
          }
        });
  }
  // One that fits no screen is offered as details.
  for (const QString& text : {QStringLiteral("line\n").repeated(500), QString(70000, QLatin1Char('x'))}) {
    test::InDialog([&] { QtPrompts().ShowFailure(text.toStdString(), "why"); },
                   [&](QDialog& open) {
                     EXPECT_EQ(Box(open).detailedText(), text + QStringLiteral("\n\nwhy"));
                     EXPECT_LE(open.height(), 700);
                     open.close();
                   });
  }
}

TEST(QtPromptsTest, InputBoxGivesTheTextOrNothing) {
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Escape}) {
    std::optional<std::string> given = "none was given";
    test::InDialog([&] { given = QtPrompts().AskText("<b>Name: ", "All Traps "); },
                   [&](QDialog& open) {
                     EXPECT_EQ(test::Find<QLabel>(open).textFormat(), Qt::PlainText);
                     EXPECT_EQ(test::TextOf(open, "txtAnswer"), "All Traps ");
                     test::Type(open, "txtAnswer", "<i>M&unchen</i>");
                     QTest::keyClick(&open, key);
                   });
    EXPECT_EQ(given, key == Qt::Key_Return ? std::optional<std::string>("<i>M&unchen</i>") : std::nullopt);
  }
}

}  // namespace
}  // namespace korvane
