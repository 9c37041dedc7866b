// The rows of SystemsModel as a table for lvDevices: texts fit to be shown, counts as numbers, icon and
// colour of a row, and the order in which the operator sorted it.
//
// Sorting orders an index, stable; the column -1 is the order of arrival.  New systems arrive at the end.
// They and rows whose counts changed move to their place at the end of a tick, but only when they may
// (KeepPlaces(false)), so that the list never moves under the operator's eyes.  User-interface thread only.
#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <optional>
#include <vector>

#include "systems/SystemsModel.h"

namespace korvane::systems {

class SystemsTableModel : public QAbstractTableModel, public SystemsListener {
  Q_OBJECT

 public:
  // The systems outlive this model, which is their one listener while it lives.
  explicit SystemsTableModel(SystemsModel& systems, QObject* parent = nullptr);
  ~SystemsTableModel() override;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  void sort(int column, Qt::SortOrder order) override;

  std::size_t RowOf(const QModelIndex& index) const;  // in SystemsModel
  QModelIndex IndexOf(std::size_t row) const;         // column 0; invalid for a row not told yet

  // The next system below this place that has traps of the severity, or any where none is given, going round
  // at the end of the list; those with news come before all others.  Invalid when there is none.
  QModelIndex NextWithTraps(int place, std::optional<std::int32_t> severity) const;

  void KeepPlaces(bool keep) { keepPlaces_ = keep; }

  void RowsAboutToReset() override;
  void RowsReset() override;
  void RowsAppended(std::size_t first, std::size_t count) override;
  void RowsChanged(std::size_t first, std::size_t count) override;
  void StatusChanged() override;

 Q_SIGNALS:
  void StatusTextsChanged();

 private:
  QVariant CountData(std::size_t row, int column, int role) const;
  QVariant TextData(std::size_t row, int column, int role) const;
  QVariant RowData(std::size_t row, int role) const;
  QString TextOf(std::size_t row, int column) const;
  std::vector<int> SortedOrder(std::size_t rows) const;  // of the first rows of SystemsModel
  void SortAgain();
  void TakeOrder(std::vector<int> order);

  SystemsModel& systems_;
  std::vector<int> order_;    // row of SystemsModel by place in the list
  std::vector<int> placeOf_;  // and the other way round
  int sortColumn_ = -1;
  Qt::SortOrder sortOrder_ = Qt::AscendingOrder;
  bool keepPlaces_ = false;
  bool sortNeeded_ = false;
};

}  // namespace korvane::systems
