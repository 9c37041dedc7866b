#include "store/TrapSelection.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <numeric>
#include <utility>

namespace korvane::store {
namespace {

std::optional<std::int32_t> NumberAt(std::string_view text) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace

bool TrapSelection::HasNumber(std::int32_t sequenceNumber) const {
  const auto after =
      std::upper_bound(Numbers.begin(), Numbers.end(), sequenceNumber,
                       [](std::int32_t number, const NumberRange& range) { return number < range.First; });
  return after != Numbers.begin() && sequenceNumber <= std::prev(after)->Last;
}

TrapSelection SelectionOf(std::vector<std::int32_t> sequenceNumbers) {
  std::sort(sequenceNumbers.begin(), sequenceNumbers.end());
  TrapSelection selection;
  for (const std::int32_t number : sequenceNumbers) {
    std::vector<NumberRange>& ranges = selection.Numbers;
    if (!ranges.empty() && number <= ranges.back().Last) continue;
    if (!ranges.empty() && number - 1 == ranges.back().Last) {
      ranges.back().Last = number;
    } else {
      ranges.push_back({number, number});
    }
  }
  return selection;
}

TrapSelection SelectionOf(std::span<const TrapKey> traps) {
  std::vector<std::int32_t> numbers(traps.size());
  std::ranges::transform(traps, numbers.begin(), &TrapKey::Number);
  return SelectionOf(std::move(numbers));
}

std::vector<NumberRange> Without(std::span<const NumberRange> numbers, std::span<const NumberRange> others) {
  std::vector<NumberRange> left;
  auto other = others.begin();
  for (const NumberRange& range : numbers) {
    std::int64_t first = range.First;
    while (other != others.end() && other->Last < range.First) ++other;
    for (auto cut = other; cut != others.end() && cut->First <= range.Last; ++cut) {
      if (cut->First > first) left.push_back({static_cast<std::int32_t>(first), cut->First - 1});
      first = std::int64_t{cut->Last} + 1;
    }
    if (first <= range.Last) left.push_back({static_cast<std::int32_t>(first), range.Last});
  }
  return left;
}

std::int64_t CountOf(std::span<const NumberRange> numbers) {
  return std::accumulate(numbers.begin(), numbers.end(), std::int64_t{0},
                         [](std::int64_t sum, const NumberRange& range) {
                           return sum + std::int64_t{range.Last} - range.First + 1;
                         });
}

std::string NumbersText(std::span<const NumberRange> numbers) {
  std::string text;
  for (const NumberRange& range : numbers) {
    if (!text.empty()) text += ',';
    fmt::format_to(std::back_inserter(text), "{}", range.First);
    if (range.Last != range.First) fmt::format_to(std::back_inserter(text), "-{}", range.Last);
  }
  return text;
}

std::vector<NumberRange> NumbersOf(std::string_view text) {
  std::vector<NumberRange> numbers;
  while (!text.empty()) {
    const std::string_view item = text.substr(0, text.find(','));
    text.remove_prefix(std::min(item.size() + 1, text.size()));
    const std::size_t dash = item.find('-', 1);  // one at the beginning is a sign
    const auto first = NumberAt(item.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : NumberAt(item.substr(dash + 1));
    if (first && last && *first <= *last) numbers.push_back({*first, *last});
  }
  return numbers;
}

}  // namespace korvane::store
