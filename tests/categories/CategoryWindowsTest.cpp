// "Manage Categories", its wizard and the two commands for category files, used as an operator does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QMenu>
#include <QTableView>
#include <QTest>
#include <QTreeView>
#include <array>
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
  void Show() {
    ASSERT_TRUE(Window.Open());
    test::ShowActive(Window);
  }
  void ShowSome() {
    AddCategory("Lines", "Links", {{.Source = "a", .GenericTrap = 2}, {.Source = "b", .GenericTrap = 3}});
    AddCategory("Doors", "", {{.Source = "c", .GenericTrap = 2}});
    AddCategory("Walls");
    Show();
  }
  std::string EnabledButtons() {
    std::string enabled;
    for (const char* button : {"cmdCreateEvtGrp", "cmdEditEvtGrp", "cmdDeleteEvtGrp", "cmdAddEvtDet",
                               "cmdEditEvtDet", "cmdRemoveEvtDet"}) {
      enabled += IsEnabled(Window, button) ? std::string(button).substr(3) + " " : "";
    }
    return enabled;
  }
  // Which items of the menu are enabled that a right click at this place opens.
  std::string MenuAt(QAbstractItemView& view, const QPoint& place, const char* name) {
    test::RightClick(view, place);
    auto& menu = Find<QMenu>(Window, name);
    EXPECT_TRUE(menu.isVisible());
    std::string enabled;
    for (const QAction* item : menu.actions()) {
      enabled += item->isEnabled() ? item->text().toStdString() + " " : "";
    }
    menu.close();
    return enabled;
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

TEST_F(CategoriesWindowTest, WithoutCategoriesOnlyCreateIsOffered) {
  Reachable = false;
  EXPECT_EQ(Window.exec(), QDialog::Rejected);
  const test::ScriptedPrompts::Shown lost{"no server", PromptIcon::Critical, PromptButtons::Ok};
  EXPECT_THAT(Prompt.Messages(), ElementsAre(lost));
  Reachable = true;
  Show();
  EXPECT_EQ(AskedFor.ConnectTimeoutSeconds, 120);
  EXPECT_EQ(AskedFor.CommandTimeoutSeconds, 480);
  EXPECT_EQ(EnabledButtons(), "CreateEvtGrp ");
  EXPECT_EQ(MenuAt(Tree, {20, 40}, "mnuPopEvtGrp"), "New ");
  EXPECT_EQ(MenuAt(List, {20, 40}, "mnuPopEvtDet"), "");
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Delete, Qt::Key_F2}) {
    QTest::keyClick(&Tree, key);
    QTest::keyClick(&List, key);
  }
  QTest::keyClick(&List, Qt::Key_Insert);
  EXPECT_TRUE(Window.isVisible()) << "Enter in a list is not OK";
  EXPECT_EQ(test::DefaultButton(Window), "cmdOK");
  EXPECT_EQ(test::RepeatedMnemonics(Window), "");
  QTest::keyClick(&Tree, Qt::Key_Escape);
  EXPECT_FALSE(Window.isVisible());
  EXPECT_THAT(Platform.Clock.Sleeps, ElementsAre(500)) << "the receiver may wait for what was held";
  EXPECT_EQ(Changes, 0);
}

TEST_F(CategoriesWindowTest, ShowsWhatIsChosenAndSpellsOutHostileTexts) {
  AddCategory("<b>\u202Enull", "One\nline", {{.Source = "<i>x\ty", .GenericTrap = 6, .VarBinds = "a\rb"}});
  ShowSome();
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "<b>\uFFFDnull");
  EXPECT_EQ(TextOf(Window, "lblTitle2"), "One␊line");
  EXPECT_THAT(test::Rows(List, {0, 4}), ElementsAre("<i>x␉y|a␍b"));
  EXPECT_THAT(List.model()->index(0, 0).data(Qt::ToolTipRole).toString().toStdString(),
              HasSubstr("&lt;i&gt;"));
  EXPECT_EQ(EnabledButtons(), "CreateEvtGrp EditEvtGrp DeleteEvtGrp AddEvtDet ");
  test::Choose(Window, "tvEvtGrps", "Lines");
  EXPECT_EQ(TextOf(Window, "lblTitle2"), "Links");
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("a", "b"));
}

