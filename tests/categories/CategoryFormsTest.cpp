// "Manage Categories" and its wizard without their windows: what they list, ask, change and leave behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "categories/CategoriesForm.h"
#include "categories/SplitterLayout.h"
#include "categories/WizardForm.h"
#include "support/RulesWorld.h"

namespace korvane::categories {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kUndoQuestion[] =
    "This action will undo the changes you have made. Select 'Yes' to save the changes and exit or select "
    "'No' to exit without saving the changes.";

TrapDetail LinkDown(std::string source = {}) {
  return {.Source = std::move(source), .GenericTrap = 2, .Severity = 5};
}

// Plays the wizard by a script of its own.
struct CategoriesFormTest : test::RulesWorld, CategoriesWindow, testing::Test {
  ~CategoriesFormTest() override { EXPECT_EQ(Pointer, 0) << "the pointer stays busy"; }
  void RunWizard(WizardTask& task, CategoryTransaction& transaction) override {
    Task = task;
    CategoryWriter writer(transaction);
    task.Cancelled = !Wizard;
    if (Wizard) {
      Wizard(task, writer);
    }
  }
  void ShowBusyPointer(bool busy) override { Pointer += busy ? 1 : -1; }

  void AddThroughWizard(const std::string& name) {
    Wizard = [name](WizardTask& task, CategoryWriter& writer) {
      task.CategoryName = name;
      writer.AddCategory(name, "", 0, std::vector{LinkDown()});
    };
    EXPECT_TRUE(Form.CreateCategory());
  }
  bool Answered(PromptAnswer answer, bool (CategoriesForm::*act)()) {
    Prompt.WillAnswer(answer);
    return (Form.*act)();
  }
  std::vector<std::string> Sources() {
    std::vector<std::string> sources;
    for (const TrapDetail& trap : Form.Traps()) {
      sources.push_back(trap.Source);
    }
    return sources;
  }

