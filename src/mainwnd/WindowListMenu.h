// The list of open windows below the fixed items of the Window menu: in the order they were opened, the
// active one ticked, those put aside named so; the first nine have their number as access key.  Choosing one
// brings it up.  Made anew whenever the menu opens.  User-interface thread only.
#pragma once

#include <QList>
#include <QObject>

class QAction;
class QMenu;

namespace korvane::mainwnd {

class ChildArea;

class WindowListMenu : public QObject {
  Q_OBJECT

 public:
  // Both outlive this.
  WindowListMenu(QMenu& menu, ChildArea& area);

 private:
  void Fill();

  QMenu& menu_;
  ChildArea& area_;
  QList<QAction*> shown_;
};

}  // namespace korvane::mainwnd
