// Sorting the rows of a list of traps by a column or by severity, all at once or, for a list of a million
// rows, in portions between which the window paints.  Orders row numbers and copies no row; the rows must
// outlive it. User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "common/SourceOrder.h"
#include "traplist/TrapRows.h"

namespace korvane::traplist {

// Severity is the picture at the beginning of a row and has no column of its own, but rows sort by it.
enum class TrapColumn : int { DateTime = 0, Source = 1, TrapName = 2, Variables = 3, Severity = 4 };
inline constexpr int kTrapColumns = 4;  // that are shown
inline constexpr int kTrapSortKeys = 5;

// What the "Source" column shows: Traps windows the source text, reports the system's name.
enum class SourceShown { SourceText, SystemName };

struct TrapSorting {
  TrapColumn Column = TrapColumn::DateTime;
  bool Descending = false;
  bool operator==(const TrapSorting&) const = default;
};

// For as long as no row goes.
class TrapSort {
 public:
  TrapSort(const TrapRows& rows, SourceShown shown, TrapSorting sorting);

  // Rows that are equal keep the order in which they come.
  void Sort(std::span<std::uint32_t> rows) const;

  // Negative: a comes before b; 0: they are equal.
  int Compare(std::uint32_t a, std::uint32_t b) const;
  bool Precedes(std::uint32_t a, std::uint32_t b) const { return Compare(a, b) < 0; }

 private:
  SourceKey KeyOfSource(std::uint32_t row) const;

  const TrapRows* rows_;
  SourceShown shown_;
  TrapSorting sorting_;
  mutable std::vector<std::optional<SourceKey>> sources_;  // by origin, as far as they were compared
};

// The first rows of a list in the order that one sort of them all would give.  They are dealt out to parts of
// some thousand rows by bounds that a sample of them gave, and each part is then sorted by itself.  Rows may
// be appended meanwhile, but none may go.
class PortionedSort {
 public:
  PortionedSort(const TrapSort& sort, std::size_t rows);

  // Goes on until enough says so, which is asked every millisecond or few.  True: the order is complete.
  bool Step(const std::function<bool()>& enough);
  std::vector<std::uint32_t> TakeOrder() { return std::move(order_); }

 private:
  static constexpr std::size_t kStretchRows = 512;
  static constexpr std::size_t kStretchesPerPart = 8;
  static constexpr std::size_t kRowsPerLook = 2048;

  void ChooseBounds();
  std::size_t PartOf(std::uint32_t row) const;

  TrapSort sort_;
  std::size_t rows_;
  std::vector<std::uint32_t> bounds_;  // the first row of each part but the first
  std::vector<std::vector<std::uint32_t>> parts_;
  std::size_t dealt_ = 0;   // rows that lie in their parts
  std::size_t sorted_ = 0;  // parts that lie in the order
  std::vector<std::uint32_t> order_;
};

// Negative, 0 or positive.  Letters of the ASCII range compare ignoring case, all else byte by byte.
int CompareTexts(std::string_view a, std::string_view b);

}  // namespace korvane::traplist
