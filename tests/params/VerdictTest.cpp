// The verdict of a kind of trap must say of every trap what the filters and categories say of it one by one.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "params/DefinitionVerdicts.h"
#include "params/WindowParameters.h"

namespace korvane::params {
namespace {

constexpr std::array<std::string_view, 4> kOids = {"1.3.6.1", "1.3.6.1.0", "1.3.6.1.4.1.9", ""};
constexpr std::array<std::string_view, 5> kNames = {"alpha", "ALPHA", "beta", "10.0.0.1", ""};
constexpr std::array<std::string_view, 4> kTexts = {"", "down", "DOWN", "x"};
constexpr std::array<std::string_view, 4> kBindings = {"", "Link Down", "xyz", "all is well"};

// The rules once more, in the plainest words, so that a fault of the matching shows here as well.
std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
  return lower;
}

struct Rule {
  std::string Source;
  std::string Oid;
  std::int32_t Generic;
  std::int32_t Specific;
  std::string Text;
  std::int32_t Severity;
};

bool TextFound(const Rule& rule, const store::IncomingTrap& trap) {
  return Lower(trap.VarBinds).find(Lower(rule.Text)) != std::string::npos;
}

bool FilterHides(const Rule& rule, const store::IncomingTrap& trap) {
  if (!rule.Source.empty() && Lower(rule.Source) != Lower(trap.SystemName) && rule.Source != trap.Source)
    return false;
  if (rule.Generic != -1 && rule.Generic != trap.GenericTrap) return false;
  if (rule.Generic == 6 && !rule.Oid.empty() && rule.Oid != trap.EnterpriseOid) return false;
  if (rule.Generic == 6 && rule.Specific != 0 && rule.Specific != trap.SpecificTrap) return false;
  return TextFound(rule, trap);
}

bool CategoryRowAccepts(const Rule& rule, const store::IncomingTrap& trap) {
  if (!rule.Source.empty() && Lower(rule.Source) != Lower(trap.SystemName) &&
      Lower(rule.Source) != Lower(trap.Source))
    return false;
  if (rule.Generic != -1 && rule.Generic != trap.GenericTrap) return false;
  if (!rule.Oid.empty() && rule.Oid != trap.EnterpriseOid) return false;
  if (rule.Specific != 0 && rule.Specific != trap.SpecificTrap) return false;
  return TextFound(rule, trap);
}

class RandomRules {
 public:
  explicit RandomRules(unsigned seed) : random_(seed) {}

  int Below(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }
  template <typename List>
  std::string_view Of(const List& list) {
    return list[static_cast<std::size_t>(Below(static_cast<int>(list.size())))];
  }
  std::string MostlyEmpty(std::string_view text) { return Below(3) == 0 ? std::string(text) : std::string(); }

  Rule NextRule() {
    return {.Source = MostlyEmpty(Of(kNames)),
            .Oid = MostlyEmpty(Of(kOids)),
            .Generic = Below(2) == 0 ? 6 : Below(8) - 1,
            .Specific = Below(3),
            .Text = MostlyEmpty(Of(kTexts)),
            .Severity = Below(6)};
  }

  store::IncomingTrap NextTrap() {
    store::IncomingTrap trap;
    trap.Source = Of(kNames);
    trap.SystemName = Of(kNames);
    trap.EnterpriseOid = Of(kOids);
    trap.VarBinds = Of(kBindings);
    trap.GenericTrap = Below(2) == 0 ? 6 : Below(7);
    trap.SpecificTrap = Below(3);
    return trap;
  }

