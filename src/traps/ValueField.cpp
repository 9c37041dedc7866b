#include "traps/ValueField.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

#include "common/qt/CellText.h"
#include "common/qt/QtText.h"

namespace korvane::traps {
namespace {

constexpr int kMostCharacters = 32'000;
constexpr int kMostOfToolTip = 1000;
constexpr int kTextMargin = 2;  // as the line editor has it on both sides

}  // namespace

void ShowAsLabel(QLineEdit& field) {
  field.setReadOnly(true);
  field.setFrame(false);
  QPalette transparent;
  transparent.setColor(QPalette::Base, Qt::transparent);
  field.setPalette(transparent);
}

ValueField::ValueField(QWidget* parent) : QLineEdit(parent) {
  ShowAsLabel(*this);
}

void ValueField::SetValue(std::string_view value) {
  QString shown = ToVisibleQString(value);
  if (shown.size() > kMostCharacters) {
    // The end names a number or an OID in several fields.
    shown = shown.left(kMostCharacters / 2) + QChar(0x2026) + shown.right(kMostCharacters / 2);
  }
  setText(shown);
  setCursorPosition(0);
}

QSize ValueField::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 6, QLineEdit::minimumSizeHint().height()};
}

QRect ValueField::TextPlace() const {
  return contentsRect().marginsRemoved(textMargins()).adjusted(kTextMargin, 0, -kTextMargin, 0);
}

bool ValueField::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const QString most = text().left(kMostOfToolTip);
    if (fontMetrics().horizontalAdvance(most) > TextPlace().width()) {
      QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), PlainToolTip(most), this);
      return true;
    }
  }
  return QLineEdit::event(event);
}

void ValueField::paintEvent(QPaintEvent* event) {
  const QRect place = TextPlace();
  const QFontMetrics metrics = fontMetrics();
  // No place shows more, and measuring a text takes as long as it is.
  const int fitting = place.width() / 2;
  const QString whole = text();
  const QString measured =
      whole.size() <= fitting ? whole : whole.left(fitting / 2) + whole.right(fitting / 2);
  if (hasFocus() ||
      (measured.size() == whole.size() && metrics.horizontalAdvance(measured) <= place.width())) {
    QLineEdit::paintEvent(event);
    return;
  }
  QPainter painter(this);
  painter.setPen(palette().color(QPalette::Text));
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   metrics.elidedText(measured, Qt::ElideMiddle, place.width()));
}

}  // namespace korvane::traps
