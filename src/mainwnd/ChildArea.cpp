#include "mainwnd/ChildArea.h"

#include <QAction>
#include <QCloseEvent>
#include <QKeySequence>
#include <QMenu>
#include <QScopedValueRollback>
#include <QStyle>
#include <algorithm>

namespace korvane::mainwnd {
namespace {

constexpr double kSystemsShare = 0.38;  // of the height, on a fresh start
constexpr double kFreeShare = 0.7;      // of either side, for a window in a cascade

// The place of the n-th window of a cascade: one title bar further down and right, beginning anew when it
// would leave the room.
QRect CascadePlace(const QRect& room, int step, std::size_t n) {
  const QSize size(static_cast<int>(room.width() * kFreeShare), static_cast<int>(room.height() * kFreeShare));
  const int steps =
      std::max(1, std::min(room.width() - size.width(), room.height() - size.height()) / step + 1);
  const int offset = step * (static_cast<int>(n) % steps);
  return {room.topLeft() + QPoint(offset, offset), size};
}

}  // namespace

ChildWindow::ChildWindow(QWidget* widget, Form& form) : form_(form) {
  setAttribute(Qt::WA_DeleteOnClose);
  setWidget(widget);
  setFocusProxy(widget);
  // The keys of the menu behind the window's icon are those of the frame's commands, which would leave both
  // without effect.
  const QList<QAction*> items = systemMenu()->actions();
  for (QAction* item : items) {
    item->setShortcuts(QList<QKeySequence>());
  }
}

void ChildWindow::CloseForGood() {
  const QScopedValueRollback guard(forGood_, true);
  close();
}

void ChildWindow::BringUp() {
  if (isMinimized() || isShaded()) {
    showNormal();
  } else {
    show();
  }
  raise();
  if (mdiArea() != nullptr) {
    mdiArea()->setActiveSubWindow(this);
  }
  widget()->setFocus();
}

void ChildWindow::closeEvent(QCloseEvent* event) {
  if (form_.FormName() != kTrapsFormName && !forGood_) {
    event->ignore();
    showMinimized();
    return;
  }
  // Kept, since a window that has agreed to close does not know its area any more.
  auto* area = qobject_cast<ChildArea*>(mdiArea());
  QMdiSubWindow::closeEvent(event);
  if (event->isAccepted() && area != nullptr) {
    area->Forget(this);
  }
}

ChildArea::ChildArea(QWidget* parent) : QMdiArea(parent) {
  setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  setActivationOrder(QMdiArea::CreationOrder);
}

ChildWindow* ChildArea::Add(QWidget* widget, Form& form) {
  auto* child = new ChildWindow(widget, form);
  {
    const QScopedValueRollback guard(arranging_, true);
    addSubWindow(child);
    child->setGeometry(CascadePlace(RoomForTiles(), CascadeStep(), children_.size()));
  }
  child->installEventFilter(this);
  children_.push_back(child);
  return child;
}

ChildWindow* ChildArea::Active() const {
  auto* current = qobject_cast<ChildWindow*>(currentSubWindow());
  return std::ranges::find(children_, current) == children_.end() ? nullptr : current;
}

void ChildArea::Forget(ChildWindow* child) {
  std::erase(children_, child);
}

void ChildArea::DestroyAll() {
  std::vector<ChildWindow*> going;
  going.swap(children_);
  std::for_each(going.rbegin(), going.rend(), [](ChildWindow* child) { delete child; });
}

void ChildArea::LayOutFirstWindows() {
  std::vector<ChildWindow*> tiles = Tiles();
  if (tiles.size() < 2) {
    return;
  }
  const QScopedValueRollback guard(arranging_, true);
  const QRect room = viewport()->rect();
  const int above = static_cast<int>(room.height() * kSystemsShare);
  tiles[0]->setGeometry(QRect(room.left(), room.top(), room.width(), above));
  tiles[1]->setGeometry(QRect(room.left(), room.top() + above, room.width(), room.height() - above));
  firstLayout_ = true;
}

void ChildArea::Cascade() {
  firstLayout_ = false;
  ChildWindow* active = Active();
  const std::vector<ChildWindow*> tiles = Tiles();
  const QRect room = RoomForTiles();
  for (std::size_t i = 0; i < tiles.size(); ++i) {
    tiles[i]->setGeometry(CascadePlace(room, CascadeStep(), i));
    tiles[i]->raise();
  }
  if (active != nullptr) {
    active->raise();
  }
}

int ChildArea::CascadeStep() const {
  return style()->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, this) +
         style()->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth, nullptr, this);
}

void ChildArea::TileHorizontal() {
  firstLayout_ = false;
  const std::vector<ChildWindow*> tiles = Tiles();
  const QRect room = RoomForTiles();
  const int count = static_cast<int>(tiles.size());
  for (int i = 0; i < count; ++i) {
    const int top = room.height() * i / count;
    const int bottom = room.height() * (i + 1) / count;
    tiles[static_cast<std::size_t>(i)]->setGeometry(room.left(), room.top() + top, room.width(),
                                                    bottom - top);
  }
}

void ChildArea::TileVertical() {
  firstLayout_ = false;
  const std::vector<ChildWindow*> tiles = Tiles();
  const QRect room = RoomForTiles();
  const int count = static_cast<int>(tiles.size());
  for (int i = 0; i < count; ++i) {
    const int left = room.width() * i / count;
    const int right = room.width() * (i + 1) / count;
    tiles[static_cast<std::size_t>(i)]->setGeometry(room.left() + left, room.top(), right - left,
                                                    room.height());
  }
}

// What is not an icon takes part; a maximised window takes its ordinary size first.
std::vector<ChildWindow*> ChildArea::Tiles() {
  const QScopedValueRollback guard(arranging_, true);
  std::vector<ChildWindow*> tiles;
  for (ChildWindow* child : children_) {
    if (child->isHidden() || child->isMinimized()) {
      continue;
    }
    if (child->isMaximized() || child->isShaded()) {
      child->showNormal();
    }
    tiles.push_back(child);
  }
  return tiles;
}

// The icons at the bottom stay in sight.
QRect ChildArea::RoomForTiles() const {
  QRect room = viewport()->rect();
  for (const ChildWindow* child : children_) {
    if (!child->isHidden() && child->isMinimized()) {
      room.setBottom(std::min(room.bottom(), child->geometry().top() - 1));
    }
  }
  return room;
}

void ChildArea::resizeEvent(QResizeEvent* event) {
  const bool follow = firstLayout_;
  {
    const QScopedValueRollback guard(arranging_, true);
    QMdiArea::resizeEvent(event);
  }
  const bool allNormal = std::ranges::none_of(children_, [](const ChildWindow* child) {
    return child->isMinimized() || child->isMaximized() || child->isShaded();
  });
  if (follow && allNormal && children_.size() == 2) {
    LayOutFirstWindows();
  }
}

bool ChildArea::eventFilter(QObject* watched, QEvent* event) {
  const bool moved = event->type() == QEvent::Move || event->type() == QEvent::Resize;
  if (moved && !arranging_ && qobject_cast<ChildWindow*>(watched) != nullptr) {
    firstLayout_ = false;
  }
  return QMdiArea::eventFilter(watched, event);
}

}  // namespace korvane::mainwnd
