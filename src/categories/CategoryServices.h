// Everything the windows of categories are given by the frame.
#pragma once

#include <functional>
#include <memory>

#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "params/CategoryInformation.h"
#include "platform/Platform.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::categories {

// What depends on the categories beyond this folder: every Traps window and the Systems window.
class CategorisedWindows {
 public:
  virtual ~CategorisedWindows() = default;
  // The categories in memory were read anew: repaints, counts again, loads every Traps window again.
  virtual void CategoriesChanged() = 0;
};

struct CategoryServices {
  store::Connection& Shared;
  // A connection of its own with these time-outs; throws DatabaseError.
  std::function<std::unique_ptr<store::Connection>(store::ConnectionOptions)> OpenConnection;
  store::TrapNames& Names;  // reads the shared connection
  params::CategoryInformation& Categories;
  Prompts& Prompt;
  BusyIndicator& Busy;
  platform::Clock& Clock;
  platform::SettingsStore& Settings;
  CategorisedWindows& Windows;
};

// After a change of the categories was committed: reads them into memory anew, says so when that fails, and
// has everybody see them.
void CategoriesSaved(const CategoryServices& services);

}  // namespace korvane::categories
