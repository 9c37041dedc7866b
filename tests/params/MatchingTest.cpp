#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "params/WindowParameters.h"
#include "support/SampleTrap.h"

namespace korvane::params {
namespace {

using test::SampleTrap;

struct WindowCase {
  const char* What;
  WindowParameters Window;
  bool Accepts;
};

TEST(TrapMatchesWindow, EachConditionComparesInItsOwnWay) {
  const SampleTrap trap;
  const CategoryInformation none;
  const std::vector<WindowCase> cases = {
      {"no condition", {}, true},
      {"system name in another case", {.Source = "router-ONE"}, true},
      {"source text in another case", {.Source = "ROUTER1.EXAMPLE"}, true},
      {"address of the system", {.Source = "192.0.2.7"}, true},
      {"a part of the name only", {.Source = "Rout"}, false},
      {"a blank too many", {.Source = "Router-One "}, false},
      {"wildcards are characters", {.Source = "*"}, false},
      {"the generic code", {.Generic = 6}, true},
      {"another generic code", {.Generic = 2}, false},
      {"generic 0 is a condition", {.Generic = 0}, false},
      {"the severity", {.Severity = 3}, true},
      {"severity 0 is a condition", {.Severity = 0}, false},
      {"enterprise", {.Enterprise = "Acme"}, true},
      {"enterprise in another case", {.Enterprise = "acme"}, false},
      {"trap name", {.TrapName = "fanFailed"}, true},
      {"trap name in another case", {.TrapName = "FanFailed"}, false},
      {"bindings across both columns, any case", {.VarBindsMatch = "LINK DOWNPORT"}, true},
      {"bindings not there", {.VarBindsMatch = "link up"}, false},
      {"percent is a character", {.VarBindsMatch = "%"}, false},
      {"all hold", {.Source = "router-one", .Generic = 6, .Severity = 3, .Enterprise = "Acme"}, true},
      {"one of many fails",
       {.Source = "router-one", .Generic = 6, .Severity = 4, .Enterprise = "Acme"},
       false},
      {"a category that is not there", {.Category = "Gone"}, false},
  };
  for (const WindowCase& c : cases) {
    EXPECT_EQ(TrapMatchesWindow(c.Window, trap.Trap, none), c.Accepts) << c.What;
    EXPECT_EQ(WindowMatcher(c.Window, none).Matches(trap.Trap), c.Accepts) << c.What;
  }
}

TEST(TrapMatchesWindow, AMatcherFollowsAReloadOfTheCategories) {
  const SampleTrap trap;
  CategoryInformation categories;
  const WindowMatcher matcher({.Category = "FANS"}, categories);
  EXPECT_FALSE(matcher.Matches(trap.Trap));
  categories.Assign({{"Other", {CategoryCriterion{}}}, {"Fans", {CategoryCriterion{.GenericTrap = 6}}}});
  EXPECT_TRUE(matcher.Matches(trap.Trap));
  categories.Assign({{"Other", {CategoryCriterion{}}}});
  EXPECT_FALSE(matcher.Matches(trap.Trap));
}

TEST(TrapMatchesCategory, ARowAcceptsWhenAllItsConditionsHold) {
  const SampleTrap trap;
  const std::string oid = trap.Oid;
  struct Case {
    const char* What;
    CategoryCriterion Row;
    bool Accepts;
  };
  const std::vector<Case> cases = {
      {"everything any", {}, true},
      {"an enterprise alone takes all its traps", {.EnterpriseOid = oid}, true},
      {"the name of the enterprise is not its OID", {.EnterpriseOid = "Acme"}, false},
      {"source by name", {.SourceAgent = "ROUTER-one"}, true},
      {"source by text, any case", {.SourceAgent = "ROUTER1.example"}, true},
      {"source by address does not count here", {.SourceAgent = "192.0.2.7"}, false},
      {"specific code", {.SpecificTrap = 17}, true},
      {"another specific code", {.SpecificTrap = 18}, false},
      {"generic code", {.GenericTrap = 3}, false},
      {"bindings", {.VarBinds = CaseInsensitiveNeedle("Link")}, true},
      {"severity plays no part", {.Severity = 1}, true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(TrapMatchesCriterion(trap.Trap, c.Row), c.Accepts) << c.What;
  }
}

TEST(TrapMatchesCategory, AnyRowOfTheFirstCategoryOfThatNameWillDo) {
  const SampleTrap trap;
  CategoryInformation categories;
  const CategoryCriterion never{.GenericTrap = 1};
  const CategoryCriterion always{};
  categories.Assign(
      {{"Empty", {}}, {"Zürich", {never, always}}, {"ZÜRICH", {never}}, {"Never", {never, never}}});
  EXPECT_TRUE(TrapMatchesCategory(trap.Trap, "zürich", categories));
  EXPECT_TRUE(TrapMatchesCategory(trap.Trap, "ZÜRICH", categories));  // the first one answers
  EXPECT_FALSE(TrapMatchesCategory(trap.Trap, "never", categories));
  EXPECT_FALSE(TrapMatchesCategory(trap.Trap, "empty", categories));
  EXPECT_FALSE(TrapMatchesCategory(trap.Trap, "", categories));
}

TEST(TrapFilters, ConditionsAndTheirDeliberateAsymmetry) {
  const SampleTrap enterprise;
  SampleTrap generic;
  generic.Trap.GenericTrap = 2;
  struct Case {
    const char* What;
    TrapFilter Filter;
    bool HidesEnterprise;
    bool HidesGeneric;
  };
  const std::vector<Case> cases = {
      {"system name in any case", {.SourceAgent = "ROUTER-ONE"}, true, true},
      {"source text exactly", {.SourceAgent = "router1.example"}, true, true},
      {"source text in another case", {.SourceAgent = "Router1.Example"}, false, false},
      {"address of the system", {.SourceAgent = "192.0.2.7"}, false, false},
      {"one generic code of every system", {.GenericTrap = 2}, false, true},
      {"enterprise is ignored for a generic code", {.GenericTrap = 2, .EnterpriseOid = "1.2"}, false, true},
      {"specific code is ignored for a generic code", {.GenericTrap = 2, .SpecificTrap = 99}, false, true},
      {"and for any generic code", {.EnterpriseOid = "1.2", .SpecificTrap = 99}, true, true},
      {"enterprise traps of an OID", {.GenericTrap = 6, .EnterpriseOid = enterprise.Oid}, true, false},
      {"enterprise traps of another OID", {.GenericTrap = 6, .EnterpriseOid = "1.2"}, false, false},
      {"one enterprise trap", {.GenericTrap = 6, .SpecificTrap = 17}, true, false},
      {"another enterprise trap", {.GenericTrap = 6, .SpecificTrap = 18}, false, false},
      {"bindings in any case", {.VarBinds = CaseInsensitiveNeedle("lINK dOWN")}, true, true},
      {"all conditions together",
       {.SourceAgent = "router-one", .GenericTrap = 6, .VarBinds = CaseInsensitiveNeedle("link up")},
       false,
       false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(TrapMatchesFilter(enterprise.Trap, c.Filter), c.HidesEnterprise) << c.What;
    EXPECT_EQ(TrapMatchesFilter(generic.Trap, c.Filter), c.HidesGeneric) << c.What;
  }

  TrapFilters filters;
  SampleTrap trap;
  trap.Trap.Filtered = true;
  EXPECT_FALSE(filters.TrapIsFiltered(trap.Trap));
  EXPECT_FALSE(trap.Trap.Filtered);
  filters.Assign({TrapFilter{.GenericTrap = 0}, TrapFilter{.GenericTrap = 6}});
  EXPECT_TRUE(filters.TrapIsFiltered(trap.Trap));
  EXPECT_TRUE(trap.Trap.Filtered);
}

TEST(Matching, HostileTextIsComparedAsReceived) {
  const CategoryInformation none;
  SampleTrap trap;
  const std::string bindings =
      std::string("a\0b", 3) + "<b>'; DROP TABLE x --\xff\xfe\xe2\x80\xae" + std::string(70'000, 'y');
  trap.SetVarBinds(bindings, "END");
  for (const std::string& part :
       {std::string("\0B", 2), std::string("'; drop table"), std::string("\xff\xfe"),
        std::string("\xe2\x80\xae"), std::string("yyend")}) {
    EXPECT_TRUE(TrapMatchesWindow({.VarBindsMatch = part}, trap.Trap, none));
    EXPECT_TRUE(TrapMatchesFilter(trap.Trap, {.VarBinds = CaseInsensitiveNeedle(part)}));
  }
  EXPECT_FALSE(TrapMatchesWindow({.VarBindsMatch = "\xfe\xff"}, trap.Trap, none));
}

}  // namespace
}  // namespace korvane::params
