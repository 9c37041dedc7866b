// In which order a list shows its rows: as they arrived, or sorted by a column.  Sorting orders an index and
// copies no row; it is stable, and rows that arrive later are merged into it.  Owned by the model of one
// list, which tells it of every change of the rows.  User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "views/TrapRows.h"

namespace korvane::views {

enum class TrapColumn : int { DateTime = 0, Source = 1, TrapName = 2, Variables = 3 };
inline constexpr int kTrapColumns = 4;

// What the "Source" column shows: Traps windows the source text, reports the system's name.
enum class SourceShown { SourceText, SystemName };

class TrapOrder {
 public:
  struct Sorting {
    TrapColumn Column = TrapColumn::DateTime;
    bool Descending = false;
    bool operator==(const Sorting&) const = default;
  };

  TrapOrder(const TrapRows& rows, SourceShown shown) : rows_(rows), shown_(shown) {}

  // Orders all rows anew; nothing: as they arrived.
  void Sort(std::optional<Sorting> sorting);
  const std::optional<Sorting>& SortedBy() const { return sorting_; }

  std::size_t RowAt(std::size_t position) const { return order_.empty() ? position : order_[position]; }
  // For each row its position; empty when every row stands at its own number.
  std::vector<std::uint32_t> Positions() const;

  // Rows were appended: they stand at the end, and in their places once MergeAppended was called.
  // True when that is still to be done.
  bool RowsAppended();
  void MergeAppended();
  std::size_t SortedCount() const { return sorted_; }  // the rows that are in their places, from the front

  // Rows (ascending) are to be removed: moves them behind all others, in a list that stays complete.  No row
  // may wait to be merged.
  void MoveToEnd(std::span<const std::uint32_t> rows);
  // Rows (ascending) have been removed; the others keep their order.
  void RowsRemoved(std::span<const std::uint32_t> rows);
  void RowsReset();

 private:
  void Materialise();
  bool SharesTexts() const;
  std::vector<std::uint64_t> SharedKeys() const;
  void SortAll();
  bool Precedes(std::uint32_t a, std::uint32_t b) const;
  std::string_view TextAt(TrapColumn column, std::size_t row) const;

  const TrapRows& rows_;
  SourceShown shown_;
  std::optional<Sorting> sorting_;
  std::vector<std::uint32_t> order_;  // by position; empty: as they arrived
  std::size_t sorted_ = 0;            // how many of them, from the front, are in their places
};

// Negative, 0 or positive.  Letters of the ASCII range compare ignoring case, all else byte by byte.
int CompareTexts(std::string_view a, std::string_view b);

}  // namespace korvane::views
