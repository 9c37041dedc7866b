// Categories and filters as they are read from a real store.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

#include "params/CategoryInformation.h"
#include "params/ParametersLists.h"
#include "params/TrapFilters.h"
#include "support/TestStore.h"

namespace korvane::params {
namespace {

using testing::ElementsAre;

class StoredRulesTest : public testing::Test {
 protected:
  StoredRulesTest() { store_.Connect(connection_); }

  // Each row of values, as SQL writes them.
  void Insert(std::string_view tableAndColumns, std::initializer_list<const char*> rows) {
    for (const char* row : rows) {
      store_.Execute(fmt::format("INSERT INTO {} VALUES ({})", tableAndColumns, row));
    }
  }
  // The severities of a category's rows.
  std::string RowsOf(std::string_view category) {
    std::string severities;
    if (const Category* found = categories_.Find(category)) {
      for (const CategoryCriterion& row : found->Criteria) {
        severities += std::to_string(row.Severity);
      }
    }
    return severities;
  }

  test::SqliteStore store_;
  store::Connection connection_;
  CategoryInformation categories_;
  TrapFilters filters_;
};

TEST_F(StoredRulesTest, CategoriesAreJoinedInStoredOrderByWhateverIdsJoinThem) {
  Insert("Trap_Group_Detail (Trap_Table_ID, SpecificTrap, Severity)",
         {"1, '', 1", "2, ' 12 ', 2", "3, '-3', 3", "4, '7', 4", "5, '0', 5", "6, 'seven', 6", "7, '7x', 7",
          "8, '99999999999', 8"});
  // Zulu has two IDs, the later one first; Siblings other kinds only; Alpha shares a definition with Zulu.
  Insert("Category_Group_Master (Category_Name)", {"'Zulu'", "'Siblings'", "'Alpha'", "'Empty'"});
  Insert("Category_Group_Detail", {"7, 4, 'Zulu_Trap'", "9, 1, 'Siblings_Event'", "3, 4, 'Alpha_Trap'",
                                   "3, 2, 'Zulu_Trap'",  // a kind that is not traps leads nowhere
                                   "5, 4, 'Extra'", "8, 4, 'Empty_Trap'"});
  Insert("Category_Group", {"'Zulu', 5", "'Zulu', 7", "'Siblings', 9", "'Alpha', 3", "'Empty', 8"});
  Insert("Trap_Group", {"'Zulu_Trap', 4", "'Alpha_Trap', 5", "'Zulu_Trap', 2", "'Extra', 1",
                        "'Alpha_Trap', 99",  // its definition is gone
                        "'Alpha_Trap', 4", "'Alpha_Trap', 3", "'Alpha_Trap', 6", "'Alpha_Trap', 7",
                        "'Alpha_Trap', 8"});  // no number: describes no trap
  ASSERT_TRUE(categories_.ReloadCategoryInformation(connection_));
  EXPECT_EQ(RowsOf("Zulu"), "142");
  EXPECT_EQ(RowsOf("alpha"), "543");
  EXPECT_EQ(RowsOf("Empty"), "");
  EXPECT_EQ(categories_.Categories().size(), 3U);
  EXPECT_THAT(TrapCategoryNames(connection_), ElementsAre("Zulu", "Alpha", "Empty"));
  std::string codes;
  for (const char* category : {"Zulu", "Alpha"}) {
    for (const CategoryCriterion& row : categories_.Find(category)->Criteria) {
      codes += std::to_string(row.SpecificTrap) + " ";
    }
  }
  EXPECT_EQ(codes, "0 7 12 0 7 -3 ");
}

TEST_F(StoredRulesTest, AllFieldsAreReadAndWhatIsNotThereIsNoCondition) {
  const test::StoredCriterion full = {.Source_Agent = "it's <b>",
                                      .EnterpriseOid = "1.3.6.1.4.1.9",
                                      .GenericTrap = 6,
                                      .SpecificTrap = 2'000'000'000,
                                      .EventDescription = "Fan \xc3\x84",
                                      .Severity = 5};
  store_.AddCategory("Fans", std::array{full, full});
  store_.AddFilter(full);
  store_.AddFilter(full);
  // Our own tables refuse NULL; those of a store that was made by other means need not.
  for (const std::string table : {"Trap_Group_Detail", "Trap_Detail"}) {
    store_.Execute("ALTER TABLE " + table + " RENAME TO Strict");
    store_.Execute("CREATE TABLE " + table + " AS SELECT * FROM Strict");
    store_.Execute("DROP TABLE Strict");
    store_.Execute("UPDATE " + table +
                   " SET Source_Agent = NULL, EnterpriseOid = NULL, GenericTrap = NULL, SpecificTrap = NULL, "
                   "EventDescription = NULL, Severity = NULL WHERE Trap_Table_ID = 2");
  }
  ASSERT_TRUE(categories_.ReloadCategoryInformation(connection_));
  ASSERT_TRUE(filters_.LoadFilters(connection_));
  EXPECT_EQ(RowsOf("FANS"), "50");
  ASSERT_EQ(filters_.Filters().size(), 2U);
  for (const bool set : {true, false}) {
    const auto check = [set](const auto& rule) {
      EXPECT_EQ(rule.SourceAgent, set ? "it's <b>" : "");
      EXPECT_EQ(rule.EnterpriseOid, set ? "1.3.6.1.4.1.9" : "");
      EXPECT_EQ(rule.GenericTrap, set ? 6 : -1);
      EXPECT_EQ(rule.SpecificTrap, set ? 2'000'000'000 : 0);
      EXPECT_EQ(rule.VarBinds.Empty(), !set);
      EXPECT_TRUE(rule.VarBinds.FoundIn("the fan \xc3\xa4"));
    };
    check(categories_.Find("Fans")->Criteria.at(set ? 0 : 1));
    check(filters_.Filters()[set ? 0 : 1]);
  }
}

TEST_F(StoredRulesTest, FiltersAreReadInTheOrderOfTheirGroupRows) {
  Insert("Trap_Detail (Trap_Table_ID, Source_Agent)", {"1, 'last'", "2, 'first'", "50, 'an alert'"});
  Insert("Trap_Filter_Group (Trap_ID)", {"2", "100", "1"});  // one of them has no detail row
  ASSERT_TRUE(filters_.LoadFilters(connection_));
  ASSERT_EQ(filters_.Filters().size(), 2U);
  EXPECT_EQ(filters_.Filters()[0].SourceAgent, "first");
  EXPECT_EQ(filters_.Filters()[1].SourceAgent, "last");
}

TEST_F(StoredRulesTest, AReadThatFailsLeavesWhatWasInForce) {
  store_.AddCategory("Fans", std::array{test::StoredCriterion{}});
  store_.AddFilter({.Source_Agent = "first"});
  ASSERT_TRUE(categories_.ReloadCategoryInformation(connection_));
  ASSERT_TRUE(filters_.LoadFilters(connection_));
  const std::uint64_t revision = categories_.Revision();
  for (const std::string table : {"Category_Group_Master", "Category_Group_Detail", "Category_Group",
                                  "Trap_Group", "Trap_Group_Detail", "Trap_Filter_Group", "Trap_Detail"}) {
    SCOPED_TRACE(table);
    store_.Execute("ALTER TABLE " + table + " RENAME TO Elsewhere");
    const bool ofFilters = table == "Trap_Filter_Group" || table == "Trap_Detail";
    EXPECT_FALSE(ofFilters ? filters_.LoadFilters(connection_)
                           : categories_.ReloadCategoryInformation(connection_));
    EXPECT_EQ(RowsOf("fans"), "0");
    EXPECT_EQ(categories_.Revision(), revision);
    ASSERT_EQ(filters_.Filters().size(), 1U);
    EXPECT_EQ(filters_.Filters()[0].SourceAgent, "first");
    store_.Execute("ALTER TABLE Elsewhere RENAME TO " + table);
  }
}

TEST_F(StoredRulesTest, TheDialogsListsOfferWhatTrapsAreNamed) {
  store_.AddCategory("Fans", std::array{test::StoredCriterion{}});
  store_.AddDefinition("1.3.6.1.4.1.5", 2, "fanBack", "Acme");
  store_.AddDefinition("1.3.6.1.4.1.5", 1, "fanFailed", "Acme");
  store_.AddDefinition("1.3.6.1.4.1.6", 1, "zap", "Zeta");
  store::TrapNames names(connection_);
  StoredParametersLists lists(connection_, names);
  EXPECT_THAT(lists.CategoryNames(), ElementsAre("Fans"));
  EXPECT_THAT(lists.EnterpriseNames(), ElementsAre("Acme", "Zeta"));
  store::IncomingTrap trap;
  trap.EnterpriseOid = "1.3.6.1.4.1.5";
  trap.GenericTrap = 6;
  trap.SpecificTrap = 1;
  names.GetTrapName(trap);
  EXPECT_THAT(lists.TrapNamesOf("Acme"),
              testing::UnorderedElementsAre("fanBack", std::string(trap.TrapName())));
}

}  // namespace
}  // namespace korvane::params
