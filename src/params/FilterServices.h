// What the windows of the trap filters are given by the frame.
#pragma once

#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "params/TrapFilters.h"
#include "platform/Platform.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::params {

// What depends on the filters beyond this floor: the Systems window and every Traps window.
class FilteredWindows {
 public:
  virtual ~FilteredWindows() = default;
  virtual void FiltersChanged() = 0;
};

struct FilterServices {
  store::Connection& Connection;
  store::TrapNames& Names;
  TrapFilters& Filters;
  Prompts& Prompt;
  BusyIndicator& Busy;
  platform::SettingsStore& Settings;
  FilteredWindows& Windows;
};

}  // namespace korvane::params
