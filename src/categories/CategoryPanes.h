// The two lists of "Manage Categories" side by side with their titles above and the bar between them.  The
// bar follows the pointer while it is dragged and the lists take their places when it is let go of.
// User-interface thread.
#pragma once

#include <QString>
#include <QWidget>

#include "categories/SplitterLayout.h"

class QAbstractItemView;
class QLabel;

namespace korvane::categories {

class CategoryPanes : public QWidget {
  Q_OBJECT

 public:
  using QWidget::QWidget;

  struct Parts {
    QLabel* TreeTitle;
    QLabel* ListTitle;
    QAbstractItemView* Tree;
    QAbstractItemView* List;
    QWidget* Splitter;  // what the pointer takes hold of
    QWidget* DragBar;   // shown while dragging
  };
  // All of them are children of this widget.
  void Arrange(const Parts& parts);

  // Lays the panes out for a position of the bar, in twips.
  void SizeControls(int position);
  int Position() const { return position_; }
  // One of an earlier run, before this widget has its size.
  void KeepPosition(int position) { position_ = position; }
  // Cut at their ends where the place is too small; the tool tips have them whole.  That of the list takes up
  // to three lines, and keeps their room for the next one: lists that are walked through stay where they are.
  void SetTitles(const QString& tree, const QString& list);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  int WindowWidth() const;
  void LayOut();
  static void ShowTitle(QLabel& label, const QString& title, const QString& shown);
  void Drag(int pointerOffset);

  Parts parts_ = {};
  int position_ = 3600;
  int dragged_ = 0;
  bool dragging_ = false;
  QString treeTitle_;
  QString listTitle_;
  int titleLines_ = 1;
};

}  // namespace korvane::categories
