#include "categories/CategoryPanes.h"

#include <QAbstractItemView>
#include <QLabel>
#include <QMouseEvent>
#include <QTextLayout>
#include <algorithm>
#include <cmath>
#include <utility>

#include "common/qt/CellText.h"

namespace korvane::categories {
namespace {

constexpr int kTitlePadding = 8;
constexpr int kMostTitleLines = 3;
constexpr int kRoomForLongTitle = 280;  // in lower panes one line must do
constexpr qsizetype kLongestTitle = 1000;
// The bar is thin; the pointer may miss it by this much.
constexpr int kGrip = 2;

int ToPixels(int twips) {
  return static_cast<int>(std::lround(static_cast<double>(twips) / kTwipsPerPixel));
}

// Both ends are rounded, so that what touches in twips touches in pixels.
QRect Place(const Span& span, int top, int height) {
  const int left = ToPixels(span.Left);
  return {left, top, ToPixels(span.Left + span.Width) - left, height};
}

// In lines of this width; what the last of them has no room for is cut off at its end.
QStringList WrappedTitle(const QString& title, const QFont& font, int width, int mostLines) {
  const QString text = title.left(kLongestTitle);
  QStringList lines;
  QTextLayout layout(text, font);
  layout.beginLayout();
  while (lines.size() < mostLines) {
    QTextLine line = layout.createLine();
    if (!line.isValid()) {
      break;
    }
    line.setLineWidth(width);
    const bool last = lines.size() + 1 == mostLines;
    lines.append(last ? QFontMetrics(font).elidedText(text.mid(line.textStart()), Qt::ElideRight, width)
                      : text.mid(line.textStart(), line.textLength()).trimmed());
  }
  layout.endLayout();
  return lines;
}

}  // namespace

void CategoryPanes::Arrange(const Parts& parts) {
  parts_ = parts;
  parts_.Splitter->setCursor(Qt::SplitHCursor);
  parts_.Splitter->installEventFilter(this);
  parts_.DragBar->hide();
  parts_.DragBar->setAutoFillBackground(true);
  parts_.DragBar->setBackgroundRole(QPalette::Highlight);
  LayOut();
}

// These panes end where the window's right margin begins.
int CategoryPanes::WindowWidth() const {
  return width() * kTwipsPerPixel + kRightMargin;
}

void CategoryPanes::SizeControls(int position) {
  position_ = categories::SizeControls(position, WindowWidth()).SplitterLeft;
  LayOut();
}

void CategoryPanes::LayOut() {
  if (parts_.Tree == nullptr) {
    return;
  }
  const CategoryLayout layout = categories::SizeControls(position_, WindowWidth());
  const QStringList title =
      WrappedTitle(listTitle_, parts_.ListTitle->font(), ToPixels(layout.ListTitle.Width),
                   height() < kRoomForLongTitle ? 1 : kMostTitleLines);
  titleLines_ = std::max(titleLines_, static_cast<int>(title.size()));
  const int line = parts_.TreeTitle->fontMetrics().lineSpacing();
  const int titleHeight = titleLines_ * line + kTitlePadding;
  const int listHeight = height() - titleHeight;
  parts_.TreeTitle->setGeometry(Place(layout.TreeTitle, 0, titleHeight));
  parts_.ListTitle->setGeometry(Place(layout.ListTitle, 0, titleHeight));
  parts_.Tree->setGeometry(Place(layout.Tree, titleHeight, listHeight));
  parts_.List->setGeometry(Place(layout.List, titleHeight, listHeight));
  const Span bar = {.Left = layout.SplitterLeft, .Width = layout.List.Left - layout.SplitterLeft};
  parts_.Splitter->setGeometry(Place(bar, titleHeight, listHeight).adjusted(-kGrip, 0, kGrip, 0));
  parts_.Splitter->raise();
  ShowTitle(
      *parts_.TreeTitle, treeTitle_,
      parts_.TreeTitle->fontMetrics().elidedText(treeTitle_, Qt::ElideRight, parts_.TreeTitle->width()));
  ShowTitle(*parts_.ListTitle, listTitle_, title.join(QLatin1Char('\n')));
}

void CategoryPanes::SetTitles(const QString& tree, const QString& list) {
  treeTitle_ = tree;
  listTitle_ = list;
  LayOut();
}

void CategoryPanes::ShowTitle(QLabel& label, const QString& title, const QString& shown) {
  label.setText(shown);
  label.setToolTip(shown.simplified() == title.simplified() ? QString() : PlainToolTip(title));
  label.setAccessibleName(title);
}

void CategoryPanes::Drag(int pointerOffset) {
  dragged_ = SplitterPosition(position_, pointerOffset, WindowWidth());
  const QRect lists = parts_.Tree->geometry();
  parts_.DragBar->setGeometry(ToPixels(dragged_), lists.top(), parts_.Splitter->width() - 2 * kGrip,
                              lists.height());
  parts_.DragBar->raise();
  parts_.DragBar->show();
}

bool CategoryPanes::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonPress:
      dragging_ = static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton;
      dragged_ = position_;
      return true;
    case QEvent::MouseMove:
      if (dragging_) {
        Drag((static_cast<QMouseEvent*>(event)->pos().x() - kGrip) * kTwipsPerPixel);
      }
      return true;
    case QEvent::MouseButtonRelease:
      if (std::exchange(dragging_, false)) {
        parts_.DragBar->hide();
        SizeControls(dragged_);
      }
      return true;
    default:
      return QWidget::eventFilter(watched, event);
  }
}

void CategoryPanes::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  titleLines_ = 1;
  LayOut();
}

void CategoryPanes::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
    LayOut();
  }
}

QSize CategoryPanes::sizeHint() const {
  return {860, 400};
}

QSize CategoryPanes::minimumSizeHint() const {
  return {420, 160};
}

}  // namespace korvane::categories
