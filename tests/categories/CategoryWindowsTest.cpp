// "Manage Categories", its wizard and the two commands for category files, used as an operator does.
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QMenu>
#include <QTableView>
#include <QTest>
#include <QTreeView>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "categories/CategoryExchange.h"
#include "categories/frmCategories.h"
#include "categories/frmTrpCatWiz.h"
#include "support/Processes.h"
#include "support/RulesWorld.h"
#include "support/TempFolder.h"
#include "support/WindowDriver.h"

namespace korvane::categories {
namespace {

using test::Click;
using test::Find;
using test::InDialog;
using test::IsEnabled;
using test::Press;
using test::TextOf;
using test::Type;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct CategoriesWindowTest : test::RulesWorld, testing::Test {
  void ShowSome() {
    AddCategory("Lines", "Links", {{.Source = "a", .GenericTrap = 2}, {.Source = "b", .GenericTrap = 3}});
    AddCategory("Doors", "", {{.Source = "c", .GenericTrap = 2}});
    AddCategory("Walls");
    ASSERT_TRUE(Window.Open());
    test::ShowActive(Window);
  }
  void ExpectWizard(const char* title, const std::function<void()>& open) {
    InDialog(open, [title](QDialog& wizard) {
      EXPECT_EQ(wizard.windowTitle().toStdString(), title);
      Press(wizard, Qt::Key_Escape);
    });
  }

  frmCategories Window{ForCategories};
  QTreeView& Tree = Find<QTreeView>(Window, "tvEvtGrps");
  QTableView& List = Find<QTableView>(Window, "lvEvtDetails");
  const QAbstractItemModelTester NamesTester{Tree.model()};
  const QAbstractItemModelTester TrapsTester{List.model()};
};

TEST_F(CategoriesWindowTest, ShowsWhatIsChosenAndKeysAndMenusDoWhatTheButtonsDo) {
  AddCategory("<b>\u202Enull", "One\nline", {{.Source = "<i>x\ty", .GenericTrap = 6, .VarBinds = "a\rb"}});
  ShowSome();
  EXPECT_EQ(TextOf(Window, "lblTitle1") + TextOf(Window, "lblTitle2"), "<b>\uFFFDnullOne␊line");
  EXPECT_THAT(test::Rows(List, {0, 4}), ElementsAre("<i>x␉y|a␍b"));
  test::Choose(Window, "tvEvtGrps", "Lines");
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("a", "b"));
  List.selectAll();
  EXPECT_FALSE(IsEnabled(Window, "cmdEditEvtDet")) << "which of them?";
  test::RightClick(Tree, test::CentreOf(Tree, 2));
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "Doors") << "a menu is about its node";
  Find<QMenu>(Window, "mnuPopEvtGrp").close();
  List.selectRow(0);
  ExpectWizard("Add Category", [&] { Find<QAction>(Window, "mnuPopNewEvtGrp").trigger(); });
  ExpectWizard("Edit Category", [&] { QTest::keyClick(&Tree, Qt::Key_Return); });
  ExpectWizard("Add Trap Detail", [&] { QTest::keyClick(&List, Qt::Key_Insert); });
  ExpectWizard("Edit Trap Detail", [&] { test::DoubleClick(List, 0); });
  EXPECT_EQ(List.selectionModel()->selectedRows().size(), 1) << "a cancelled edit keeps the place";
  InDialog([&] { QTest::keyClick(&List, Qt::Key_F2); },
           [](QDialog& wizard) {
             Type(wizard, "txtSource", "edited");
             test::Choose(wizard, "cboSeverity", "Major");
             Click(wizard, "cmdNextFinish");
           });
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("edited"));
  EXPECT_EQ(List.selectionModel()->selectedRows().size(), 1) << "the edited trap is the one selected";

  const auto remove = [&](PromptAnswer answer, QWidget& list, const char* question) {
    Prompt.WillAnswer(answer);
    QTest::keyClick(&list, Qt::Key_Delete);
    EXPECT_EQ(Prompt.Questions().back().Text, question);
  };
  remove(PromptAnswer::No, List, "Are you sure you want to remove selected Trap Detail?");
  remove(PromptAnswer::No, Tree, "Do you want to remove the selected Category - 'Doors'?");
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("edited"));
  remove(PromptAnswer::Yes, List, "Are you sure you want to remove selected Trap Detail?");
  EXPECT_THAT(test::Rows(List), IsEmpty());
  remove(PromptAnswer::Yes, Tree, "Do you want to remove the selected Category - 'Doors'?");
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "Walls") << "the next takes its place";
  remove(PromptAnswer::Yes, Tree, "Do you want to remove the selected Category - 'Walls'?");
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "Lines") << "behind the last there is the one before";
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("a", "b"));
  Prompt.WillAnswer(PromptAnswer::Cancel);
  QTest::keyClick(&Tree, Qt::Key_Escape);
  EXPECT_TRUE(Window.isVisible()) << "there is something to lose";
  EXPECT_EQ(Rows("Category_Group_Master"), 4) << "nobody sees it yet";
  Click(Window, "cmdOK");
  EXPECT_FALSE(Window.isVisible());
  EXPECT_EQ(Rows("Category_Group_Master"), 2);
  EXPECT_EQ(Rows("Trap_Group_Detail"), 5) << "definitions stay";
  EXPECT_EQ(Changes, 1);
}

