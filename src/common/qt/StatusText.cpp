#include "common/qt/StatusText.h"

#include <QHelpEvent>
#include <QLocale>
#include <QPainter>
#include <QStatusBar>
#include <QStyleOption>
#include <QStylePainter>
#include <QToolTip>
#include <algorithm>

#include "common/qt/CellText.h"
#include "common/qt/QtText.h"

namespace korvane {
namespace {

constexpr int kButtonPadding = 3;
constexpr int kFewestLetters = 3;  // of a caption, before its number

// The number and what it is made of: separators of groups stand between digits.
struct NumberPlace {
  qsizetype First = 0;
  qsizetype End = 0;
};

NumberPlace NumberPlaceIn(const QString& text) {
  const auto isDigit = [](QChar c) { return c.isDigit(); };
  const auto first = std::find_if(text.begin(), text.end(), isDigit);
  const auto last = std::find_if(text.rbegin(), text.rend(), isDigit);
  if (first == text.end()) {
    return {};
  }
  return {.First = first - text.begin(), .End = last.base() - text.begin()};
}

QString Shortest(const QString& text) {
  const NumberPlace number = NumberPlaceIn(text);
  return text.left(std::min<qsizetype>(kFewestLetters, number.First)) + QChar(0x2026) +
         text.mid(number.First, number.End - number.First);
}

bool IsCut(const QString& text, const QWidget& shownBy, const QRect& room) {
  return ShortStatusText(text, shownBy.fontMetrics(), room.width()) != text;
}

}  // namespace

std::string GroupedNumber(std::int64_t number) {
  return ToUtf8(QLocale().toString(static_cast<qlonglong>(number)));
}

QString ShortStatusText(const QString& text, const QFontMetrics& metrics, int width) {
  if (metrics.horizontalAdvance(text.trimmed()) <= width) {
    return text;
  }
  const NumberPlace number = NumberPlaceIn(text);
  const QString upToNumber = text.left(number.End);
  const int taken = metrics.horizontalAdvance(upToNumber);
  if (taken <= width) {
    return upToNumber + metrics.elidedText(text.mid(number.End), Qt::ElideRight, width - taken);
  }
  const QString figure = text.mid(number.First, number.End - number.First);
  const QString words = text.left(number.First).trimmed();
  const int room = width - metrics.horizontalAdvance(QLatin1Char(' ') + figure);
  return metrics.elidedText(words, Qt::ElideRight, std::max(0, room)) + QLatin1Char(' ') + figure;
}

bool StatusText::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    setToolTip(IsCut(text(), *this, contentsRect()) ? PlainToolTip(text().trimmed()) : QString());
  }
  return QLabel::event(event);
}

QSize StatusText::minimumSizeHint() const {
  const QSize whole = QLabel::minimumSizeHint();
  const int least = fontMetrics().horizontalAdvance(Shortest(text())) + 2 * margin();
  return {text().isEmpty() ? 0 : std::min(whole.width(), least), whole.height()};
}

void StatusText::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QRect room = contentsRect();
  style()->drawItemText(&painter, room, Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(),
                        ShortStatusText(text(), fontMetrics(), room.width()), foregroundRole());
}

StatusButton::StatusButton(QWidget* parent) : QToolButton(parent) {
  setAutoRaise(true);
  setToolButtonStyle(Qt::ToolButtonTextOnly);
  setFocusPolicy(Qt::TabFocus);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

bool StatusButton::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip && IsCut(text(), *this, TextRoom())) {
    const QString whole = text().trimmed() + QLatin1Char('\n') + toolTip();
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), whole, this);
    return true;
  }
  return QToolButton::event(event);
}

QRect StatusButton::TextRoom() const {
  return rect().adjusted(kButtonPadding, 0, -kButtonPadding, 0);
}

QSize StatusButton::sizeHint() const {
  return {fontMetrics().horizontalAdvance(text()) + 2 * kButtonPadding,
          fontMetrics().height() + kButtonPadding};
}

QSize StatusButton::minimumSizeHint() const {
  return {fontMetrics().horizontalAdvance(Shortest(text())) + 2 * kButtonPadding, sizeHint().height()};
}

void StatusButton::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionToolButton option;
  initStyleOption(&option);
  option.text.clear();
  painter.drawComplexControl(QStyle::CC_ToolButton, option);
  const QRect room = TextRoom();
  painter.drawItemText(room, Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(),
                       ShortStatusText(text(), fontMetrics(), room.width()), foregroundRole());
}

QLabel* AddStatusText(QStatusBar& bar, const QString& name) {
  auto* label = new StatusText(&bar);
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  bar.addWidget(label);
  return label;
}

StatusButton* AddStatusButton(QStatusBar& bar, const QString& name, const QString& hint) {
  auto* button = new StatusButton(&bar);
  button->setObjectName(name);
  button->setToolTip(hint);
  button->setAccessibleDescription(hint);
  bar.addWidget(button);
  return button;
}

}  // namespace korvane
