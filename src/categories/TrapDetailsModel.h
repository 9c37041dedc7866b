// The traps of the selected category as the list shows them.  Texts are made when a row is painted, so that
// ten thousand rows cost what is seen of them.  User-interface thread.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <array>
#include <functional>

#include "categories/CategoriesForm.h"
#include "store/Codes.h"

namespace korvane::categories {

class TrapDetailsModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  // namesNotRead is called while painting; the form's TakeNamesError has what to say.
  TrapDetailsModel(CategoriesForm& form, std::function<void()> namesNotRead, QObject* parent = nullptr);

  // After the form's list changed as a whole, lost one row, or had rows that lie together moved by one place.
  void Refresh();
  void RowGone(int row);
  void RowsMoved(RowRange rows, Direction to);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  const TrapDetailTexts& TextsOfRow(int row) const;

  CategoriesForm& form_;
  std::function<void()> namesNotRead_;
  int count_ = 0;
  // The cells of a row are asked for one after another.
  mutable int textsRow_ = -1;
  mutable TrapDetailTexts texts_;
  std::array<QIcon, store::kSeverityNames.size()> severityIcons_;
};

}  // namespace korvane::categories
