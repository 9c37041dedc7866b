// The middle of the frame window: its child windows, in the order they were created, and the layouts they can
// be put into.  Owns the sub-windows; a form inside one lives as long as its sub-window does.
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

// A sub-window and the rule of its close box: a Traps window closes (it may ask first), any other is put
// aside as an icon.
class ChildWindow : public QMdiSubWindow {
  Q_OBJECT

 public:
  // form and widget are the same object.
  ChildWindow(QWidget* widget, Form& form);

  Form& ShownForm() const { return form_; }
  // Closes whatever the kind, as when all windows are closed; the form may still refuse.
  void CloseForGood();
  // Un-minimised, in front and active.
  void BringUp();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  Form& form_;
  bool forGood_ = false;
};

class ChildArea : public QMdiArea {
  Q_OBJECT

 public:
  explicit ChildArea(QWidget* parent = nullptr);

  // The widget must be the form.  The sub-window is not shown yet.
  ChildWindow* Add(QWidget* widget, Form& form);
  const std::vector<ChildWindow*>& InCreationOrder() const { return children_; }
  // The one commands act on, also while a menu or dialog has the focus; null when there is none.
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
  void resizeEvent(QResizeEvent* event) override;

 private:
  int CascadeStep() const;
  QRect RoomForTiles() const;
  bool FirstWindowsUntouched() const;
  std::vector<ChildWindow*> Tiles();

  std::vector<ChildWindow*> children_;
  std::array<QPointer<ChildWindow>, 2> firstWindows_;
  FirstPlaces firstPlaces_ = kFreshPlaces;
  QRect placedIn_;  // the room when they were placed last
  std::size_t added_ = 0;
};

}  // namespace korvane::mainwnd