// What the wizard wrote before an error stays in the transaction, so it shows, and leaving asks.
TEST_F(CategoriesWindowTest, AWizardThatFailedHalfwayAndWasCancelledIsShownAndAskedAbout) {
  ShowSome();
  for (const char* table : {"Category_Relation_Master", "Trap_Group_Detail"}) {
    Store.Execute(fmt::format(
        "CREATE TRIGGER Full_{0} BEFORE INSERT ON {0} WHEN (SELECT COUNT(*) FROM {0}) > 2 BEGIN SELECT "
        "RAISE(ABORT, 'disk full'); END",
        table));
  }
  const auto fails = [this](QDialog& wizard) {
    Click(wizard, "cmdNextFinish");
    EXPECT_THAT(Prompt.LastMessage(), HasSubstr("disk full"));
    Press(wizard, Qt::Key_Escape);
  };
  InDialog([&] { Click(Window, "cmdCreateEvtGrp"); },
           [&](QDialog& wizard) {
             Type(wizard, "txtCatName", "New");
             Click(wizard, "cmdNextFinish");
             Prompt.WillAnswer(PromptAnswer::Yes);  // no traps
             fails(wizard);
           });
  EXPECT_THAT(test::Rows(Tree), ElementsAre("Lines", "Doors", "Walls", "New"));
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "Lines") << "the wizard made none";
  InDialog([&] { test::DoubleClick(List, 0); },
           [&](QDialog& wizard) {
             Type(wizard, "txtVarBinds", "edited");
             test::Choose(wizard, "cboSeverity", "Major");
             fails(wizard);
           });
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("b"));
  Prompt.WillAnswer(PromptAnswer::No);
  QTest::keyClick(&Tree, Qt::Key_Escape);
  EXPECT_FALSE(Window.isVisible());
  EXPECT_EQ(Rows("Category_Group_Master") + Rows("Trap_Group"), 6) << "as it was";
}

TEST_F(CategoriesWindowTest, WhatIsMovedIsSavedAndWhatOthersChangeShows) {
  ShowSome();
  EXPECT_EQ(Window.focusWidget(), &Tree);
  test::Choose(Window, "tvEvtGrps", "Doors");
  List.selectRow(0);
  Store.AddCategory("Theirs", {});
  InDialog([&] { QTest::keyClick(&List, Qt::Key_F2); },
           [&](QDialog& wizard) {
             Window.StoreChanged();
             EXPECT_EQ(Tree.model()->rowCount(), 3) << "not below the wizard";
             Press(wizard, Qt::Key_Escape);
           });
  EXPECT_THAT(test::Rows(Tree), ElementsAre("Lines", "Doors", "Walls", "Theirs"));
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "Doors");
  EXPECT_EQ(List.selectionModel()->selectedRows().size(), 1);
  auto& notice = Find<QWidget>(Window, "fraNotice");
  EXPECT_FALSE(notice.isVisible());

  test::Choose(Window, "tvEvtGrps", "Lines");
  for (const auto& [key, order] : {std::pair{Qt::Key_Down, "Doors Lines Walls"},
                                   {Qt::Key_Down, "Doors Walls Lines"},
                                   {Qt::Key_Up, "Doors Lines Walls"}}) {
    QTest::keyClick(&Tree, key, Qt::AltModifier);
    EXPECT_EQ(fmt::format("{}", fmt::join(test::Rows(Tree), " ")), fmt::format("{} Theirs", order));
    EXPECT_EQ(TextOf(Window, "lblTitle1"), "Lines");
  }
  List.selectRow(0);
  QTest::keyClick(&List, Qt::Key_Up, Qt::AltModifier);
  test::RightClick(List, test::CentreOf(List, 0));
  EXPECT_FALSE(Find<QAction>(Window, "mnuPopUpEvtDet").isEnabled());
  Find<QAction>(Window, "mnuPopDownEvtDet").trigger();
  Find<QMenu>(Window, "mnuPopEvtDet").close();
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("b", "a"));
  EXPECT_EQ(List.currentIndex().row(), 1);
  Window.StoreChanged();
  EXPECT_TRUE(notice.isVisible());
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("b", "a")) << "what is not saved shows, too";
  Click(Window, "cmdOK");
  EXPECT_EQ(Categories.Categories()[1].Name + Categories.Categories()[1].Criteria[0].SourceAgent, "Linesb");
}

