// Categories on their way to another store and back, through the commands' own windows.
#include "categories/CategoryExchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QPushButton>
#include <QTableView>
#include <QTimer>

#include "categories/CategoryWriter.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"
#include "support/RecordingBusy.h"
#include "support/ScriptedPrompts.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane::categories {
namespace {

using testing::HasSubstr;

struct CategoryExchangeTest : CategorisedWindows, testing::Test {
  CategoryExchangeTest() { Store.Connect(Shared); }
  void CategoriesChanged() override { ++Changes; }

  void Add(const std::string& name, const std::vector<TrapDetail>& traps) {
    CategoryTransaction transaction(Shared);
    CategoryWriter(transaction).AddCategory(name, "about " + name, 5, traps);
    transaction.Commit();
  }
  CategoryDetails Details(const std::string& name) {
    CategoryTransaction transaction(Shared);
    CategoryDetails details = CategoryStore(transaction).LoadTrapDetails(name);
    for (TrapDetail& trap : details.Traps) {
      trap.TrapTableId = 0;
    }
    return details;
  }
  // Answers the choice that opens while the work runs.
  template <typename Work>
  void WithChoice(const std::vector<const char*>& buttons, Work work) {
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
      if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
        poll.stop();
        TellsExisting = !dialog->findChild<QTableView*>()->isColumnHidden(2);
        for (const char* button : buttons) {
          dialog->findChild<QPushButton*>(QString::fromLatin1(button))->click();
        }
      }
    });
    poll.start(5);
    work();
  }

  test::SqliteStore Store;
  store::Connection Shared;
  store::TrapNames Names{Shared};
  params::CategoryInformation Categories;
  test::FakePlatform Machine;
  test::ScriptedPrompts Prompt;
  test::RecordingBusy Busy;
  test::TempFolder Folder;
  int Changes = 0;
  bool TellsExisting = false;  // the last choice did
  CategoryServices Services{.Shared = Shared,
                            .OpenConnection =
                                [this](store::ConnectionOptions) {
                                  auto own = std::make_unique<store::Connection>();
                                  Store.Connect(*own);
                                  return own;
                                },
                            .Names = Names,
                            .Categories = Categories,
                            .Prompt = Prompt,
                            .Busy = Busy,
                            .Clock = Machine.Clock,
                            .Settings = Machine.Settings,
                            .Windows = *this};
};

TEST_F(CategoryExchangeTest, WhatIsExportedDeletedAndImportedIsTheSame) {
  const std::vector<TrapDetail> traps = {{.Source = "router1", .GenericTrap = 2, .Severity = 5},
                                         {.GenericTrap = 6,
                                          .EnterpriseOid = "1.3.6.1.4.1.9",
                                          .SpecificTrap = "7",
                                          .VarBinds = "ü\n☃",
                                          .Severity = 1}};
  Add("Lines", traps);
  Add("Fans", {traps[0]});
  const CategoryDetails lines = Details("Lines");
  const std::string path = (Folder / "both.dvcat").string();
  Prompt.WillAnswerFiles({path});
  WithChoice({"cmdOK"}, [&] { ExportCategories(Services, nullptr); });
  EXPECT_FALSE(TellsExisting) << "all that can be exported is there";
  {
    CategoryTransaction transaction(Shared);
    CategoryStore(transaction).DeleteCategory("Lines");
    transaction.Commit();
  }
  Add("Mine", {});
  // Fans is there: it is offered unchecked and stays as it is.
  Store.Execute("UPDATE Category_Group_Master SET Category_Desc = 'changed' WHERE Category_Name = 'Fans'");
  Prompt.WillAnswerFiles({path});
  WithChoice({"cmdOK"}, [&] { ImportCategories(Services, nullptr); });
  EXPECT_TRUE(TellsExisting);
  EXPECT_EQ(Details("Lines"), lines);
  EXPECT_EQ(Details("Fans").Description, "changed");
  EXPECT_EQ(Changes, 1);
  EXPECT_NE(Categories.Find("lines"), nullptr) << "read into memory";

  Prompt.WillAnswerFiles({path});
  WithChoice({"cmdAll", "cmdOK"}, [&] { ImportCategories(Services, nullptr); });
  EXPECT_EQ(Details("Fans").Description, "about Fans") << "replaced whole";
  EXPECT_EQ(Details("Lines"), lines);
  EXPECT_EQ(Details("Mine").Description, "about Mine");
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM Trap_Group_Detail"), 2)
      << "definitions are shared, not doubled";
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM Category_Relation_Master"), 3);
}

TEST_F(CategoryExchangeTest, ADamagedOrMissingFileChangesNothing) {
  Add("Lines", {});
  test::WriteFile(Folder / "bad.dvcat",
                  "Korvane category file, version 1\ncategory \"Lines\"\n  description x\n");
  for (const auto& [name, reason] :
       {std::pair<const char*, const char*>{"bad.dvcat", "Line 3: a text must stand between double quotes."},
        {"none.dvcat", "No such file"}}) {
    Prompt.WillAnswerFiles({(Folder / name).string()});
    ImportCategories(Services, nullptr);
    EXPECT_THAT(Prompt.LastMessage(), HasSubstr(reason));
  }
  Prompt.WillAnswerFiles({(Folder / "no folder" / "x.dvcat").string()});
  WithChoice({"cmdOK"}, [&] { ExportCategories(Services, nullptr); });
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("could not be written"));
  EXPECT_EQ(Changes, 0);
  EXPECT_EQ(Details("Lines").Description, "about Lines");
}

// A text that no statement can hold is refused in the middle: nothing of the import stays.
TEST_F(CategoryExchangeTest, AnImportIsAllOrNothing) {
  test::WriteFile(
      Folder / "two.dvcat",
      "Korvane category file, version 1\n"
      "category \"A\"\ndescription \"\"\nseverity 0\nend\n"
      "category \"B\"\ndescription \"\"\nseverity 0\ntrap\nsource \"it's\"\ngeneric 6\nenterprise "
      "\"\"\nspecific \"0\"\nvariables \"\"\nseverity 1\nend\nend of file\n");
  Prompt.WillAnswerFiles({(Folder / "two.dvcat").string()});
  WithChoice({"cmdOK"}, [&] { EXPECT_ANY_THROW(ImportCategories(Services, nullptr)); });
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM Category_Group_Master"), 0);
  EXPECT_EQ(Changes, 0);
}

}  // namespace
}  // namespace korvane::categories
