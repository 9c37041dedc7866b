// The rules of the category wizard, over a real store.
#include "categories/WizardForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "categories/CategoryWriter.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"

namespace korvane::categories {
namespace {

using testing::ElementsAre;

struct WizardFormTest : testing::Test {
  WizardFormTest() {
    Store.Connect(Shared);
    Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme", "A fan stands still.");
  }
  CategoryDetails Details(const std::string& name) {
    return CategoryStore(Transaction).LoadTrapDetails(name);
  }
  std::unique_ptr<WizardForm> Open(WizardTask& task) {
    return std::make_unique<WizardForm>(task, Transaction, Names, Prompt);
  }
  store::Connection& Connected(store::Connection& connection) {
    Store.Connect(connection);
    return connection;
  }
  void Expect(const char* text) { EXPECT_EQ(Prompt.LastMessage(), text); }

  test::SqliteStore Store;
  store::Connection Shared;
  store::Connection Own;
  CategoryTransaction Transaction{Connected(Own)};
  store::TrapNames Names{Shared};
  test::ScriptedPrompts Prompt;
};

TEST_F(WizardFormTest, AddsACategoryWithItsTraps) {
  CategoryWriter(Transaction).AddCategory("Taken", "", 0, {});
  WizardTask task;
  const auto wizard = Open(task);
  EXPECT_EQ(wizard->Title(), "Add Category");
  EXPECT_EQ(wizard->NextCaption(), "&Next >");
  EXPECT_FALSE(wizard->NextOrFinish());
  Expect("Please assign a name to the category.");
  wizard->EditName("Taken");
  EXPECT_FALSE(wizard->NextOrFinish());
  Expect("A category with this name viz. 'Taken' already exists. Please assign a unique name.");
  wizard->EditName("Fans");
  wizard->EditDescription("All that blows");
  EXPECT_FALSE(wizard->NextOrFinish());
  EXPECT_EQ(wizard->Page(), WizardPage::Traps);
  EXPECT_EQ(wizard->NextCaption(), "&Finish");

  params::TrapCriteriaForm& criteria = wizard->Criteria();
  EXPECT_EQ(criteria.Controls().txtSource.Text, "") << "the source starts empty";
  criteria.EditSource("-All-");
  wizard->Add();
  Expect("Please select atleast one unique property.");
  criteria.EditSource("router1");
  wizard->Add();
  Expect("Severity should be other than the default 'Clear'.");
  wizard->ChooseSeverity(5);
  wizard->Add();
  criteria.EditSource("");
  criteria.ChooseGeneric(7);
  criteria.ChooseEnterprise(1);
  criteria.ChooseTrap(1);
  EXPECT_EQ(wizard->TrapDescription(), "A fan stands still.");
  wizard->ChooseSeverity(3);
  wizard->Add();
  wizard->Add();
  ASSERT_EQ(wizard->Pending().size(), 3U);
  EXPECT_THAT(wizard->Pending()[1].Texts,
              ElementsAre("-All-", "enterpriseSpecific", "acme", "fanFailed", "", "Major"));
  EXPECT_TRUE(task.Cancelled);
  EXPECT_TRUE(wizard->NextOrFinish());
  EXPECT_FALSE(task.Cancelled);
  EXPECT_EQ(task.CategoryName, "Fans");
  const CategoryDetails fans = Details("Fans");
  EXPECT_EQ(fans.Description, "All that blows");
  EXPECT_EQ(fans.Severity, 5) << "that of its first trap";
  ASSERT_EQ(fans.Traps.size(), 2U) << "two equal ones are one";
  EXPECT_EQ(fans.Traps[1].SpecificTrap, "7");
  EXPECT_EQ(fans.Traps[0].GenericTrap, -1);
}

TEST_F(WizardFormTest, AsksBeforeItWritesNoTraps) {
  WizardTask task;
  const auto wizard = Open(task);
  wizard->EditName("Empty");
  wizard->NextOrFinish();
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_FALSE(wizard->NextOrFinish());
  EXPECT_EQ(Prompt.Questions().back().Text, "Do you want to proceed without adding any members to 'Empty'?");
  EXPECT_FALSE(Transaction.Changed());
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(wizard->NextOrFinish());

  WizardTask add{.Mode = WizardMode::AddTrapDetails, .CategoryName = "Empty"};
  const auto adding = Open(add);
  EXPECT_EQ(adding->Title(), "Add Trap Detail");
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(adding->NextOrFinish());
  EXPECT_EQ(Prompt.Questions().back().Text, "Do you want to proceed without adding any new members?");
}

TEST_F(WizardFormTest, EditsADescriptionAndATrap) {
  CategoryWriter(Transaction)
      .AddCategory("A", "old", 4, std::vector{TrapDetail{.GenericTrap = 2, .Severity = 5}});
  WizardTask edit{.Mode = WizardMode::EditCategory, .CategoryName = "A"};
  const auto category = Open(edit);
  EXPECT_TRUE(category->NameIsFixed());
  EXPECT_EQ(category->Description(), "old");
  EXPECT_EQ(category->NextCaption(), "&Finish");
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
  EXPECT_FALSE(trap->ListShows());
  EXPECT_EQ(trap->Criteria().Controls().cboGeneric.Text(), "linkDown");
  EXPECT_EQ(trap->Severity().Text(), "Critical");
  trap->ChooseSeverity(0);
  EXPECT_FALSE(trap->NextOrFinish());
  Expect("Severity should be other than the default 'Clear'.");
  trap->ChooseSeverity(1);
  trap->Criteria().EditVarBinds("eth0");
  EXPECT_TRUE(trap->NextOrFinish());
  ASSERT_EQ(Details("A").Traps.size(), 1U);
  EXPECT_EQ(Details("A").Traps[0].VarBinds, "eth0");
}

}  // namespace
}  // namespace korvane::categories
