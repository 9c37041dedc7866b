// What the category wizard is asked to do, and how it went.  Plain values.
#pragma once

#include <cstdint>
#include <string>

namespace korvane::categories {

enum class WizardMode : int { AddCategory = 5, EditCategory = 8, AddTrapDetails = 9, EditTrapDetail = 10 };

struct WizardTask {
  WizardMode Mode = WizardMode::AddCategory;
  std::string CategoryName = {};  // in: of the modes but 5; out: of mode 5
  std::int32_t TrapTableId = 0;   // of mode 10
  bool Cancelled = true;          // out: cleared by Finish
};

}  // namespace korvane::categories
