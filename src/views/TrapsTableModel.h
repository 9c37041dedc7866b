// Shows the rows of a list of traps in a table view, in arrival order or sorted.  Texts are made for the
// cells that are painted and for nothing else, and show what could mislead (control characters, text
// direction marks, broken bytes) as visible symbols.  Serves Traps windows and reports.
// User-interface thread only; the rows must outlive it.
#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "common/ProcessState.h"
#include "views/TrapOrder.h"
#include "views/TrapRows.h"
#include "views/TrapRowsListener.h"

namespace korvane::views {

class TrapsTableModel : public QAbstractTableModel, public TrapRowsListener {
  Q_OBJECT

 public:
  // The values of a row that no column shows, whatever the column of the index.
  enum Role {
    SequenceNumberRole = Qt::UserRole,
    EventTimeRole,
    SeverityRole,
    GenericTrapRole,
    SystemAddressRole,
    FurtherDescriptionRole,
    EventNotesRole,
  };

  TrapsTableModel(const TrapRows& rows, const ProcessState& state, SourceShown shown,
                  QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
  // Column -1: as they arrived.
  void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

  // Between a position in the list as it is shown and a row of the storage.
  std::uint32_t RowAt(int position) const {
    return static_cast<std::uint32_t>(order_.RowAt(static_cast<std::size_t>(position)));
  }
  bool IsArrivalOrder() const { return !order_.SortedBy(); }
  const TrapRows& Rows() const { return rows_; }

  // The cell's whole text, which the list cuts when it is very long.
  QString CellText(int position, TrapColumn column) const;

  void BatchBegins() override;
  void BatchEnds() override;
  void RowsAboutToBeRemoved(std::span<const std::uint32_t> rows) override;
  void RowsRemoved(std::span<const std::uint32_t> rows) override;
  void RowsAboutToBeAppended(std::size_t count) override;
  void RowsAppended() override;
  void RowsAboutToBeReset() override;
  void RowsReset() override;
  void RowChanged(std::size_t row) override;

 Q_SIGNALS:
  // Around the signals of one batch.
  void BatchAboutToChange();
  void BatchChanged();

 private:
  template <class Change>
  void ChangeLayout(Change change);
  std::vector<std::uint32_t> CurrentPositions() const;
  QVariant HiddenValue(std::size_t row, int role) const;
  QString ToolTip(std::size_t row, TrapColumn column) const;

  const TrapRows& rows_;
  const ProcessState& state_;
  TrapOrder order_;
};

}  // namespace korvane::views
