#include "params/FiltersTableModel.h"

#include <optional>
#include <utility>

#include "common/SourceOrder.h"
#include "common/Translation.h"
#include "common/qt/CellText.h"
#include "common/qt/ListHabits.h"
#include "common/qt/QtText.h"
#include "params/FormControls.h"

namespace korvane::params {

void FiltersTableModel::Show(std::vector<FilterTexts> rows) {
  beginResetModel();
  rows_ = std::move(rows);
  endResetModel();
}

void FiltersTableModel::Append(const FilterTexts& texts) {
  const int row = rowCount();
  beginInsertRows({}, row, row);
  rows_.push_back(texts);
  endInsertRows();
}

void FiltersTableModel::Set(int row, const FilterTexts& texts) {
  rows_[static_cast<std::size_t>(row)] = texts;
  Q_EMIT dataChanged(index(row, 0), index(row, columnCount() - 1));
}

void FiltersTableModel::Remove(int row) {
  beginRemoveRows({}, row, row);
  rows_.erase(rows_.begin() + row);
  endRemoveRows();
}

int FiltersTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int FiltersTableModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(kFilterColumns.size());
}

QVariant FiltersTableModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
    return {};
  }
  const std::string& text =
      rows_[static_cast<std::size_t>(index.row())][static_cast<std::size_t>(index.column())];
  switch (role) {
    case Qt::DisplayRole:
      return ShownText(text);
    case kWholeTextRole:
      return ToVisibleQString(text);
    case Qt::ToolTipRole:
      return text == kAll ? QVariant() : PlainToolTip(ShownText(text));
    default:
      return {};
  }
}

FiltersOrder::FiltersOrder(QObject* parent) : QSortFilterProxyModel(parent) {}

QVariant FiltersOrder::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) {
    return {};
  }
  const QString caption = ToQString(Translated(kFilterColumns[static_cast<std::size_t>(section)]));
  if (role == Qt::DisplayRole) {
    return caption;
  }
  return HeaderHint(section, role, caption,
                    section == sortColumn() ? std::optional(sortOrder()) : std::nullopt);
}

bool FiltersOrder::lessThan(const QModelIndex& left, const QModelIndex& right) const {
  const QString a = left.data().toString();
  const QString b = right.data().toString();
  if (left.column() == 0) {  // Source
    const SourceKey keyA(ToUtf8(a));
    const SourceKey keyB(ToUtf8(b));
    if (keyA != keyB) {
      return keyA < keyB;
    }
  }
  return QString::localeAwareCompare(a, b) < 0;
}

}  // namespace korvane::params
