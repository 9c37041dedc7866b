// The variable bindings of a trap, read again from the text in which they are stored: "name = value" one
// after the other with "; " between.  That text does not say where a value ends, so a value that itself holds
// "; name = " reads as two bindings; whoever shows them keeps the whole text at hand.  Any thread.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace korvane::traplist {

// Parts of the text, as they were received.
struct VariableBinding {
  std::string_view Name;
  std::string_view Value;

  bool operator==(const VariableBinding&) const = default;
};

// Many times what fits into a trap.
inline constexpr std::size_t kMostBindings = 20'000;

// In their order.  None when the text does not begin as one, and of a text with more of them than the most.
std::vector<VariableBinding> VariableBindingsOf(std::string_view text);

}  // namespace korvane::traplist
