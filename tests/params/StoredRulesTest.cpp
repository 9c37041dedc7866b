// Categories and filters as they are read from a real store.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <array>
#include <string>
#include <string_view>

#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "support/TestStore.h"

namespace korvane::params {
namespace {

using testing::ElementsAre;

struct StoredRulesTest : testing::Test {
  StoredRulesTest() { store_.Connect(connection_); }

  // Each row of values, as SQL writes them.
  void Insert(std::string_view tableAndColumns, std::initializer_list<const char*> rows) {
    for (const char* row : rows) {
      store_.Execute(fmt::format("INSERT INTO {} VALUES ({})", tableAndColumns, row));
    }
  }
  // Severity and specific code of a category's rows.
  std::string RowsOf(std::string_view category) {
    std::string rows;
    if (const Category* found = categories_.Find(category)) {
      for (const CategoryCriterion& row : found->Criteria) {
        rows += fmt::format("{}/{} ", row.Severity, row.SpecificTrap);
      }
    }
    return rows;
  }

  test::SqliteStore store_;
  store::Connection connection_;
  CategoryInformation categories_;
  TrapFilters filters_;
};

TEST_F(StoredRulesTest, CategoriesAndFiltersAreJoinedInStoredOrder) {
  Insert("Trap_Group_Detail (Trap_Table_ID, SpecificTrap, Severity)",
         {"1, '', 1", "2, ' 12 ', 2", "3, '-3', 3", "4, '7', 4", "5, '0', 5", "6, '7x', 6",
          "7, '99999999999', 7"});
  // Zulu has two IDs, the later one first; Siblings other kinds only; Alpha shares a definition with Zulu.
  Insert("Category_Group_Master (Category_Name, Sort_Order)",
         {"'Late', 9", "'Alpha', 3", "'Zulu', 1", "'Siblings', 2"});
  Insert("Category_Group_Master (Category_Name)", {"'Empty'"});  // by a writer that knows of no order
  Insert("Category_Group_Detail", {"7, 4, 'Zulu_Trap'", "9, 1, 'Siblings_Event'", "3, 4, 'Alpha_Trap'",
                                   "3, 2, 'Zulu_Trap'",  // a kind that is not traps leads nowhere
                                   "5, 4, 'Extra'", "8, 4, 'Empty_Trap'"});
  Insert("Category_Group", {"'Zulu', 5", "'Zulu', 7", "'Siblings', 9", "'Alpha', 3", "'Empty', 8"});
  Insert("Trap_Group",
         {"'Zulu_Trap', 2, 2", "'Alpha_Trap', 5, 1", "'Zulu_Trap', 4, 1", "'Extra', 1, 1",
          "'Alpha_Trap', 99, 2",                                               // its definition is gone
          "'Alpha_Trap', 6, 6", "'Alpha_Trap', 4, 2", "'Alpha_Trap', 7, 6"});  // no number: describes no trap
  Insert("Trap_Group (Trap_Group_Name, Trap_ID)", {"'Alpha_Trap', 3"});
  categories_.ReloadCategoryInformation(connection_);
  EXPECT_EQ(RowsOf("Zulu"), "1/0 4/7 2/12 ");
  EXPECT_EQ(RowsOf("alpha"), "5/0 4/7 3/-3 ");
  EXPECT_EQ(categories_.Categories().size(), 3U);
  EXPECT_THAT(TrapCategoryNames(connection_), ElementsAre("Zulu", "Alpha", "Empty"));

  Insert("Trap_Detail (Trap_Table_ID, Source_Agent)", {"1, 'last'", "2, 'first'", "50, 'an alert'"});
  Insert("Trap_Filter_Group (Trap_ID, Sort_Order)", {"1, 5", "2, 4", "100, 1"});  // one has no detail row
  filters_.LoadFilters(connection_);
  ASSERT_EQ(filters_.Filters().size(), 2U);
  EXPECT_EQ(filters_.Filters()[0].SourceAgent + filters_.Filters()[1].SourceAgent, "firstlast");
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
  categories_.ReloadCategoryInformation(connection_);
  filters_.LoadFilters(connection_);
  const auto shown = [](const auto& rule) {
    return fmt::format("{}|{}|{}|{}|{}{}", rule.SourceAgent, rule.EnterpriseOid, rule.GenericTrap,
                       rule.SpecificTrap, rule.VarBinds.FoundIn("the fan \xc3\xa4"),
                       rule.VarBinds.FoundIn(""));
  };
  ASSERT_EQ(RowsOf("FANS"), "5/2000000000 0/0 ");
  ASSERT_EQ(filters_.Filters().size(), 2U);
  for (const std::size_t row : {0U, 1U}) {
    const std::string expected =
        row == 0 ? "it's <b>|1.3.6.1.4.1.9|6|2000000000|truefalse" : "||-1|0|truetrue";
    EXPECT_EQ(shown(categories_.Find("Fans")->Criteria[row]), expected);
    EXPECT_EQ(shown(filters_.Filters()[row]), expected);
  }
}

}  // namespace
}  // namespace korvane::params
