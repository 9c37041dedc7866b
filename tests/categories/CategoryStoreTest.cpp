// Categories as they are written, read and removed, on every engine.
#include "categories/CategoryStore.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "categories/CategoryCopies.h"
#include "categories/CategoryWriter.h"
#include "params/CategoryInformation.h"
#include "params/DefinitionVerdicts.h"
#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/EngineTest.h"
#include "store/TrapNames.h"
#include "support/TempFolder.h"

namespace korvane::categories {
namespace {

using store::EngineOf;
using testing::ElementsAre;
using testing::IsEmpty;

TrapDetail LinkDown(std::string source = {}) {
  return {.Source = std::move(source), .GenericTrap = 2, .Severity = 5};
}

struct CategoryStoreTest : store::EngineTest {
  CategoryStoreTest() { Made->Connect(own_); }

  void Write(const auto& changes) {
    CategoryTransaction transaction(own_);
    CategoryWriter writer(transaction);
    CategoryStore categories(transaction);
    changes(writer, categories);
    transaction.Commit();
  }
  std::vector<std::string> Tree() {
    CategoryTransaction transaction(own_);
    return CategoryStore(transaction).LoadCategoryTree();
  }
  // Description and severity of a category, and the sources of its traps.
  std::string Shown(const std::string& name) {
    const CategoryDetails details = Details(name);
    std::string shown = fmt::format("{}/{}:", details.Description, details.Severity);
    for (const TrapDetail& trap : details.Traps) {
      shown += " " + trap.Source;
    }
    return shown;
  }
  CategoryDetails Details(const std::string& name) {
    CategoryTransaction transaction(own_);
    return CategoryStore(transaction).LoadTrapDetails(name);
  }
  // The categories with the sources of their traps, as they are asked for the severity of a trap.
  std::string Order() {
    params::CategoryInformation information;
    EXPECT_TRUE(information.ReloadCategoryInformation(Db));
    std::string order;
    for (const params::Category& category : information.Categories()) {
      order += category.Name;
      for (const params::CategoryCriterion& row : category.Criteria) {
        order += " " + row.SourceAgent;
      }
      order += ";";
    }
    return order;
  }
  int Rows(const std::string& table) { return Made->Number("SELECT COUNT(*) FROM " + table); }

