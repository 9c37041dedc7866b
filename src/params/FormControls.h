// What the dialogs' forms say of their controls: text, items, position, and whether the operator may use
// them.  A form holds these and its rules without a window; the window shows them (ShownControls.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/Codes.h"

namespace korvane::params {

// What a list shows for "no condition", always first.  It never reaches a record.
inline constexpr std::string_view kAll = "-All-";

struct TextControl {
  std::string Text;
  bool Enabled = true;
};

struct OptionControl {
  bool Checked = false;
  bool Enabled = true;
};

// A list from which one item is chosen.  Items is never empty once the form was made.
struct ListControl {
  std::vector<std::string> Items;
  std::size_t Position = 0;
  bool Enabled = true;

  const std::string& Text() const { return Items[Position]; }
};

// In a list of codes "-All-" stands before them, so a code's position is the code plus one.
inline constexpr std::size_t kEnterpriseSpecificPosition =
    1 + static_cast<std::size_t>(store::kEnterpriseSpecific);

std::vector<std::string> AllAnd(std::span<const std::string_view> names);
void Append(std::vector<std::string>& items, std::vector<std::string> more);

// The condition that a text stands for, "-All-" being none, and the other way round.
std::string ConditionOf(std::string_view text);
std::string TextOf(const std::string& condition);

// -1 stands for "-All-"; a code that the list lacks has the position of "-All-".
std::size_t PositionOf(std::int32_t code, const ListControl& list);
std::int32_t CodeOf(const ListControl& list);

// A position that the list lacks chooses "-All-".
void Choose(ListControl& list, std::size_t position);

}  // namespace korvane::params
