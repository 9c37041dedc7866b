// Names, 20 filters and 50 category rows for the traps of BenchStore.h, and the stop watch.  The rules are
// those an operator would have: some hide or rate whole kinds of trap, some look at source or bindings.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

#include <fmt/format.h>

#include "support/TestStore.h"

namespace korvane::bench {

inline void AddNames(test::TestStore& source) {
  for (int enterprise = 0; enterprise < 10; ++enterprise) {
    for (int specific = 1; specific <= 4; ++specific) {
      source.AddDefinition(fmt::format("1.3.6.1.4.1.{}", 9000 + enterprise), specific,
                           fmt::format("trap{}of{}", specific, enterprise),
                           fmt::format("vendor{}", enterprise), "What this trap means.");
    }
  }
}

inline void AddRules(test::TestStore& source) {
  for (int i = 0; i < 20; ++i) {
    test::StoredCriterion filter;
    filter.GenericTrap = i % 4 == 0 ? 2 : 6;
    filter.EnterpriseOid = i % 2 == 0 ? "" : fmt::format("1.3.6.1.4.1.{}", 9000 + i % 10);
    filter.Source_Agent = fmt::format("10.{}.{}.9", i % 8, i);
    filter.EventDescription = i % 5 == 0 ? "ifOperStatus" : "";
    source.AddFilter(filter);
  }
  for (int category = 0; category < 10; ++category) {
    std::vector<test::StoredCriterion> members(5);
    for (int i = 0; i < 5; ++i) {
      members[static_cast<std::size_t>(i)].EnterpriseOid = fmt::format("1.3.6.1.4.1.{}", 9000 + category);
      members[static_cast<std::size_t>(i)].SpecificTrap = i;
      members[static_cast<std::size_t>(i)].EventDescription = i == 3 ? "TENGIGE" : "";
      members[static_cast<std::size_t>(i)].Severity = (category + i) % 6;
    }
    source.AddCategory(fmt::format("category {}", category), members);
  }
}

template <class Work>
double Milliseconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

inline double Median(std::vector<double> times) {
  std::ranges::sort(times);
  return times[times.size() / 2];
}

}  // namespace korvane::bench
