// Paints the cells of a list of traps.  Texts stand on one base line in every row: the style's own painting
// moves a line up or down when a character comes from another font, and trap texts hold any character.  What
// the operator looks for stands on a light ground.  The marks of a trap stand at the right end of its first
// cell, each in its own place, and the texts of an acknowledged one stand back.
// User-interface thread only.
#pragma once

#include <QIcon>
#include <QStyledItemDelegate>

#include "common/qt/Icons.h"

namespace korvane::traps {

// The data role of the marks of a row's trap, for every cell of the row: these bits.
inline constexpr int kTrapMarksRole = Qt::UserRole + 1001;
inline constexpr int kMarkNotes = 1;
inline constexpr int kMarkAcknowledged = 2;

class TrapCellDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  // The list shows acknowledged traps: their mark has the last place of the first cell.
  void KeepAcknowledgedPlace() { acknowledgedPlace_ = true; }

  // Marks this text wherever cells show it, ignoring case; empty: nothing.
  void Mark(const QString& text) { marked_ = text; }

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  // Paints the marks and answers how much of the cell's right end they take.
  int PaintMarks(QPainter& painter, const QRect& cell, int marks, QIcon::Mode mode) const;

  QString marked_;
  bool acknowledgedPlace_ = false;
  QIcon notes_ = NotesIcon();
  QIcon acknowledged_ = AcknowledgedIcon();
};

}  // namespace korvane::traps
