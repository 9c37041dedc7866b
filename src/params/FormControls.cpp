#include "params/FormControls.h"

#include <iterator>

namespace korvane::params {

std::vector<std::string> AllAnd(std::span<const std::string_view> names) {
  std::vector<std::string> items{std::string(kAll)};
  items.insert(items.end(), names.begin(), names.end());
  return items;
}

void Append(std::vector<std::string>& items, std::vector<std::string> more) {
  items.insert(items.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

std::string ConditionOf(std::string_view text) {
  return text == kAll ? std::string() : std::string(text);
}

std::string TextOf(const std::string& condition) {
  return condition.empty() ? std::string(kAll) : condition;
}

std::size_t PositionOf(std::int32_t code, const ListControl& list) {
  const std::size_t position = static_cast<std::size_t>(static_cast<std::int64_t>(code) + 1);
  return position < list.Items.size() ? position : 0;
}

std::int32_t CodeOf(const ListControl& list) {
  return static_cast<std::int32_t>(list.Position) - 1;
}

void Choose(ListControl& list, std::size_t position) {
  list.Position = position < list.Items.size() ? position : 0;
}

}  // namespace korvane::params
