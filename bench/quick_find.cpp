// Finding a text in a list of a million traps, in steps as the find bar takes them, against the least that a
// search can do: a bare scan of the same rows' bindings for the same bytes (memmem), which knows no letter
// case and no other column.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchRows.h"
#include "BenchRules.h"
#include "Size.h"
#include "traplist/TrapFinder.h"

namespace {

using namespace korvane;
using std::chrono::milliseconds;

std::size_t BareScan(const traplist::TrapRows& rows, std::string_view text) {
  std::size_t hits = 0;
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    const std::string_view bindings = rows.VarBindsAt(row);
    hits += memmem(bindings.data(), bindings.size(), text.data(), text.size()) != nullptr ? 1U : 0U;
  }
  return hits;
}

struct Search {
  double Milliseconds = 0;
  double LongestStep = 0;
  std::size_t Hits = 0;
};

Search Look(traplist::TrapFinder& finder, const traplist::ShownTraps& list, std::string_view text) {
  Search search;
  finder.Find(list, text, list.Count() / 2);
  bool more = true;
  while (more) {
    const double step = bench::Milliseconds([&] { more = finder.Step(list, milliseconds(10)); });
    search.Milliseconds += step;
    search.LongestStep = std::max(search.LongestStep, step);
  }
  search.Hits = finder.Hits();
  return search;
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 1'000'000);
  traplist::TrapRows rows;
  std::vector<store::TrapDefinition> definitions;
  bench::FillRows(rows, definitions, traps);
  traplist::TrapOrder order(rows, traplist::SourceShown::SourceText);
  const traplist::ShownTraps list{.Rows = rows, .Order = order};

  struct Case {
    const char* What;
    std::string Text;
    std::string Before;  // what was looked for before
  };
  const std::vector<Case> cases = {{"a text in the bindings", "tengige0/0/12,", ""},
                                   {"a source", "10.3.7.1", ""},
                                   {"a part of a date and time", "14 22:1", ""},
                                   {"something that is nowhere", "no such text", ""},
                                   {"the same, typed on", "tengige0/0/12,", "tengige0/0/12"}};
  fmt::print("{} traps; each time the median of 5\n", traps);
  for (const Case& each : cases) {
    std::vector<double> bare;
    std::vector<double> whole;
    double longest = 0;
    std::size_t hits = 0;
    for (int round = 0; round < 5; ++round) {
      std::size_t bareHits = 0;
      bare.push_back(bench::Milliseconds([&] { bareHits = BareScan(rows, each.Text); }));
      traplist::TrapFinder finder;
      if (!each.Before.empty()) {
        Look(finder, list, each.Before);
      }
      const Search search = Look(finder, list, each.Text);
      whole.push_back(search.Milliseconds);
      longest = std::max(longest, search.LongestStep);
      hits = search.Hits;
      if (bareHits > hits) {
        fmt::print("hits are missing\n");
        return 1;
      }
    }
    fmt::print(
        "  {:26} {:7} hits in {:4.0f} ms (under 1000), longest step {:.1f} ms; bare scan of the bindings "
        "{:.0f} ms, ratio {:.2f}\n",
        each.What, hits, bench::Median(whole), longest, bench::Median(bare),
        bench::Median(whole) / bench::Median(bare));
  }
}
