#include "traplist/TrapSort.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <random>
#include <utility>

#include "common/SourceOrder.h"
#include "store/Codes.h"

namespace korvane::traplist {

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

// A source as it is compared with many others.
struct ComparedSource {
  SourceKey Key;
  std::string_view Text;
};

int CompareSources(const ComparedSource& a, const ComparedSource& b) {
  if (a.Key != b.Key) {
    return a.Key < b.Key ? -1 : 1;
  }
  return CompareTexts(a.Text, b.Text);
}

// Numbers in the order of the texts that stand behind them, equal texts with equal numbers.
// texts[i].data() == nullptr: not in use.
template <class Compare>
std::vector<std::uint32_t> Ranks(const std::vector<std::string_view>& texts, Compare compare) {
  std::vector<std::uint32_t> used;
  for (std::uint32_t i = 0; i < texts.size(); ++i) {
    if (texts[i].data() != nullptr) {
      used.push_back(i);
    }
  }
  std::sort(used.begin(), used.end(), [&](std::uint32_t a, std::uint32_t b) { return compare(a, b) < 0; });
  std::vector<std::uint32_t> ranks(texts.size());
  std::uint32_t rank = 0;
  for (std::size_t i = 0; i < used.size(); ++i) {
    if (i > 0 && compare(used[i - 1], used[i]) != 0) {
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

std::string_view TextAt(const TrapRows& rows, SourceShown shown, TrapColumn column, std::size_t row) {
  switch (column) {
    case TrapColumn::Source:
      return shown == SourceShown::SourceText ? rows.SourceAt(row) : rows.SystemNameAt(row);
    case TrapColumn::TrapName:
      return rows.TrapNameAt(row);
    case TrapColumn::Variables:
      return rows.VarBindsAt(row);
    case TrapColumn::DateTime:
    case TrapColumn::Severity:
      break;
  }
  return {};
}

std::vector<std::uint32_t> RanksOfSources(const std::vector<std::string_view>& texts) {
  std::vector<ComparedSource> sources;
  sources.reserve(texts.size());
  for (const std::string_view text : texts) {
    sources.push_back({SourceKey(text), text});
  }
  return Ranks(texts,
               [&](std::uint32_t a, std::uint32_t b) { return CompareSources(sources[a], sources[b]); });
}

// Texts that rows share are compared once each, not once per row.
void SetSharedKeys(const TrapRows& rows, SourceShown shown, TrapColumn column, KeyedRows keyed) {
  const bool source = column == TrapColumn::Source;
  const auto shareOf = [&](std::size_t row) { return source ? rows.OriginAt(row) : rows.KindAt(row); };
  std::vector<std::string_view> texts(source ? rows.OriginBound() : rows.KindBound());
  for (const Keyed& entry : keyed) {
    std::string_view& text = texts[shareOf(entry.Row)];
    if (text.data() == nullptr) {
      text = TextAt(rows, shown, column, entry.Row);
    }
  }
  const std::vector<std::uint32_t> ranks =
      source
          ? RanksOfSources(texts)
          : Ranks(texts, [&](std::uint32_t a, std::uint32_t b) { return CompareTexts(texts[a], texts[b]); });
  for (Keyed& entry : keyed) {
    entry.Key = ranks[shareOf(entry.Row)];
  }
}

}  // namespace

int CompareTexts(std::string_view a, std::string_view b) {
  const std::size_t common = CommonLength(a, b, 0);
  if (common < a.size() && common < b.size()) {
    return Folded(a[common]) < Folded(b[common]) ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

TrapSort::TrapSort(const TrapRows& rows, SourceShown shown, TrapSorting sorting)
    : rows_(&rows), shown_(shown), sorting_(sorting) {}

// Reading an address costs more than comparing two, and a row is compared many times.
SourceKey TrapSort::KeyOfSource(std::uint32_t row) const {
  const std::uint32_t origin = rows_->OriginAt(row);
  if (origin >= sources_.size()) {
    sources_.resize(rows_->OriginBound());
  }
  std::optional<SourceKey>& key = sources_[origin];
  if (!key) {
    key.emplace(TextAt(*rows_, shown_, TrapColumn::Source, row));
  }
  return *key;
}

int TrapSort::Compare(std::uint32_t a, std::uint32_t b) const {
  if (sorting_.Descending) {
    std::swap(a, b);
  }
  const auto numbers = [](std::int32_t ofA, std::int32_t ofB) {
    return ofA == ofB ? 0 : (ofA < ofB ? -1 : 1);
  };
  const auto textAt = [this](std::uint32_t row) { return TextAt(*rows_, shown_, sorting_.Column, row); };
  switch (sorting_.Column) {
    case TrapColumn::DateTime:
      return numbers(rows_->EventTimeAt(a), rows_->EventTimeAt(b));
    case TrapColumn::Severity:
      return numbers(store::SeverityRank(rows_->SeverityAt(a)), store::SeverityRank(rows_->SeverityAt(b)));
    case TrapColumn::Source:
      if (rows_->OriginAt(a) == rows_->OriginAt(b)) {
        return 0;
      }
      return CompareSources({KeyOfSource(a), textAt(a)}, {KeyOfSource(b), textAt(b)});
    case TrapColumn::TrapName:
    case TrapColumn::Variables:
      break;
  }
  return CompareTexts(textAt(a), textAt(b));
}

void TrapSort::Sort(std::span<std::uint32_t> rows) const {
  std::vector<Keyed> keyed(rows.size());
  std::ranges::transform(rows, keyed.begin(), [](std::uint32_t row) { return Keyed{0, row}; });
  switch (sorting_.Column) {
    case TrapColumn::Variables:
      TextSort(*rows_, sorting_.Descending).Sort(keyed);
      break;
    case TrapColumn::DateTime:
      for (Keyed& entry : keyed) {
        // The sign turned, so that times before 1970 come first.
        entry.Key = static_cast<std::uint32_t>(rows_->EventTimeAt(entry.Row)) ^ 0x80000000U;
      }
      SortByKey(keyed, sorting_.Descending);
      break;
    case TrapColumn::Severity:
      for (Keyed& entry : keyed) {
        entry.Key = static_cast<std::uint64_t>(store::SeverityRank(rows_->SeverityAt(entry.Row)));
      }
      SortByKey(keyed, sorting_.Descending);
      break;
    case TrapColumn::Source:
    case TrapColumn::TrapName:
      SetSharedKeys(*rows_, shown_, sorting_.Column, keyed);
      SortByKey(keyed, sorting_.Descending);
      break;
  }
  std::ranges::transform(keyed, rows.begin(), &Keyed::Row);
}

PortionedSort::PortionedSort(const TrapSort& sort, std::size_t rows) : sort_(sort), rows_(rows) {
  order_.reserve(rows);
  ChooseBounds();
  parts_.resize(bounds_.size() + 1);
}

// One row at random out of each stretch, since traps come in patterns; every so many of them, sorted, bounds
// a part.
void PortionedSort::ChooseBounds() {
  std::minstd_rand random;  // the same ones each time
  std::vector<std::uint32_t> sample;
  for (std::size_t first = 0; first + kStretchRows <= rows_; first += kStretchRows) {
    sample.push_back(static_cast<std::uint32_t>(first + random() % kStretchRows));
  }
  sort_.Sort(sample);
  for (std::size_t at = kStretchesPerPart; at + kStretchesPerPart <= sample.size(); at += kStretchesPerPart) {
    bounds_.push_back(sample[at]);
  }
}

// Equal rows are told apart by their numbers, so that any number of them spreads over the parts.
std::size_t PortionedSort::PartOf(std::uint32_t row) const {
  const auto after = std::upper_bound(bounds_.begin(), bounds_.end(), row,
                                      [this](std::uint32_t candidate, std::uint32_t bound) {
                                        const int order = sort_.Compare(candidate, bound);
                                        return order < 0 || (order == 0 && candidate < bound);
                                      });
  return static_cast<std::size_t>(after - bounds_.begin());
}

bool PortionedSort::Step(const std::function<bool()>& enough) {
  while (dealt_ < rows_) {
    const std::size_t end = std::min(dealt_ + kRowsPerLook, rows_);
    for (; dealt_ < end; ++dealt_) {
      const auto row = static_cast<std::uint32_t>(dealt_);
      parts_[PartOf(row)].push_back(row);
    }
    if (enough()) {
      return false;
    }
  }
  while (sorted_ < parts_.size()) {
    std::vector<std::uint32_t> part = std::exchange(parts_[sorted_++], {});
    sort_.Sort(part);
    order_.insert(order_.end(), part.begin(), part.end());
    if (sorted_ < parts_.size() && enough()) {
      return false;
    }
  }
  return true;
}

}  // namespace korvane::traplist
