// Paints the count cells of one severity's column: a rounded pill in the severity's colour with the figure
// in it; a zero is a dim figure without a pill.  The model's DisplayRole gives the count, as number or text.
// Set it with setItemDelegateForColumn; the view does not own it, its parent does.
#pragma once

#include <QStyledItemDelegate>
#include <cstdint>

namespace korvane {

class CountPillDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  explicit CountPillDelegate(std::int32_t severity, QObject* parent = nullptr);

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  std::int32_t severity_;
};

}  // namespace korvane
