// A million stored traps into one Traps window (read, named, filtered, matched, made into rows) against the
// bare block fetch of the same statement over the same driver, and the memory that the rows take.
#include <fmt/format.h>
#include <malloc.h>

#include <cstdlib>
#include <vector>

#include "BareFetch.h"
#include "BenchMemory.h"
#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "store/Statements.h"
#include "support/World.h"

namespace {

using namespace korvane;

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print("{}\n", what);
    std::exit(1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 1'000'000);
  test::LoadedWorld world;
  bench::AddNames(world.Store);
  bench::AddRules(world.Store);
  bench::FillWithTraps(world.Store, traps);
  world.ReadRules();
  world.State.gLastTrapTime = 2'000'000'000;
  const std::string statement = store::TrapsLoadStatement(world.State.gLastTrapTime + 1);

  std::vector<double> bare;
  std::vector<double> whole;
  std::vector<double> limited;
  double perRow = 0;
  for (int round = 0; round < 5; ++round) {
    bare.push_back(bench::Milliseconds([&] {
      Expect(bench::BareBlockFetch(world.Connection, statement) == static_cast<std::size_t>(traps),
             "the fetch did not see every trap");
    }));
    for (const std::int32_t limit : {traps, std::min(traps, 1000)}) {
      world.State.gMaxViewTraps = limit;
      auto model = world.Open();
      malloc_trim(0);
      const std::size_t before = bench::HeapBytes();
      const double time = bench::Milliseconds([&] { model->Reset(); });
      Expect(model->Rows().Count() == static_cast<std::size_t>(limit), "rows are missing");
      if (limit == traps) {
        whole.push_back(time);
        const double extra = static_cast<double>(bench::HeapBytes() - before) -
                             static_cast<double>(bench::TextBytes(model->Rows()));
        perRow = extra / traps;
      } else {
        limited.push_back(time);
      }
      world.Windows.Models.clear();
    }
  }
  fmt::print(
      "{} stored traps: bare block fetch {:.0f} ms\n"
      "  into a window that shows them all: {:.0f} ms; ratio {:.2f} (at most 1.3)\n"
      "  into a window that shows 1000:     {:.0f} ms; ratio {:.2f} (at most 1.3)\n"
      "  memory beside the rows' own text:  {:.0f} bytes a row (under 120)\n",
      traps, bench::Median(bare), bench::Median(whole), bench::Median(whole) / bench::Median(bare),
      bench::Median(limited), bench::Median(limited) / bench::Median(bare), perRow);
}
