#include "common/qt/CountPillDelegate.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <algorithm>

#include "common/qt/Icons.h"

namespace korvane {
namespace {

constexpr int kInsetX = 4;
constexpr int kInsetY = 3;
constexpr int kTextPadding = 9;
constexpr int kWidestPill = 72;  // a wide column must not turn its pills into bars

bool IsZero(const QString& text) {
  return text.isEmpty() || text == QLatin1String("0");
}

// The palette's text colour moved towards the background as far as 4.5 : 1 allows.
QColor DimText(const QColor& text, const QColor& background) {
  constexpr double kReadable = 4.5;
  QColor dim = text;
  for (int step = 1; step <= 10; ++step) {
    const double share = step / 20.0;
    const QColor mixed =
        QColor::fromRgbF(static_cast<float>(text.redF() + (background.redF() - text.redF()) * share),
                         static_cast<float>(text.greenF() + (background.greenF() - text.greenF()) * share),
                         static_cast<float>(text.blueF() + (background.blueF() - text.blueF()) * share));
    if (ContrastRatio(mixed, background) < kReadable) {
      break;
    }
    dim = mixed;
  }
  return dim;
}

}  // namespace

CountPillDelegate::CountPillDelegate(std::int32_t severity, QObject* parent)
    : QStyledItemDelegate(parent), severity_(severity) {}

void CountPillDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
  QStyleOptionViewItem item = option;
  initStyleOption(&item, index);
  const QString figure = item.text;
  item.text.clear();
  item.icon = QIcon();
  const QStyle* style = item.widget != nullptr ? item.widget->style() : QApplication::style();
  style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);

  const QPalette& palette = item.palette;
  const bool selected = item.state.testFlag(QStyle::State_Selected);
  painter->save();
  painter->setFont(item.font);
  painter->setRenderHint(QPainter::Antialiasing);
  if (IsZero(figure)) {
    painter->setPen(selected ? palette.color(QPalette::HighlightedText)
                             : DimText(palette.color(QPalette::Text), palette.color(QPalette::Base)));
    painter->drawText(item.rect, Qt::AlignCenter, figure);
  } else {
    const int textWidth = item.fontMetrics.horizontalAdvance(figure);
    const int room = item.rect.width() - 2 * kInsetX;
    const int width = std::min(room, std::max(textWidth + 2 * kTextPadding, kWidestPill));
    QRectF pill(0, 0, width, item.rect.height() - 2 * kInsetY);
    pill.moveCenter(QRectF(item.rect).center());
    const qreal radius = pill.height() / 2;
    painter->setBrush(SeverityColour(severity_, palette));
    painter->setPen(selected ? QPen(palette.color(QPalette::HighlightedText), 1) : QPen(Qt::NoPen));
    painter->drawRoundedRect(pill, radius, radius);
    painter->setPen(SeverityTextColour(severity_, palette));
    painter->drawText(pill, Qt::AlignCenter,
                      item.fontMetrics.elidedText(figure, Qt::ElideRight, std::max(0, width - 4)));
  }
  painter->restore();
}

QSize CountPillDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  QStyleOptionViewItem item = option;
  initStyleOption(&item, index);
  return {item.fontMetrics.horizontalAdvance(item.text) + 2 * (kTextPadding + kInsetX),
          item.fontMetrics.height() + 2 * kInsetY + 2};
}

}  // namespace korvane
