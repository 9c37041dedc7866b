#include "traps/SeverityHeading.h"

#include <QEvent>
#include <QHeaderView>
#include <QScrollBar>
#include <QStyleOptionHeader>
#include <QStylePainter>
#include <QTableView>

#include "common/qt/Icons.h"
#include "common/qt/ListHabits.h"
#include "traplist/TrapSort.h"

namespace korvane::traps {
namespace {

constexpr int kSeverityKey = static_cast<int>(traplist::TrapColumn::Severity);
constexpr int kPictureSize = 12;
constexpr int kPictureLeft = 7;  // in line with the pictures of the rows
constexpr int kArrowWidth = 7;

}  // namespace

SeverityHeading::SeverityHeading(QTableView& view)
    : QToolButton(view.horizontalHeader()->viewport()),
      view_(view),
      picture_(ToolbarIcon("Sort by Severity")) {
  setObjectName(QStringLiteral("cmdSortBySeverity"));
  setAutoRaise(true);
  setFocusPolicy(Qt::NoFocus);
  setCursor(Qt::ArrowCursor);
  QHeaderView* header = view.horizontalHeader();
  header->viewport()->installEventFilter(this);
  connect(this, &QAbstractButton::clicked, this, [this] { SortByNextOrder(view_, kSeverityKey); });
  connect(header, &QHeaderView::sortIndicatorChanged, this, &SeverityHeading::ShowOrder);
  connect(header, &QHeaderView::sectionResized, this, &SeverityHeading::Follow);
  connect(view.horizontalScrollBar(), &QScrollBar::valueChanged, this, &SeverityHeading::Follow);
  ShowOrder();
  Follow();
}

bool SeverityHeading::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize) {
    Follow();
  }
  return QToolButton::eventFilter(watched, event);
}

void SeverityHeading::Follow() {
  const QHeaderView* header = view_.horizontalHeader();
  const int begin = header->sectionViewportPosition(0);
  const int x = isRightToLeft() ? begin + header->sectionSize(0) - kWidth : begin;
  setGeometry(x, 0, kWidth, header->viewport()->height());
}

void SeverityHeading::ShowOrder() {
  const QVariant spoken = view_.model()->headerData(kSeverityKey, Qt::Horizontal, Qt::AccessibleTextRole);
  setAccessibleName(spoken.toString());
  setToolTip(tr("Sort by severity (%1)").arg(SortKey(kSeverityKey).toString(QKeySequence::NativeText)));
  update();
}

void SeverityHeading::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionToolButton button;
  initStyleOption(&button);
  painter.drawComplexControl(QStyle::CC_ToolButton, button);
  const QHeaderView* header = view_.horizontalHeader();
  const bool sorted = header->sortIndicatorSection() == kSeverityKey;
  const int left = sorted ? 2 : kPictureLeft;
  picture_.paint(&painter, QRect(left, (height() - kPictureSize) / 2, kPictureSize, kPictureSize));
  if (sorted) {
    QStyleOptionHeader arrow;
    arrow.initFrom(this);
    arrow.rect = QRect(left + kPictureSize, (height() - kArrowWidth) / 2, kArrowWidth, kArrowWidth);
    arrow.sortIndicator = header->sortIndicatorOrder() == Qt::AscendingOrder ? QStyleOptionHeader::SortDown
                                                                             : QStyleOptionHeader::SortUp;
    painter.drawPrimitive(QStyle::PE_IndicatorHeaderArrow, arrow);
  }
}

}  // namespace korvane::traps
