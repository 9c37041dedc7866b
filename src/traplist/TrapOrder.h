// In which order a list shows its rows: as they arrived, or sorted by a column.  Sorting orders an index and
// copies no row; it is stable, and rows that arrive later are merged into it.  Owned by the model of one
// list, which tells it of every change of the rows.  User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "traplist/TrapRows.h"
#include "traplist/TrapSort.h"

namespace korvane::traplist {

class TrapOrder {
 public:
  using Sorting = TrapSorting;

  TrapOrder(const TrapRows& rows, SourceShown shown) : rows_(rows), shown_(shown) {}

  // Orders all rows anew; nothing: as they arrived.
  void Sort(std::optional<Sorting> sorting);
  const std::optional<Sorting>& SortedBy() const { return sorting_; }

  std::size_t RowAt(std::size_t position) const { return order_.empty() ? position : order_[position]; }
  std::size_t PositionOf(std::size_t row) const;  // looks at every row of a sorted list
  // For each row its position; empty when every row stands at its own number.
  std::vector<std::uint32_t> Positions() const;

  // Rows were appended: they stand at the end, and in their places once MergeAppended was called.
  // True when that is still to be done.
  bool RowsAppended();
  void MergeAppended();
  std::size_t SortedCount() const { return sorted_; }  // the rows that are in their places, from the front

  // The same in portions, for a list that is too long to be put in order while the window waits: all rows
  // that there are now.  They keep the order they have until TakeSorted, those appended meanwhile stay at the
  // end.  Any other change of order or rows gives it up.
  void BeginSorting();
  // Nothing is in the making: as they arrived until it is complete.
  void BeginSorting(Sorting sorting);
  bool IsSorting() const { return making_.has_value(); }
  bool SortSome(const std::function<bool()>& enough) { return making_->Step(enough); }  // true: complete
  void TakeSorted();

  // Rows (ascending) are to be removed: moves them behind all others, in a list that stays complete.  No row
  // may wait to be merged.
  void MoveToEnd(std::span<const std::uint32_t> rows);
  // Rows (ascending) have been removed; the others keep their order.
  void RowsRemoved(std::span<const std::uint32_t> rows);
  void RowsReset();

 private:
  void Materialise();
  void AppendFrom(std::size_t known);
  void SortAll();
  TrapSort Sorter() const { return {rows_, shown_, *sorting_}; }

  const TrapRows& rows_;
  SourceShown shown_;
  std::optional<Sorting> sorting_;
  std::vector<std::uint32_t> order_;  // by position; empty: as they arrived
  std::size_t sorted_ = 0;            // how many of them, from the front, are in their places
  std::optional<PortionedSort> making_;
};

}  // namespace korvane::traplist
