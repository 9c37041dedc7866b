// The middle of the frame window: its child windows, in the order they were created, and the layouts they can
// be put into.  Owns the sub-windows; a form inside one lives as long as its sub-window does.
// A window that was put aside, an icon at the bottom, is never the active one: another takes its place, or
// none.  Icons stay in front of all windows but a maximised one.
// User-interface thread only.
#pragma once

#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <array>
#include <optional>
#include <vector>

#include "common/OpenForms.h"
#include "mainwnd/FirstPlaces.h"

namespace korvane::mainwnd {

// A sub-window and the rule of its close box: a Traps window (it may ask first) and a report close, the
// Systems window is put aside as an icon.
class ChildWindow : public QMdiSubWindow {
  Q_OBJECT

 public:
  // form and widget are the same object.
  ChildWindow(QWidget* widget, Form& form);

  Form& ShownForm() const { return form_; }
  // Un-minimised, in front and active.
  void BringUp();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  Form& form_;
};

class ChildArea : public QMdiArea {
  Q_OBJECT

 public:
  explicit ChildArea(QWidget* parent = nullptr);

  // The widget must be the form.  The sub-window is not shown yet.
  ChildWindow* Add(QWidget* widget, Form& form);
  const std::vector<ChildWindow*>& InCreationOrder() const { return children_; }
  // The one commands act on, also while a menu or dialog has the focus; null when there is none.  Never an
  // icon.
  ChildWindow* Active() const;
  // A child that has agreed to close and is deleted a moment later.
  void Forget(ChildWindow* child);
  // Without asking any of them.
  void DestroyAll();

  // Where the first two windows go when they are added.  They follow the area's size until the operator moves
  // one of them.
  void PlaceFirstWindows(const FirstPlaces& places) { firstPlaces_ = places; }
  // Where they stand now; nothing when one is gone, an icon or maximised.
  std::optional<FirstPlaces> FirstWindowPlaces() const;
  void Cascade();
  void TileHorizontal();  // one above the other
  void TileVertical();    // side by side

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  int CascadeStep() const;
  QRect RoomForTiles() const;
  bool FirstWindowsUntouched() const;
  void PlaceFirst(std::size_t i);
  void FollowRoom();
  std::vector<ChildWindow*> Tiles();
  void StateChanged(ChildWindow& child, Qt::WindowStates before, Qt::WindowStates now);
  void Activated(QMdiSubWindow* window);
  void ActivateAnother();
  void RaiseIcons();
  bool AllPutAside() const;

  std::vector<ChildWindow*> children_;
  std::array<QPointer<ChildWindow>, 2> firstWindows_;
  FirstPlaces firstPlaces_ = kFreshPlaces;
  std::array<QRect, 2> placedAt_;  // where they were put last; an icon goes back there
  std::size_t added_ = 0;
  bool byKeys_ = false;
};

}  // namespace korvane::mainwnd
