// 10,000 selected rows acknowledged, until they have left the window, against the bare loop of the same
// statements in one transaction.
#include <fmt/format.h>

#include <cstdlib>
#include <vector>

#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "store/Statements.h"
#include "support/World.h"

namespace {

using namespace korvane;

}  // namespace

int main(int argc, char** argv) {
  const auto selected = static_cast<std::size_t>(bench::Size(argc, argv, 10'000));
  const auto stored = static_cast<std::int32_t>(selected * 5);
  test::LoadedWorld world;
  bench::AddNames(world.Store);
  bench::FillWithTraps(world.Store, stored);
  world.State.gMaxViewTraps = stored;
  world.State.gLastTrapTime = 2'000'000'000;

  // Every fifth row, so that they do not lie side by side.
  std::vector<std::uint32_t> rows(selected);
  for (std::size_t i = 0; i < selected; ++i) {
    rows[i] = static_cast<std::uint32_t>(i * 5);
  }
  std::vector<double> bare;
  std::vector<double> whole;
  for (int round = 0; round < 7; ++round) {
    world.Store.Execute("UPDATE EventTrap SET EventAck = 0");
    auto model = world.Open();
    model->Reset();
    bare.push_back(bench::Milliseconds([&] {
      store::Transaction transaction(world.Connection);
      for (const std::uint32_t row : rows) {
        world.Connection.Execute(store::AcknowledgeTrapStatement(model->Rows().SequenceNumberAt(row)));
      }
      transaction.Commit();
    }));
    world.Store.Execute("UPDATE EventTrap SET EventAck = 0");
    whole.push_back(bench::Milliseconds([&] { model->AcknowledgeSelected(rows); }));
    if (model->Rows().Count() != 4 * selected) {
      fmt::print("the rows have not left\n");
      std::exit(1);
    }
    world.Windows.Models.clear();
  }
  fmt::print(
      "{} selected rows acknowledged: {:.0f} ms; the bare statements {:.0f} ms; ratio {:.2f} (at "
      "most 1.3)\n",
      selected, bench::Median(whole), bench::Median(bare), bench::Median(whole) / bench::Median(bare));
}
