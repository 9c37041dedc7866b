#include "categories/CategoryNamesModel.h"

#include "common/qt/CellText.h"

namespace korvane::categories {

CategoryNamesModel::CategoryNamesModel(const CategoriesForm& form, QObject* parent)
    : QAbstractListModel(parent), form_(form) {}

void CategoryNamesModel::Refresh() {
  beginResetModel();
  count_ = static_cast<int>(form_.Categories().size());
  endResetModel();
}

void CategoryNamesModel::RowGone(int row) {
  beginRemoveRows({}, row, row);
  --count_;
  endRemoveRows();
}

void CategoryNamesModel::RowMoved(int row, Direction to) {
  beginMoveRows({}, row, row, {}, to == Direction::Up ? row - 1 : row + 2);
  endMoveRows();
}

int CategoryNamesModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : count_;
}

QVariant CategoryNamesModel::data(const QModelIndex& index, int role) const {
  const auto row = static_cast<std::size_t>(index.row());
  if (!index.isValid() || row >= form_.Categories().size()) {
    return {};
  }
  const QString name = ShownText(form_.Categories()[row]);
  switch (role) {
    case Qt::DisplayRole:
      return name;
    case Qt::ToolTipRole:
      return PlainToolTip(name);
    default:
      return {};
  }
}

}  // namespace korvane::categories
