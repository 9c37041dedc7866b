// Texts that are numbers.
#pragma once

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

namespace korvane {

// The number that the whole text is, in decimal; nothing for an empty text, for one with anything else in it,
// blanks too, and for a number that the type does not hold.
template <typename Number>
std::optional<Number> NumberIn(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// The number that an operator typed, with or without blanks around it.  Throws std::invalid_argument with a
// sentence for the operator when it is none, below the least, or more than 32 bits hold.
std::int32_t TypedNumber(std::string_view text,
                         std::int32_t least = std::numeric_limits<std::int32_t>::min());

}  // namespace korvane