TEST_F(CategoriesWindowTest, KeysMenusAndDoubleClicksDoWhatTheButtonsDo) {
  ShowSome();
  List.selectAll();
  EXPECT_FALSE(IsEnabled(Window, "cmdEditEvtDet")) << "which of them?";
  EXPECT_EQ(MenuAt(List, test::CentreOf(List, 1), "mnuPopEvtDet"), "New Edit Remove ");
  EXPECT_EQ(List.selectionModel()->selectedRows().size(), 1) << "the one under the pointer";
  EXPECT_EQ(MenuAt(Tree, test::CentreOf(Tree, 1), "mnuPopEvtGrp"), "New Edit Remove ");
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "Doors") << "a menu is about its node";
  EXPECT_EQ(MenuAt(Tree, {5, Tree.height() - 20}, "mnuPopEvtGrp"), "New ");
  EXPECT_EQ(MenuAt(List, {5, List.height() - 60}, "mnuPopEvtDet"), "New ");
  List.selectRow(0);
  ExpectWizard("Add Category", [&] { Find<QAction>(Window, "mnuPopNewEvtGrp").trigger(); });
  ExpectWizard("Add Category", [&] { QTest::keyClick(&Tree, Qt::Key_Insert); });
  ExpectWizard("Edit Category", [&] { QTest::keyClick(&Tree, Qt::Key_Return); });
  ExpectWizard("Add Trap Detail", [&] { QTest::keyClick(&List, Qt::Key_Insert); });
  ExpectWizard("Edit Trap Detail", [&] { QTest::keyClick(&List, Qt::Key_F2); });
  ExpectWizard("Edit Trap Detail", [&] { test::DoubleClick(List, 0); });
  EXPECT_EQ(List.selectionModel()->selectedRows().size(), 1) << "a cancelled edit keeps the place";

  const auto answer = [&](PromptAnswer given, QWidget& list, const char* question) {
    Prompt.WillAnswer(given);
    QTest::keyClick(&list, Qt::Key_Delete);
    EXPECT_EQ(Prompt.Questions().back(),
              (test::ScriptedPrompts::Shown{question, PromptIcon::Question, PromptButtons::YesNo}));
  };
  answer(PromptAnswer::No, List, "Are you sure you want to remove selected Trap Detail?");
  answer(PromptAnswer::No, Tree, "Do you want to remove the selected Category - 'Doors'?");
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("c"));
  answer(PromptAnswer::Yes, List, "Are you sure you want to remove selected Trap Detail?");
  EXPECT_THAT(test::Rows(List), IsEmpty());
  EXPECT_FALSE(IsEnabled(Window, "cmdEditEvtDet"));
  answer(PromptAnswer::Yes, Tree, "Do you want to remove the selected Category - 'Doors'?");
  EXPECT_EQ(TextOf(Window, "lblTitle1"), "Walls") << "the next takes its place";
  answer(PromptAnswer::Yes, Tree, "Do you want to remove the selected Category - 'Walls'?");
  EXPECT_THAT(test::Rows(Tree), ElementsAre("Lines"));
  EXPECT_EQ(Tree.currentIndex().row(), 0) << "behind the last there is the one before";
  EXPECT_THAT(test::Rows(List, {0}), ElementsAre("a", "b"));
  Prompt.WillAnswer(PromptAnswer::Cancel);
  QTest::keyClick(&Tree, Qt::Key_Escape);
  EXPECT_TRUE(Window.isVisible()) << "there is something to lose";
  Click(Window, "cmdOK");
  EXPECT_FALSE(Window.isVisible());
  EXPECT_EQ(Rows("Category_Group_Master"), 1);
  EXPECT_EQ(Rows("Trap_Group_Detail"), 3) << "definitions stay";
  EXPECT_EQ(Changes, 1);
}