TEST_F(CategoriesWindowTest, TheCloseBoxDiscardsAndTheBarIsRemembered) {
  Window.resize(680, 500);
  ShowSome();
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(Window, "cmdDeleteEvtGrp");
  auto& bar = Find<QWidget>(Window, "imgSplitter");
  for (const auto& [pixels, width] : {std::pair{1000, 565}, {-1000, 100}, {90, 190}}) {
    QTest::mousePress(&bar, Qt::LeftButton, {}, {2, 50});
    QTest::mouseMove(&bar, {2 + pixels, 50});
    QTest::mouseRelease(&bar, Qt::LeftButton, {}, {2 + pixels, 50});
    EXPECT_EQ(Tree.width(), width);
  }
  Window.close();
  EXPECT_FALSE(Window.isVisible());
  EXPECT_EQ(Prompt.Questions().size(), 1U) << "the close box asks nothing";
  EXPECT_THAT(Platform.Clock.Sleeps, ElementsAre(500)) << "the receiver may wait for what was held";
  EXPECT_EQ(Rows("Category_Group_Master"), 3);
  EXPECT_EQ(Changes, 0);

  frmCategories again(ForCategories);
  ASSERT_TRUE(again.Open());
  test::ShowActive(again);
  EXPECT_EQ(again.size(), Window.size());
  EXPECT_EQ(Find<QTreeView>(again, "tvEvtGrps").width(), 190);
}

struct CategoryWizardTest : test::RulesWorld, testing::Test {
  CategoryWizardTest() {
    Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme", "A fan stands still.");
  }
  void Show(WizardTask task) {
    Task = std::move(task);
    Window = std::make_unique<frmTrpCatWiz>(Task, Transaction, WizardServices{Names, Prompt, Busy});
    test::ShowActive(*Window);
  }
  CategoryDetails Stored(const char* category) {
    return CategoryStore(Transaction).LoadTrapDetails(category);
  }

  std::unique_ptr<store::Connection> Own = ForCategories.OpenConnection({});
  CategoryTransaction Transaction{*Own};
  WizardTask Task;
  std::unique_ptr<frmTrpCatWiz> Window;
};

TEST_F(CategoryWizardTest, EditsADescriptionAndATrap) {
  constexpr char kName[] = "A\u202E<b>";
  CategoryWriter(Transaction)
      .AddCategory(kName, "old", 4, std::vector{TrapDetail{.Source = "r1", .Severity = 5}});
  Show({.Mode = WizardMode::EditCategory, .CategoryName = kName});
  EXPECT_TRUE(Find<QWidget>(*Window, "txtCatName").property("readOnly").toBool());
  EXPECT_EQ(TextOf(*Window, "txtCatName") + TextOf(*Window, "txtCatDescription"), "A\uFFFD<b>old");
  Type(*Window, "txtCatDescription", "it's new");
  Click(*Window, "cmdNextFinish");
  EXPECT_TRUE(Window->isVisible()) << "the statement can't hold an apostrophe";
  EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Critical);
  Type(*Window, "txtCatDescription", "new");
  Click(*Window, "cmdNextFinish");
  EXPECT_FALSE(Task.Cancelled);
  EXPECT_EQ(Task.CategoryName, kName) << "what is shown for it is not its name";
  EXPECT_EQ(Stored(kName).Description, "new");
  EXPECT_EQ(Stored(kName).Severity, 4);

  Show({.Mode = WizardMode::EditTrapDetail,
        .CategoryName = kName,
        .TrapTableId = Stored(kName).Traps.front().TrapTableId});
  EXPECT_EQ(TextOf(*Window, "txtSource") + TextOf(*Window, "cboSeverity"), "r1Critical");
  test::Choose(*Window, "cboSeverity", "Clear");
  Click(*Window, "cmdNextFinish");
  EXPECT_TRUE(Window->isVisible()) << "it has no severity";
  test::Choose(*Window, "cboSeverity", "Minor");
  Type(*Window, "txtSource", "");
  Type(*Window, "txtVarBinds", "eth0");
  Click(*Window, "cmdNextFinish");
  ASSERT_EQ(Stored(kName).Traps.size(), 1U);
  EXPECT_EQ(Stored(kName).Traps[0].VarBinds, "eth0");
}

