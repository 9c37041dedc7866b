// The alerts as a table: description with a check for those that are on, for each kind of action whether it
// is used, and what became of the alert.  The form must outlive it and is told of by Reset.  User-interface
// thread.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <cstdint>

#include "alerts/AlertsForm.h"

namespace korvane::alerts {

class AlertsTableModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  // The action ID of an action's cell.
  static constexpr int kActionIdRole = Qt::UserRole;
  static constexpr int kFirstActionColumn = 1;
  static constexpr int kActedColumn = 5;
  static constexpr int kFailureColumn = 6;

  explicit AlertsTableModel(AlertsForm& form, QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  // The check of the first column: the form switches the alert.
  bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

  // The form's list changed.
  void Reset();
  // What became of the alerts changed.
  void StatesChanged();

 Q_SIGNALS:
  // The form has read its list anew.
  void Switched(std::int32_t groupId);

 private:
  QVariant DescriptionCell(const Alert& alert, int role) const;
  QVariant ActionCell(const Alert& alert, ActionKind kind, int role) const;
  QVariant ActedCell(const Alert& alert, int role) const;
  QVariant FailureCell(const Alert& alert, int role) const;

  AlertsForm& form_;
  QIcon yes_;
  QIcon no_;
  QIcon failing_;
};

}  // namespace korvane::alerts
