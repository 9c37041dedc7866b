#include "views/TrapCellDelegate.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <QTableView>

namespace korvane::views {
namespace {

QPalette::ColorGroup GroupOf(QStyle::State state) {
  if (!state.testFlag(QStyle::State_Enabled)) {
    return QPalette::Disabled;
  }
  return state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
}

}  // namespace

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

  painter->save();
  painter->setClipRect(cell.rect);
  style->drawPrimitive(QStyle::PE_PanelItemViewItem, &cell, painter, widget);
  if (!cell.icon.isNull()) {
    cell.icon.paint(painter, iconRect, Qt::AlignCenter, selected ? QIcon::Selected : QIcon::Normal);
  }
  const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1;
  const QRect line = QRect(QPoint(textRect.left(), cell.rect.top()), cell.rect.bottomRight())
                         .adjusted(margin, 0, -margin, 0);
  const QFontMetrics& metrics = cell.fontMetrics;
  const int base = line.top() + (line.height() - metrics.height()) / 2 + metrics.ascent();
  painter->setFont(cell.font);
  painter->setPen(
      cell.palette.color(GroupOf(cell.state), selected ? QPalette::HighlightedText : QPalette::Text));
  painter->drawText(QPoint(line.left(), base), metrics.elidedText(text, Qt::ElideRight, line.width()));
  if (cell.state.testFlag(QStyle::State_HasFocus)) {
    QStyleOptionFocusRect focus;
    focus.QStyleOption::operator=(cell);
    focus.rect = cell.rect;
    style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, widget);
  }
  painter->restore();
}

}  // namespace korvane::views
