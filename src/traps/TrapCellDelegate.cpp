#include "traps/TrapCellDelegate.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <QTableView>
#include <QTextLayout>
#include <algorithm>

#include "common/qt/Icons.h"

namespace korvane::traps {
namespace {

QPalette::ColorGroup GroupOf(QStyle::State state) {
  if (!state.testFlag(QStyle::State_Enabled)) {
    return QPalette::Disabled;
  }
  return state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
}

QPalette::ColorRole TextRole(bool selected, int marks) {
  if (selected) {
    return QPalette::HighlightedText;
  }
  return (marks & kMarkAcknowledged) != 0 ? QPalette::PlaceholderText : QPalette::Text;
}

constexpr int kMarkSize = 16;
constexpr int kMarkGap = 2;

using Marks = QList<QTextLayout::FormatRange>;

// Where the marked text stands in a text of which a cell shows only the beginning; the sign that it was cut
// stands for all that is behind it.
Marks MarksIn(const QString& text, const QString& shown, const QString& marked, const QPalette& palette) {
  Marks marks;
  QTextCharFormat format;
  format.setBackground(IsDark(palette) ? QColor(0x80, 0x62, 0x12) : QColor(0xFF, 0xE0, 0x82));
  format.setForeground(IsDark(palette) ? QColor(Qt::white) : QColor(0x1B, 0x1F, 0x24));
  const bool cut = shown != text;
  const qsizetype kept = cut ? shown.size() - 1 : shown.size();
  for (qsizetype at = text.indexOf(marked, 0, Qt::CaseInsensitive); at >= 0;
       at = text.indexOf(marked, at + marked.size(), Qt::CaseInsensitive)) {
    const qsizetype end = at + marked.size() > kept ? shown.size() : at + marked.size();
    const qsizetype start = std::min(at, kept);
    marks.append(
        {.start = static_cast<int>(start), .length = static_cast<int>(end - start), .format = format});
    if (at >= kept) {
      break;
    }
  }
  return marks;
}

// base: where the text begins on its base line.
void DrawMarked(QPainter& painter, const QPoint& base, const QString& text, const Marks& marks) {
  QTextLayout layout(text, painter.font(), painter.device());
  QTextOption option;
  option.setWrapMode(QTextOption::NoWrap);
  option.setTextDirection(painter.layoutDirection());
  layout.setTextOption(option);
  layout.setFormats(marks);
  layout.beginLayout();
  const QTextLine line = layout.createLine();
  layout.endLayout();
  layout.draw(&painter, QPointF(base.x(), base.y() - line.ascent()));
}

}  // namespace

int TrapCellDelegate::PaintMarks(QPainter& painter, const QRect& cell, int marks, QIcon::Mode mode) const {
  int taken = 0;
  int place = kMarkGap;
  const auto paint = [&](const QIcon& icon, bool shown) {
    place += kMarkSize;
    if (shown) {
      const QPoint corner(cell.right() + 1 - place, cell.top() + (cell.height() - kMarkSize) / 2);
      icon.paint(&painter, QRect(corner, QSize(kMarkSize, kMarkSize)), Qt::AlignCenter, mode);
      taken = place;
    }
    place += kMarkGap;
  };
  if (acknowledgedPlace_) {
    paint(acknowledged_, (marks & kMarkAcknowledged) != 0);
  }
  paint(notes_, (marks & kMarkNotes) != 0);
  return taken;
}

void TrapCellDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
  QStyleOptionViewItem cell = option;
  initStyleOption(&cell, index);
  const QWidget* widget = option.widget;
  const QStyle* style = widget != nullptr ? widget->style() : QApplication::style();
  const bool selected = cell.state.testFlag(QStyle::State_Selected);
  // A selected row shows well enough where the keyboard is.
  if (selected) {
    cell.state.setFlag(QStyle::State_HasFocus, false);
  }

  const QString text = cell.text;
  cell.text = QStringLiteral("0");  // the style measures the text to place icon and text; one line is enough
  const QRect textRect = style->subElementRect(QStyle::SE_ItemViewItemText, &cell, widget);
  const QRect iconRect = style->subElementRect(QStyle::SE_ItemViewItemDecoration, &cell, widget);

  const int trapMarks = index.data(kTrapMarksRole).toInt();
  const QIcon::Mode mode = selected ? QIcon::Selected : QIcon::Normal;

  painter->save();
  painter->setClipRect(cell.rect);
  style->drawPrimitive(QStyle::PE_PanelItemViewItem, &cell, painter, widget);
  if (!cell.icon.isNull()) {
    cell.icon.paint(painter, iconRect, Qt::AlignCenter, mode);
  }
  const int taken = index.column() == 0 ? PaintMarks(*painter, cell.rect, trapMarks, mode) : 0;
  const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1;
  const QRect line = QRect(QPoint(textRect.left(), cell.rect.top()), cell.rect.bottomRight())
                         .adjusted(margin, 0, -margin - taken, 0);
  const QFontMetrics& metrics = cell.fontMetrics;
  const int base = line.top() + (line.height() - metrics.height()) / 2 + metrics.ascent();
  painter->setFont(cell.font);
  painter->setPen(cell.palette.color(GroupOf(cell.state), TextRole(selected, trapMarks)));
  const QString shown = metrics.elidedText(text, Qt::ElideRight, line.width());
  const Marks marks = marked_.isEmpty() ? Marks() : MarksIn(text, shown, marked_, cell.palette);
  if (marks.isEmpty()) {
    painter->drawText(QPoint(line.left(), base), shown);
  } else {
    DrawMarked(*painter, QPoint(line.left(), base), shown, marks);
  }
  if (cell.state.testFlag(QStyle::State_HasFocus)) {
    QStyleOptionFocusRect focus;
    focus.QStyleOption::operator=(cell);
    focus.rect = cell.rect;
    style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, widget);
  }
  painter->restore();
}

}  // namespace korvane::traps
