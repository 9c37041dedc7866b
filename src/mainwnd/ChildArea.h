// The middle of the frame window: its child windows, in the order they were created, and the layouts they can
// be put into.  Owns the sub-windows; a form inside one lives as long as its sub-window does.
// User-interface thread only.
#pragma once

#include <QMdiArea>
#include <QMdiSubWindow>
#include <vector>

#include "common/OpenForms.h"

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

  // The layout of a fresh start: the first window above the second, filling the area.  It follows the area's
  // size until the operator moves something.
  void LayOutFirstWindows();
  void Cascade();
  void TileHorizontal();  // one above the other
  void TileVertical();    // side by side

 protected:
  void resizeEvent(QResizeEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  int CascadeStep() const;
  QRect RoomForTiles() const;
  std::vector<ChildWindow*> Tiles();

  std::vector<ChildWindow*> children_;
  bool firstLayout_ = false;
  bool arranging_ = false;
};

}  // namespace korvane::mainwnd
