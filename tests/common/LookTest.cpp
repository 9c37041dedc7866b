// Severity pictures and colours, count pills and palettes, measured on what is painted; the desktop's colour
// scheme; prompts.
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
#include <QStandardItemModel>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <array>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/qt/CountPillDelegate.h"
#include "common/qt/DesktopScheme.h"
#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtPrompts.h"
#include "support/PrivateBus.h"

namespace korvane {
namespace {

constexpr int kSeverities = 6;

std::vector<QPalette> Palettes() {
  return {LightPalette(), DarkPalette()};
}

// The picture in grey on the background: what is left of it without colour.
QImage GreyOn(const QIcon& icon, const QColor& background, int size) {
  QImage image(size, size, QImage::Format_RGB32);
  image.fill(background);
  QPainter painter(&image);
  icon.paint(&painter, image.rect());
  painter.end();
  return image.convertToFormat(QImage::Format_Grayscale8);
}

template <typename Holds>
int CountWhere(const QImage& image, Holds holds) {
  int count = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      count += holds(x, y) ? 1 : 0;
    }
  }
  return count;
}

// The share of pixels that differ clearly, in percent.
int Difference(const QImage& a, const QImage& b) {
  const auto differs = [&](int x, int y) {
    return std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y))) > 48;
  };
  return 100 * CountWhere(a, differs) / (a.width() * a.height());
}

int CountPixels(const QImage& image, const QColor& colour) {
  return CountWhere(image, [&](int x, int y) { return image.pixelColor(x, y) == colour; });
}

TEST(IconsTest, SeveritiesAreToldApartWithoutColour) {
  for (const QPalette& palette : Palettes()) {
    const QColor background = palette.color(QPalette::Base);
    for (const int size : {16, 24, 32, 48}) {
      const QImage empty = GreyOn(QIcon(), background, size);
      for (int a = 0; a < kSeverities; ++a) {
        const QImage first = GreyOn(SeverityIcon(a), background, size);
        EXPECT_GE(Difference(first, empty), 12) << "severity " << a << " is hard to see at " << size;
        for (int b = a + 1; b < kSeverities; ++b) {
          EXPECT_GE(Difference(first, GreyOn(SeverityIcon(b), background, size)), 8)
              << a << " looks like " << b << " at " << size;
        }
      }
    }
  }
}

TEST(IconsTest, PicturesAreDrawnAtTheirSizeAndFollowThePalette) {
  for (const qreal ratio : {1.0, 1.5, 3.0}) {
    const QPixmap picture = SeverityIcon(5).pixmap(QSize(16, 16), ratio);
    EXPECT_EQ(picture.width(), qRound(16 * ratio));
    EXPECT_EQ(picture.devicePixelRatio(), ratio);
  }
  // An outline that was drawn small and blown up has no pure colour left on its edge's inner row.
  const QImage large = SeverityIcon(5).pixmap(QSize(48, 48), 1.0).toImage();
  EXPECT_GT(CountPixels(large, QColor(0xd3, 0x2f, 0x2f)), 400);
  for (const QPalette& palette : {DarkPalette(), LightPalette()}) {
    QApplication::setPalette(palette);
    const QColor window = palette.color(QPalette::Window);
    for (const char* key : {"Trap Details", "Trap Categories", "Alerts", "Filters", "Report", "Help"}) {
      EXPECT_GE(Difference(GreyOn(ToolbarIcon(key), window, 24), GreyOn(QIcon(), window, 24)), 12) << key;
    }
  }
  EXPECT_TRUE(ToolbarIcon("Other").isNull());
  EXPECT_FALSE(ApplicationIcon().pixmap(QSize(64, 64), 1.0).isNull());
  EXPECT_EQ(GreyOn(SeverityIcon(17), Qt::white, 16), GreyOn(SeverityIcon(0), Qt::white, 16));
  const std::array messages = {QStyle::SP_MessageBoxInformation, QStyle::SP_MessageBoxQuestion,
                               QStyle::SP_MessageBoxWarning, QStyle::SP_MessageBoxCritical};
  for (std::size_t a = 0; a < messages.size(); ++a) {
    const QIcon icon = KorvaneStyle().standardIcon(messages[a], nullptr, nullptr);
    for (std::size_t b = 0; b < a; ++b) {
      const QIcon other = KorvaneStyle().standardIcon(messages[b], nullptr, nullptr);
      EXPECT_NE(icon.pixmap(QSize(32, 32), 1.0).toImage(), other.pixmap(QSize(32, 32), 1.0).toImage()) << a;
    }
  }
}

