#include "traplist/VariableBindings.h"

#include <algorithm>
#include <optional>

namespace korvane::traplist {
namespace {

constexpr std::string_view kBetweenBindings = "; ";
constexpr std::string_view kBeforeValue = " = ";
// An OID has at most 128 numbers (RFC 3416, 2.2) of at most ten digits.
constexpr std::size_t kLongestObjectName = 128 * 11;

bool IsOfObjectName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
         c == '_' || c == ':';
}

// The name at the beginning of the text when a value follows it; "ifIndex.2", "1.3.6.1.4.1.9.1".
std::optional<std::string_view> ObjectNameAt(std::string_view text) {
  const std::string_view head = text.substr(0, kLongestObjectName + 1);
  const auto length = static_cast<std::size_t>(std::ranges::find_if_not(head, IsOfObjectName) - head.begin());
  if (length == 0 || length > kLongestObjectName || !text.substr(length).starts_with(kBeforeValue)) {
    return std::nullopt;
  }
  return text.substr(0, length);
}

// Where the next binding's separator stands; the size of the text when there is none.
std::size_t EndOfValue(std::string_view text) {
  std::size_t end = text.find(kBetweenBindings);
  while (end != std::string_view::npos && !ObjectNameAt(text.substr(end + kBetweenBindings.size()))) {
    end = text.find(kBetweenBindings, end + 1);
  }
  return std::min(end, text.size());
}

}  // namespace

std::vector<VariableBinding> VariableBindingsOf(std::string_view text) {
  std::vector<VariableBinding> bindings;
  for (std::optional<std::string_view> name = ObjectNameAt(text); name; name = ObjectNameAt(text)) {
    if (bindings.size() == kMostBindings) {
      return {};
    }
    text.remove_prefix(name->size() + kBeforeValue.size());
    const std::size_t end = EndOfValue(text);
    bindings.push_back({.Name = *name, .Value = text.substr(0, end)});
    text.remove_prefix(std::min(end + kBetweenBindings.size(), text.size()));
  }
  return bindings;
}

}  // namespace korvane::traplist