  store::Connection own_;
};
KORVANE_ON_EVERY_ENGINE(CategoryStoreTest);

TEST_P(CategoryStoreTest, WhatIsAddedIsReadBackAndSharedRowsAreStoredOnce) {
  const TrapDetail fan = {.Source = "fan",
                          .GenericTrap = 6,
                          .EnterpriseOid = "1.3.6.1.4.1.9",
                          .SpecificTrap = "7",
                          .VarBinds = "über ☃",
                          .Severity = 3};
  Made->Execute("INSERT INTO Category_Group (Category_Name, Category_ID) VALUES ('Logs', 41)");
  Made->Execute(
      "INSERT INTO Category_Group_Detail (Category_ID, Category_Type, Group_Name) VALUES (57, 2, 'L_File')");
  Write([&](CategoryWriter& writer, CategoryStore&) {
    EXPECT_TRUE(writer.NamesInUse().empty());
    writer.AddCategory("Lines", "Lines\nand \"links\"", 5, std::vector{LinkDown("r"), LinkDown("r"), fan});
    writer.AddCategory("Other", "", 0, std::vector{fan});
  });
  EXPECT_EQ(Made->Number("SELECT Category_ID FROM Category_Group WHERE Category_Name = 'Lines'"), 58)
      << "above all in use";
  EXPECT_THAT(Tree(), ElementsAre("Lines", "Other"));
  EXPECT_EQ(Shown("Lines"), "Lines\nand \"links\"/5: r fan");
  TrapDetail stored = Details("Other").Traps.at(0);
  const std::int32_t number = std::exchange(stored.TrapTableId, 0);
  EXPECT_EQ(stored, fan);
  EXPECT_EQ(Rows("Trap_Group_Detail"), 2) << "equal definitions are one row";

  // Editing one trap into another leaves a single membership, and nobody else's.
  const std::int32_t edited = Details("Lines").Traps[0].TrapTableId;
  Write([&](CategoryWriter& writer, CategoryStore&) {
    writer.EditTrapDetail("Lines", edited, fan);
    writer.EditCategory("Other", "another", 2);
  });
  EXPECT_EQ(Details("Lines").Traps.at(0).TrapTableId, number);
  EXPECT_EQ(Shown("Lines") + Shown("Other"), "Lines\nand \"links\"/5: fananother/2: fan");
}

TEST_P(CategoryStoreTest, RemovingACategoryLeavesDefinitionsAndSiblingsAlone) {
  Write([&](CategoryWriter& writer, CategoryStore&) {
    writer.AddCategory("A", "", 0, std::vector{LinkDown("s"), LinkDown("x")});
    writer.AddCategory("B", "", 0, std::vector{LinkDown("s")});
    writer.AddCategory("Empty", "", 0, {});
  });
  for (const char* statement :
       {"INSERT INTO Category_Group_Master (Category_Name) VALUES ('Logs')",
        "INSERT INTO Category_Group_Detail (Category_ID, Category_Type, Group_Name) VALUES (1, 2, 'A_Event')",
        "INSERT INTO Event_Group_Master (Event_Group_Name) VALUES ('A_Event')",
        "INSERT INTO Event_Group (Event_Group_Name, Event_ID) VALUES ('A_Event', 3)",
        "INSERT INTO Category_Relation_Master (Category_Name, Related_Category_Name, Category_Relation_Type) "
        "VALUES ('A', 'B', 2)"}) {
    Made->Execute(statement);
  }
  EXPECT_THAT(Tree(), ElementsAre("A", "B", "Empty")) << "a sibling's category stays hidden";
  const std::int32_t shared = Details("B").Traps.front().TrapTableId;
  Write([&](CategoryWriter&, CategoryStore& categories) {
    categories.RemoveTrapDetail("A", shared);
    categories.DeleteCategory("Empty");
  });
  EXPECT_EQ(Shown("A") + Shown("B"), "/0: x/0: s");
  EXPECT_EQ(Rows("Trap_Group_Master"), 2);

  Write([](CategoryWriter&, CategoryStore& categories) { categories.DeleteCategory("A"); });
  EXPECT_THAT(Tree(), ElementsAre("B"));
  EXPECT_EQ(Rows("Trap_Group_Detail"), 2);
  EXPECT_EQ(Rows("Event_Group"), 1) << "the other kinds are the siblings'";
  EXPECT_EQ(Rows("Category_Relation_Master"), 2);
  Write([](CategoryWriter&, CategoryStore& categories) { categories.DeleteCategoryAllKinds("A"); });
  EXPECT_EQ(Rows("Event_Group") + Rows("Event_Group_Master"), 0);
  EXPECT_EQ(Rows("Category_Relation_Master"), 1);
  EXPECT_THAT(Tree(), ElementsAre("B"));

  for (int doubled = 2; doubled < 1024; doubled *= 2) {
    Made->Execute("INSERT INTO Trap_Group_Detail (GenericTrap) SELECT 3 FROM Trap_Group_Detail");
  }
  Made->Execute(
      "INSERT INTO Trap_Group (Trap_Group_Name, Trap_ID) SELECT 'B_Trap', Trap_Table_ID FROM "
      "Trap_Group_Detail WHERE GenericTrap = 3");
  const CategoryDetails big = Details("B");
  ASSERT_EQ(big.Traps.size(), 1023U) << "one of many members is read whole";
  EXPECT_EQ(big.Traps.back().TrapTableId, Made->Number("SELECT MAX(Trap_Table_ID) FROM Trap_Group_Detail"));
}

// An error in the middle ends nothing: what follows it counts, and a second try replaces what the failed one
// left.
TEST_P(CategoryStoreTest, TheTransactionLivesOnAfterAnError) {
  Made->Execute(
      "INSERT INTO Category_Relation_Master (Category_Name, Related_Category_Name, Category_Relation_Type) "
      "VALUES ('All Categories', 'Ghost', 1)");
  if (GetParam() == store::Engine::Sqlite) {  // the others refuse it by the column's length
    Made->Execute(
        "CREATE TRIGGER Too_Long BEFORE INSERT ON Trap_Group_Detail WHEN LENGTH(NEW.Source_Agent) > 255 "
        "BEGIN SELECT RAISE(ABORT, 'too long'); END");
  }
  for (const bool commit : {false, true}) {
    CategoryTransaction transaction(own_);
    CategoryWriter writer(transaction);
    writer.AddCategory("Kept", "", 0, std::vector{LinkDown("kept")});
    EXPECT_THROW(writer.AddCategory("Ghost", "", 0, {}), RelationExists);
    EXPECT_THROW(writer.AddTrapDetails("Kept", std::vector{LinkDown("it's")}), store::DatabaseError);
    const std::vector traps = {LinkDown("a"), LinkDown(std::string(300, 'x'))};
    EXPECT_THROW(writer.AddCategory("New", "old", 5, traps), store::DatabaseError);
    EXPECT_EQ(CategoryStore(transaction).LoadTrapDetails("New").Description, "old")
        << "what was written counts";
    writer.AddCategory("New", "new", 3, std::vector{LinkDown("b"), LinkDown("a")});
    for (int tries = 0; tries < 2; ++tries) {
      EXPECT_THROW(writer.AddCategory("Kept", "", 0, {}), store::DatabaseError) << "not ours to replace";
    }
    if (commit) {
      transaction.Commit();
    }
  }
  EXPECT_THAT(Tree(), ElementsAre("Kept", "Ghost", "New"));
  EXPECT_EQ(Shown("Kept") + Shown("New"), "/0: keptnew/3: b a");
  EXPECT_EQ(Rows("Trap_Group_Detail"), 3) << "the one that the failed try has added serves again";
  EXPECT_EQ(Rows("Category_Group_Master"), 3) << "what was not committed is gone";
  EXPECT_EQ(Rows("Category_Relation_Master"), 3);
}

TEST_P(CategoryStoreTest, ReadingForMinutesHoldsNobodyUpAndNobodySpoilsTheFirstChange) {
  CategoryTransaction transaction(own_);
  EXPECT_THAT(CategoryStore(transaction).LoadCategoryTree(), IsEmpty());
  // Another console saves its own change meanwhile.
  Made->Execute("INSERT INTO Trap_Filter_Group (Trap_ID, Description) VALUES (1, '')");
  CategoryWriter(transaction).AddCategory("Mine", "", 0, std::vector{LinkDown()});
  // With changes pending, traps are stored and acknowledged as ever.
  const std::int32_t number = Made->AddTrap({.EventTime = 5});
  Made->Execute(fmt::format("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber = {}", number));
  EXPECT_EQ(Rows("Category_Group_Master"), 0) << "nobody sees what is not committed";
  const bool together = GetParam() != store::Engine::Sqlite;  // where only one at a time may write
  if (together) {
    store::Connection theirs;
    Made->Connect(theirs);
    CategoryTransaction other(theirs);
    CategoryWriter(other).AddCategory("Theirs", "", 0, std::vector{LinkDown("t")});
    other.Commit();
  }
  transaction.Commit();
  EXPECT_EQ(Tree().size(), together ? 2U : 1U);
  EXPECT_EQ(Shown("Mine"), "/0: ") << "the traps of the other one are not among them";
  EXPECT_EQ(Rows("Change_Log WHERE Kind = 6"), together ? 2 : 1);
}

TEST_P(CategoryStoreTest, TheOrderThatDecidesIsKeptMovedAndCarriedByFiles) {
  Write([](CategoryWriter& writer, CategoryStore&) {
    writer.AddCategory("Zulu", "", 0, std::vector{LinkDown("c"), LinkDown("a"), LinkDown("b")});
    writer.AddCategory("Mike", "", 0, std::vector{LinkDown("b"), LinkDown("c")});
    writer.AddCategory("Alpha", "", 0, {});
  });
  const auto idOf = [&](const char* source) {
    return Made->Number(
        fmt::format("SELECT Trap_Table_ID FROM Trap_Group_Detail WHERE Source_Agent = '{}'", source));
  };
  Write([&](CategoryWriter& writer, CategoryStore&) {
    writer.EditCategory("Zulu", "edited", 3);
    writer.EditTrapDetail("Zulu", idOf("a"), LinkDown("x"));
  });
  EXPECT_EQ(Order(), "Zulu c x b;Mike b c;Alpha;") << "what is edited keeps its place";
  Write([&](CategoryWriter& writer, CategoryStore&) {
    writer.EditTrapDetail("Zulu", idOf("c"), LinkDown("b"));
  });
  // By writers that know of no order.
  Made->AddCategory("Beta", {});
  Made->Execute(
      fmt::format("INSERT INTO Trap_Group (Trap_Group_Name, Trap_ID) VALUES ('Zulu_Trap', {})", idOf("a")));
  EXPECT_EQ(Order(), "Zulu b x a;Mike b c;Alpha;Beta;");
  Write([&](CategoryWriter& writer, CategoryStore& categories) {
    writer.AddTrapDetails("Zulu", std::vector{LinkDown("n"), LinkDown("x")});
    writer.AddCategory("New", "", 0, {});
    EXPECT_TRUE(categories.MoveCategory("Zulu", Side::Behind, "Mike"));
    EXPECT_TRUE(categories.MoveTrapDetail("Zulu", idOf("a"), Side::Before, idOf("b")));
    EXPECT_FALSE(categories.MoveCategory("Zulu", Side::Before, "gone"));
  });
  EXPECT_EQ(Order(), "Mike b c;Zulu a b x n;Alpha;Beta;New;");

  const test::TempFolder folder;
  const std::string path = (folder / "order.dvcat").string();
  EXPECT_EQ(WriteChosen(CategoriesOfStore(Db), path), "");
  Write([&](CategoryWriter& writer, CategoryStore& categories) {
    writer.AddCategory("Own", "", 0, {});
    categories.DeleteCategory("Alpha");
    categories.MoveCategory("New", Side::Before, "Mike");
    categories.MoveTrapDetail("Zulu", idOf("n"), Side::Before, idOf("a"));
  });
  Made->AddCategory("MIKE", {});  // as the first release allowed
  std::vector<OfferedCategory> offered = CategoriesOfFile(path, Db);
  for (OfferedCategory& each : offered) {
    each.Chosen = true;
  }
  std::size_t reported = 0;
  StoreChosen(offered, own_, [&](std::size_t written, std::size_t) { reported = written; });
  EXPECT_EQ(reported, 6U);
  EXPECT_EQ(Order(), "Mike b c;Zulu a b x n;Alpha;Beta;New;Own;MIKE;");
  offered = CategoriesOfStore(Db);
  EXPECT_FALSE(offered.back().Chosen) << "of two that differ in letter case one file holds one";
  EXPECT_EQ(WriteChosen(offered, path), "");
  EXPECT_EQ(CategoriesOfFile(path, Db).size(), 6U);
  offered.back().Chosen = true;
  EXPECT_THAT(WriteChosen(offered, path), testing::HasSubstr("\"Mike\" and \"MIKE\""));
}

// Enterprise and specific code of a standard notification by its name, as the shipped list has them.
using StandardTraps = std::multimap<std::string, std::pair<std::string, std::int32_t>>;

StandardTraps ShippedNames() {
  StandardTraps names;
  std::ifstream file(KORVANE_SOURCE_DIR "/install/data/standard-traps.tsv");
  for (std::string line; std::getline(file, line);) {
    std::istringstream columns(line);
    std::string oid;
    std::string name;
    std::int32_t code = 0;
    if (columns >> oid >> code >> name) {
      names.emplace(name, std::pair(oid, code));
    }
  }
  return names;
}

TEST_P(CategoryStoreTest, TheStarterCategoriesGradeEveryStandardNotification) {
  const std::string path = KORVANE_SOURCE_DIR "/install/data/starter-categories.dvcat";
  const StandardTraps shipped = ShippedNames();
  ASSERT_GT(shipped.size(), 400U);
  if (GetParam() == store::Engine::Sqlite) {  // the program knows one data source
    for (int run = 0; run < 2; ++run) {
      test::RunProgram({KORVANE_CATEGORIES_PROGRAM});
    }
    EXPECT_EQ(Rows("Change_Log WHERE Kind = 6"), 1) << "a second run changes nothing";
  } else {
    StoreChosen(CategoriesOfFile(path, own_), own_);
  }

  // Each row is of the notification that the comment above it names.
  std::vector<std::string> comments;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("  # ")) {
      comments.push_back(line.substr(4, line.find(':') - 4));
    }
  }
  auto comment = comments.begin();
  for (const OfferedCategory& each : CategoriesOfStore(own_)) {
    EXPECT_LE(each.Category.Details.Description.size(), 255U) << each.Category.Name;
    for (const TrapDetail& trap : each.Category.Details.Traps) {
      ASSERT_NE(comment, comments.end());
      const bool standard = trap.GenericTrap != store::kEnterpriseSpecific;
      const std::pair said(standard ? std::string(store::kStandardTrapsOid) : trap.EnterpriseOid,
                           standard ? trap.GenericTrap + 1 : std::stoi(trap.SpecificTrap));
      const auto [first, last] = shipped.equal_range(*comment);
      EXPECT_TRUE(std::any_of(first, last, [&](const auto& row) { return row.second == said; })) << *comment;
      ++comment;
    }
  }
  EXPECT_EQ(comment, comments.end());

