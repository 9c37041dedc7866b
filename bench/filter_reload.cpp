// The filters changed while ten Traps windows of 10,000 rows each are open: the Systems window's counts and
// every window are loaded anew, against one bare block fetch of the same rows.  Once the windows divide the
// store among them; once each of them shows all of it, the most that can be asked of one row.
#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "BareFetch.h"
#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "intake/StoredTraps.h"
#include "store/Statements.h"
#include "support/World.h"
#include "systems/SystemsModel.h"

namespace {

using namespace korvane;

constexpr std::size_t kWindows = 10;

class NoQuestion : public systems::ViewOptionQuestion {
 public:
  intake::ViewOption AskViewOption(std::int64_t, std::int32_t) override {
    return intake::ViewOption::NotAsked;
  }
};

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print("{}\n", what);
    std::exit(1);
  }
}

// Every filter change empties the name cache, so the names are looked up again too.
void ChangeFilters(test::LoadedWorld& world, int round) {
  world.Store.AddFilter({.Source_Agent = fmt::format("192.0.2.{}", round)});
  world.ReadRules();
}

void Measure(const char* what, std::int32_t stored, std::size_t rowsOfWindow,
             params::WindowParameters (*parametersOf)(std::size_t)) {
  test::LoadedWorld world;
  bench::AddNames(world.Store);
  bench::AddRules(world.Store);
  bench::FillWithTraps(world.Store, stored);
  world.ReadRules();
  world.State.gLastTrapTime = 2'000'000'000;
  world.State.gMaxViewTraps = stored;
  NoQuestion question;
  systems::SystemsModel systems(world.Desk, world.Connection, world.SystemList, world.Bounds, world.Stored,
                                world.Library, question);
  std::vector<std::unique_ptr<traps::TrapsModel>> models;
  std::vector<intake::StoredTrapsTaker*> takers = {&systems};
  for (std::size_t window = 0; window < kWindows; ++window) {
    models.push_back(world.Open(traps::WindowKind::Selected, parametersOf(window)));
    takers.push_back(models.back().get());
  }
  std::vector<double> bare;
  std::vector<double> together;
  std::vector<double> counts;
  const std::string statement = store::TrapsLoadStatement(world.State.gLastTrapTime + 1);
  for (int round = 0; round < 9; ++round) {
    bare.push_back(bench::Milliseconds([&] {
      Expect(bench::BareBlockFetch(world.Connection, statement) == static_cast<std::size_t>(stored),
             "the fetch did not see every trap");
    }));
    ChangeFilters(world, round);
    together.push_back(bench::Milliseconds([&] { world.Stored.Load(takers); }));
    for (const auto& model : models) {
      Expect(model->Rows().Count() == rowsOfWindow, "rows are missing");
    }
    Expect(systems.StatusTexts()[4] == fmt::format("Total Traps: {} ", stored), "counts are missing");
    counts.push_back(bench::Milliseconds([&] { systems.Reset(); }));
  }
  const double limit = bench::Median(bare);
  fmt::print(
      "{} stored traps, {}\n  bare block fetch {:.0f} ms; counts and ten windows {:.0f} ms; ratio {:.2f} "
      "(under 10)\n"
      "  the counts alone, by a read of their own, would add {:.0f} ms; ratio {:.2f}\n",
      stored, what, limit, bench::Median(together), bench::Median(together) / limit, bench::Median(counts),
      bench::Median(counts) / limit);
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t rows = bench::Size(argc, argv, 10'000);
  const auto rowsOfWindow = static_cast<std::size_t>(rows);
  Measure("each in one of the windows", 10 * rows, rowsOfWindow, [](std::size_t window) {
    return params::WindowParameters{.Enterprise = fmt::format("vendor{}", window),
                                    .VarBindsMatch = "tengige"};
  });
  Measure("all of them in every window", rows, rowsOfWindow, [](std::size_t window) {
    return params::WindowParameters{.VarBindsMatch = window % 2 == 0 ? "1.3.6.1.2" : "TENGIGE"};
  });
}
