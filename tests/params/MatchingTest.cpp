// Which traps windows, categories and filters are about.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "params/DefinitionVerdicts.h"
#include "params/WindowParameters.h"
#include "support/SampleTrap.h"

namespace korvane::params {
namespace {

using test::SampleTrap;

TEST(MatchingTest, EachConditionOfAWindowComparesInItsOwnWay) {
  const SampleTrap trap;
  CategoryInformation categories;
  const CategoryCriterion never{.GenericTrap = 1};
  categories.Assign({{"Empty", {}}, {"Zürich", {never, {}}}, {"ZÜRICH", {never}}});
  struct Case {
    WindowParameters Window;
    bool Accepts;
  };
  const Case cases[] = {
      {{}, true},
      {{.Source = "router-ONE"}, true},       // the system's name in any case
      {{.Source = "ROUTER1.EXAMPLE"}, true},  // the trap's own text too
      {{.Source = "192.0.2.7"}, true},        // and the system's address
      {{.Source = "Router-One "}, false},
      {{.Generic = 0}, false},
      {{.Severity = 0}, false},
      {{.Generic = 6, .Severity = 3, .Enterprise = "Acme", .TrapName = "fanFailed"}, true},
      {{.Enterprise = "acme"}, false},
      {{.TrapName = "FanFailed"}, false},
      {{.VarBindsMatch = "LINK DOWNPORT"}, true},  // across both columns
      {{.Source = "router-one", .Severity = 4}, false},
      {{.Category = "zürich"}, true},  // the first of the name
      {{.Category = "empty"}, false},
      {{.Category = "Zürich "}, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WindowMatcher(c.Window, categories).TrapMatchesWindow(trap.Trap), c.Accepts) << &c - cases;
  }
}

struct Rule {
  CategoryCriterion Row;
  std::string Text;  // in the bindings

  // What a filter of the same conditions is.
  TrapFilter Filter() const {
    return {Row.SourceAgent, Row.GenericTrap, Row.EnterpriseOid, Row.SpecificTrap, Row.VarBinds};
  }
};

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
  return lower;
}

// The rules once more, in the plainest words.
bool Holds(const Rule& rule, const store::IncomingTrap& trap, bool ofFilter) {
  const CategoryCriterion& row = rule.Row;
  const bool sourceIs =
      ofFilter ? row.SourceAgent == trap.Source : Lower(row.SourceAgent) == Lower(trap.Source);
  const bool kindCounts = !ofFilter || row.GenericTrap == 6;
  return (row.SourceAgent.empty() || Lower(row.SourceAgent) == Lower(trap.SystemName) || sourceIs) &&
         (row.GenericTrap == -1 || row.GenericTrap == trap.GenericTrap) &&
         (!kindCounts || row.EnterpriseOid.empty() || row.EnterpriseOid == trap.EnterpriseOid) &&
         (!kindCounts || row.SpecificTrap == 0 || row.SpecificTrap == trap.SpecificTrap) &&
         Lower(trap.VarBinds).find(Lower(rule.Text)) != std::string::npos;
}

class Dice {
 public:
  int Below(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }
  const char* Of(const std::vector<const char*>& list) {
    return list[static_cast<std::size_t>(Below(static_cast<int>(list.size())))];
  }
  std::vector<Rule> Rules(int end) {
    std::vector<Rule> rules(static_cast<std::size_t>(Below(end)));
    for (Rule& rule : rules) {
      rule.Text = Of({"", "", "", "down", "DOWN", "x"});
      rule.Row = {.SourceAgent = Of({"", "", "", "", "", "alpha", "ALPHA", "beta"}),
                  .EnterpriseOid = Of({"", "", "", "", "1.3.6.1", "1.3.6.1.0"}),
                  .GenericTrap = Below(2) == 0 ? 6 : Below(8) - 1,
                  .SpecificTrap = Below(3),
                  .VarBinds = CaseInsensitiveNeedle(rule.Text),
                  .Severity = Below(6)};
    }
    return rules;
  }
  store::IncomingTrap Trap() {
    store::IncomingTrap trap;
    trap.Source = Of({"alpha", "ALPHA", "beta", ""});
    trap.SystemName = Of({"alpha", "ALPHA", "beta", ""});
    trap.EnterpriseOid = Of({"1.3.6.1", "1.3.6.1.0", ""});
    trap.VarBinds = Of({"", "Link Down", "xyz"});
    trap.GenericTrap = Below(2) == 0 ? 6 : Below(7);
    trap.SpecificTrap = Below(3);
    return trap;
  }

 private:
  std::mt19937 random_{20240607};
};

TEST(MatchingTest, EveryTrapGetsItsExactAnswerAlsoAfterAReload) {
  TrapFilters filters;
  CategoryInformation categories;
  DefinitionVerdicts verdicts(filters, categories);
  const WindowMatcher window({.Category = "category 0"}, categories);
  // Lives through all reloads, as a stale one would.
  std::map<std::tuple<std::string, int, int>, std::unique_ptr<store::TrapVerdict>> cache;
  Dice dice;
  std::map<bool, int> hidden;
  std::map<std::int32_t, int> severities;
  for (int reload = 0; reload < 400; ++reload) {
    const std::vector<Rule> hiding = dice.Rules(8);
    std::vector<TrapFilter> loaded;
    std::ranges::transform(hiding, std::back_inserter(loaded), &Rule::Filter);
    filters.Assign(std::move(loaded));
    std::vector<std::vector<Rule>> grading(static_cast<std::size_t>(dice.Below(5)));
    std::vector<Category> groups;
    for (std::vector<Rule>& rows : grading) {
      rows = dice.Rules(6);
      groups.push_back({"category " + std::to_string(groups.size()), {}});
      std::ranges::transform(rows, std::back_inserter(groups.back().Criteria), &Rule::Row);
    }
    categories.Assign(std::move(groups));
    for (int i = 0; i < 60; ++i) {
      const store::IncomingTrap trap = dice.Trap();
      // What no rule names shares its verdict.
      const std::string oid(verdicts.NamesEnterprise(trap.EnterpriseOid) ? trap.EnterpriseOid : "");
      const std::int32_t specific = verdicts.NamesSpecific(trap.SpecificTrap) ? trap.SpecificTrap : 0;
      auto& verdict = cache[{oid, specific, trap.GenericTrap}];
      if (!verdict) {
        verdict = verdicts.VerdictFor(oid, specific, trap.GenericTrap);
      }
      const bool filtered =
          std::ranges::any_of(hiding, [&](const Rule& rule) { return Holds(rule, trap, true); });
      const auto accepts = [&](const Rule& rule) { return Holds(rule, trap, false); };
      std::int32_t severity = 0;
      for (auto rows = grading.rbegin(); rows != grading.rend(); ++rows) {
        const auto first = std::ranges::find_if(*rows, accepts);
        severity = first == rows->end() ? severity : first->Row.Severity;
      }
      ASSERT_EQ(verdict->TrapIsFiltered(trap), filtered) << reload;
      ASSERT_EQ(verdict->SeverityOf(trap), severity) << reload;
      ASSERT_EQ(window.TrapMatchesWindow(trap), !grading.empty() && std::ranges::any_of(grading[0], accepts));
      ++hidden[filtered];
      ++severities[severity];
    }
  }
  // The dice must have tried every outcome often.
  EXPECT_GT(std::min(hidden[false], hidden[true]), 2000);
  EXPECT_EQ(severities.size(), 6U);
}

}  // namespace
}  // namespace korvane::params
