// "Manage Categories" without its window: what it lists, asks, changes and leaves behind.

#include "categories/CategoriesForm.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "CategoriesWorld.h"
#include "categories/SplitterLayout.h"

namespace korvane::categories {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kUndoQuestion[] =
    "This action will undo the changes you have made. Select 'Yes' to save the changes and exit or select "
    "'No' to exit without saving the changes.";

// Plays the wizard by a script of its own.
class ScriptedWindow : public CategoriesWindow {
 public:
  void RunWizard(WizardTask& task, CategoryTransaction& transaction) override {
    Task = task;
    task.Cancelled = false;
    CategoryWriter writer(transaction);
    Wizard(task, writer);
  }
  void ShowBusyPointer(bool busy) override { Busy += busy ? 1 : -1; }

  std::function<void(WizardTask&, CategoryWriter&)> Wizard = [](WizardTask& task, CategoryWriter&) {
    task.Cancelled = true;
  };
  WizardTask Task;
  int Busy = 0;
};

TrapDetail LinkDown(std::string source = {}) {
  return {.Source = std::move(source), .GenericTrap = 2, .Severity = 5};
}

struct CategoriesFormTest : test::CategoriesWorld, testing::Test {
  ~CategoriesFormTest() override { EXPECT_EQ(Window.Busy, 0) << "the pointer stays busy"; }

  void AddCategory(const std::string& name, const std::vector<TrapDetail>& traps = {}) {
    CategoryTransaction transaction(Connection);
    CategoryWriter(transaction).AddCategory(name, name + " described", 0, traps);
    transaction.Commit();
  }
  void AddThroughWizard(const std::string& name) {
    Window.Wizard = [name](WizardTask& task, CategoryWriter& writer) {
      task.CategoryName = name;
      writer.AddCategory(name, "", 0, std::vector{LinkDown()});
    };
    EXPECT_TRUE(Form.CreateCategory());
  }
  std::vector<std::string> Sources() {
    std::vector<std::string> sources;
    for (const TrapDetail& trap : Form.Traps()) {
      sources.push_back(trap.Source);
    }
    return sources;
  }

