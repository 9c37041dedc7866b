#include "traplist/TrapOrder.h"

#include <algorithm>
#include <numeric>

namespace korvane::traplist {

void TrapOrder::Sort(std::optional<Sorting> sorting) {
  making_.reset();
  sorting_ = sorting;
  if (!sorting_) {
    order_.clear();
    order_.shrink_to_fit();
    return;
  }
  SortAll();
}

void TrapOrder::SortAll() {
  order_.resize(rows_.Count());
  std::iota(order_.begin(), order_.end(), 0U);
  Sorter().Sort(order_);
  sorted_ = order_.size();
}

void TrapOrder::BeginSorting() {
  making_.emplace(Sorter(), rows_.Count());
}

void TrapOrder::BeginSorting(Sorting sorting) {
  sorting_ = sorting;
  order_.clear();
  AppendFrom(0);
  sorted_ = 0;
  BeginSorting();
}

void TrapOrder::TakeSorted() {
  order_ = making_->TakeOrder();
  making_.reset();
  sorted_ = order_.size();
  AppendFrom(sorted_);
}

std::size_t TrapOrder::PositionOf(std::size_t row) const {
  return order_.empty() ? row : static_cast<std::size_t>(std::ranges::find(order_, row) - order_.begin());
}

std::vector<std::uint32_t> TrapOrder::Positions() const {
  std::vector<std::uint32_t> positions(order_.size());
  for (std::uint32_t position = 0; position < order_.size(); ++position) {
    positions[order_[position]] = position;
  }
  return positions;
}

bool TrapOrder::RowsAppended() {
  if (!sorting_) {
    return false;
  }
  AppendFrom(order_.size());
  return sorted_ < order_.size();
}

// The rows from this one on behind the others, as they arrived.
void TrapOrder::AppendFrom(std::size_t known) {
  order_.resize(rows_.Count());
  std::iota(order_.begin() + static_cast<std::ptrdiff_t>(known), order_.end(),
            static_cast<std::uint32_t>(known));
}

void TrapOrder::MergeAppended() {
  making_.reset();
  // Many new rows: sorting all anew compares less than finding each its place.
  if (order_.size() - sorted_ > sorted_ / 8) {
    SortAll();
    return;
  }
  const TrapSort sorter = Sorter();
  const auto precedes = [&sorter](std::uint32_t a, std::uint32_t b) { return sorter.Precedes(a, b); };
  const auto middle = order_.begin() + static_cast<std::ptrdiff_t>(sorted_);
  std::stable_sort(middle, order_.end(), precedes);
  // Comparing rows is dear, moving their numbers is not: each new row finds its place by halves, from the
  // last on, and what stands between two places moves up in one block.
  const std::vector<std::uint32_t> appended(middle, order_.end());
  auto unmoved = middle;
  auto free = order_.end();
  for (auto row = appended.rbegin(); row != appended.rend(); ++row) {
    const auto place = std::upper_bound(order_.begin(), unmoved, *row, precedes);
    free = std::move_backward(place, unmoved, free);
    unmoved = place;
    *--free = *row;
  }
  sorted_ = order_.size();
}

void TrapOrder::Materialise() {
  if (order_.empty()) {
    order_.resize(rows_.Count());
    std::iota(order_.begin(), order_.end(), 0U);
    sorted_ = order_.size();
  }
}

void TrapOrder::MoveToEnd(std::span<const std::uint32_t> rows) {
  making_.reset();
  Materialise();
  std::vector<bool> leaving(rows_.Count());
  for (const std::uint32_t row : rows) {
    leaving[row] = true;
  }
  std::stable_partition(order_.begin(), order_.end(), [&](std::uint32_t row) { return !leaving[row]; });
}

void TrapOrder::RowsRemoved(std::span<const std::uint32_t> rows) {
  making_.reset();
  if (!sorting_) {
    order_.clear();
    order_.shrink_to_fit();
    return;
  }
  const std::size_t before = order_.size();
  // For each row its new number, or none.
  constexpr std::uint32_t kGone = UINT32_MAX;
  std::vector<std::uint32_t> renumbered(before);
  auto next = rows.begin();
  std::uint32_t number = 0;
  for (std::uint32_t row = 0; row < before; ++row) {
    if (next != rows.end() && *next == row) {
      renumbered[row] = kGone;
      ++next;
    } else {
      renumbered[row] = number++;
    }
  }
  std::size_t kept = 0;
  for (const std::uint32_t row : order_) {
    if (renumbered[row] != kGone) {
      order_[kept++] = renumbered[row];
    }
  }
  order_.resize(kept);
  sorted_ = kept;
}

void TrapOrder::RowsReset() {
  making_.reset();
  order_.clear();
  if (sorting_) {
    SortAll();
  }
}

}  // namespace korvane::traplist
