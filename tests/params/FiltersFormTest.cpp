// The list of filters without its window: what it shows, and that nothing is lost while it is saved.
#include "params/FiltersForm.h"

#include <gmock/gmock.h>

#include "FiltersFixture.h"
#include "params/DefinitionVerdicts.h"

namespace korvane::params {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

struct FiltersFormTest : test::FiltersFixture {
  FiltersForm Open() { return FiltersForm(Services); }
  // Makes every deletion fail, as a database does that refuses it.
  void RefuseDeleting() {
    Store.Execute(
        "CREATE TRIGGER refuse BEFORE DELETE ON Trap_Filter_Group BEGIN SELECT RAISE(ABORT, 'refused'); END");
  }
};

TEST_F(FiltersFormTest, RowsShowNamesAndWhatHasNone) {
  Store.AddFilter({});
  Store.AddFilter({.Source_Agent = "router1",
                   .EnterpriseOid = "1.3.6.1.4.1.50",
                   .GenericTrap = 6,
                   .SpecificTrap = 2,
                   .EventDescription = "fan"});
  Store.AddFilter({.EnterpriseOid = "1.3.6.1.4.1.50", .GenericTrap = 2});
  Store.AddFilter({.EnterpriseOid = "1.3.6.1.4.1.99", .GenericTrap = 6, .SpecificTrap = 7});
  Store.AddFilter({.GenericTrap = 9, .SpecificTrap = 7});
  FiltersForm form = Open();
  ASSERT_EQ(form.RowCount(), 5U);
  EXPECT_THAT(form.TextsAt(0), ElementsAre("-All-", "-All-", "-All-", "-All-", "-All-"));
  EXPECT_THAT(form.TextsAt(1), ElementsAre("router1", "enterpriseSpecific", "Acme", "fanBack", "fan"));
  EXPECT_THAT(form.TextsAt(2), ElementsAre("-All-", "linkDown", "Acme", "-All-", "-All-"));
  EXPECT_THAT(form.TextsAt(3),
              ElementsAre("-All-", "enterpriseSpecific", "1.3.6.1.4.1.99", "1.3.6.1.4.1.99.0.7", "-All-"));
  EXPECT_THAT(form.TextsAt(4), ElementsAre("-All-", "Unknown", "-All-", "7", "-All-"));
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Filters(), 5) << "saving what is stored changes nothing";
  EXPECT_EQ(Count("Trap_Detail"), 5);
}

TEST_F(FiltersFormTest, ARefusedFilterIsReportedAndTheOthersAreSaved) {
  FiltersForm form = Open();
  form.Add({.SourceAgent = "first"});
  form.Add({.SourceAgent = "o'brien", .VarBinds = "line\nbreak"});
  form.Add({.SourceAgent = "last"});
  form.Add({.SourceAgent = "last"});  // once is enough
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_EQ(Filters(), 2);
  EXPECT_EQ(FiltersFrom("last"), 1);
  EXPECT_EQ(form.FirstUnsaved(), 1U);
  ASSERT_THAT(Prompt.Messages(), SizeIs(1));
  EXPECT_EQ(Prompt.Messages()[0].Icon, PromptIcon::Critical);
  EXPECT_THAT(Prompt.Messages()[0].Text, HasSubstr("o'brien, -All-, -All-, -All-, line\xe2\x90\x8a"
                                                   "break"));
  EXPECT_EQ(Prompt.Questions()[0].Buttons, PromptButtons::YesNoCancel);
  EXPECT_EQ(Store.Text("SELECT Description FROM Trap_Filter_Group", "Description"),
            "first, -All-, -All-, -All-, -All-");

  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(form.Save()) << "given up";
  form.Replace(1, {.SourceAgent = "obrien"});
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Filters(), 3);
}

TEST_F(FiltersFormTest, EditedFiltersReplaceTheirOldRowsAndNoOthers) {
  for (const char* source : {"a", "b", "c", "d"}) Store.AddFilter({.Source_Agent = source});
  FiltersForm form = Open();
  form.Replace(0, {.SourceAgent = "b"});  // two that change places
  form.Replace(1, {.SourceAgent = "a"});
  form.Replace(2, {.SourceAgent = "x"});
  form.Replace(3, {.SourceAgent = "y"});
  form.Replace(3, {.SourceAgent = "d"});  // and back
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Filters(), 4);
  for (const char* source : {"a", "b", "x", "d"}) EXPECT_EQ(FiltersFrom(source), 1) << source;
  EXPECT_EQ(Count("Trap_Detail"), 5) << "the condition of c stays";

  form.Replace(2, {.SourceAgent = "it's"});
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(FiltersFrom("x"), 1) << "kept, since nothing could take its place";

  form.Replace(2, {.SourceAgent = "z"});
  RefuseDeleting();
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_EQ(FiltersFrom("x") + FiltersFrom("z"), 2);
  Store.Execute("DROP TRIGGER refuse");
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(FiltersFrom("x"), 0);
}

TEST_F(FiltersFormTest, RemovingAsksAndLeavesTheConditionToAlerts) {
  Store.AddFilter({.Source_Agent = "a"});
  Store.Execute(
      "INSERT INTO Trap_Action_Group (Description, Trap_ID) SELECT 'alert', MAX(Trap_Table_ID) "
      "FROM Trap_Detail");
  FiltersForm form = Open();
  form.Add({.SourceAgent = "new"});
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_FALSE(form.Remove(0));
  EXPECT_EQ(Prompt.Questions()[0],
            (test::ScriptedPrompts::Shown{"Are you sure you want to remove the selected Trap Filter?",
                                          PromptIcon::Question, PromptButtons::YesNo}));
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(form.Remove(1)) << "never stored: nothing to refuse";
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(form.Remove(0));
  EXPECT_EQ(form.RowCount(), 0U);
  EXPECT_EQ(Filters(), 0);
  EXPECT_EQ(Count("Trap_Detail, Trap_Action_Group WHERE Trap_ID = Trap_Table_ID"), 1);
}

TEST_F(FiltersFormTest, ADatabaseThatGoesAwayLosesNoFilter) {
  Store.AddFilter({.Source_Agent = "a"});
  FiltersForm form = Open();
  form.Add({.SourceAgent = "b"});
  form.Add({.SourceAgent = "c"});
  Store.TakeAway();
  Prompt.WillAnswer(PromptAnswer::Yes);
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_THAT(Prompt.Messages(), SizeIs(2)) << "one for each try, however many rows";
  EXPECT_THAT(Prompt.Questions()[0].Text, HasSubstr("2 filters could not be saved."));
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(form.Remove(0));
  EXPECT_EQ(form.RowCount(), 3U);
  Store.BringBack();
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Filters(), 3);
}

TEST_F(FiltersFormTest, ClosingPassesTheNewFiltersOn) {
  CategoryInformation categories;
  DefinitionVerdicts verdicts(InMemory, categories);
  Names.UseVerdicts(verdicts);
  store::IncomingTrap trap;
  trap.Source = "b";
  Names.GetTrapName(trap);
  ASSERT_FALSE(trap.Filtered);

  FiltersForm form = Open();
  form.Add({.SourceAgent = "b"});
  Windows.OnChange = [&] {
    Names.GetTrapName(trap);
    EXPECT_TRUE(trap.Filtered);
    EXPECT_EQ(Busy.Depth(), 0);
  };
  EXPECT_TRUE(form.Save());
  form.Apply();
  EXPECT_EQ(Windows.Changes, 1);
  EXPECT_THAT(Busy.Texts, ElementsAre("Saving New Data"));
}

}  // namespace
}  // namespace korvane::params
