// A store of very many unacknowledged traps: start-up, a window on one source, acknowledging a system that
// has a tenth of them and taking it back, acknowledging the rest as when the console ends.  Each against the
// bare work of its kind in the same run: reading all rows, and the same statements as one.  Also the longest
// portion, which is how long a window waits.
//   bench_many_unacknowledged [ROWS] [sqlite|postgresql|mariadb]
// The servers are those of the tests (tests/support/database-servers start).
#include <fmt/format.h>

#include <array>
#include <chrono>
#include <string>

#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "store/Acknowledge.h"
#include "store/Statements.h"
#include "store/TrapReader.h"
#include "support/World.h"

namespace {

using namespace korvane;

constexpr std::int32_t kLater = 2'000'000'000;
constexpr const char* kSystem = "10.0.0.1";

store::Engine EngineNamed(std::string_view name) {
  return name == "postgresql" ? store::Engine::PostgreSql
         : name == "mariadb"  ? store::Engine::MariaDb
                              : store::Engine::Sqlite;
}

// The time between two portions, the longest of them.
class Longest {
 public:
  store::GoOn Watch() {
    last_ = std::chrono::steady_clock::now();
    return [this](std::int64_t) {
      const auto now = std::chrono::steady_clock::now();
      Held = std::max(Held, std::chrono::duration<double, std::milli>(now - last_).count());
      last_ = now;
      return true;
    };
  }
  double Held = 0;

 private:
  std::chrono::steady_clock::time_point last_;
};

void Print(std::string_view what, double took, double bare, double held = 0) {
  fmt::print("{:34} {:8.0f} ms; bare {:8.0f} ms; ratio {:.2f}", what, took, bare, took / bare);
  fmt::print("{}\n", held > 0 ? fmt::format("; longest portion {:.0f} ms (at most 200)", held) : "");
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t rows = bench::Size(argc, argv, 1'000'000);
  const auto made = test::MakeStore(EngineNamed(argc > 2 ? argv[2] : "sqlite"));
  bench::AddNames(*made);
  bench::FillWithTraps(*made, rows);
  made->Execute(fmt::format("UPDATE EventTrap SET Source = '{}' WHERE SequenceNumber % 10 = 0", kSystem));
  test::World world(*made);
  const auto read = [&](const std::string& statement) {
    return bench::Milliseconds([&] {
      store::TrapReader reader(world.Connection, statement);
      for (store::IncomingTrap trap; reader.Next(trap);) {
      }
    });
  };
  const double bareRead = read(store::TrapsLoadStatement(kLater));

  auto all = world.Open();
  all->AwaitFirstLoad();
  world.Question.Answer = intake::ViewOption::NotAsked;
  Print("start-up, counts and one window", bench::Milliseconds([&] { world.Model.Load(); }), bareRead);
  params::WindowParameters parameters;
  parameters.Source = "10.1.1.1";
  auto one = world.Open(traps::WindowKind::Selected, parameters);
  const double window = bench::Milliseconds([&] { one->Reset(); });
  Print("a window on one source", window,
        read(store::OfSource(store::TrapsLoadStatement(kLater), parameters.Source, world.Connection.Kind())));

  const auto bare = [&](const std::string& statement) {
    store::Transaction transaction(world.Connection);
    return bench::Milliseconds([&] { world.Connection.Execute(statement); });  // not committed
  };
  const std::array<std::string, 1> sources = {kSystem};
  const double bareSystem = bare(store::AcknowledgeSourceStatement(kSystem, kLater, world.Connection.Kind()));
  Longest held;
  store::Acknowledgement done;
  const double system = bench::Milliseconds(
      [&] { done = store::AcknowledgeSources(world.Connection, sources, kLater, held.Watch()); });
  Print(fmt::format("a system acknowledged, {}", done.ChangedCount()), system, bareSystem, held.Held);
  held = {};
  const double back = bench::Milliseconds([&] { store::TakeBack(world.Connection, done, held.Watch()); });
  Print("and taken back", back, bareSystem, held.Held);
  const double bareAll = bare(store::AcknowledgeAllStatement(kLater));
  held = {};
  const double rest =
      bench::Milliseconds([&] { done = store::AcknowledgeAll(world.Connection, kLater, held.Watch()); });
  Print(fmt::format("all acknowledged, {}", done.ChangedCount()), rest, bareAll, held.Held);
}
