#include "views/TrapOrder.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace korvane::views {

namespace {

constexpr std::array<unsigned char, 256> FoldTable() {
  std::array<unsigned char, 256> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i] = static_cast<unsigned char>(i >= 'A' && i <= 'Z' ? i + ('a' - 'A') : i);
  }
  return table;
}

constexpr auto kFold = FoldTable();

unsigned char Folded(char c) {
  return kFold[static_cast<unsigned char>(c)];
}

// The first eight bytes as a number that orders like the text; it decides most comparisons.
std::uint64_t Prefix(std::string_view text) {
  std::uint64_t key = 0;
  for (std::size_t i = 0; i < sizeof key; ++i) {
    key = (key << 8) | (i < text.size() ? Folded(text[i]) : 0U);
  }
  return key;
}

// Numbers in the order of the texts that stand behind them, equal texts with equal numbers.
// texts[i].data() == nullptr: not in use.
std::vector<std::uint32_t> Ranks(const std::vector<std::string_view>& texts) {
  std::vector<std::uint32_t> used;
  for (std::uint32_t i = 0; i < texts.size(); ++i) {
    if (texts[i].data() != nullptr) {
      used.push_back(i);
    }
  }
  std::sort(used.begin(), used.end(),
            [&](std::uint32_t a, std::uint32_t b) { return CompareTexts(texts[a], texts[b]) < 0; });
  std::vector<std::uint32_t> ranks(texts.size());
  std::uint32_t rank = 0;
  for (std::size_t i = 0; i < used.size(); ++i) {
    if (i > 0 && CompareTexts(texts[used[i - 1]], texts[used[i]]) != 0) {
      ++rank;
    }
    ranks[used[i]] = rank;
  }
  return ranks;
}

// A row and what it is ordered by.
struct Keyed {
  std::uint64_t Key;
  std::uint32_t Row;
};

}  // namespace

int CompareTexts(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (a[i] != b[i] && Folded(a[i]) != Folded(b[i])) {
      return Folded(a[i]) < Folded(b[i]) ? -1 : 1;
    }
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

void TrapOrder::Sort(std::optional<Sorting> sorting) {
  sorting_ = sorting;
  if (!sorting_) {
    order_.clear();
    order_.shrink_to_fit();
    return;
  }
  SortAll();
}

std::string_view TrapOrder::TextAt(TrapColumn column, std::size_t row) const {
  switch (column) {
    case TrapColumn::Source:
      return shown_ == SourceShown::SourceText ? rows_.SourceAt(row) : rows_.SystemNameAt(row);
    case TrapColumn::TrapName:
      return rows_.TrapNameAt(row);
    case TrapColumn::Variables:
      return rows_.VarBindsAt(row);
    case TrapColumn::DateTime:
      break;
  }
  return {};
}

void TrapOrder::SortAll() {
  const std::size_t count = rows_.Count();
  const TrapColumn column = sorting_->Column;
  const bool shared = column == TrapColumn::Source || column == TrapColumn::TrapName;
  const auto shareOf = [&](std::size_t row) {
    return column == TrapColumn::Source ? rows_.OriginAt(row) : rows_.KindAt(row);
  };

  // Texts that rows share are compared once each, not once per row.
  std::vector<std::uint32_t> ranks;
  if (shared) {
    std::vector<std::string_view> texts(column == TrapColumn::Source ? rows_.OriginBound()
                                                                     : rows_.KindBound());
    for (std::size_t row = 0; row < count; ++row) {
      std::string_view& text = texts[shareOf(row)];
      if (text.data() == nullptr) {
        text = TextAt(column, row);
      }
    }
    ranks = Ranks(texts);
  }

  std::vector<Keyed> keyed(count);
  for (std::size_t row = 0; row < count; ++row) {
    std::uint64_t key = 0;
    if (shared) {
      key = ranks[shareOf(row)];
    } else if (column == TrapColumn::DateTime) {
      key = static_cast<std::uint32_t>(rows_.EventTimeAt(row)) ^ 0x80000000U;
    } else {
      key = Prefix(rows_.VarBindsAt(row));
    }
    keyed[row] = {key, static_cast<std::uint32_t>(row)};
  }
  const bool prefixOnly = column == TrapColumn::Variables;
  const auto less = [&](const Keyed& a, const Keyed& b) {
    if (a.Key != b.Key || !prefixOnly) {
      return a.Key < b.Key;
    }
    return CompareTexts(rows_.VarBindsAt(a.Row), rows_.VarBindsAt(b.Row)) < 0;
  };
  if (sorting_->Descending) {
    std::stable_sort(keyed.begin(), keyed.end(), [&](const Keyed& a, const Keyed& b) { return less(b, a); });
  } else {
    std::stable_sort(keyed.begin(), keyed.end(), less);
  }
  order_.resize(count);
  std::transform(keyed.begin(), keyed.end(), order_.begin(), [](const Keyed& entry) { return entry.Row; });
  sorted_ = count;
}

bool TrapOrder::Precedes(std::uint32_t a, std::uint32_t b) const {
  if (sorting_->Descending) {
    std::swap(a, b);
  }
  if (sorting_->Column == TrapColumn::DateTime) {
    return rows_.EventTimeAt(a) < rows_.EventTimeAt(b);
  }
  return CompareTexts(TextAt(sorting_->Column, a), TextAt(sorting_->Column, b)) < 0;
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
  const std::size_t known = order_.size();
  order_.resize(rows_.Count());
  std::iota(order_.begin() + static_cast<std::ptrdiff_t>(known), order_.end(),
            static_cast<std::uint32_t>(known));
  return sorted_ < order_.size();
}

void TrapOrder::MergeAppended() {
  const auto precedes = [this](std::uint32_t a, std::uint32_t b) { return Precedes(a, b); };
  const auto middle = order_.begin() + static_cast<std::ptrdiff_t>(sorted_);
  std::stable_sort(middle, order_.end(), precedes);
  std::inplace_merge(order_.begin(), middle, order_.end(), precedes);
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
  Materialise();
  std::vector<bool> leaving(rows_.Count());
  for (const std::uint32_t row : rows) {
    leaving[row] = true;
  }
  std::stable_partition(order_.begin(), order_.end(), [&](std::uint32_t row) { return !leaving[row]; });
}

void TrapOrder::RowsRemoved(std::span<const std::uint32_t> rows) {
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
  order_.clear();
  if (sorting_) {
    SortAll();
  }
}

}  // namespace korvane::views
