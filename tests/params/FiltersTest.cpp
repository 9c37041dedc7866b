// The dialogs of the filters without their windows: what they show, and that no filter is lost or invented.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "params/FilterInfoForm.h"
#include "params/FiltersForm.h"
#include "support/RulesWorld.h"

namespace korvane::params {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr const char* kAcme = "1.3.6.1.4.1.50";

struct FiltersTest : test::RulesWorld, testing::Test {
  FiltersTest() {
    Store.AddDefinition(kAcme, 1, "fanFailed", "Acme");
    Store.AddDefinition(kAcme, 2, "fanBack", "Acme");
    Store.AddDefinition("1.3.6.1.4.1.60", 9, "zap", "Zeta");
  }
  FilterInfoForm Edit(const FilterValues& filter) { return {filter, Names, Prompt}; }
  static void ChooseEnterprise(FilterInfoForm& form, std::string_view name) {
    const auto& items = form.Controls().cboEnterprise.Items;
    form.ChooseEnterprise(static_cast<std::size_t>(std::ranges::find(items, name) - items.begin()));
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
  const std::pair<FilterValues, std::string> cases[] = {
      {{.SourceAgent = "a\nb", .GenericTrap = 9, .VarBinds = " x "}, "Unknown|-All-|-All-"},
      {{.GenericTrap = 0}, "coldStart|-All-|-All-"},
      {{.GenericTrap = 6, .EnterpriseOid = kAcme}, "enterpriseSpecific|Acme|-All-"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.51", .SpecificTrap = 1},
       "enterpriseSpecific|Acme|fanFailed (1.3.6.1.4.1.51.0.1)"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.70", .SpecificTrap = 4},
       "enterpriseSpecific|Dotted|dotZero"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.9", .SpecificTrap = 8}, "enterpriseSpecific|1.3.9|1.3.9.0.8"},
      {{.GenericTrap = 6, .SpecificTrap = 8}, "enterpriseSpecific|-All-|8"},
      {{.GenericTrap = 2, .EnterpriseOid = "1.3.6.1.4.1.60", .SpecificTrap = 9}, "linkDown|Zeta|zap"},
  };
  for (const auto& [filter, shown] : cases) {
    FilterInfoForm form = Edit(filter);
    const TrapCriteriaControls& c = form.Controls();
    EXPECT_EQ(c.cboGeneric.Text() + "|" + c.cboEnterprise.Text() + "|" + c.lvTraps.Text(), shown);
    EXPECT_TRUE(form.Ok()) << shown;
    EXPECT_EQ(form.Filter(), filter) << shown;
    form.EditSource("other");
    FilterValues expected = filter;
    expected.SourceAgent = "other";
    EXPECT_EQ(form.Filter(), expected) << shown;
  }
  FilterInfoForm all = Edit({});
  all.EditVarBinds("-All-");
  EXPECT_FALSE(all.Ok()) << "it would hide every trap";
  EXPECT_EQ(Prompt.Messages().size(), 1U);
}

TEST_F(FiltersTest, TheConditionIsWhatIsShownAndOneOfSeveralOidsIsKept) {
  Store.AddDefinition("1.3.6.1.4.1.51", 3, "psuFailed", "Acme");
  Store.AddDefinition("1.3.6.1.4.1.80", 1, "up", "v1.2 box");  // no OID, though it has a "."
  Store.AddDefinition("1.3.6.1.4.1.70.0", 4, "dotZero", "Dotted");
  Store.AddDefinition("1.3.6.1.6.3.1.1.5", 3, "linkDown", "snmpTraps");
  FilterInfoForm form = Edit({.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.51"});
  EXPECT_THAT(form.Controls().lvTraps.Items, ElementsAre("-All-", "fanBack", "fanFailed", "psuFailed"));
  for (const auto& [enterprise, trap, oid] :
       {std::tuple("Acme", 1U, kAcme),
        {"Acme", 0U, "1.3.6.1.4.1.51"},
        {"v1.2 box", 0U, "1.3.6.1.4.1.80"},
        {"Dotted", 0U, "1.3.6.1.4.1.70"},  // its traps come without the .0
        {"Dotted", 1U, "1.3.6.1.4.1.70"},
        {"Acme", 0U, "1.3.6.1.4.1.51"}}) {
    ChooseEnterprise(form, enterprise);
    form.ChooseTrap(trap);
    EXPECT_EQ(form.Filter().EnterpriseOid, oid) << enterprise;
  }
  ChooseEnterprise(form, "snmpTraps");
  form.ChooseTrap(1);
  EXPECT_EQ(form.Filter(), FilterValues{.GenericTrap = 2}) << "as which it is stored, of any enterprise";
  EXPECT_EQ(form.Controls().cboEnterprise.Text() + form.Controls().lvTraps.Text(), "-All--All-");
}

TEST_F(FiltersTest, DefinitionsThatChangeUnderTheDialogOrCanNotBeReadChangeNoCondition) {
  const FilterValues filter{.GenericTrap = 6, .EnterpriseOid = kAcme};
  FilterInfoForm form = Edit(filter);
  Store.AddDefinition(kAcme, 3, "a new one", "Acme");
  Store.Execute("DELETE FROM EventStructure WHERE Name = 'Zeta'");
  Names.ClearCache();
  form.ChooseTrap(1);
  EXPECT_EQ(form.Controls().lvTraps.Text(), "fanBack");
  EXPECT_EQ(form.Filter().SpecificTrap, 2) << "the one that the list shows";
  ChooseEnterprise(form, "Zeta");
  EXPECT_EQ(Prompt.LastMessage(), "The trap definitions of 'Zeta' are no longer in the database.");
  EXPECT_EQ(form.Controls().cboEnterprise.Text(), "-All-") << "what is no condition may not look like one";
  EXPECT_EQ(form.Filter(), FilterValues{.GenericTrap = 6});

  Prompt.Clear();
  Store.TakeAway();
  Names.ClearCache();
  FilterInfoForm unnamed = Edit(filter);
  EXPECT_THAT(Prompt.Messages(), SizeIs(1));
  EXPECT_EQ(unnamed.Controls().cboEnterprise.Text(), kAcme);
  EXPECT_EQ(unnamed.Filter(), filter);
  Store.BringBack();
}

TEST_F(FiltersTest, WhatCanNotBeSavedIsToldAndKeptAndTheOthersAreSaved) {
  FiltersForm form(ForFilters);
  for (const char* source : {"first", "o'brien", "last", "last"}) {
    form.Add({.SourceAgent = source, .VarBinds = "line\nbreak"});
  }
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_EQ(Stored(), "first last ");
  EXPECT_EQ(form.FirstUnsaved(), 1U);
  ASSERT_THAT(Prompt.Messages(), SizeIs(1));
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("o'brien, -All-, -All-, -All-, line␊break"));
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(form.Save()) << "given up";
  form.Replace(1, {.SourceAgent = "obrien"});
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "first last obrien ");

  form.Add({.SourceAgent = "b"});
  form.Add({.SourceAgent = "c"});
  Prompt.Clear();
  Store.TakeAway();
  Prompt.WillAnswer(PromptAnswer::Yes);
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_THAT(Prompt.Messages(), SizeIs(2)) << "one for each try, however many rows";
  EXPECT_THAT(Prompt.Questions()[0].Text, HasSubstr("2 filters could not be saved."));
  Store.BringBack();
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "first last obrien b c ");
}

TEST_F(FiltersTest, EditedFiltersReplaceTheirOldRowsAndNoOthers) {
  for (const char* source : {"a", "b", "c", "d"}) {
    Store.AddFilter({.Source_Agent = source});
  }
  FiltersForm form(ForFilters);
  form.Replace(0, {.SourceAgent = "b"});  // two that change places
  form.Replace(1, {.SourceAgent = "a"});
  form.Replace(2, {.SourceAgent = "x"});
  form.Replace(3, {.SourceAgent = "y"});
  form.Replace(3, {.SourceAgent = "d"});  // and back
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "a b x d ") << "on the place of what it replaces";
  EXPECT_EQ(Rows("Trap_Detail"), 5) << "the condition of c stays";
  form.Replace(2, {.SourceAgent = "it's"});
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "a b x d ") << "kept, since nothing could take its place";

