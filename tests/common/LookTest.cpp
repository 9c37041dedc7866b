// Severity pictures and colours, count pills, palettes and the table's look, measured on what is painted.
#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QStandardItemModel>
#include <QTableView>
#include <cmath>
#include <set>
#include <vector>

#include "common/qt/CountPillDelegate.h"
#include "common/qt/Icons.h"
#include "common/qt/KorvaneStyle.h"

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

// The share of pixels that differ clearly, in percent.
int Difference(const QImage& a, const QImage& b) {
  int differing = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      differing += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y))) > 48 ? 1 : 0;
    }
  }
  return 100 * differing / (a.width() * a.height());
}

int CountPixels(const QImage& image, const QColor& colour) {
  int count = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      count += image.pixelColor(x, y) == colour ? 1 : 0;
    }
  }
  return count;
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
  for (const qreal ratio : {1.0, 1.5, 2.0, 3.0}) {
    const QPixmap picture = SeverityIcon(5).pixmap(QSize(16, 16), ratio);
    EXPECT_EQ(picture.width(), qRound(16 * ratio));
    EXPECT_EQ(picture.devicePixelRatio(), ratio);
  }
  // An outline that was drawn small and blown up has no pure colour left on its edge's inner row.
  const QImage large = SeverityIcon(5).pixmap(QSize(48, 48), 1.0).toImage();
  EXPECT_GT(CountPixels(large, QColor(0xd3, 0x2f, 0x2f)), 400);

  for (const char* key : {"Trap Details", "Trap Categories", "Alerts", "Filters", "Report", "Help"}) {
    for (const QPalette& palette : Palettes()) {
      QApplication::setPalette(palette);
      const QColor window = palette.color(QPalette::Window);
      const QImage usual = GreyOn(ToolbarIcon(key), window, 24);
      EXPECT_GE(Difference(usual, GreyOn(QIcon(), window, 24)), 12) << key;
    }
  }
  QApplication::setPalette(LightPalette());
  EXPECT_TRUE(ToolbarIcon("Other").isNull());
  EXPECT_FALSE(ApplicationIcon().pixmap(QSize(64, 64), 1.0).isNull());
  EXPECT_EQ(SeverityIcon(17).pixmap(QSize(16, 16), 1.0).toImage(),
            SeverityIcon(0).pixmap(QSize(16, 16), 1.0).toImage());
}

TEST(PaletteTest, EveryTextIsReadableOnItsGround) {
  using Pair = std::pair<QPalette::ColorRole, QPalette::ColorRole>;
  const std::vector<Pair> pairs = {
      {QPalette::WindowText, QPalette::Window},         {QPalette::Text, QPalette::Base},
      {QPalette::Text, QPalette::AlternateBase},        {QPalette::ButtonText, QPalette::Button},
      {QPalette::HighlightedText, QPalette::Highlight}, {QPalette::ToolTipText, QPalette::ToolTipBase},
      {QPalette::PlaceholderText, QPalette::Base},      {QPalette::Link, QPalette::Base},
      {QPalette::LinkVisited, QPalette::Base}};
  for (const QPalette& palette : Palettes()) {
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
      for (const auto& [text, ground] : pairs) {
        EXPECT_GE(ContrastRatio(palette.color(group, text), palette.color(group, ground)), 4.5)
            << "role " << text << " on " << ground;
      }
    }
    for (int role = 0; role < QPalette::NColorRoles; ++role) {
      if (role != QPalette::NoRole) {
        EXPECT_TRUE(palette.isBrushSet(QPalette::Disabled, static_cast<QPalette::ColorRole>(role))) << role;
      }
    }
    for (int severity = 0; severity < kSeverities; ++severity) {
      EXPECT_GE(ContrastRatio(SeverityTextColour(severity, palette), SeverityColour(severity, palette)), 4.5)
          << severity;
    }
  }
  EXPECT_FALSE(IsDark(LightPalette()));
  EXPECT_TRUE(IsDark(DarkPalette()));
  EXPECT_NEAR(ContrastRatio(Qt::black, Qt::white), 21, 0.01);
  EXPECT_NEAR(ContrastRatio(QColor(0x76, 0x76, 0x76), Qt::white), 4.54, 0.01);
}

TEST(CountPillDelegateTest, CountsArePillsAndZeroesAreDimFigures) {
  for (const QPalette& palette : Palettes()) {
    for (int severity = 0; severity < kSeverities; ++severity) {
      for (const qreal ratio : {1.0, 2.0, 3.0}) {
        QStandardItemModel model(4, 1);
        const QStringList counts = {QStringLiteral("0"), QStringLiteral("7"), QStringLiteral("123456"),
                                    QString()};
        for (int row = 0; row < counts.size(); ++row) {
          model.setItem(row, 0, new QStandardItem(counts[row]));
        }
        const CountPillDelegate delegate(severity);
        std::vector<QImage> cells;
        for (int row = 0; row < model.rowCount(); ++row) {
          QImage cell((QSizeF(80, 24) * ratio).toSize(), QImage::Format_RGB32);
          cell.setDevicePixelRatio(ratio);
          cell.fill(palette.color(QPalette::Base));
          QPainter painter(&cell);
          QStyleOptionViewItem option;
          option.rect = QRect(0, 0, 80, 24);
          option.palette = palette;
          option.state = QStyle::State_Enabled | QStyle::State_Active;
          delegate.paint(&painter, option, model.index(row, 0));
          painter.end();
          cells.push_back(cell);
        }
        const QColor fill = SeverityColour(severity, palette);
        const int area = static_cast<int>(80 * 24 * ratio * ratio);
        EXPECT_EQ(CountPixels(cells[0], fill), 0);
        EXPECT_EQ(CountPixels(cells[3], fill), 0);
        EXPECT_GT(CountPixels(cells[1], fill), area / 3);
        EXPECT_GT(CountPixels(cells[2], fill), area / 4);
        EXPECT_GT(CountPixels(cells[1], palette.color(QPalette::Base)), area / 6) << "the pill is inset";
        EXPECT_NE(cells[0], cells[3]) << "a zero is shown";
      }
    }
  }
}

TEST(KorvaneStyleTest, MetricsAndHintsOfTheHouse) {
  const KorvaneStyle style;
  EXPECT_EQ(style.styleHint(QStyle::SH_DialogButtonBox_ButtonsHaveIcons, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(style.pixelMetric(QStyle::PM_LayoutVerticalSpacing, nullptr, nullptr), 6);
  EXPECT_EQ(style.pixelMetric(QStyle::PM_LayoutLeftMargin, nullptr, nullptr), 12);
  EXPECT_EQ(style.pixelMetric(QStyle::PM_TitleBarHeight, nullptr, nullptr),
            QFontMetrics(QApplication::font()).height() + 10);
  std::set<qint64> pictures;
  for (const auto picture : {QStyle::SP_MessageBoxInformation, QStyle::SP_MessageBoxQuestion,
                             QStyle::SP_MessageBoxWarning, QStyle::SP_MessageBoxCritical}) {
    const QImage drawn = style.standardIcon(picture, nullptr, nullptr).pixmap(QSize(32, 32), 1.0).toImage();
    qint64 sum = 0;
    for (int y = 0; y < 32; ++y) {
      for (int x = 0; x < 32; ++x) {
        sum += static_cast<qint64>(drawn.pixel(x, y)) * (y * 32 + x + 1);
      }
    }
    pictures.insert(sum);
  }
  EXPECT_EQ(pictures.size(), 4U);
}

}  // namespace
}  // namespace korvane
