// Which traps a change is about: by number, by source text, by time, or by all of these together.  The one
// form in which an acknowledgement made here and one made elsewhere reach lists and counts.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::store {

// SequenceNumbers, both ends inclusive.
struct NumberRange {
  std::int32_t First = 0;
  std::int32_t Last = 0;

  friend bool operator==(const NumberRange&, const NumberRange&) = default;
};

// One stored trap.  A number alone does not tell it for good: a store that was brought back from a copy gives
// numbers again.
struct TrapKey {
  std::int32_t Number = 0;
  std::int32_t Time = 0;  // its EventTime

  friend auto operator<=>(const TrapKey&, const TrapKey&) = default;  // NOLINT(modernize-use-nullptr)
};

// A trap outside of the numbers is never selected.
struct TrapSelection {
  std::vector<NumberRange> Numbers;        // ascending, none touching the next
  std::optional<std::string> Source;       // the exact text; nothing: of any source
  std::optional<std::int32_t> BeforeTime;  // exclusive bound of EventTime; nothing: of any time

  bool HasNumber(std::int32_t sequenceNumber) const;
  bool Contains(std::int32_t sequenceNumber, std::string_view source, std::int32_t eventTime) const {
    return (!BeforeTime || eventTime < *BeforeTime) && (!Source || source == *Source) &&
           HasNumber(sequenceNumber);
  }
};

// In any order, with repetitions.
TrapSelection SelectionOf(std::vector<std::int32_t> sequenceNumbers);
TrapSelection SelectionOf(std::span<const TrapKey> traps);
// What of the one is not in the other; both as a selection holds them.
std::vector<NumberRange> Without(std::span<const NumberRange> numbers, std::span<const NumberRange> others);
std::int64_t CountOf(std::span<const NumberRange> numbers);

// "3-7,12", as the change log holds them.  Reading passes over what is no range.
std::string NumbersText(std::span<const NumberRange> numbers);
std::vector<NumberRange> NumbersOf(std::string_view text);

}  // namespace korvane::store
