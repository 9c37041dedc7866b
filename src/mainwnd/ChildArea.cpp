#include "mainwnd/ChildArea.h"

#include <QAction>
#include <QCloseEvent>
#include <QKeySequence>
#include <QMenu>
#include <QPainter>
#include <QScopedValueRollback>
#include <QStyle>
#include <algorithm>

namespace korvane::mainwnd {
namespace {

constexpr double kFreeShare = 0.7;  // of either side, for a window in a cascade
constexpr int kHintMargin = 24;

bool IsPlain(const QMdiSubWindow& window) {
  return !window.isHidden() && !window.isMinimized() && !window.isMaximized() && !window.isShaded();
}

QRect InPixels(const Place& place, const QRect& room) {
  const auto x = [&room](int edge) { return room.left() + qRound(room.width() * double(edge) / kWholeArea); };
  const auto y = [&room](int edge) { return room.top() + qRound(room.height() * double(edge) / kWholeArea); };
  return {QPoint(x(place.Left), y(place.Top)), QPoint(x(place.Right) - 1, y(place.Bottom) - 1)};
}

Place InShares(const QRect& rect, const QRect& room) {
  const auto x = [&room](int pixel) {
    return qRound(kWholeArea * double(pixel - room.left()) / room.width());
  };
  const auto y = [&room](int pixel) {
    return qRound(kWholeArea * double(pixel - room.top()) / room.height());
  };
  return {.Left = x(rect.left()),
          .Top = y(rect.top()),
          .Right = x(rect.right() + 1),
          .Bottom = y(rect.bottom() + 1)};
}

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
  if (form_.FormName() == kSystemsFormName) {
    event->ignore();
    showMinimized();
    return;
  }
  if (form_.AsksOnClosing()) {
    BringUp();  // the operator sees what the question is about
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
  connect(this, &QMdiArea::subWindowActivated, this, &ChildArea::Activated);
}

ChildWindow* ChildArea::Add(QWidget* widget, Form& form) {
  auto* child = new ChildWindow(widget, form);
  addSubWindow(child);
  connect(
      child, &QMdiSubWindow::windowStateChanged, this,
      [this, child](Qt::WindowStates before, Qt::WindowStates now) { StateChanged(*child, before, now); });
  if (added_ < firstWindows_.size()) {
    firstWindows_[added_] = child;
    PlaceFirst(added_++);
  } else {
    child->setGeometry(CascadePlace(RoomForTiles(), CascadeStep(), children_.size()));
  }
  children_.push_back(child);
  return child;
}

ChildWindow* ChildArea::Active() const {
  auto* current = qobject_cast<ChildWindow*>(currentSubWindow());
  const bool ours = std::ranges::find(children_, current) != children_.end();
  return ours && !current->isMinimized() ? current : nullptr;
}

void ChildArea::Forget(ChildWindow* child) {
  std::erase(children_, child);
  QMetaObject::invokeMethod(this, &ChildArea::FollowRoom, Qt::QueuedConnection);
}

void ChildArea::StateChanged(ChildWindow& child, Qt::WindowStates before, Qt::WindowStates now) {
  const bool aside = now.testFlag(Qt::WindowMinimized);
  if (aside == before.testFlag(Qt::WindowMinimized)) {
    return;
  }
  if (aside) {
    ActivateAnother();
  } else {
    setActiveSubWindow(&child);
    child.widget()->setFocus();
  }
  // Only now are the icons where they belong.
  QMetaObject::invokeMethod(this, &ChildArea::FollowRoom, Qt::QueuedConnection);
}

bool ChildArea::eventFilter(QObject* watched, QEvent* event) {
  const QScopedValueRollback guard(byKeys_,
                                   event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease);
  return QMdiArea::eventFilter(watched, event);  // its keys go from window to window
}

// Going through the windows by keys leads to icons too, which is how one gets them back.  Otherwise an icon
// stays one: the toolkit activates what is put aside, whichever comes next when a window closes, and what a
// mouse presses on that may be about to move it.
void ChildArea::Activated(QMdiSubWindow* window) {
  auto* child = qobject_cast<ChildWindow*>(window);
  if (child != nullptr && child->isMinimized() && std::ranges::count(children_, child) != 0) {
    if (byKeys_) {
      child->BringUp();
    } else {
      ActivateAnother();
    }
  }
  RaiseIcons();
  viewport()->update();  // with or without the hint
}

// The one that was active last and can be seen.
void ChildArea::ActivateAnother() {
  const QList<QMdiSubWindow*> windows = subWindowList(QMdiArea::ActivationHistoryOrder);
  const auto next = std::find_if(windows.rbegin(), windows.rend(), [](const QMdiSubWindow* window) {
    return !window->isHidden() && !window->isMinimized();
  });
  setActiveSubWindow(next == windows.rend() ? nullptr : *next);
  if (next != windows.rend()) {
    (*next)->widget()->setFocus();
  }
}

void ChildArea::RaiseIcons() {
  if (const ChildWindow* active = Active(); active != nullptr && active->isMaximized()) {
    return;
  }
  for (ChildWindow* child : children_) {
    if (child->isMinimized()) {
      child->raise();
    }
  }
}

bool ChildArea::AllPutAside() const {
  return !children_.empty() && std::ranges::all_of(children_, [](const ChildWindow* child) {
    return child->isHidden() || child->isMinimized();
  });
}

void ChildArea::paintEvent(QPaintEvent* event) {
  QMdiArea::paintEvent(event);
  if (!AllPutAside()) {
    return;
  }
  QPainter painter(viewport());
  painter.setPen(palette().color(QPalette::WindowText));
  const QRect room = RoomForTiles().adjusted(kHintMargin, kHintMargin, -kHintMargin, -kHintMargin);
  painter.drawText(room, Qt::AlignCenter | Qt::TextWordWrap,
                   tr("All windows are put aside.\n\nDouble-click a title below to bring its window back, or "
                      "choose it from the Window menu. Ctrl+N opens a new window."));
}

void ChildArea::DestroyAll() {
  std::vector<ChildWindow*> going;
  going.swap(children_);
  std::for_each(going.rbegin(), going.rend(), [](ChildWindow* child) { delete child; });
}

std::optional<FirstPlaces> ChildArea::FirstWindowPlaces() const {
  FirstPlaces places;
  for (std::size_t i = 0; i < firstWindows_.size(); ++i) {
    if (!firstWindows_[i] || !IsPlain(*firstWindows_[i])) {
      return std::nullopt;
    }
    places[i] = InShares(firstWindows_[i]->geometry(), viewport()->rect());
  }
  // What nobody moved does not drift by rounding from one run to the next.
  return FirstWindowsUntouched() ? firstPlaces_ : places;
}

void ChildArea::Cascade() {
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

// One that is an icon keeps the place it goes back to.
bool ChildArea::FirstWindowsUntouched() const {
  for (std::size_t i = 0; i < firstWindows_.size(); ++i) {
    const ChildWindow* window = firstWindows_[i];
    if (window != nullptr && !window->isMinimized() &&
        (!IsPlain(*window) || window->geometry() != placedAt_[i])) {
      return false;
    }
  }
  return true;
}

void ChildArea::PlaceFirst(std::size_t i) {
  placedAt_[i] = InPixels(firstPlaces_[i], RoomForTiles());
  firstWindows_[i]->setGeometry(placedAt_[i]);
}

void ChildArea::FollowRoom() {
  if (FirstWindowsUntouched()) {
    for (std::size_t i = 0; i < firstWindows_.size(); ++i) {
      if (firstWindows_[i] && !firstWindows_[i]->isMinimized()) {
        PlaceFirst(i);
      }
    }
  }
  RaiseIcons();
  viewport()->update();
}

void ChildArea::resizeEvent(QResizeEvent* event) {
  const bool follow = FirstWindowsUntouched();
  QMdiArea::resizeEvent(event);
  if (follow) {
    FollowRoom();
  }
}

}  // namespace korvane::mainwnd
