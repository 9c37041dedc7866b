// Whole numbers as one text, "150,120,-4", in which places and widths are kept among the per-user settings.
// A setting may have been edited by hand, so anything else is no list at all.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace korvane {

std::string NumberListText(std::span<const int> numbers);

// Empty text is the empty list.
std::optional<std::vector<int>> ParseNumberList(std::string_view text);

}  // namespace korvane