TEST(KorvaneStyleTest, EveryTextIsReadableOnItsGround) {
  using Pair = std::pair<QPalette::ColorRole, QPalette::ColorRole>;
  for (const QPalette& palette : Palettes()) {
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
      for (const auto& [text, ground] : {Pair{QPalette::WindowText, QPalette::Window},
                                         {QPalette::Text, QPalette::Base},
                                         {QPalette::Text, QPalette::AlternateBase},
                                         {QPalette::ButtonText, QPalette::Button},
                                         {QPalette::HighlightedText, QPalette::Highlight},
                                         {QPalette::ToolTipText, QPalette::ToolTipBase},
                                         {QPalette::PlaceholderText, QPalette::Base},
                                         {QPalette::Link, QPalette::Base},
                                         {QPalette::LinkVisited, QPalette::Base}}) {
        EXPECT_GE(ContrastRatio(palette.color(group, text), palette.color(group, ground)), 4.5)
            << "role " << text << " on " << ground;
      }
    }
    for (int role = 0; role < QPalette::NColorRoles; ++role) {
      EXPECT_TRUE(role == QPalette::NoRole ||
                  palette.isBrushSet(QPalette::Disabled, static_cast<QPalette::ColorRole>(role)))
          << role;
    }
    for (int severity = 0; severity < kSeverities; ++severity) {
      EXPECT_GE(ContrastRatio(SeverityTextColour(severity, palette), SeverityColour(severity, palette)), 4.5)
          << severity;
    }
  }
  EXPECT_EQ(KorvaneStyle().styleHint(QStyle::SH_DialogButtonBox_ButtonsHaveIcons, nullptr, nullptr, nullptr),
            0);
  EXPECT_FALSE(IsDark(LightPalette()));
  EXPECT_TRUE(IsDark(DarkPalette()));
  EXPECT_NEAR(ContrastRatio(QColor(0x76, 0x76, 0x76), Qt::white), 4.54, 0.01);
}

TEST(CountPillDelegateTest, CountsArePillsAndZeroesAreDimFigures) {
  for (const QPalette& palette : Palettes()) {
    for (const qreal ratio : {1.0, 3.0}) {
      for (int severity = 0; severity < kSeverities; ++severity) {
        const auto drawn = [&](const char* count) {
          QStandardItemModel model(1, 1);
          model.setItem(0, 0, new QStandardItem(QString::fromLatin1(count)));
          QImage cell((QSizeF(80, 24) * ratio).toSize(), QImage::Format_RGB32);
          cell.setDevicePixelRatio(ratio);
          cell.fill(palette.color(QPalette::Base));
          QPainter painter(&cell);
          QStyleOptionViewItem option;
          option.rect = QRect(0, 0, 80, 24);
          option.palette = palette;
          option.state = QStyle::State_Enabled | QStyle::State_Active;
          CountPillDelegate(severity).paint(&painter, option, model.index(0, 0));
          return cell;
        };
        const QColor fill = SeverityColour(severity, palette);
        const int area = static_cast<int>(80 * 24 * ratio * ratio);
        EXPECT_EQ(CountPixels(drawn("0"), fill), 0);
        EXPECT_EQ(CountPixels(drawn(""), fill), 0);
        EXPECT_GT(CountPixels(drawn("7"), fill), area / 3);
        EXPECT_GT(CountPixels(drawn("123456"), fill), area / 4);
        EXPECT_GT(CountPixels(drawn("7"), palette.color(QPalette::Base)), area / 6) << "the pill is inset";
        EXPECT_NE(drawn("0"), drawn("")) << "a zero is shown";
      }
    }
  }
}

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

// Runs ask with the work for the dialog that it opens, which is closed if it is still open afterwards.
template <typename Dialog>
void With(const std::function<void(Dialog&)>& work, const std::function<void()>& ask) {
  QTimer poll;
  bool seen = false;
  QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
    if (auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
        dialog && dialog->isVisible()) {
      poll.stop();
      seen = true;
      work(*dialog);
      dialog->close();
    }
  });
  poll.start(5);
  ask();
  EXPECT_TRUE(seen) << "no dialog was shown";
}