 private:
  std::mt19937 random_;
};

struct RuleSet {
  std::vector<Rule> Filters;
  std::vector<std::vector<Rule>> Categories;
};

RuleSet MakeRules(RandomRules& random) {
  RuleSet rules;
  for (int i = random.Below(8); i > 0; --i) rules.Filters.push_back(random.NextRule());
  for (int i = random.Below(5); i > 0; --i) {
    rules.Categories.emplace_back();
    for (int row = random.Below(6); row > 0; --row) rules.Categories.back().push_back(random.NextRule());
  }
  return rules;
}

void Load(const RuleSet& rules, TrapFilters& filters, CategoryInformation& categories) {
  std::vector<TrapFilter> loaded;
  for (const Rule& rule : rules.Filters) {
    loaded.push_back({.SourceAgent = rule.Source,
                      .GenericTrap = rule.Generic,
                      .EnterpriseOid = rule.Oid,
                      .SpecificTrap = rule.Specific,
                      .VarBinds = CaseInsensitiveNeedle(rule.Text)});
  }
  filters.Assign(std::move(loaded));
  std::vector<Category> groups;
  for (const std::vector<Rule>& rows : rules.Categories) {
    groups.push_back({"category " + std::to_string(groups.size()), {}});
    for (const Rule& rule : rows) {
      groups.back().Criteria.push_back({.SourceAgent = rule.Source,
                                        .EnterpriseOid = rule.Oid,
                                        .GenericTrap = rule.Generic,
                                        .SpecificTrap = rule.Specific,
                                        .VarBinds = CaseInsensitiveNeedle(rule.Text),
                                        .Severity = rule.Severity});
    }
  }
  categories.Assign(std::move(groups));
}

bool ShouldBeFiltered(const RuleSet& rules, const store::IncomingTrap& trap) {
  return std::any_of(rules.Filters.begin(), rules.Filters.end(),
                     [&](const Rule& rule) { return FilterHides(rule, trap); });
}

std::int32_t SeverityItShouldHave(const RuleSet& rules, const store::IncomingTrap& trap) {
  for (const std::vector<Rule>& rows : rules.Categories) {
    for (const Rule& rule : rows) {
      if (CategoryRowAccepts(rule, trap)) return rule.Severity;
    }
  }
  return 0;
}

bool FirstCategoryAccepts(const RuleSet& rules, const store::IncomingTrap& trap) {
  return !rules.Categories.empty() &&
         std::any_of(rules.Categories[0].begin(), rules.Categories[0].end(),
                     [&](const Rule& rule) { return CategoryRowAccepts(rule, trap); });
}

TEST(DefinitionVerdicts, EveryTrapGetsItsExactAnswerAlsoAfterAReload) {
  using Kind = std::tuple<std::string, std::int32_t, std::int32_t>;
  TrapFilters filters;
  CategoryInformation categories;
  DefinitionVerdicts verdicts(filters, categories);
  const WindowMatcher window({.Category = "category 0"}, categories);
  std::map<Kind, std::unique_ptr<store::TrapVerdict>>
      cache;  // lives through all reloads, as a stale one would
  RandomRules random(20240607);
  int hidden = 0;
  int shown = 0;
  std::map<std::int32_t, int> severities;
  for (int reload = 0; reload < 400; ++reload) {
    const RuleSet rules = MakeRules(random);
    Load(rules, filters, categories);
    for (int i = 0; i < 60; ++i) {
      store::IncomingTrap trap = random.NextTrap();
      auto& verdict = cache[Kind{trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap}];
      if (!verdict) {
        verdict = verdicts.VerdictFor(trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap);
      }
      const bool filtered = ShouldBeFiltered(rules, trap);
      const std::int32_t severity = SeverityItShouldHave(rules, trap);
      ASSERT_EQ(verdict->IsFiltered(trap), filtered) << "reload " << reload << ", trap " << i;
      ASSERT_EQ(filters.TrapIsFiltered(trap), filtered) << "reload " << reload << ", trap " << i;
      ASSERT_EQ(verdict->SeverityOf(trap), severity) << "reload " << reload << ", trap " << i;
      ASSERT_EQ(window.Matches(trap), FirstCategoryAccepts(rules, trap))
          << "reload " << reload << ", trap " << i;
      ++(filtered ? hidden : shown);
      ++severities[severity];
    }
  }
  // The dice must have tried every outcome often.
  EXPECT_GT(hidden, 2000);
  EXPECT_GT(shown, 2000);
  EXPECT_EQ(severities.size(), 6U);
}

}  // namespace
}  // namespace korvane::params
