#include "views/TrapOrder.h"

#include <algorithm>
#include <array>
#include <cstring>
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

constexpr std::size_t kKeyBytes = 8;

// Eight bytes from a place in the text as a number that orders like them; past its end they are 0.
std::uint64_t KeyAt(std::string_view text, std::size_t from) {
  std::uint64_t key = 0;
  for (std::size_t i = from; i < from + kKeyBytes; ++i) {
    key = (key << 8) | (i < text.size() ? Folded(text[i]) : 0U);
  }
  return key;
}

// How far two texts agree but for the case of letters, if they agree up to a place.
std::size_t CommonLength(std::string_view a, std::string_view b, std::size_t from) {
  const std::size_t common = std::min(a.size(), b.size());
  std::size_t at = std::min(from, common);
  while (at + kKeyBytes <= common && std::memcmp(&a[at], &b[at], kKeyBytes) == 0) {
    at += kKeyBytes;
  }
  while (at < common && Folded(a[at]) == Folded(b[at])) {
    ++at;
  }
  return at;
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
using KeyedRows = std::span<Keyed>;

void SortByKey(KeyedRows rows, bool descending) {
  if (descending) {
    std::stable_sort(rows.begin(), rows.end(), [](const Keyed& a, const Keyed& b) { return a.Key > b.Key; });
  } else {
    std::stable_sort(rows.begin(), rows.end(), [](const Keyed& a, const Keyed& b) { return a.Key < b.Key; });
  }
}

// Sorts rows by their own texts.  Bindings of one kind of trap share long beginnings, so that comparing whole
// texts would read each of them dozens of times: here eight bytes at a time decide, and only rows that agree
// in them look at the next eight.
class TextSort {
 public:
  TextSort(const TrapRows& rows, bool descending) : rows_(rows), descending_(descending) {}

  void Sort(KeyedRows all) {
    Push(all, 0);
    while (!open_.empty()) {
      const Group group = open_.back();
      open_.pop_back();
      if (group.Rows.size() <= kFewRows) {
        SortFew(group);
      } else {
        SortGroup(group);
      }
    }
  }

 private:
  // Rows whose texts agree up to a place.
  struct Group {
    KeyedRows Rows;
    std::size_t From;
  };
  static constexpr std::size_t kFewRows = 16;

  void Push(KeyedRows rows, std::size_t from) {
    if (rows.size() > 1) {
      open_.push_back({rows, from});
    }
  }

  // Inserts one by one: there are many such groups, and a general sort would allocate for each.
  void SortFew(const Group& group) const {
    for (std::size_t i = 1; i < group.Rows.size(); ++i) {
      const Keyed row = group.Rows[i];
      std::size_t place = i;
      for (; place > 0 && Precedes(row, group.Rows[place - 1], group.From); --place) {
        group.Rows[place] = group.Rows[place - 1];
      }
      group.Rows[place] = row;
    }
  }

  bool Precedes(const Keyed& a, const Keyed& b, std::size_t from) const {
    const std::string_view textA = rows_.VarBindsAt(a.Row);
    const std::string_view textB = rows_.VarBindsAt(b.Row);
    const std::size_t common = std::min({from, textA.size(), textB.size()});
    const int order = CompareTexts(textA.substr(common), textB.substr(common));
    return descending_ ? order > 0 : order < 0;
  }

  void SortGroup(const Group& group) {
    std::size_t longest = 0;
    bool same = true;
    for (Keyed& row : group.Rows) {
      const std::string_view text = rows_.VarBindsAt(row.Row);
      longest = std::max(longest, text.size());
      row.Key = group.From < text.size() ? KeyAt(text, group.From) : 0;
      same = same && row.Key == group.Rows.front().Key;
    }
    if (longest <= group.From) {
      // They differ, if at all, in zero bytes at their ends.
      for (Keyed& row : group.Rows) {
        row.Key = rows_.VarBindsAt(row.Row).size();
      }
      SortByKey(group.Rows, descending_);
      return;
    }
    if (same) {
      Push(group.Rows, std::max(group.From + kKeyBytes, CommonLengthOf(group)));
      return;
    }
    SortByKey(group.Rows, descending_);
    for (auto first = group.Rows.begin(); first != group.Rows.end();) {
      const auto last =
          std::find_if(first, group.Rows.end(), [&](const Keyed& row) { return row.Key != first->Key; });
      Push({first, last}, group.From + kKeyBytes);
      first = last;
    }
  }

  // Read once, in place of a round for every eight bytes: repeated traps have long texts in common.
  std::size_t CommonLengthOf(const Group& group) const {
    const std::string_view first = rows_.VarBindsAt(group.Rows.front().Row);
    std::size_t common = first.size();
    for (const Keyed& row : group.Rows) {
      common = std::min(common, CommonLength(first, rows_.VarBindsAt(row.Row), group.From));
      if (common <= group.From + kKeyBytes) {
        break;
      }
    }
    return common;
  }

  const TrapRows& rows_;
  bool descending_;
  std::vector<Group> open_;
};

}  // namespace

int CompareTexts(std::string_view a, std::string_view b) {
  const std::size_t common = CommonLength(a, b, 0);
  if (common < a.size() && common < b.size()) {
    return Folded(a[common]) < Folded(b[common]) ? -1 : 1;
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

bool TrapOrder::SharesTexts() const {
  return sorting_->Column == TrapColumn::Source || sorting_->Column == TrapColumn::TrapName;
}

// Texts that rows share are compared once each, not once per row.
std::vector<std::uint64_t> TrapOrder::SharedKeys() const {
  const bool source = sorting_->Column == TrapColumn::Source;
  const auto shareOf = [&](std::size_t row) { return source ? rows_.OriginAt(row) : rows_.KindAt(row); };
  std::vector<std::string_view> texts(source ? rows_.OriginBound() : rows_.KindBound());
  for (std::size_t row = 0; row < rows_.Count(); ++row) {
    std::string_view& text = texts[shareOf(row)];
    if (text.data() == nullptr) {
      text = TextAt(sorting_->Column, row);
    }
  }
  const std::vector<std::uint32_t> ranks = Ranks(texts);
  std::vector<std::uint64_t> keys(rows_.Count());
  for (std::size_t row = 0; row < keys.size(); ++row) {
    keys[row] = ranks[shareOf(row)];
  }
  return keys;
}

void TrapOrder::SortAll() {
  std::vector<Keyed> keyed(rows_.Count());
  const std::vector<std::uint64_t> shared = SharesTexts() ? SharedKeys() : std::vector<std::uint64_t>();
  for (std::uint32_t row = 0; row < keyed.size(); ++row) {
    // The sign turned, so that times before 1970 come first.
    const std::uint64_t time = static_cast<std::uint32_t>(rows_.EventTimeAt(row)) ^ 0x80000000U;
    keyed[row] = {shared.empty() ? time : shared[row], row};
  }
  if (sorting_->Column == TrapColumn::Variables) {
    TextSort(rows_, sorting_->Descending).Sort(keyed);
  } else {
    SortByKey(keyed, sorting_->Descending);
  }
  order_.resize(keyed.size());
  std::transform(keyed.begin(), keyed.end(), order_.begin(), [](const Keyed& entry) { return entry.Row; });
  sorted_ = order_.size();
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
  // Many new rows: sorting all anew compares less than finding each its place.
  if (order_.size() - sorted_ > sorted_ / 8) {
    SortAll();
    return;
  }
  const auto precedes = [this](std::uint32_t a, std::uint32_t b) { return Precedes(a, b); };
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