TEST(QtPromptsTest, ShowsExactPlainTextWithItsIcon) {
  for (const auto& [icon, shown] : {std::pair{PromptIcon::None, QMessageBox::NoIcon},
                                    {PromptIcon::Information, QMessageBox::Information},
                                    {PromptIcon::Question, QMessageBox::Question},
                                    {PromptIcon::Exclamation, QMessageBox::Warning},
                                    {PromptIcon::Critical, QMessageBox::Critical}}) {
    for (const char* text : {"<b>bold</b> & <img src='file:///etc/passwd'>",
                             "acknowledge all traps for 'a&b %1 %s \\n'?", "two\nlines", " blanks "}) {
      With<QMessageBox>(
          [&, expected = shown](QMessageBox& box) {
            EXPECT_EQ(box.text(), QString::fromLatin1(text));
            EXPECT_EQ(box.textFormat(), Qt::PlainText);
            EXPECT_EQ(box.icon(), expected);
            EXPECT_EQ(box.windowTitle(), QStringLiteral("Korvane Manager Console"));
            EXPECT_EQ(box.standardButtons(), QMessageBox::Ok);
            EXPECT_TRUE(box.detailedText().isEmpty());
          },
          [&, given = icon] { QtPrompts().Show(text, given); });
    }
  }
  // One that fits no screen is offered as details.
  for (const QString& text : {QStringLiteral("line\n").repeated(500), QString(70000, QLatin1Char('x'))}) {
    With<QMessageBox>(
        [&](QMessageBox& box) {
          EXPECT_LT(box.text().size(), 1300);
          EXPECT_EQ(box.detailedText(), text);
          EXPECT_LE(box.height(), 700);
        },
        [&] { QtPrompts().Show(text.toStdString(), PromptIcon::Critical); });
  }
}

TEST(QtPromptsTest, AnswersAreTheButtonsPressed) {
  struct Row {
    PromptButtons Buttons;
    QMessageBox::StandardButton Pressed;  // NoButton: the Escape key
    PromptAnswer Answer;
  };
  for (const Row& row : {Row{PromptButtons::Ok, QMessageBox::Ok, PromptAnswer::Ok},
                         Row{PromptButtons::Ok, QMessageBox::NoButton, PromptAnswer::Ok},
                         Row{PromptButtons::YesNo, QMessageBox::Yes, PromptAnswer::Yes},
                         Row{PromptButtons::YesNo, QMessageBox::No, PromptAnswer::No},
                         Row{PromptButtons::YesNo, QMessageBox::NoButton, PromptAnswer::No},
                         Row{PromptButtons::YesNoCancel, QMessageBox::Yes, PromptAnswer::Yes},
                         Row{PromptButtons::YesNoCancel, QMessageBox::Cancel, PromptAnswer::Cancel},
                         Row{PromptButtons::YesNoCancel, QMessageBox::NoButton, PromptAnswer::Cancel}}) {
    With<QMessageBox>(
        [&row](QMessageBox& box) {
          if (row.Pressed == QMessageBox::NoButton) {
            QTest::keyClick(&box, Qt::Key_Escape);
          } else {
            QTest::mouseClick(box.button(row.Pressed), Qt::LeftButton);
          }
        },
        [&row] { EXPECT_EQ(QtPrompts().Ask("Really?", row.Buttons, PromptIcon::Question), row.Answer); });
  }
}

TEST(QtPromptsTest, InputBoxGivesTheTextOrNothing) {
  const auto answer = [](const std::function<void(QDialog&)>& work) {
    std::optional<std::string> text = "none was given";
    With<QDialog>(work, [&text] { text = QtPrompts().AskText("Enter New Name: ", "All Traps "); });
    return text;
  };
  EXPECT_EQ(answer([](QDialog& open) {
              auto* edit = open.findChild<QLineEdit*>();
              EXPECT_EQ(edit->text(), QStringLiteral("All Traps "));
              EXPECT_EQ(open.findChild<QLabel*>()->text(), QStringLiteral("Enter New Name: "));
              EXPECT_EQ(open.findChild<QLabel*>()->textFormat(), Qt::PlainText);
              EXPECT_EQ(open.windowTitle(), QStringLiteral("Korvane Manager Console"));
              edit->selectAll();
              QTest::keyClicks(edit, QStringLiteral("<i>M&unchen</i>"));
              QTest::keyClick(edit, Qt::Key_Return);
            }),
            "<i>M&unchen</i>");
  EXPECT_EQ(answer([](QDialog& open) { QTest::keyClick(&open, Qt::Key_Escape); }), std::nullopt);
}

}  // namespace
}  // namespace korvane