  std::function<void(WizardTask&, CategoryWriter&)> Wizard;  // empty: cancelled
  WizardTask Task;
  int Pointer = 0;
  CategoriesForm Form{ForCategories, *this};
};

TEST_F(CategoriesFormTest, ListsCategoriesInTableOrderAndSelectsWhatTheWizardMade) {
  AddCategory("Zulu", "Zulu described", {LinkDown("a"), LinkDown("b")});
  AddCategory("Lines");
  ASSERT_TRUE(Form.Open());
  EXPECT_THAT(Form.Categories(), ElementsAre("Zulu", "Lines"));
  EXPECT_EQ(Form.SelectedName(), "Zulu");
  EXPECT_EQ(Form.Description(), "Zulu described");
  EXPECT_THAT(Sources(), ElementsAre("a", "b"));
  AddThroughWizard("LINES");
  EXPECT_EQ(Task.Mode, WizardMode::AddCategory);
  EXPECT_EQ(Form.SelectedName(), "Lines") << "the first of that name ignoring case";

  Wizard = nullptr;
  EXPECT_FALSE(Form.EditCategory());
  EXPECT_EQ(Task.Mode, WizardMode::EditCategory);
  EXPECT_EQ(Task.CategoryName, "Lines");
  Wizard = [](WizardTask& task, CategoryWriter& writer) {
    writer.AddTrapDetails(task.CategoryName, std::vector{LinkDown("x"), LinkDown("y")});
  };
  EXPECT_EQ(Form.AddTraps(), 0U);
  EXPECT_EQ(Task.Mode, WizardMode::AddTrapDetails);
  EXPECT_THAT(Sources(), ElementsAre("x", "y"));
  Wizard = [](WizardTask& task, CategoryWriter& writer) {
    writer.EditTrapDetail(task.CategoryName, task.TrapTableId, LinkDown("edited"));
  };
  const std::int32_t first = Form.Traps()[0].TrapTableId;
  const auto row = Form.EditTrap(0);
  EXPECT_EQ(Task.TrapTableId, first);
  ASSERT_TRUE(row);
  EXPECT_EQ(Form.Traps()[*row].Source, "edited") << "the edited trap is the one selected";

  EXPECT_EQ(Rows("Category_Group_Master"), 2) << "nobody sees it yet";
  EXPECT_TRUE(Form.Ok());
  Form.Unload();
  EXPECT_EQ(Rows("Category_Group_Master"), 3);
  EXPECT_EQ(Changes, 1);
  EXPECT_NE(Categories.Find("LINES"), nullptr);
}

TEST_F(CategoriesFormTest, CancelAsksOnlyAfterAChangeAndTheCloseBoxNever) {
  struct Case {
    std::vector<PromptAnswer> Answers;  // empty: the close box
    int Saved;
    int Told;
  };
  for (const Case& leaving : {Case{{}, 0, 0}, Case{{PromptAnswer::No}, 0, 1},
                              Case{{PromptAnswer::Cancel, PromptAnswer::Yes}, 1, 1}}) {
    Changes = 0;
    ASSERT_TRUE(Form.Open());
    AddThroughWizard("Made");
    for (const PromptAnswer answer : leaving.Answers) {
      EXPECT_EQ(Answered(answer, &CategoriesForm::Cancel), answer != PromptAnswer::Cancel);
      EXPECT_EQ(
          Prompt.Questions().back(),
          (test::ScriptedPrompts::Shown{kUndoQuestion, PromptIcon::Information, PromptButtons::YesNoCancel}));
    }
    if (leaving.Answers.empty()) {
      Form.CloseBox();
    }
    Form.Unload();
    EXPECT_EQ(Rows("Category_Group_Master"), leaving.Saved);
    EXPECT_EQ(Changes, leaving.Told);
  }
}

// What the wizard wrote before an error stays in the transaction, so it shows, and leaving asks.
TEST_F(CategoriesFormTest, AWizardThatFailedHalfwayAndWasCancelledIsShownAndAskedAbout) {
  AddCategory("A", "", {LinkDown("a")});
  AddCategory("B");
  for (const char* table : {"Category_Relation_Master", "Trap_Group_Detail"}) {
    Store.Execute(fmt::format(
        "CREATE TRIGGER Full_{0} BEFORE INSERT ON {0} WHEN (SELECT COUNT(*) FROM {0}) > 1 BEGIN SELECT "
        "RAISE(ABORT, 'disk full'); END",
        table));
  }
  ASSERT_TRUE(Form.Open());
  Form.SelectCategory(1);
  const auto fail = [this](const auto& write) {
    Wizard = [write](WizardTask& task, CategoryWriter& writer) {
      EXPECT_THROW(write(task, writer), store::DatabaseError);
      task.Cancelled = true;
    };
  };
  fail([](WizardTask&, CategoryWriter& writer) {
    writer.AddCategory("New", "", 0, std::vector{LinkDown("n")});
  });
  EXPECT_TRUE(Form.CreateCategory());
  EXPECT_THAT(Form.Categories(), ElementsAre("A", "B", "New"));
  EXPECT_EQ(Form.SelectedName(), "B") << "the wizard made none";
  Form.SelectCategory(0);
  fail([](WizardTask& task, CategoryWriter& writer) {
    writer.EditTrapDetail(task.CategoryName, task.TrapTableId, LinkDown("edited"));
  });
  EXPECT_EQ(Form.EditTrap(0), std::nullopt);
  EXPECT_THAT(Sources(), IsEmpty());
  EXPECT_TRUE(Answered(PromptAnswer::No, &CategoriesForm::Cancel));
  Form.Unload();
  EXPECT_EQ(Rows("Category_Group_Master"), 2);
  EXPECT_EQ(Rows("Trap_Group"), 1);
}

TEST_F(CategoriesFormTest, NamesThatCannotBeReadLeaveTheRowsReadable) {
  AddCategory("A", "", {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.9", .SpecificTrap = "7"}});
  Store.AddDefinition("1.3.6.1.4.1.9", 7, "coldReboot", "vendor");
  ASSERT_TRUE(Form.Open());
  EXPECT_EQ(Form.TextsOf(Form.Traps()[0])[3], "coldReboot");
  Connection.Close();
  Names.ClearCache();
  EXPECT_EQ(Form.TextsOf(Form.Traps()[0])[2], "1.3.6.1.4.1.9");
  EXPECT_TRUE(Form.TakeNamesError());
  Form.TextsOf(Form.Traps()[0]);
  EXPECT_FALSE(Form.TakeNamesError()) << "told once for a list";
}

struct WizardFormTest : test::RulesWorld, testing::Test {
  CategoryDetails Details(const std::string& name) {
    return CategoryStore(Transaction).LoadTrapDetails(name);
  }
  std::unique_ptr<WizardForm> Open(WizardTask& task) {
    return std::make_unique<WizardForm>(task, Transaction, Names, Prompt);
  }

  std::unique_ptr<store::Connection> Own = ForCategories.OpenConnection({});
  CategoryTransaction Transaction{*Own};
};

TEST_F(WizardFormTest, EditsADescriptionAndATrapAndMayAddNone) {
  CategoryWriter(Transaction).AddCategory("A", "old", 4, std::vector{LinkDown()});
  WizardTask edit{.Mode = WizardMode::EditCategory, .CategoryName = "A"};
  const auto category = Open(edit);
  EXPECT_EQ(category->Description(), "old");
  category->EditDescription("it's new");
  EXPECT_FALSE(category->NextOrFinish()) << "the statement can't hold an apostrophe";
  EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Critical);
  category->EditDescription("new");
  EXPECT_TRUE(category->NextOrFinish());
  EXPECT_EQ(Details("A").Description, "new");
  EXPECT_EQ(Details("A").Severity, 4);

  WizardTask task{.Mode = WizardMode::EditTrapDetail,
                  .CategoryName = "A",
                  .TrapTableId = Details("A").Traps.front().TrapTableId};
  const auto trap = Open(task);
  EXPECT_EQ(trap->Criteria().Controls().cboGeneric.Text(), "linkDown");
  EXPECT_EQ(trap->Severity().Text(), "Critical");
  trap->ChooseSeverity(0);
  EXPECT_FALSE(trap->NextOrFinish()) << "it has no severity";
  trap->ChooseSeverity(1);
  trap->Criteria().EditVarBinds("eth0");
  EXPECT_TRUE(trap->NextOrFinish());
  ASSERT_EQ(Details("A").Traps.size(), 1U);
  EXPECT_EQ(Details("A").Traps[0].VarBinds, "eth0");

  WizardTask add{.Mode = WizardMode::AddTrapDetails, .CategoryName = "A"};
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(Open(add)->NextOrFinish());
  EXPECT_EQ(Prompt.Questions().back().Text, "Do you want to proceed without adding any new members?");
  EXPECT_EQ(Details("A").Traps.size(), 1U);
}

TEST(SplitterLayoutTest, NeitherListShrinksBelowItsLimit) {
  constexpr int kWidth = 12000;
  EXPECT_EQ(SplitterPosition(4000, -3900, kWidth), 500);
  EXPECT_EQ(SplitterPosition(4000, 7900, kWidth), 11500);
  EXPECT_EQ(SplitterPosition(4000, 250, kWidth), 4250);
  EXPECT_EQ(SizeControls(500, kWidth).Tree, (Span{0, 1500}));
  EXPECT_EQ(SizeControls(11500, kWidth).SplitterLeft, 10500);
  const CategoryLayout layout = SizeControls(4000, kWidth);
  EXPECT_EQ(layout.TreeTitle, (Span{0, 4000}));
  EXPECT_EQ(layout.List, (Span{4040, 7860}));
  EXPECT_EQ(layout.ListTitle, (Span{4060, 7820}));
  EXPECT_EQ(SizeControls(4000, 1000).Tree.Width, 1500) << "no window is that narrow, but nothing breaks";
}

}  // namespace
}  // namespace korvane::categories