  form.Replace(2, {.SourceAgent = "z"});
  Store.Execute(
      "CREATE TRIGGER refuse BEFORE DELETE ON Trap_Filter_Group BEGIN SELECT RAISE(ABORT, 'refused'); END");
  Prompt.WillAnswer(PromptAnswer::Cancel);
  EXPECT_FALSE(form.Save());
  EXPECT_EQ(Stored(), "a b x z d ");
  Store.Execute("DROP TRIGGER refuse");
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), "a b z d ");

  // Another console removes what this one shows, and what it edits, and adds one.
  const int changes = Rows("Change_Log");
  FilterStore others(Connection);
  const std::vector<StoredFilter> stored = others.ReadFilters();
  form.Replace(1, {.SourceAgent = "edited"});
  form.Add({.SourceAgent = "mine"});
  others.RemoveFilter(stored[0].TrapTableId);
  others.RemoveFilter(stored[1].TrapTableId);
  others.RemoveFilter(stored[1].TrapTableId);
  others.SaveFilter({.SourceAgent = "theirs"}, "");
  form.StoreChanged();
  std::string shown;
  for (std::size_t row = 0; row < form.RowCount(); ++row) {
    shown += form.FilterAt(row).SourceAgent + " ";
  }
  EXPECT_EQ(shown, "z d theirs edited mine ");
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Stored(), shown);
  EXPECT_TRUE(form.Save());
  EXPECT_EQ(Rows("Change_Log WHERE Kind = 5") - changes, 5) << "each change is noted, and nothing else";
}

}  // namespace
}  // namespace korvane::params
