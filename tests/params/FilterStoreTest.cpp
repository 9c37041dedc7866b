// The filters in their two tables, on every engine.
#include "params/FilterStore.h"

#include <gtest/gtest.h>

#include "store/DatabaseError.h"
#include "store/EngineTest.h"

namespace korvane::params {
namespace {

using store::EngineOf;

struct FilterStoreTest : store::EngineTest {
  std::string Counts() {
    return std::to_string(Made->Number("SELECT COUNT(*) FROM Trap_Filter_Group")) + " of " +
           std::to_string(Made->Number("SELECT COUNT(*) FROM Trap_Detail"));
  }
  FilterStore Store{Db};
};
KORVANE_ON_EVERY_ENGINE(FilterStoreTest);

TEST_P(FilterStoreTest, WhatIsSavedIsReadAgainStoredOnceAndRemovedAlone) {
  const std::vector<FilterValues> filters = {
      {.SourceAgent = "router1"},
      {.SourceAgent = "router1 "},  // a blank counts, and so does letter case
      {.SourceAgent = "Router1"},
      {.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.50", .SpecificTrap = 2'000'000'000},
      {.GenericTrap = 2, .VarBinds = R"(50 % of \"x\" {?} ; -- ä 🖧)"},
  };
  std::vector<std::int32_t> ids;
  for (const FilterValues& filter : filters) {
    ids.push_back(Store.SaveFilter(filter, "it's new"));
    EXPECT_EQ(Store.SaveFilter(filter, "again"), ids.back());
  }
  const std::vector<StoredFilter> read = Store.ReadFilters();
  ASSERT_EQ(read.size(), filters.size());
  for (std::size_t i = 0; i < filters.size(); ++i) {
    EXPECT_EQ(read[i].Values, filters[i]) << i;
    EXPECT_EQ(read[i].TrapTableId, ids[i]) << i;
  }
  EXPECT_EQ(Made->Text("SELECT Description FROM Trap_Filter_Group", "Description"), "it's new");
  EXPECT_EQ(Counts(), "5 of 5");
  Store.RemoveFilter(ids[2]);
  EXPECT_EQ(Counts(), "4 of 5") << "the condition stays to alerts";
  EXPECT_EQ(Store.SaveFilter(filters[2], ""), ids[2]) << "a stored condition serves again";
  const std::string nul("a\0b", 3);
  for (const FilterValues& filter : {FilterValues{.SourceAgent = "o'brien"}, FilterValues{.VarBinds = nul}}) {
    EXPECT_THROW(Store.SaveFilter(filter, ""), store::DatabaseError);
  }
  // Of two equal conditions the one that is a filter is taken; a filter whose condition is gone is none.
  Made->Execute("INSERT INTO Trap_Detail (Source_Agent, Community) VALUES ('a', 'other')");
  Made->Execute("INSERT INTO Trap_Detail (Source_Agent) VALUES ('a')");
  Made->Execute("INSERT INTO Trap_Filter_Group (Trap_ID) SELECT MAX(Trap_Table_ID) FROM Trap_Detail");
  Made->Execute("INSERT INTO Trap_Filter_Group (Trap_ID) VALUES (999)");
  EXPECT_EQ(Store.ReadFilters().size(), 6U);
  EXPECT_EQ(Store.SaveFilter({.SourceAgent = "a"}, ""),
            Made->Number("SELECT MAX(Trap_Table_ID) FROM Trap_Detail"));
  EXPECT_EQ(Counts(), "7 of 7");
}

}  // namespace
}  // namespace korvane::params