  ScriptedWindow Window;
  CategoriesForm Form{Services, Window};
};

TEST_F(CategoriesFormTest, AnEmptyDatabaseOffersOnlyToCreate) {
  ASSERT_TRUE(Form.Open());
  EXPECT_EQ(Asked.ConnectTimeoutSeconds, 120);
  EXPECT_EQ(Asked.CommandTimeoutSeconds, 480);
  EXPECT_THAT(Form.Categories(), IsEmpty());
  // Nothing is selected: none of these asks, shows the wizard or changes anything.
  Window.Wizard = [](WizardTask&, CategoryWriter&) { ADD_FAILURE() << "the wizard"; };
  Form.EditCategory();
  EXPECT_FALSE(Form.DeleteCategory());
  EXPECT_FALSE(Form.AddTraps());
  EXPECT_FALSE(Form.EditTrap(0));
  EXPECT_FALSE(Form.RemoveTrap(0));
  EXPECT_FALSE(Form.Modified());
  EXPECT_TRUE(Form.Cancel()) << "and nothing is asked";
  Form.Unload();
  EXPECT_THAT(Platform.Clock.Sleeps, ElementsAre(500));
  EXPECT_EQ(Windows.Changes, 0);
  EXPECT_THAT(Prompt.Messages(), IsEmpty());
}

TEST_F(CategoriesFormTest, ListsCategoriesInTableOrderAndSelectsWhatTheWizardMade) {
  AddCategory("Zulu", {LinkDown("a"), LinkDown("b")});
  AddCategory("Lines");
  Store.Execute("INSERT INTO Category_Group_Master (Category_Name) VALUES ('Sibling')");
  ASSERT_TRUE(Form.Open());
  EXPECT_THAT(Form.Categories(), ElementsAre("Zulu", "Lines")) << "a sibling's category stays hidden";
  EXPECT_EQ(Form.SelectedName(), "Zulu");
  EXPECT_EQ(Form.Description(), "Zulu described");
  EXPECT_THAT(Sources(), ElementsAre("a", "b"));

  AddThroughWizard("LINES");
  EXPECT_EQ(Window.Task.Mode, WizardMode::AddCategory);
  EXPECT_EQ(Form.SelectedName(), "Lines") << "the first of that name ignoring case";
  EXPECT_THAT(Sources(), IsEmpty());

  // Cancelled: everything stays as it is.
  Window.Wizard = [](WizardTask& task, CategoryWriter&) { task.Cancelled = true; };
  EXPECT_FALSE(Form.EditCategory());
  EXPECT_EQ(Window.Task.Mode, WizardMode::EditCategory);
  EXPECT_EQ(Window.Task.CategoryName, "Lines");

  Window.Wizard = [](WizardTask& task, CategoryWriter& writer) {
    writer.AddTrapDetails(task.CategoryName, std::vector{LinkDown("x"), LinkDown("y")});
  };
  EXPECT_EQ(Form.AddTraps(), 0U);
  EXPECT_EQ(Window.Task.Mode, WizardMode::AddTrapDetails);
  EXPECT_THAT(Sources(), ElementsAre("x", "y"));
  Window.Wizard = [](WizardTask& task, CategoryWriter& writer) {
    writer.EditTrapDetail(task.CategoryName, task.TrapTableId, LinkDown("edited"));
  };
  const std::int32_t edited = Form.Traps()[0].TrapTableId;
  const auto row = Form.EditTrap(0);
  EXPECT_EQ(Window.Task.TrapTableId, edited);
  ASSERT_TRUE(row);
  EXPECT_EQ(Form.Traps()[*row].Source, "edited") << "the edited trap is the one selected";

  EXPECT_EQ(Rows("Category_Group_Master"), 3) << "nobody sees it yet";
  EXPECT_TRUE(Form.Ok());
  Form.Unload();
  EXPECT_EQ(Rows("Category_Group_Master"), 4);
  EXPECT_EQ(Windows.Changes, 1);
  ASSERT_NE(Categories.Find("LINES"), nullptr);
}

TEST_F(CategoriesFormTest, DeletesAndRemovesAfterAskingAndTheSharedDefinitionsStay) {
  AddCategory("A", {LinkDown(), LinkDown("x")});
  AddCategory("B", {LinkDown()});
  AddCategory("Bare");
  ASSERT_TRUE(Form.Open());
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_FALSE(Form.RemoveTrap(0));
  EXPECT_EQ(Prompt.Questions().back().Text, "Are you sure you want to remove selected Trap Detail?");
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_FALSE(Form.DeleteCategory());
  EXPECT_EQ(Prompt.Questions().back(),
            (test::ScriptedPrompts::Shown{"Do you want to remove the selected Category - 'A'?",
                                          PromptIcon::Question, PromptButtons::YesNo}));
  EXPECT_FALSE(Form.Modified());

  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(Form.RemoveTrap(0));
  EXPECT_THAT(Sources(), ElementsAre("x"));
  Form.SelectCategory(2);
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(Form.DeleteCategory());
  EXPECT_EQ(Form.SelectedName(), "B") << "behind the last there is the one before";
  EXPECT_EQ(Form.Traps().size(), 1U);
  Form.SelectCategory(0);
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(Form.DeleteCategory());
  EXPECT_EQ(Form.SelectedName(), "B") << "the next takes its place";
  EXPECT_TRUE(Form.Ok());
  EXPECT_EQ(Rows("Trap_Group_Master"), 1);
  EXPECT_EQ(Rows("Trap_Group"), 1);
  EXPECT_EQ(Rows("Trap_Group_Detail"), 2);
}

TEST_F(CategoriesFormTest, CancelAsksOnlyAfterAChangeAndTheCloseBoxNever) {
  struct Case {
    std::vector<PromptAnswer> Answers;  // empty: the close box
    bool Saved;
    int Changes;
  };
  int made = 0;
  for (const Case& leaving : {Case{{PromptAnswer::Cancel, PromptAnswer::Yes}, true, 1},
                              Case{{PromptAnswer::No}, false, 1}, Case{{}, false, 0}}) {
    Windows.Changes = 0;
    ASSERT_TRUE(Form.Open());
    const std::string name = fmt::format("Made {}", ++made);
    AddThroughWizard(name);
    for (const PromptAnswer answer : leaving.Answers) {
      Prompt.WillAnswer(answer);
      EXPECT_EQ(Form.Cancel(), answer != PromptAnswer::Cancel);
      EXPECT_EQ(
          Prompt.Questions().back(),
          (test::ScriptedPrompts::Shown{kUndoQuestion, PromptIcon::Information, PromptButtons::YesNoCancel}));
    }
    if (leaving.Answers.empty()) {
      Form.CloseBox();
    }
    Form.Unload();
    EXPECT_EQ(Rows("Category_Group_Master WHERE Category_Name = '" + name + "'"), leaving.Saved ? 1 : 0);
    EXPECT_EQ(Windows.Changes, leaving.Changes) << name;
  }
}

// What the wizard wrote before an error stays in the transaction, so it shows, and leaving asks.
TEST_F(CategoriesFormTest, AWizardThatFailedHalfwayAndWasCancelledIsShownAndAskedAbout) {
  AddCategory("A", {LinkDown("a")});
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
    Window.Wizard = [write](WizardTask& task, CategoryWriter& writer) {
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
  EXPECT_TRUE(Form.Modified());
  Form.SelectCategory(0);
  fail([](WizardTask& task, CategoryWriter& writer) {
    writer.EditTrapDetail(task.CategoryName, task.TrapTableId, LinkDown("edited"));
  });
  EXPECT_EQ(Form.EditTrap(0), std::nullopt);
  EXPECT_THAT(Sources(), IsEmpty());

  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(Form.Cancel());
  EXPECT_EQ(Prompt.Questions().back().Text, kUndoQuestion);
  Form.Unload();
  EXPECT_EQ(Rows("Category_Group_Master"), 2);
  EXPECT_EQ(Rows("Trap_Group"), 1);
}

TEST_F(CategoriesFormTest, TrapsAreStoredAndAcknowledgedWhileChangesArePending) {
  ASSERT_TRUE(Form.Open());
  AddThroughWizard("Pending");
  const std::int32_t number = Store.AddTrap({.EventTime = 5});
  Connection.Execute(fmt::format("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber = {}", number));
  EXPECT_EQ(Rows("EventTrap WHERE EventAck = 1"), 1);
  EXPECT_TRUE(Categories.ReloadCategoryInformation(Connection));
  EXPECT_EQ(Categories.Find("Pending"), nullptr) << "others don't see what is not committed";
  EXPECT_TRUE(Form.Ok());
  Form.Unload();
  EXPECT_NE(Categories.Find("Pending"), nullptr);
}

TEST_F(CategoriesFormTest, WithoutAConnectionNothingOpens) {
  Reachable = false;
  EXPECT_FALSE(Form.Open());
  EXPECT_EQ(
      Prompt.Messages(),
      (std::vector<test::ScriptedPrompts::Shown>{{"no server", PromptIcon::Critical, PromptButtons::Ok}}));
  EXPECT_FALSE(Form.CreateCategory());
  Form.Unload();
}

TEST_F(CategoriesFormTest, NamesThatCannotBeReadLeaveTheRowsReadable) {
  AddCategory("A", {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.9", .SpecificTrap = "7"}});
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

TEST(SplitterLayoutTest, NeitherListShrinksBelowItsLimit) {
  constexpr int kWidth = 12000;
  EXPECT_EQ(SplitterPosition(4000, -3900, kWidth), 500);
  EXPECT_EQ(SplitterPosition(4000, 7900, kWidth), 11500);
  EXPECT_EQ(SplitterPosition(4000, 250, kWidth), 4250);
  EXPECT_EQ(SizeControls(500, kWidth).Tree, (Span{0, 1500}));
  EXPECT_EQ(SizeControls(11500, kWidth).SplitterLeft, 10500);
  const CategoryLayout layout = SizeControls(4000, kWidth);
  EXPECT_EQ(layout.Tree, (Span{0, 4000}));
  EXPECT_EQ(layout.TreeTitle, (Span{0, 4000}));
  EXPECT_EQ(layout.List, (Span{4040, 7860}));
  EXPECT_EQ(layout.ListTitle, (Span{4060, 7820}));
  EXPECT_EQ(SizeControls(4000, 1000).Tree.Width, 1500) << "no window is that narrow, but nothing breaks";
}

}  // namespace
}  // namespace korvane::categories
