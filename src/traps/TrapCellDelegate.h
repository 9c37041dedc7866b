// Paints the cells of a list of traps.  Texts stand on one base line in every row: the style's own painting
// moves a line up or down when a character comes from another font, and trap texts hold any character.  What
// the operator looks for stands on a light ground.
// User-interface thread only.
#pragma once

#include <QStyledItemDelegate>

namespace korvane::traps {

class TrapCellDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  // Marks this text wherever cells show it, ignoring case; empty: nothing.
  void Mark(const QString& text) { marked_ = text; }

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  QString marked_;
};

}  // namespace korvane::traps
