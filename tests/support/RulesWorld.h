// Everything that the dialogs of filters, categories and alerts are given, over a real embedded store.
#pragma once

#include <fmt/format.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "alerts/AlertServices.h"
#include "categories/CategoryServices.h"
#include "categories/CategoryWriter.h"
#include "params/FilterServices.h"
#include "support/World.h"

namespace korvane::test {

struct RulesWorld : World, params::FilteredWindows, categories::CategorisedWindows {
  using World::World;

  void FiltersChanged() override { ++Changes; }
  void CategoriesChanged() override { ++Changes; }

  int Rows(std::string_view tableAndCondition) {
    return Store.Number(fmt::format("SELECT COUNT(*) FROM {}", tableAndCondition));
  }
  void AddCategory(const std::string& name, const std::string& description = "",
                   const std::vector<categories::TrapDetail>& traps = {}) {
    categories::CategoryTransaction transaction(Connection);
    categories::CategoryWriter(transaction).AddCategory(name, description, 0, traps);
    transaction.Commit();
  }

  int Changes = 0;  // how often the windows were told of new filters or categories
  params::FilterServices ForFilters{Connection, Names, Filters, Prompt, Busy, Platform.Settings, *this};
  categories::CategoryServices ForCategories{
      Connection,     [this](store::ConnectionOptions options) { return OpenConnection(options); },
      Names,          Categories,
      Prompt,         Busy,
      Platform.Clock, Platform.Settings,
      *this};
  bool SignalFailureTold = false;
  alerts::AlertServices ForAlerts{Connection,        Names,   Prompt, Platform.Registry,
                                  Platform.Settings, Library, 0,      SignalFailureTold};
};

}  // namespace korvane::test
