// Categories and filters as they are read from a real store.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "params/CategoryInformation.h"
#include "params/ParametersLists.h"
#include "params/TrapFilters.h"
#include "support/TestStore.h"

namespace korvane::params {
namespace {

class StoredRulesTest : public testing::Test {
 protected:
  StoredRulesTest() { store_.Connect(connection_); }

  void Run(const std::vector<std::string>& statements) {
    for (const std::string& statement : statements) store_.Execute(statement);
  }
  void AddMaster(const std::string& name) {
    Run({"INSERT INTO Category_Group_Master (Category_Name) VALUES ('" + name + "')"});
  }
  void AddDetail(int id, int type, const std::string& group) {
    Run({"INSERT INTO Category_Group_Detail VALUES (" + std::to_string(id) + ", " + std::to_string(type) +
         ", '" + group + "')"});
  }
  void AddGroup(const std::string& name, int id) {
    Run({"INSERT INTO Category_Group VALUES ('" + name + "', " + std::to_string(id) + ")"});
  }
  void AddMember(const std::string& group, int definition) {
    Run({"INSERT INTO Trap_Group VALUES ('" + group + "', " + std::to_string(definition) + ")"});
  }
  void AddDefinition(int id, const std::string& specific, int severity = 0) {
    Run({"INSERT INTO Trap_Group_Detail (Trap_Table_ID, SpecificTrap, Severity) VALUES (" +
         std::to_string(id) + ", '" + specific + "', " + std::to_string(severity) + ")"});
  }
  static std::string Severities(const Category& category) {
    std::string text;
    for (const CategoryCriterion& row : category.Criteria) text += std::to_string(row.Severity);
    return text;
  }

