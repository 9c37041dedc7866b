// The categories as the tree shows them: one top-level node each.  User-interface thread.
#pragma once

#include <QAbstractListModel>

#include "categories/CategoriesForm.h"

namespace korvane::categories {

class CategoryNamesModel : public QAbstractListModel {
  Q_OBJECT

 public:
  explicit CategoryNamesModel(const CategoriesForm& form, QObject* parent = nullptr);

  // After the form's list changed as a whole, lost one category, or had it change places with the one above
  // or below.
  void Refresh();
  void RowGone(int row);
  void RowMoved(int row, Direction to);

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  const CategoriesForm& form_;
  int count_ = 0;
};

}  // namespace korvane::categories
