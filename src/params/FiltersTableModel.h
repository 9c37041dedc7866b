// The list of trap filters as a table of texts, and its order: as the window adds them, or sorted by a
// column.
#pragma once

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <vector>

#include "params/FilterTexts.h"

namespace korvane::params {

class FiltersTableModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  using QAbstractTableModel::QAbstractTableModel;

  void Show(std::vector<FilterTexts> rows);
  void Append(const FilterTexts& texts);
  void Set(int row, const FilterTexts& texts);
  void Remove(int row);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  std::vector<FilterTexts> rows_;
};

class FiltersOrder : public QSortFilterProxyModel {
  Q_OBJECT

 public:
  explicit FiltersOrder(QObject* parent = nullptr);
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 protected:
  bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
};

}  // namespace korvane::params
