// The rules of one filter's dialog without its window.
#include "params/FilterInfoForm.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "FiltersFixture.h"

namespace korvane::params {
namespace {

using testing::ElementsAre;

constexpr std::size_t kLinkDown = 3;

struct FilterInfoFormTest : test::FiltersFixture {
  FilterInfoForm Edit(FilterValues filter) { return {std::move(filter), Names, Prompt}; }
  static void ChooseEnterprise(FilterInfoForm& form, std::string_view name) {
    const auto& items = form.Controls().cboEnterprise.Items;
    form.ChooseEnterprise(static_cast<std::size_t>(std::ranges::find(items, name) - items.begin()));
  }
};

TEST_F(FilterInfoFormTest, EveryStoredFilterComesThroughUntouched) {
  Store.AddDefinition("1.3.6.1.4.1.51", 1, "fanFailed", "Acme");  // a second OID of the name
  Store.AddDefinition("1.3.6.1.4.1.70.0", 4, "dotZero", "Dotted");
  struct Case {
    FilterValues Filter;
    std::string Generic, Enterprise, Trap;
  };
  const std::string specific = "enterpriseSpecific";
  const std::vector<Case> cases = {
      {{.SourceAgent = "router1"}, "-All-", "-All-", "-All-"},
      {{.SourceAgent = "a\nb", .GenericTrap = 9, .VarBinds = " x "}, "Unknown", "-All-", "-All-"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.50"}, specific, "Acme", "-All-"},
      {{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.51"}, specific, "Acme", "-All-"},
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
    FilterInfoForm form = Edit(each.Filter);
    EXPECT_EQ(form.Controls().cboGeneric.Text(), each.Generic);
    EXPECT_EQ(form.Controls().cboEnterprise.Text(), each.Enterprise);
    EXPECT_EQ(form.Controls().cboEnterprise.Enabled, each.Generic == specific);
    EXPECT_EQ(form.Controls().lvTraps.Text(), each.Trap);
    EXPECT_TRUE(form.Ok());
    EXPECT_EQ(form.Filter(), each.Filter) << each.Enterprise << each.Trap;
    form.EditSource("other");
    FilterValues expected = each.Filter;
    expected.SourceAgent = "other";
    EXPECT_EQ(form.Filter(), expected) << each.Enterprise << each.Trap;
  }
}

TEST_F(FilterInfoFormTest, AnEnterpriseNeedsTheGenericThatHasOne) {
  FilterInfoForm form = Edit({});
  EXPECT_EQ(form.Controls().txtSource.Text, "-All-");
  EXPECT_EQ(form.Controls().cboGeneric.Items.size(), 8U);
  EXPECT_FALSE(form.Controls().cboEnterprise.Enabled);
  EXPECT_THAT(form.Controls().cboEnterprise.Items, ElementsAre("-All-", "Acme", "Zeta"));

  form.ChooseGeneric(kEnterpriseSpecificPosition);
  EXPECT_TRUE(form.Controls().cboEnterprise.Enabled);
  ChooseEnterprise(form, "Acme");
  EXPECT_THAT(form.Controls().lvTraps.Items, ElementsAre("-All-", "fanBack", "fanFailed"));
  EXPECT_EQ(form.Filter(), (FilterValues{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.50"}));
  form.ChooseTrap(2);
  EXPECT_EQ(form.Filter(),
            (FilterValues{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.50", .SpecificTrap = 1}));
  form.ChooseTrap(0);
  EXPECT_EQ(form.Filter().SpecificTrap, 0);

  form.ChooseTrap(1);
  form.ChooseGeneric(kLinkDown);
  EXPECT_FALSE(form.Controls().cboEnterprise.Enabled);
  EXPECT_EQ(form.Controls().cboEnterprise.Text(), "-All-");
  EXPECT_THAT(form.Controls().lvTraps.Items, ElementsAre("-All-"));
  EXPECT_EQ(form.Filter(), (FilterValues{.GenericTrap = 2}));
}

TEST_F(FilterInfoFormTest, OneOfSeveralOidsIsKeptUntilAnotherIsChosen) {
  Store.AddDefinition("1.3.6.1.4.1.51", 3, "psuFailed", "Acme");
  Store.AddDefinition("1.3.6.1.4.1.80", 1, "up", "v1.2 box");  // no OID, though it has a "."
  Store.AddDefinition("1.3.6.1.4.1.70.0", 4, "dotZero", "Dotted");
  FilterInfoForm form = Edit({.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.51"});
  form.ChooseTrap(1);  // fanBack, of the other OID
  EXPECT_EQ(form.Filter().EnterpriseOid, "1.3.6.1.4.1.50");
  form.ChooseTrap(0);
  EXPECT_EQ(form.Filter().EnterpriseOid, "1.3.6.1.4.1.51");
  ChooseEnterprise(form, "v1.2 box");
  EXPECT_EQ(form.Filter().EnterpriseOid, "1.3.6.1.4.1.80");
  ChooseEnterprise(form, "Dotted");  // its traps come without the .0
  EXPECT_EQ(form.Filter().EnterpriseOid, "1.3.6.1.4.1.70");
  form.ChooseTrap(1);
  EXPECT_EQ(form.Filter().EnterpriseOid, "1.3.6.1.4.1.70");
  ChooseEnterprise(form, "Acme");
  EXPECT_EQ(form.Filter().EnterpriseOid, "1.3.6.1.4.1.51");
}

TEST_F(FilterInfoFormTest, AFilterForEveryTrapIsRefused) {
  for (const char* all : {"", "-All-"}) {
    FilterInfoForm form = Edit({});
    form.EditSource(all);
    form.EditVarBinds(all);
    EXPECT_FALSE(form.Ok());
    EXPECT_EQ(Prompt.Messages().back(),
              (test::ScriptedPrompts::Shown{
                  "You have not selected any unique property. Please make atleast one property unique.",
                  PromptIcon::Information, PromptButtons::Ok}));
    form.EditVarBinds("x");
    EXPECT_TRUE(form.Ok());
    EXPECT_EQ(form.Filter(), FilterValues{.VarBinds = "x"});
    form.EditVarBinds(all);
    form.ChooseGeneric(1);
    EXPECT_TRUE(form.Ok());
    EXPECT_EQ(form.Filter(), FilterValues{.GenericTrap = 0});
  }
  EXPECT_EQ(Prompt.Messages().size(), 2U);
}

TEST_F(FilterInfoFormTest, WithoutTheDatabaseNoConditionIsLostOrInvented) {
  const FilterValues filter{.GenericTrap = 6, .EnterpriseOid = "1.3.6.1.4.1.50", .SpecificTrap = 1};
  FilterInfoForm known = Edit(filter);
  Names.ClearCache();
  Store.TakeAway();
  FilterInfoForm form = Edit(filter);
  EXPECT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_EQ(form.Controls().cboEnterprise.Text(), "1.3.6.1.4.1.50");
  EXPECT_TRUE(form.Ok());
  EXPECT_EQ(form.Filter(), filter);

  ChooseEnterprise(known, "Zeta");
  Store.BringBack();
  EXPECT_EQ(Prompt.Messages().size(), 2U);
  EXPECT_EQ(known.Controls().cboEnterprise.Text(), "-All-");
  EXPECT_EQ(known.Filter(), FilterValues{.GenericTrap = 6});
}

}  // namespace
}  // namespace korvane::params
