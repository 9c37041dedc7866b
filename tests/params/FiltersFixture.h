// A store with definitions and filters, and everything that the dialogs of the filters are given.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "params/FilterServices.h"
#include "params/FilterStore.h"
#include "support/FakePlatform.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"

namespace korvane::test {

class RecordingWindows : public params::FilteredWindows {
 public:
  void FiltersChanged() override {
    ++Changes;
    if (OnChange) {
      OnChange();
    }
  }
  int Changes = 0;
  std::function<void()> OnChange;
};

struct FiltersFixture : testing::Test {
  FiltersFixture() {
    Store.Connect(Connection);
    Store.AddDefinition("1.3.6.1.4.1.50", 1, "fanFailed", "Acme");
    Store.AddDefinition("1.3.6.1.4.1.50", 2, "fanBack", "Acme");
    Store.AddDefinition("1.3.6.1.4.1.60", 9, "zap", "Zeta");
  }

  int Count(const std::string& tableAndCondition) {
    return Store.Number("SELECT COUNT(*) FROM " + tableAndCondition);
  }
  int Filters() { return Count("Trap_Filter_Group"); }
  // The number of filters from this source.
  int FiltersFrom(const std::string& source) {
    return Count(fmt::format(
        "Trap_Filter_Group, Trap_Detail WHERE Trap_ID = Trap_Table_ID AND Source_Agent = '{}'", source));
  }

  SqliteStore Store;
  store::Connection Connection;
  store::TrapNames Names{Connection};
  params::TrapFilters InMemory;
  ScriptedPrompts Prompt;
  RecordingBusy Busy;
  FakeSettings Settings;
  RecordingWindows Windows;
  params::FilterServices Services{.Connection = Connection,
                                  .Names = Names,
                                  .Filters = InMemory,
                                  .Prompt = Prompt,
                                  .Busy = Busy,
                                  .Settings = Settings,
                                  .Windows = Windows};
};

}  // namespace korvane::test
