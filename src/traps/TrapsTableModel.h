// Shows the rows of a list of traps in a table view, in arrival order or sorted.  Texts are made for the
// cells that are painted and for nothing else, and show what could mislead (control characters, text
// direction marks, broken bytes) as visible symbols.  Serves Traps windows and reports.
// User-interface thread only; the rows must outlive it.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <QTimer>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/ProcessState.h"
#include "common/qt/Icons.h"
#include "common/qt/ListHabits.h"
#include "traplist/ShownTraps.h"
#include "traplist/TrapOrder.h"
#include "traplist/TrapRows.h"
#include "traplist/TrapRowsListener.h"

namespace korvane::traps {

class TrapsTableModel : public QAbstractTableModel, public WritesCells, public traplist::TrapRowsListener {
  Q_OBJECT

 public:
  TrapsTableModel(const traplist::TrapRows& rows, const ProcessState& state, traplist::SourceShown shown,
                  QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
  // Column -1: as they arrived; the one behind the last: by severity.
  void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

  // While rows are appended by the thousand, those of a sorted list wait at its end until it pays to put them
  // into their places.  A long list is put in order in turns of the event loop, so that the window goes on
  // painting; all rows are in their places some turns after the loading is over.
  void SetLoading(bool loading);
  bool IsSorting() const { return order_.IsSorting(); }  // such turns go on
  void FinishSorting();                                  // at once, for whoever needs the order now

  // From a position in the list as it is shown to a row of the storage, and back.
  std::uint32_t RowAt(int position) const {
    return static_cast<std::uint32_t>(order_.RowAt(static_cast<std::size_t>(position)));
  }
  int PositionOf(std::size_t row) const { return static_cast<int>(order_.PositionOf(row)); }
  bool IsArrivalOrder() const { return !order_.SortedBy(); }
  const traplist::TrapRows& Rows() const { return rows_; }
  // The list as it is shown, until it changes.
  traplist::ShownTraps Shown() const {
    return {.Rows = rows_,
            .Order = order_,
            .Source = shown_,
            .TimeZoneBias = state_.gTimeZoneBias,
            .Acknowledgers = acknowledgers_};
  }
  // Of a list that has acknowledged traps; they must outlive it.
  void UseAcknowledgers(const store::AcknowledgedBy& acknowledgers) { acknowledgers_ = &acknowledgers; }

  // The whole text of a cell, visible symbols for what could mislead.
  QString CellText(int position, traplist::TrapColumn column) const;
  CellWriter CellTexts() const override;

  void BatchBegins() override;
  void BatchEnds() override;
  void RowsAboutToBeRemoved(std::span<const std::uint32_t> rows) override;
  void RowsRemoved(std::span<const std::uint32_t> rows) override;
  void RowsAboutToBeAppended(std::size_t count) override;
  void RowsAppended() override;
  void RowsAboutToBeReset() override;
  void RowsReset() override;
  void RowsChanged(std::size_t first, std::size_t last) override;

 Q_SIGNALS:
  // Around the signals of one batch; sorting is the operator's own act and none.
  void BatchAboutToChange();
  void BatchChanged();

 private:
  template <class Change>
  void ChangeLayout(Change change);
  void MergeAppended();
  void SortInTurns();
  void SortTurn();
  void TakeSorted();
  // As received; made holds what is not stored as text.
  std::string_view WholeText(std::size_t row, traplist::TrapColumn column, std::string& made) const;
  QString SpokenMarks(std::size_t row) const;
  QString FirstToolTip(const store::IncomingTrap& trap) const;
  static QString SourceToolTip(const store::IncomingTrap& trap);
  QString ToolTip(std::size_t row, traplist::TrapColumn column) const;

  const traplist::TrapRows& rows_;
  const ProcessState& state_;
  traplist::SourceShown shown_;
  const store::AcknowledgedBy* acknowledgers_ = nullptr;
  traplist::TrapOrder order_;
  bool loading_ = false;
  bool sortChosen_ = false;  // the turns go on because the operator has just chosen the column
  QTimer sortTurn_;
  std::array<QIcon, 6> severityIcons_;  // by severity code
  QIcon pictureSpace_;                  // before the first caption: SeverityHeading lies there
};

}  // namespace korvane::traps
