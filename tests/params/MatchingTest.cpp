// Which traps windows, categories and filters are about.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
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
  const CategoryInformation none;
  struct Case {
    const char* What;
    WindowParameters Window;
    bool Accepts;
  };
  const Case cases[] = {
      {"no condition", {}, true},
      {"system name in another case", {.Source = "router-ONE"}, true},
      {"source text in another case", {.Source = "ROUTER1.EXAMPLE"}, true},
      {"address of the system", {.Source = "192.0.2.7"}, true},
      {"a part of the name only", {.Source = "Rout"}, false},
      {"a blank too many", {.Source = "Router-One "}, false},
      {"wildcards are characters", {.Source = "*"}, false},
      {"the generic code", {.Generic = 6}, true},
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
      {"one of many fails",
       {.Source = "router-one", .Generic = 6, .Severity = 4, .Enterprise = "Acme"},
       false},
      {"a category that is not there", {.Category = "Gone"}, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WindowMatcher(c.Window, none).TrapMatchesWindow(trap.Trap), c.Accepts) << c.What;
  }
}

TEST(MatchingTest, TheFirstCategoryOfANameAnswersInAnyCase) {
  const SampleTrap trap;
  const CategoryCriterion never{.GenericTrap = 1};
  CategoryInformation categories;
  categories.Assign(
      {{"Empty", {}}, {"Zürich", {never, {}}}, {"ZÜRICH", {never}}, {"Named", {{.EnterpriseOid = "Acme"}}}});
  for (const auto& [name, accepts] : {std::pair("zürich", true),
                                      {"ZÜRICH", true},
                                      {"empty", false},
                                      {"named", false},
                                      {"Zürich ", false}}) {
    EXPECT_EQ(WindowMatcher({.Category = name}, categories).TrapMatchesWindow(trap.Trap), accepts) << name;
  }
}

constexpr std::array<std::string_view, 4> kOids = {"1.3.6.1", "1.3.6.1.0", "1.3.6.1.4.1.9", ""};
constexpr std::array<std::string_view, 5> kNames = {"alpha", "ALPHA", "beta", "10.0.0.1", ""};
constexpr std::array<std::string_view, 4> kTexts = {"", "down", "DOWN", "x"};
constexpr std::array<std::string_view, 4> kBindings = {"", "Link Down", "xyz", "all is well"};

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
  std::ranges::transform(lower, lower.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
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
  template <typename List>
  std::string_view Of(const List& list) {
    return list[static_cast<std::size_t>(Below(static_cast<int>(list.size())))];
  }
  std::string MostlyEmpty(std::string_view text) { return Below(3) == 0 ? std::string(text) : std::string(); }
  std::vector<Rule> Rules(int end) {
    std::vector<Rule> rules(static_cast<std::size_t>(Below(end)));
    for (Rule& rule : rules) {
      rule.Text = MostlyEmpty(Of(kTexts));
      rule.Row = {.SourceAgent = MostlyEmpty(Of(kNames)),
                  .EnterpriseOid = MostlyEmpty(Of(kOids)),
                  .GenericTrap = Below(2) == 0 ? 6 : Below(8) - 1,
                  .SpecificTrap = Below(3),
                  .VarBinds = CaseInsensitiveNeedle(rule.Text),
                  .Severity = Below(6)};
    }
    return rules;
  }
  store::IncomingTrap Trap() {
    store::IncomingTrap trap;
    trap.Source = Of(kNames);
    trap.SystemName = Of(kNames);
    trap.SystemAddress = Of(kNames);
    trap.EnterpriseOid = Of(kOids);
    trap.VarBinds = Of(kBindings);
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
  std::array<int, 2> hidden{};
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
      auto& verdict = cache[{std::string(trap.EnterpriseOid), trap.SpecificTrap, trap.GenericTrap}];
      if (!verdict) {
        verdict = verdicts.VerdictFor(trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap);
      }
      const bool filtered =
          std::ranges::any_of(hiding, [&](const Rule& rule) { return Holds(rule, trap, true); });
      const auto accepts = [&](const Rule& rule) { return Holds(rule, trap, false); };
      std::int32_t severity = 0;
      for (auto rows = grading.rbegin(); rows != grading.rend(); ++rows) {
        const auto first = std::ranges::find_if(*rows, accepts);
        severity = first == rows->end() ? severity : first->Row.Severity;
      }
      SCOPED_TRACE(std::to_string(reload) + ", " + std::to_string(i));
      ASSERT_EQ(verdict->TrapIsFiltered(trap), filtered);
      ASSERT_EQ(verdict->SeverityOf(trap), severity);
      ASSERT_EQ(window.TrapMatchesWindow(trap), !grading.empty() && std::ranges::any_of(grading[0], accepts));
      ++hidden[filtered ? 1 : 0];
      ++severities[severity];
    }
  }
  // The dice must have tried every outcome often.
  EXPECT_GT(hidden[0], 2000);
  EXPECT_GT(hidden[1], 2000);
  EXPECT_EQ(severities.size(), 6U);
}

}  // namespace
}  // namespace korvane::params
