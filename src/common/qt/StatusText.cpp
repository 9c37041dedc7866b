#include "common/qt/StatusText.h"

#include <QHelpEvent>
#include <QLocale>
#include <QPainter>
#include <QToolTip>

#include "common/qt/CellText.h"
#include "common/qt/QtText.h"

namespace korvane {
namespace {

constexpr QChar kCut(0x2026);

}  // namespace

std::string GroupedNumber(std::int64_t number) {
  return ToUtf8(QLocale().toString(static_cast<qlonglong>(number)));
}

StatusText::StatusText(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
}

QString StatusText::Number() const {
  const QString whole = text();
  return whole.mid(whole.lastIndexOf(QLatin1Char(':')) + 1);
}

QSize StatusText::minimumSizeHint() const {
  const int least = text().isEmpty() ? 0 : fontMetrics().horizontalAdvance(kCut + Number());
  return {std::min(least, sizeHint().width()), QLabel::minimumSizeHint().height()};
}

bool StatusText::IsCut() const {
  return fontMetrics().horizontalAdvance(text()) > contentsRect().width();
}

bool StatusText::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && IsCut()) {
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), PlainToolTip(text()), this);
    return true;
  }
  return QLabel::event(event);
}

void StatusText::paintEvent(QPaintEvent* event) {
  if (!IsCut()) {
    QLabel::paintEvent(event);
    return;
  }
  const QRect place = contentsRect();
  const QString number = Number();
  const QString caption = text().chopped(number.size());
  const int room = std::max(place.width() - fontMetrics().horizontalAdvance(number), 0);
  QPainter painter(this);
  painter.setPen(palette().color(foregroundRole()));
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   fontMetrics().elidedText(caption, Qt::ElideRight, room) + number);
}

}  // namespace korvane
