#include "common/NumberList.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <system_error>

namespace korvane {

std::string NumberListText(std::span<const int> numbers) {
  return fmt::format("{}", fmt::join(numbers, ","));
}

std::optional<std::vector<int>> ParseNumberList(std::string_view text) {
  std::vector<int> numbers;
  const char* at = text.data();
  const char* const end = text.data() + text.size();
  while (at != end || !numbers.empty()) {
    const auto [stop, error] = std::from_chars(at, end, numbers.emplace_back());
    if (error != std::errc() || (stop != end && *stop != ',')) {
      return std::nullopt;
    }
    if (stop == end) {
      break;
    }
    at = stop + 1;
  }
  return numbers;
}

}  // namespace korvane
