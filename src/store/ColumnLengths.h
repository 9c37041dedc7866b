// How long the texts may be that operators write into the store: the lengths of the columns, the same on
// every engine.  install/schema says them to the databases, this says them to the windows.
#pragma once

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "store/Tables.h"

namespace korvane::store {

struct ColumnLength {
  std::string_view Table;
  std::string_view Column;
  int Characters;
};

inline constexpr ColumnLength kColumnLengths[] = {
    {kCategoryGroupMaster, "Category_Name", 255},
    {kTrapGroupDetail, "Source_Agent", 255},
    {kTrapDetail, "Source_Agent", 255},
    {kTrapActionGroup, "Description", 255},
    {kBeepDetail, "Description", 255},
    {kEmailDetail, "Smtp_Server", 255},
    {kEmailDetail, "Email_To", 255},
    {kEmailDetail, "Email_From", 255},
    {kMessageDetail, "Destination", 255},
};

// In characters.  Columns that hold texts of any length are not in the table: asking for one does not
// compile.
consteval int LengthOf(std::string_view table, std::string_view column) {
  const auto* const found = std::ranges::find_if(
      kColumnLengths, [&](const ColumnLength& each) { return each.Table == table && each.Column == column; });
  return found != std::end(kColumnLengths) ? found->Characters
                                           : throw std::invalid_argument("no such length");
}

}  // namespace korvane::store
