// The filters in their two tables, on every engine.
#include "params/FilterStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "store/DatabaseError.h"
#include "support/Engines.h"

namespace korvane::params {
namespace {

class FilterStoreTest : public testing::TestWithParam<store::Engine> {
 protected:
  FilterStoreTest() { Made->Connect(Connection); }
  int Details() { return Made->Number("SELECT COUNT(*) FROM Trap_Detail"); }
  int Filters() { return Made->Number("SELECT COUNT(*) FROM Trap_Filter_Group"); }

  std::unique_ptr<test::TestStore> Made = test::MakeStore(GetParam());
  store::Connection Connection;
  FilterStore Store{Connection};
};

TEST_P(FilterStoreTest, WhatIsSavedIsReadAgainAndStoredOnce) {
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
  EXPECT_EQ(Details(), 5);
  EXPECT_EQ(Made->Text("SELECT Description FROM Trap_Filter_Group", "Description"), "it's new");
}

TEST_P(FilterStoreTest, ConditionsAreSharedAndStayWhenAFilterGoes) {
  Made->Execute("INSERT INTO Trap_Detail (Source_Agent, Community) VALUES ('a', 'other')");
  Made->Execute("INSERT INTO Trap_Detail (Source_Agent) VALUES ('a')");
  Made->Execute("INSERT INTO Trap_Filter_Group (Trap_ID) SELECT MAX(Trap_Table_ID) FROM Trap_Detail");
  Made->Execute("INSERT INTO Trap_Filter_Group (Trap_ID) VALUES (999)");  // its condition is gone
  ASSERT_EQ(Store.ReadFilters().size(), 1U);
  const std::int32_t id = Store.ReadFilters().front().TrapTableId;
  EXPECT_EQ(Store.SaveFilter({.SourceAgent = "a"}, ""), id) << "the one of the two that is a filter";
  EXPECT_EQ(Details(), 2);
  EXPECT_EQ(Filters(), 2);

  Store.RemoveFilter(id);
  EXPECT_EQ(Details(), 2);
  EXPECT_EQ(Filters(), 1);
  Store.SaveFilter({.SourceAgent = "a"}, "");
  EXPECT_EQ(Details(), 2) << "a stored condition serves again";
}

TEST_P(FilterStoreTest, TextsThatWouldBreakAStatementAreRefusedUnsent) {
  const std::string nul("a\0b", 3);
  for (const FilterValues& filter :
       {FilterValues{.SourceAgent = "o'brien"}, FilterValues{.EnterpriseOid = "1' OR '1' = '1"},
        FilterValues{.VarBinds = "x'); DELETE FROM Trap_Detail; --"}, FilterValues{.VarBinds = nul}}) {
    EXPECT_THROW(Store.SaveFilter(filter, ""), store::DatabaseError);
  }
  EXPECT_EQ(Details() + Filters(), 0);
}

INSTANTIATE_TEST_SUITE_P(, FilterStoreTest, testing::ValuesIn(test::kEngines),
                         [](const auto& engine) { return test::EngineName(engine.param); });

}  // namespace
}  // namespace korvane::params
