// The alerts as a table: description and, for each kind of action, whether it is used.  The form must outlive
// it and is told of by Reset.  User-interface thread.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>

#include "alerts/AlertsForm.h"

namespace korvane::alerts {

class AlertsTableModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  // The action ID of an action's cell.
  static constexpr int kActionIdRole = Qt::UserRole;
  static constexpr int kFirstActionColumn = 1;

  explicit AlertsTableModel(const AlertsForm& form, QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

  // The form's list changed.
  void Reset();

 private:
  const AlertsForm& form_;
  QIcon yes_;
  QIcon no_;
};

}  // namespace korvane::alerts