TEST_F(CategoriesWindowTest, TheCloseBoxDiscardsAndTheBarIsRemembered) {
  Window.resize(680, 500);
  ShowSome();
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(Window, "cmdDeleteEvtGrp");
  auto& bar = Find<QWidget>(Window, "imgSplitter");
  for (const int pixels : {-1000, 90}) {
    QTest::mousePress(&bar, Qt::LeftButton, {}, {2, 50});
    QTest::mouseMove(&bar, {2 + pixels, 50});
    EXPECT_TRUE(test::IsShown(Window, "picSplitter"));
    QTest::mouseRelease(&bar, Qt::LeftButton, {}, {2 + pixels, 50});
    EXPECT_FALSE(test::IsShown(Window, "picSplitter"));
  }
  const int kept = Tree.width();
  EXPECT_EQ(kept, 190) << "from its least width on";
  Window.resize(Window.width() + 80, Window.height());
  QApplication::processEvents();
  EXPECT_EQ(Tree.width(), kept) << "the list takes what a larger window gives";
  Window.close();
  EXPECT_FALSE(Window.isVisible());
  EXPECT_EQ(Prompt.Questions().size(), 1U) << "the close box asks nothing";
  EXPECT_EQ(Rows("Category_Group_Master"), 3);
  EXPECT_EQ(Changes, 0);

  frmCategories again(ForCategories);
  ASSERT_TRUE(again.Open());
  test::ShowActive(again);
  EXPECT_EQ(again.size(), Window.size());
  EXPECT_EQ(Find<QTreeView>(again, "tvEvtGrps").width(), kept);
}

