// What Traps and Report windows offer on their list beside what the frame's menus do: find, copy, select all,
// export.  The pop-up menu calls these; the keys work by themselves while the focus is in the window.  One
// object per window, owned by it; user-interface thread.
#pragma once

#include <QObject>

class QTableView;
class QWidget;

namespace korvane {
struct Desk;
}

namespace korvane::traps {

class FindBar;
class TrapsList;
class TrapsTableModel;

class ListTools : public QObject {
  Q_OBJECT

 public:
  // window: has the caption that names the exported file.  All that is passed outlives this object.
  ListTools(QTableView& view, TrapsTableModel& table, TrapsList& list, Desk& desk, QWidget& window);

  // To be laid out below the list.
  FindBar* Bar() const { return bar_; }

  void Find();
  void Copy();  // the selected rows
  void SelectAll();
  void Export();  // all rows, be it none, as they stand

 private:
  QTableView& view_;
  TrapsTableModel& table_;
  Desk& desk_;
  QWidget& window_;
  FindBar* bar_;
};

}  // namespace korvane::traps
