// The dialogs of the filters without their windows: what they show, and that no filter is lost or invented.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "params/DefinitionVerdicts.h"
#include "params/FilterInfoForm.h"
#include "params/FiltersForm.h"
#include "support/RulesWorld.h"

namespace korvane::params {
namespace {

using test::ScriptedPrompts;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr std::string_view kAcme = "1.3.6.1.4.1.50";

struct FiltersTest : test::RulesWorld, testing::Test {
  FiltersTest() {
    Store.AddDefinition(kAcme, 1, "fanFailed", "Acme");
    Store.AddDefinition(kAcme, 2, "fanBack", "Acme");
    Store.AddDefinition("1.3.6.1.4.1.60", 9, "zap", "Zeta");
  }
  FilterInfoForm Edit(FilterValues filter) { return {std::move(filter), Names, Prompt}; }
  static void ChooseEnterprise(FilterInfoForm& form, std::string_view name) {
    const auto& items = form.Controls().cboEnterprise.Items;
    form.ChooseEnterprise(static_cast<std::size_t>(std::ranges::find(items, name) - items.begin()));
  }
  // With sources alone.
  void AddFilters(std::initializer_list<const char*> sources) {
    for (const char* source : sources) {
      Store.AddFilter({.Source_Agent = source});
    }
  }
  // The sources of all stored filters.
  std::string Stored() {
    std::string sources;
    for (const StoredFilter& filter : FilterStore(Connection).ReadFilters()) {
      sources += filter.Values.SourceAgent + " ";
    }
    return sources;
  }
};

TEST_F(FiltersTest, EveryStoredFilterComesThroughUntouched) {
  Store.AddDefinition("1.3.6.1.4.1.51", 1, "fanFailed", "Acme");  // a second OID of the name
  Store.AddDefinition("1.3.6.1.4.1.70.0", 4, "dotZero", "Dotted");
  struct Case {
    FilterValues Filter;
    std::string Generic, Enterprise, Trap;
  };
  const std::string specific = "enterpriseSpecific";
  const Case cases[] = {
      {{.SourceAgent = "router1"}, "-All-", "-All-", "-All-"},
      {{.SourceAgent = "a\nb", .GenericTrap = 9, .VarBinds = " x "}, "Unknown", "-All-", "-All-"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.50"}, specific, "Acme", "-All-"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.51", .SpecificTrap = 1},
       specific,
       "Acme",
       "fanFailed (1.3.6.1.4.1.51.0.1)"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.70", .SpecificTrap = 4},
       specific,
       "Dotted",
       "dotZero"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.50", .SpecificTrap = 8},
       specific,
       "Acme",
       "1.3.6.1.4.1.50.0.8"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.9", .SpecificTrap = 8}, specific, "1.3.9", "1.3.9.0.8"},
      {{.GenericTrap = 6, .SpecificTrap = 8}, specific, "-All-", "8"},
      {{.GenericTrap = 2, .EnterpriseOid = "1.3.6.1.4.1.60", .SpecificTrap = 9}, "linkDown", "Zeta", "zap"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.Enterprise + each.Trap);
    FilterInfoForm form = Edit(each.Filter);
    EXPECT_EQ(form.Controls().cboGeneric.Text(), each.Generic);
    EXPECT_EQ(form.Controls().cboEnterprise.Text(), each.Enterprise);
    EXPECT_EQ(form.Controls().cboEnterprise.Enabled, each.Generic == specific);
    EXPECT_EQ(form.Controls().lvTraps.Text(), each.Trap);
    EXPECT_TRUE(form.Ok());
    EXPECT_EQ(form.Filter(), each.Filter);
    form.EditSource("other");
    FilterValues expected = each.Filter;
    expected.SourceAgent = "other";
    EXPECT_EQ(form.Filter(), expected);
  }
}

TEST_F(FiltersTest, AnEnterpriseNeedsTheGenericThatHasOne) {
  FilterInfoForm form = Edit({});
  EXPECT_EQ(form.Controls().txtSource.Text, "-All-");
  EXPECT_THAT(form.Controls().cboEnterprise.Items, ElementsAre("-All-", "Acme", "Zeta"));
  form.ChooseGeneric(kEnterpriseSpecificPosition);
  EXPECT_TRUE(form.Controls().cboEnterprise.Enabled);
  ChooseEnterprise(form, "Zeta");
  EXPECT_EQ(form.Filter(), (FilterValues{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.60"}));
  for (const std::size_t trap : {1U, 0U, 1U}) {
    form.ChooseTrap(trap);
    EXPECT_EQ(form.Filter().SpecificTrap, trap == 0 ? 0 : 9);
  }
  form.ChooseGeneric(3);
  EXPECT_FALSE(form.Controls().cboEnterprise.Enabled);
  EXPECT_EQ(form.Controls().cboEnterprise.Text(), "-All-");
  EXPECT_THAT(form.Controls().lvTraps.Items, ElementsAre("-All-"));
  EXPECT_EQ(form.Filter(), (FilterValues{.GenericTrap = 2}));
}

TEST_F(FiltersTest, OneOfSeveralOidsIsKeptUntilAnotherIsChosen) {
  Store.AddDefinition("1.3.6.1.4.1.51", 3, "psuFailed", "Acme");
  Store.AddDefinition("1.3.6.1.4.1.80", 1, "up", "v1.2 box");  // no OID, though it has a "."
  Store.AddDefinition("1.3.6.1.4.1.70.0", 4, "dotZero", "Dotted");
  FilterInfoForm form = Edit({.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.51"});
  EXPECT_THAT(form.Controls().lvTraps.Items, ElementsAre("-All-", "fanBack", "fanFailed", "psuFailed"));
  struct Choice {
    const char* Enterprise;
    std::size_t Trap;
    std::string_view Oid;
  };
  for (const Choice& choice : {Choice{"Acme", 1, kAcme}, Choice{"Acme", 0, "1.3.6.1.4.1.51"},
                               Choice{"v1.2 box", 0, "1.3.6.1.4.1.80"},
                               Choice{"Dotted", 0, "1.3.6.1.4.1.70"},  // its traps come without the .0
                               Choice{"Dotted", 1, "1.3.6.1.4.1.70"}, Choice{"Acme", 0, "1.3.6.1.4.1.51"}}) {
    ChooseEnterprise(form, choice.Enterprise);
    form.ChooseTrap(choice.Trap);
    EXPECT_EQ(form.Filter().EnterpriseOid, choice.Oid) << choice.Enterprise;
  }
}

TEST_F(FiltersTest, DefinitionsThatChangeUnderTheDialogChangeNoCondition) {
  FilterInfoForm form = Edit({.GenericTrap = 6, .EnterpriseOid = std::string(kAcme)});
  Store.AddDefinition(kAcme, 3, "a new one", "Acme");
  Store.Execute("DELETE FROM EventStructure WHERE Name = 'Zeta'");
  Names.ClearCache();
  form.ChooseTrap(1);
  EXPECT_EQ(form.Controls().lvTraps.Text(), "fanBack");
  EXPECT_EQ(form.Filter().SpecificTrap, 2) << "the one that the list shows";
  ChooseEnterprise(form, "Zeta");
  EXPECT_EQ(Prompt.LastMessage(), "The trap definitions of 'Zeta' are no longer in the database.");
  EXPECT_EQ(form.Controls().cboEnterprise.Text(), "-All-")
      << "it is no condition, so it may not look like one";
  EXPECT_EQ(form.Filter(), FilterValues{.GenericTrap = 6});
}

TEST_F(FiltersTest, AFilterForEveryTrapIsRefused) {
  for (const char* all : {"", "-All-"}) {
    FilterInfoForm form = Edit({});
    form.EditSource(all);
    form.EditVarBinds(all);
    EXPECT_FALSE(form.Ok());
    EXPECT_EQ(Prompt.Messages().back(),
              (ScriptedPrompts::Shown{
                  "You have not selected any unique property. Please make atleast one property unique.",
                  PromptIcon::Information, PromptButtons::Ok}));
    form.ChooseGeneric(1);
    EXPECT_TRUE(form.Ok());
    EXPECT_EQ(form.Filter(), FilterValues{.GenericTrap = 0});
    form.ChooseGeneric(0);
    form.EditVarBinds("x");
    EXPECT_TRUE(form.Ok());
    EXPECT_EQ(form.Filter(), FilterValues{.VarBinds = "x"});
  }
}

TEST_F(FiltersTest, WithoutTheDatabaseNoConditionIsLostOrInvented) {
  const FilterValues filter{.GenericTrap = 6, .EnterpriseOid = std::string(kAcme), .SpecificTrap = 1};
  FilterInfoForm known = Edit(filter);
  AddFilters({"a"});
  FiltersForm list(ForFilters);
  list.Add({.SourceAgent = "b"});
  list.Add({.SourceAgent = "c"});
  Names.ClearCache();
  Store.TakeAway();
  FilterInfoForm form = Edit(filter);
  EXPECT_THAT(Prompt.Messages(), SizeIs(1));
  EXPECT_EQ(form.Controls().cboEnterprise.Text(), kAcme);
  EXPECT_TRUE(form.Ok());
  EXPECT_EQ(form.Filter(), filter);
  ChooseEnterprise(known, "Zeta");
  EXPECT_THAT(Prompt.Messages(), SizeIs(2));
  EXPECT_EQ(known.Controls().cboEnterprise.Text(), "-All-");
  EXPECT_EQ(known.Filter(), FilterValues{.GenericTrap = 6});

  Prompt.Clear();
  Prompt.WillAnswer(PromptAnswer::Yes);
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(list.Save());
  EXPECT_THAT(Prompt.Messages(), SizeIs(2)) << "one for each try, however many rows";
  EXPECT_THAT(Prompt.Questions()[0].Text, HasSubstr("2 filters could not be saved."));
  Store.BringBack();
  EXPECT_TRUE(list.Save());
  EXPECT_EQ(Stored(), "a b c ");
}

TEST_F(FiltersTest, ARefusedFilterIsReportedAndTheOthersAreSaved) {
  FiltersForm form(ForFilters);
  form.Add({.SourceAgent = "first"});
  form.Add({.SourceAgent = "o'brien", .VarBinds = "line\nbreak"});
  form.Add({.SourceAgent = "last"});
  form.Add({.SourceAgent = "last"});  // once is enough
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_EQ(Stored(), "first last ");
  EXPECT_EQ(form.FirstUnsaved(), 1U);
  ASSERT_THAT(Prompt.Messages(), SizeIs(1));
  EXPECT_EQ(Prompt.Messages()[0].Icon, PromptIcon::Critical);
  EXPECT_THAT(Prompt.Messages()[0].Text, HasSubstr("o'brien, -All-, -All-, -All-, line␊break"));
  EXPECT_EQ(Prompt.Questions()[0].Buttons, PromptButtons::YesNoCancel);
  EXPECT_EQ(Rows("Trap_Filter_Group WHERE Description = 'first, -All-, -All-, -All-, -All-'"), 1);
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(form.Save()) << "given up";
  form.Replace(1, {.SourceAgent = "obrien"});
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "first last obrien ");
}

TEST_F(FiltersTest, EditedFiltersReplaceTheirOldRowsAndNoOthers) {
  AddFilters({"a", "b", "c", "d"});
  FiltersForm form(ForFilters);
  form.Replace(0, {.SourceAgent = "b"});  // two that change places
  form.Replace(1, {.SourceAgent = "a"});
  form.Replace(2, {.SourceAgent = "x"});
  form.Replace(3, {.SourceAgent = "y"});
  form.Replace(3, {.SourceAgent = "d"});  // and back
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "a b d x ");
  EXPECT_EQ(Rows("Trap_Detail"), 5) << "the condition of c stays";
  form.Replace(2, {.SourceAgent = "it's"});
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "a b d x ") << "kept, since nothing could take its place";

  form.Replace(2, {.SourceAgent = "z"});
  Store.Execute(
      "CREATE TRIGGER refuse BEFORE DELETE ON Trap_Filter_Group BEGIN SELECT RAISE(ABORT, 'refused'); END");
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_EQ(Stored(), "a b d x z ");
  Store.Execute("DROP TRIGGER refuse");
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "a b d z ");
}

TEST_F(FiltersTest, ClosingPassesTheNewFiltersOn) {
  DefinitionVerdicts verdicts(Filters, Categories);
  Names.UseVerdicts(verdicts);
  store::IncomingTrap trap;
  trap.Source = "b";
  Names.GetTrapName(trap);
  ASSERT_FALSE(trap.Filtered);
  AddFilters({"b"});
  OnChange = [&] {
    Names.GetTrapName(trap);
    EXPECT_TRUE(trap.Filtered);
    EXPECT_EQ(Busy.Depth(), 0);
  };
  FiltersForm form(ForFilters);
  EXPECT_TRUE(form.Save());
  form.Apply();
  EXPECT_EQ(Changes, 1);
  EXPECT_THAT(Busy.Texts, ElementsAre("Saving New Data"));
}

}  // namespace
}  // namespace korvane::params