  params::CategoryInformation information;
  ASSERT_TRUE(information.ReloadCategoryInformation(Db));
  params::TrapFilters none;
  params::DefinitionVerdicts verdicts(none, information);
  store::TrapNames names(Db);
  names.UseVerdicts(verdicts);
  const auto severity = [&](std::string_view oid, std::int32_t code, std::string_view bindings = {}) {
    const std::int32_t generic = store::GenericCodeOf(oid, code).value_or(store::kEnterpriseSpecific);
    store::IncomingTrap trap;
    trap.EnterpriseOid = oid;
    trap.VarBinds = bindings;
    trap.GenericTrap = generic;
    trap.SpecificTrap = generic == store::kEnterpriseSpecific ? code : 0;
    names.GetTrapName(trap);
    return trap.Severity;
  };
  std::map<std::string_view, int> counts;
  for (const auto& [name, trap] : shipped) {
    ++counts[store::SeverityName(severity(trap.first, trap.second))];
  }
  EXPECT_THAT(counts,
              ElementsAre(std::pair("Critical", 6), std::pair("Information", 71), std::pair("Major", 47),
                          std::pair("Minor", 154), std::pair("Warning", 144)));
  EXPECT_EQ(severity("1.3.6.1.6.3.1.1.5", 3), 3) << "linkDown is Major";
  EXPECT_EQ(severity("1.3.6.1.6.3.1.1.5", 4), 2) << "linkUp is Information";
  EXPECT_EQ(severity("1.3.6.1.2.1.33.2", 3, "upsAlarmDescr.1 = 1.3.6.1.2.1.33.1.6.3.3"), 5) << "low battery";
  EXPECT_EQ(severity("1.3.6.1.2.1.33.2", 3, "upsAlarmDescr.1 = 1.3.6.1.2.1.33.1.6.3.16"), 3) << "fan";
}

}  // namespace
}  // namespace korvane::categories