  test::SqliteStore store_;
  store::Connection connection_;
  CategoryInformation categories_;
  TrapFilters filters_;
};

TEST_F(StoredRulesTest, CategoriesAreJoinedInStoredOrderByWhateverIdsJoinThem) {
  for (int id = 1; id <= 5; ++id) AddDefinition(id, "0", id);
  AddMaster("Zulu");      // two IDs, the later one first
  AddMaster("Siblings");  // other kinds only: not shown
  AddMaster("Alpha");     // shares a definition with Zulu
  AddMaster("Empty");
  AddDetail(7, 4, "Zulu_Trap");
  AddDetail(9, 1, "Siblings_Event");
  AddDetail(3, 4, "Alpha_Trap");
  AddDetail(3, 2, "Zulu_Trap");  // a kind that is not traps leads nowhere
  AddDetail(5, 4, "Extra");
  AddDetail(8, 4, "Empty_Trap");
  AddGroup("Zulu", 5);
  AddGroup("Zulu", 7);
  AddGroup("Siblings", 9);
  AddGroup("Alpha", 3);
  AddGroup("Empty", 8);
  AddMember("Zulu_Trap", 4);
  AddMember("Alpha_Trap", 5);
  AddMember("Zulu_Trap", 2);
  AddMember("Extra", 1);
  AddMember("Alpha_Trap", 99);  // its definition is gone
  AddMember("Alpha_Trap", 4);

  ASSERT_TRUE(categories_.ReloadCategoryInformation(connection_));
  ASSERT_EQ(categories_.Categories().size(), 3U);
  EXPECT_EQ(categories_.Categories()[0].Name, "Zulu");
  EXPECT_EQ(Severities(categories_.Categories()[0]), "142");
  EXPECT_EQ(categories_.Categories()[1].Name, "Alpha");
  EXPECT_EQ(Severities(categories_.Categories()[1]), "54");
  EXPECT_EQ(categories_.Categories()[2].Name, "Empty");
  EXPECT_TRUE(categories_.Categories()[2].Criteria.empty());
  EXPECT_EQ(TrapCategoryNames(connection_), (std::vector<std::string>{"Zulu", "Alpha", "Empty"}));
}

TEST_F(StoredRulesTest, AllSixFieldsOfADefinitionAreRead) {
  const std::array rows = {test::StoredCriterion{.Source_Agent = "it's <b>",
                                                 .EnterpriseOid = "1.3.6.1.4.1.9",
                                                 .GenericTrap = 6,
                                                 .SpecificTrap = 2'000'000'000,
                                                 .EventDescription = "Fan \xc3\x84",
                                                 .Severity = 5},
                           test::StoredCriterion{}};
  store_.AddCategory("Fans", rows);
  ASSERT_TRUE(categories_.ReloadCategoryInformation(connection_));
  const Category* fans = categories_.Find("FANS");
  ASSERT_NE(fans, nullptr);
  const CategoryCriterion& row = fans->Criteria.at(0);
  EXPECT_EQ(row.SourceAgent, "it's <b>");
  EXPECT_EQ(row.EnterpriseOid, "1.3.6.1.4.1.9");
  EXPECT_EQ(row.GenericTrap, 6);
  EXPECT_EQ(row.SpecificTrap, 2'000'000'000);
  EXPECT_TRUE(row.VarBinds.FoundIn("the fan \xc3\xa4"));
  EXPECT_EQ(row.Severity, 5);
  EXPECT_EQ(fans->Criteria.at(1).GenericTrap, -1);
  EXPECT_TRUE(fans->Criteria.at(1).VarBinds.Empty());
}

TEST_F(StoredRulesTest, ASpecificCodeIsANumberWrittenAsText) {
  const std::vector<std::pair<std::string, int>> stored = {{"7", 7}, {"", 0}, {" 12 ", 12}, {"-3", -3}};
  AddMaster("C");
  AddDetail(1, 4, "C_Trap");
  AddGroup("C", 1);
  int id = 0;
  for (const auto& [text, code] : stored) {
    AddDefinition(++id, text);
    AddMember("C_Trap", id);
  }
  for (const std::string text : {"seven", "7x", "99999999999"}) {  // no number: describes no trap
    AddDefinition(++id, text);
    AddMember("C_Trap", id);
  }
  ASSERT_TRUE(categories_.ReloadCategoryInformation(connection_));
  const std::vector<CategoryCriterion>& rows = categories_.Categories().at(0).Criteria;
  ASSERT_EQ(rows.size(), stored.size());
  for (std::size_t i = 0; i < stored.size(); ++i) {
    EXPECT_EQ(rows[i].SpecificTrap, stored[i].second) << stored[i].first;
  }
}

TEST_F(StoredRulesTest, FiltersAreReadInTheOrderOfTheirGroupRows) {
  store_.AddFilter({.Source_Agent = "first"});
  store_.AddFilter({.GenericTrap = 2});
  store_.AddFilter({.EnterpriseOid = "1.2", .GenericTrap = 6, .SpecificTrap = 4, .EventDescription = "Fan"});
  Run({"UPDATE Trap_Filter_Group SET Trap_ID = 100 WHERE Trap_ID = 2",  // its detail row is not there
       "INSERT INTO Trap_Detail (Trap_Table_ID, Source_Agent) VALUES (50, 'an alert')",
       "DELETE FROM Trap_Filter_Group WHERE Trap_ID = 1",
       "INSERT INTO Trap_Filter_Group (Trap_ID) VALUES (1)"});
  ASSERT_TRUE(filters_.LoadFilters(connection_));
  ASSERT_EQ(filters_.Filters().size(), 2U);
  const TrapFilter& fan = filters_.Filters()[0];
  EXPECT_EQ(fan.TrapTableId, 3);
  EXPECT_EQ(fan.EnterpriseOid, "1.2");
  EXPECT_EQ(fan.GenericTrap, 6);
  EXPECT_EQ(fan.SpecificTrap, 4);
  EXPECT_TRUE(fan.VarBinds.FoundIn("FAN"));
  EXPECT_EQ(filters_.Filters()[1].SourceAgent, "first");
  EXPECT_EQ(filters_.Filters()[1].GenericTrap, -1);
}

TEST_F(StoredRulesTest, AReadThatFailsLeavesWhatWasInForce) {
  store_.AddCategory("Fans", std::array{test::StoredCriterion{}});
  store_.AddFilter({.Source_Agent = "first"});
  for (const std::string table : {"Category_Group_Master", "Category_Group_Detail", "Category_Group",
                                  "Trap_Group", "Trap_Group_Detail"}) {
    ASSERT_TRUE(categories_.ReloadCategoryInformation(connection_));
    const std::uint64_t revision = categories_.Revision();
    Run({"ALTER TABLE " + table + " RENAME TO Elsewhere"});
    EXPECT_FALSE(categories_.ReloadCategoryInformation(connection_)) << table;
    EXPECT_NE(categories_.Find("fans"), nullptr) << table;
    EXPECT_EQ(categories_.Categories().size(), 1U) << table;
    EXPECT_EQ(categories_.Revision(), revision) << table;
    Run({"ALTER TABLE Elsewhere RENAME TO " + table});
  }
  for (const std::string table : {"Trap_Filter_Group", "Trap_Detail"}) {
    ASSERT_TRUE(filters_.LoadFilters(connection_));
    Run({"ALTER TABLE " + table + " RENAME TO Elsewhere"});
    EXPECT_FALSE(filters_.LoadFilters(connection_)) << table;
    ASSERT_EQ(filters_.Filters().size(), 1U) << table;
    EXPECT_EQ(filters_.Filters()[0].SourceAgent, "first") << table;
    Run({"ALTER TABLE Elsewhere RENAME TO " + table});
  }
}

TEST_F(StoredRulesTest, TheDialogsListsOfferWhatTrapsAreNamed) {
  store_.AddCategory("Fans", std::array{test::StoredCriterion{}});
  store_.AddDefinition("1.3.6.1.4.1.5", 2, "fanBack", "Acme");
  store_.AddDefinition("1.3.6.1.4.1.5", 1, "fanFailed", "Acme");
  store_.AddDefinition("1.3.6.1.4.1.6", 1, "zap", "Zeta");
  store::TrapNames names(connection_);
  StoredParametersLists lists(connection_, names);
  EXPECT_EQ(lists.CategoryNames(), (std::vector<std::string>{"Fans"}));
  EXPECT_EQ(lists.EnterpriseNames(), (std::vector<std::string>{"Acme", "Zeta"}));
  const std::vector<std::string> traps = lists.TrapNamesOf("Acme");
  ASSERT_EQ(traps.size(), 2U);
  store::IncomingTrap trap;
  trap.EnterpriseOid = "1.3.6.1.4.1.5";
  trap.GenericTrap = 6;
  trap.SpecificTrap = 1;
  names.GetTrapName(trap);
  EXPECT_EQ(std::count(traps.begin(), traps.end(), trap.TrapName()), 1);
}

}  // namespace
}  // namespace korvane::params
