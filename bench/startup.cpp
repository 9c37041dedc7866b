// Start-up on a store with a million unacknowledged traps: everything the console does before it asks for the
// view option, against the bare COUNT statement of the same run.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "BenchStore.h"
#include "Size.h"
#include "intake/Systems.h"
#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "store/Statements.h"
#include "support/World.h"
#include "systems/SystemsModel.h"

namespace {

using namespace korvane;
using Milliseconds = std::chrono::duration<double, std::milli>;

// Leaves the loading at the moment the question would show.
struct Asked {};
class LeavingQuestion : public systems::ViewOptionQuestion {
 public:
  intake::ViewOption AskViewOption(std::int64_t, std::int32_t) override { throw Asked{}; }
};

double CountStatement(store::Connection& connection) {
  const auto start = std::chrono::steady_clock::now();
  store::Recordset rows = connection.OpenRecordset(store::CountUnacknowledgedStatement());
  rows.Next();
  rows.Close();
  return Milliseconds(std::chrono::steady_clock::now() - start).count();
}

double UntilTheQuestion(const test::TestStore& source) {
  test::FakePlatform machine;
  test::ScriptedPrompts prompts;
  test::RecordingBusy busy;
  test::FakeLibrary library;
  ProcessState state;
  Log log(state);
  LeavingQuestion question;

  const auto start = std::chrono::steady_clock::now();
  store::Connection connection;
  source.Connect(connection);
  store::TrapNames names(connection);
  intake::Systems systems;
  params::CategoryInformation categories;
  params::TrapFilters filters;
  systems.LoadSystems(connection);
  categories.ReloadCategoryInformation(connection);
  filters.LoadFilters(connection);
  intake::LoadBounds bounds;
  StripLines strip{machine.Clock, log};
  Desk desk{state, prompts, busy, log, machine.Clock, machine.Settings, strip};
  intake::StoredTraps stored(desk, connection, names, systems, bounds);
  systems::SystemsModel model(desk, connection, systems, bounds, stored, library, question);
  try {
    model.Load();
    fmt::print("the question was not asked\n");
    std::exit(1);
  } catch (const Asked&) {
  }
  return Milliseconds(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> times) {
  std::ranges::sort(times);
  return times[times.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 1'000'000);
  test::SqliteStore source;
  bench::FillWithTraps(source, traps);
  store::Connection connection;
  source.Connect(connection);
  CountStatement(connection);
  std::vector<double> count;
  std::vector<double> startup;
  for (int round = 0; round < 9; ++round) {
    count.push_back(CountStatement(connection));
    startup.push_back(UntilTheQuestion(source));
  }
  fmt::print(
      "start-up before the question: {:.1f} ms; COUNT statement: {:.1f} ms; ratio {:.2f} (at most 2)\n",
      Median(startup), Median(count), Median(startup) / Median(count));
}