TEST_F(CategoryWizardTest, MakesACategoryFromTheKeyboard) {
  CategoryWriter(Transaction).AddCategory("Taken", "", 0, {});
  Show({});
  const auto refused = [this](const char* reason) { EXPECT_EQ(Prompt.LastMessage(), reason); };
  Press(*Window, Qt::Key_Return);
  refused("Please assign a name to the category.");
  Type(*Window, "txtCatName", "TAKEN");
  Press(*Window, Qt::Key_Return);
  refused("A category with this name viz. 'TAKEN' already exists. Please assign a unique name.");
  Type(*Window, "txtCatDescription", "All that blows");
  Type(*Window, "txtCatName", "Fans");
  Press(*Window, Qt::Key_Return);
  Prompt.WillAnswer(PromptAnswer::No);
  Click(*Window, "cmdNextFinish");
  EXPECT_EQ(Prompt.Questions().back().Text, "Do you want to proceed without adding any members to 'Fans'?");
  Type(*Window, "txtSource", "-All-");
  Click(*Window, "cmdAdd");
  refused("Please select atleast one unique property.");
  test::Choose(*Window, "cboGeneric", "enterpriseSpecific");
  test::Choose(*Window, "cboEnterprise", "acme");
  QTest::keyClick(&Find<QWidget>(*Window, "lvEnterpriseTraps"), Qt::Key_Down);
  Click(*Window, "cmdAdd");
  refused("Severity should be other than the default 'Clear'.");
  test::Choose(*Window, "cboSeverity", "Major");
  Click(*Window, "cmdAdd");
  Click(*Window, "cmdAdd");
  test::Choose(*Window, "cboGeneric", "linkDown");
  for (const char* source : {"r", "o"}) {
    Type(*Window, "txtSource", source);
    Press(*Window, Qt::Key_Return);  // adds
  }
  auto& list = Find<QTableView>(*Window, "lvTraps");
  const std::string fan = "-All-|enterpriseSpecific|acme|fanFailed||Major";
  EXPECT_THAT(test::Rows(list),
              ElementsAre(fan, fan, "r|linkDown|-All-|-All-||Major", "o|linkDown|-All-|-All-||Major"));
  list.selectRow(2);
  Click(*Window, "cmdRemove");
  list.setFocus();
  QTest::keyClick(&list, Qt::Key_Delete);
  EXPECT_THAT(test::Rows(list), ElementsAre(fan, fan)) << "the next row was selected";
  Type(*Window, "txtVarBinds", "typed and not added");
  for (const PromptAnswer answer : {PromptAnswer::Cancel, PromptAnswer::No}) {
    EXPECT_TRUE(Task.Cancelled && Window->isVisible());
    Prompt.WillAnswer(answer);
    Click(*Window, "cmdNextFinish");
    EXPECT_THAT(Prompt.Questions().back().Text, HasSubstr("is not in the list"));
  }
  EXPECT_FALSE(Window->isVisible());
  EXPECT_FALSE(Task.Cancelled);
  EXPECT_EQ(Task.CategoryName, "Fans");
  const CategoryDetails fans = Stored("Fans");
  EXPECT_EQ(fans.Description, "All that blows");
  EXPECT_EQ(fans.Severity, 3) << "that of its first trap";
  ASSERT_EQ(fans.Traps.size(), 1U) << "two equal ones are one";
  EXPECT_EQ(fans.Traps[0].SpecificTrap, "7");

  Show({.Mode = WizardMode::AddTrapDetails, .CategoryName = "Fans"});
  test::Choose(*Window, "cboSeverity", "Minor");
  Type(*Window, "txtSource", "listed");
  Press(*Window, Qt::Key_Return);
  Type(*Window, "txtSource", "asked");
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(*Window, "cmdNextFinish");
  EXPECT_EQ(Stored("Fans").Traps.size(), 3U) << "one was added by Enter and one by the question";
  const std::int32_t gone = Stored("Fans").Traps[0].TrapTableId;
  CategoryStore(Transaction).DeleteCategory("Fans");
  for (const WizardMode mode : {WizardMode::EditCategory, WizardMode::EditTrapDetail}) {
    Task = {.Mode = mode, .CategoryName = "Fans", .TrapTableId = gone};
    EXPECT_FALSE(frmTrpCatWiz(Task, Transaction, {Names, Prompt, Busy}).WasRead());
    EXPECT_THAT(Prompt.LastMessage(), HasSubstr("removed")) << "nothing is written over it";
  }
}

