#include "categories/TrapDetailsModel.h"

#include <utility>

#include "common/Translation.h"
#include "common/qt/CellText.h"
#include "common/qt/Icons.h"
#include "common/qt/QtText.h"

namespace korvane::categories {
namespace {

constexpr int kSeverityColumn = 5;

}  // namespace

TrapDetailsModel::TrapDetailsModel(CategoriesForm& form, std::function<void()> namesNotRead, QObject* parent)
    : QAbstractTableModel(parent), form_(form), namesNotRead_(std::move(namesNotRead)) {
  for (std::size_t code = 0; code < severityIcons_.size(); ++code) {
    severityIcons_[code] = SeverityIcon(static_cast<std::int32_t>(code));
  }
}

void TrapDetailsModel::Refresh() {
  beginResetModel();
  count_ = static_cast<int>(form_.Traps().size());
  textsRow_ = -1;
  endResetModel();
}

void TrapDetailsModel::RowGone(int row) {
  textsRow_ = -1;
  beginRemoveRows({}, row, row);
  --count_;
  textsRow_ = -1;
  endRemoveRows();
}

void TrapDetailsModel::RowsMoved(RowRange rows, Direction to) {
  const int first = static_cast<int>(rows.First);
  const int last = static_cast<int>(rows.Last);
  textsRow_ = -1;
  beginMoveRows({}, first, last, {}, to == Direction::Up ? first - 1 : last + 2);
  textsRow_ = -1;
  endMoveRows();
}

int TrapDetailsModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : count_;
}

int TrapDetailsModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(kTrapDetailColumns.size());
}

QVariant TrapDetailsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= columnCount()) {
    return {};
  }
  return ToQString(Translated(kTrapDetailColumns[static_cast<std::size_t>(section)]));
}

const TrapDetailTexts& TrapDetailsModel::TextsOfRow(int row) const {
  if (row != textsRow_) {
    const bool read = form_.NamesRead();
    texts_ = form_.TextsOf(form_.Traps()[static_cast<std::size_t>(row)]);
    textsRow_ = row;
    if (read && !form_.NamesRead()) {
      namesNotRead_();
    }
  }
  return texts_;
}

QVariant TrapDetailsModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || static_cast<std::size_t>(index.row()) >= form_.Traps().size()) {
    return {};
  }
  if (role == Qt::DecorationRole && index.column() == kSeverityColumn) {
    const std::int32_t code = form_.Traps()[static_cast<std::size_t>(index.row())].Severity;
    return severityIcons_[code < 0 || code >= static_cast<std::int32_t>(severityIcons_.size())
                              ? 0
                              : static_cast<std::size_t>(code)];
  }
  if (role != Qt::DisplayRole && role != Qt::ToolTipRole) {
    return {};
  }
  const QString text = ShownText(TextsOfRow(index.row())[static_cast<std::size_t>(index.column())]);
  if (role == Qt::DisplayRole) {
    return text;
  }
  return text.isEmpty() ? QVariant() : PlainToolTip(text);
}

}  // namespace korvane::categories