struct CategoryWizardTest : test::RulesWorld, testing::Test {
  CategoryWizardTest() {
    Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme", "A fan stands still.");
  }
  void Show(WizardTask task) {
    Task = std::move(task);
    Window = std::make_unique<frmTrpCatWiz>(Task, Transaction, Names, Prompt);
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

TEST_F(CategoryWizardTest, EachModeHasItsPagesAndTexts) {
  constexpr char kName[] = "A\u202E<b>";
  CategoryWriter(Transaction)
      .AddCategory(kName, "old", 4, std::vector{TrapDetail{.Source = "r1", .Severity = 5}});
  struct Mode {
    WizardMode Mode;
    const char* Title;
    std::string Info;
    const char* Caption;
    const char* TabOrder;
  };
  const std::string enterprise =
      " Note that Enterprise can be selected only when Generic is 'enterpriseSpecific'.";
  const std::array modes = {
      Mode{WizardMode::AddCategory, "Add Category",
           "Provide information about new trap category that you want to create.", "&Next >",
           "txtCatName txtCatDescription cmdNextFinish cmdCancel"},
      Mode{WizardMode::EditCategory, "Edit Category", "Edit the description for this category.", "&Finish",
           "txtCatDescription cmdNextFinish cmdCancel txtCatName"},
      Mode{WizardMode::AddTrapDetails, "Add Trap Detail", "Add Traps to the category." + enterprise,
           "&Finish",
           "txtSource cboGeneric lvEnterpriseTraps cboSeverity txtVarBinds cmdAdd lvTraps txtDescription "
           "cmdNextFinish cmdCancel"},
      Mode{WizardMode::EditTrapDetail, "Edit Trap Detail", "Edit Trap information." + enterprise, "&Finish",
           "txtSource cboGeneric lvEnterpriseTraps cboSeverity txtVarBinds txtDescription cmdNextFinish "
           "cmdCancel"}};
  for (const Mode& mode : modes) {
    SCOPED_TRACE(mode.Title);
    Show({.Mode = mode.Mode,
          .CategoryName = mode.Mode == WizardMode::AddCategory ? "" : kName,
          .TrapTableId = Stored(kName).Traps.front().TrapTableId});
    EXPECT_EQ(Window->windowTitle().toStdString(), mode.Title);
    EXPECT_EQ(TextOf(*Window, test::IsShown(*Window, "pagCategory") ? "lblInfo1" : "lblInfo2"), mode.Info);
    EXPECT_EQ(TextOf(*Window, "cmdNextFinish"), mode.Caption);
    EXPECT_EQ(test::TabOrder(*Window), mode.TabOrder);
    EXPECT_EQ(test::DefaultButton(*Window), "cmdNextFinish");
    EXPECT_EQ(test::RepeatedMnemonics(*Window), "");
  }
  EXPECT_EQ(TextOf(*Window, "txtSource"), "r1");
  EXPECT_EQ(TextOf(*Window, "cboSeverity"), "Critical");

  Show({.Mode = WizardMode::EditCategory, .CategoryName = kName});
  EXPECT_TRUE(Find<QWidget>(*Window, "txtCatName").property("readOnly").toBool());
  EXPECT_EQ(TextOf(*Window, "txtCatName"), "A\uFFFD<b>");
  Type(*Window, "txtCatDescription", "new");
  Click(*Window, "cmdNextFinish");
  EXPECT_FALSE(Task.Cancelled);
  EXPECT_EQ(Task.CategoryName, kName) << "what is shown for it is not its name";
  EXPECT_EQ(Stored(kName).Description, "new");
}

TEST_F(CategoryWizardTest, MakesACategoryFromTheKeyboard) {
  CategoryWriter(Transaction).AddCategory("Taken", "", 0, {});
  Show({});
  const auto expectRefusal = [this](const char* text) {
    EXPECT_EQ(Prompt.Messages().back(),
              (test::ScriptedPrompts::Shown{text, PromptIcon::Information, PromptButtons::Ok}));
  };
  Press(*Window, Qt::Key_Return);
  expectRefusal("Please assign a name to the category.");
  Type(*Window, "txtCatName", "Taken");
  Press(*Window, Qt::Key_Return);
  expectRefusal("A category with this name viz. 'Taken' already exists. Please assign a unique name.");
  Type(*Window, "txtCatDescription", "All that blows");
  Type(*Window, "txtCatName", "Fans");
  Press(*Window, Qt::Key_Return);
  EXPECT_EQ(TextOf(*Window, "cmdNextFinish"), "&Finish");
  Prompt.WillAnswer(PromptAnswer::No);
  Click(*Window, "cmdNextFinish");
  EXPECT_EQ(Prompt.Questions().back().Text, "Do you want to proceed without adding any members to 'Fans'?");
  EXPECT_EQ(TextOf(*Window, "txtSource"), "") << "the source starts empty";
  Type(*Window, "txtSource", "-All-");
  Click(*Window, "cmdAdd");
  expectRefusal("Please select atleast one unique property.");
  test::Choose(*Window, "cboGeneric", "enterpriseSpecific");
  test::Choose(*Window, "cboEnterprise", "acme");
  QTest::keyClick(&Find<QWidget>(*Window, "lvEnterpriseTraps"), Qt::Key_Down);
  EXPECT_EQ(TextOf(*Window, "txtDescription"), "A fan stands still.");
  Click(*Window, "cmdAdd");
  expectRefusal("Severity should be other than the default 'Clear'.");
  test::Choose(*Window, "cboSeverity", "Major");
  Click(*Window, "cmdAdd");
  Click(*Window, "cmdAdd");
  test::Choose(*Window, "cboGeneric", "linkDown");
  EXPECT_FALSE(IsEnabled(*Window, "cboEnterprise"));
  for (const char* source : {"r", "o"}) {
    Type(*Window, "txtSource", source);
    Click(*Window, "cmdAdd");
  }
  auto& list = Find<QTableView>(*Window, "lvTraps");
  const std::string fan = "-All-|enterpriseSpecific|acme|fanFailed||Major";
  EXPECT_THAT(test::Rows(list),
              ElementsAre(fan, fan, "r|linkDown|-All-|-All-||Major", "o|linkDown|-All-|-All-||Major"));
  EXPECT_FALSE(IsEnabled(*Window, "cmdRemove"));
  list.selectRow(2);
  Click(*Window, "cmdRemove");
  QTest::keyClick(&list, Qt::Key_Delete);
  EXPECT_THAT(test::Rows(list), ElementsAre(fan, fan)) << "the next row was selected";
  EXPECT_TRUE(Task.Cancelled);
  QTest::keyClick(Window.get(), Qt::Key_Return);
  EXPECT_FALSE(Window->isVisible());
  EXPECT_FALSE(Task.Cancelled);
  EXPECT_EQ(Task.CategoryName, "Fans");
  const CategoryDetails fans = Stored("Fans");
  EXPECT_EQ(fans.Description, "All that blows");
  EXPECT_EQ(fans.Severity, 3) << "that of its first trap";
  ASSERT_EQ(fans.Traps.size(), 1U) << "two equal ones are one";
  EXPECT_EQ(fans.Traps[0].SpecificTrap, "7");

  const int before = Transaction.ChangesBegun();
  Show({.Mode = WizardMode::EditCategory, .CategoryName = "Fans"});
  Type(*Window, "txtCatDescription", "lost");
  Press(*Window, Qt::Key_Escape);
  EXPECT_FALSE(Window->isVisible());
  EXPECT_TRUE(Task.Cancelled);
  EXPECT_EQ(Transaction.ChangesBegun(), before);
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
  // With this file; the choice that opens is answered by these buttons.  True when it tells what exists.
  bool Run(void (*command)(const CategoryServices&, QWidget*), const std::vector<const char*>& buttons) {
    Prompt.WillAnswerFiles({(Folder / "both.dvcat").string()});
    bool tells = false;
    InDialog([&] { command(ForCategories, nullptr); },
             [&](QDialog& choice) {
               tells = !Find<QTableView>(choice).isColumnHidden(2);
               for (const char* button : buttons) {
                 Click(choice, button);
               }
             });
    return tells;
  }

  test::TempFolder Folder;
};

TEST_F(CategoryExchangeTest, WhatIsExportedDeletedAndImportedIsTheSame) {
  const TrapDetail down = {.Source = "router1", .GenericTrap = 2, .Severity = 5};
  AddCategory("Lines", "about Lines",
              {down,
               {.GenericTrap = 6,
                .EnterpriseOid = "1.3.6.1.4.1.9",
                .SpecificTrap = "7",
                .VarBinds = "ü\n☃",
                .Severity = 1}});
  AddCategory("Fans", "about Fans", {down});
  const CategoryDetails lines = Details("Lines");
  EXPECT_FALSE(Run(ExportCategories, {"cmdOK"})) << "all that can be exported is there";
  {
    CategoryTransaction transaction(Connection);
    CategoryStore(transaction).DeleteCategory("Lines");
    transaction.Commit();
  }
  AddCategory("Mine", "about Mine");
  // Fans is there: it is offered unchecked and stays as it is.
  Store.Execute("UPDATE Category_Group_Master SET Category_Desc = 'changed' WHERE Category_Name = 'Fans'");
  EXPECT_TRUE(Run(ImportCategories, {"cmdOK"}));
  EXPECT_EQ(Details("Lines"), lines);
  EXPECT_EQ(Details("Fans").Description, "changed");
  EXPECT_EQ(Changes, 1);
  EXPECT_NE(Categories.Find("lines"), nullptr) << "read into memory";
  Run(ImportCategories, {"cmdAll", "cmdOK"});
  EXPECT_EQ(Details("Fans").Description, "about Fans") << "replaced whole";
  EXPECT_EQ(Details("Lines"), lines);
  EXPECT_EQ(Details("Mine").Description, "about Mine");
  EXPECT_EQ(Rows("Trap_Group_Detail"), 2) << "definitions are shared, not doubled";
  EXPECT_EQ(Rows("Category_Relation_Master"), 3);
}

TEST_F(CategoryExchangeTest, ADamagedOrMissingFileChangesNothing) {
  AddCategory("Lines", "about Lines");
  test::WriteFile(Folder / "bad.dvcat",
                  "Korvane category file, version 1\ncategory \"Lines\"\n  description x\n");
  for (const auto& [name, reason] :
       {std::pair<const char*, const char*>{"bad.dvcat", "Line 3: a text must stand between double quotes."},
        {"none.dvcat", "No such file"}}) {
    Prompt.WillAnswerFiles({(Folder / name).string()});
    ImportCategories(ForCategories, nullptr);
    EXPECT_THAT(Prompt.LastMessage(), HasSubstr(reason));
  }
  Prompt.WillAnswerFiles({(Folder / "no folder" / "x.dvcat").string()});
  InDialog([&] { ExportCategories(ForCategories, nullptr); },
           [](QDialog& choice) { Click(choice, "cmdOK"); });
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("could not be written"));
  EXPECT_EQ(Changes, 0);
  EXPECT_EQ(Details("Lines").Description, "about Lines");
}

}  // namespace
}  // namespace korvane::categories