struct CategoryExchangeTest : test::RulesWorld, testing::Test {
  CategoryDetails Details(const std::string& name) {
    CategoryTransaction transaction(Connection);
    CategoryDetails details = CategoryStore(transaction).LoadTrapDetails(name);
    for (TrapDetail& trap : details.Traps) {
      trap.TrapTableId = 0;
    }
    return details;
  }
  // With one file; true when the choice that opens, and is left by OK, tells what exists.
  bool Run(void (*command)(const CategoryServices&, QWidget*), const std::function<void(QDialog&)>& choose) {
    Prompt.WillAnswerFiles({(Folder / "both.dvcat").string()});
    bool tells = false;
    InDialog([&] { command(ForCategories, nullptr); },
             [&](QDialog& choice) {
               tells = !Find<QTableView>(choice).isColumnHidden(2);
               choose(choice);
               Click(choice, "cmdOK");
             });
    return tells;
  }

  test::TempFolder Folder;
};

TEST_F(CategoryExchangeTest, WhatIsExportedDeletedAndImportedIsTheSame) {
  const TrapDetail down = {.Source = "router1", .GenericTrap = 2, .Severity = 5};
  AddCategory("Lines", "about Lines", {down, {.SpecificTrap = "7", .VarBinds = "ü\n☃", .Severity = 1}});
  AddCategory("Fans", "about Fans", {down});
  const CategoryDetails lines = Details("Lines");
  AddCategory("Private");
  const auto unchecked = [](QDialog& choice) {
    QAbstractItemModel& offered = *Find<QTableView>(choice).model();
    offered.setData(offered.index(2, 0), Qt::Unchecked, Qt::CheckStateRole);
  };
  EXPECT_FALSE(Run(ExportCategories, unchecked)) << "all that can be exported is there";
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("2 categories were written to the file"));
  {
    CategoryTransaction transaction(Connection);
    CategoryStore(transaction).DeleteCategory("Lines");
    CategoryStore(transaction).DeleteCategory("Private");
    transaction.Commit();
  }
  AddCategory("Mine", "about Mine");
  // Fans is there: it is offered unchecked and stays as it is.
  Store.Execute("UPDATE Category_Group_Master SET Category_Desc = 'changed' WHERE Category_Name = 'Fans'");
  EXPECT_TRUE(Run(ImportCategories, [](QDialog&) {}));
  EXPECT_EQ(Details("Lines"), lines);
  EXPECT_EQ(Details("Fans").Description, "changed");
  EXPECT_EQ(Changes, 1);
  EXPECT_NE(Categories.Find("lines"), nullptr) << "read into memory";
  Run(ImportCategories, [](QDialog& choice) { Click(choice, "cmdAll"); });
  EXPECT_EQ(Details("Fans").Description, "about Fans") << "replaced whole";
  EXPECT_EQ(Details("Lines"), lines);
  EXPECT_EQ(Details("Mine").Description, "about Mine");
  EXPECT_EQ(Rows("Trap_Group_Detail"), 2) << "definitions are shared, not doubled";
  EXPECT_EQ(Rows("Category_Relation_Master"), 3) << "what was not chosen is not in the file";

  // A file that is damaged, not there or can't be written changes nothing.
  test::WriteFile(Folder / "bad.dvcat", "Korvane category file, version 1\ncategory \"Mine\"\n  oops\n");
  for (const auto& [name, reason] : {std::pair{"bad.dvcat", "Line 3: "}, {"none.dvcat", "No such file"}}) {
    Prompt.WillAnswerFiles({(Folder / name).string()});
    ImportCategories(ForCategories, nullptr);
    EXPECT_THAT(Prompt.LastMessage(), HasSubstr(reason));
  }
  Prompt.WillAnswerFiles({(Folder / "no folder" / "x.dvcat").string()});
  InDialog([&] { ExportCategories(ForCategories, nullptr); },
           [](QDialog& choice) { Click(choice, "cmdOK"); });
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("could not be written"));
  EXPECT_EQ(Changes, 2);
  // Our own table refuses NULL; that of a store that was made by other means need not.
  Store.Execute("ALTER TABLE Trap_Group_Detail RENAME TO Strict");
  Store.Execute("CREATE TABLE Trap_Group_Detail AS SELECT * FROM Strict");
  Store.Execute("UPDATE Trap_Group_Detail SET GenericTrap = NULL");
  EXPECT_EQ(Details("Lines").Traps.at(0).GenericTrap, -1);
}

}  // namespace
}  // namespace korvane::categories
