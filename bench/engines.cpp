// Reading, intake, acknowledging and start-up on each engine, against the same statements through the
// engine's own client library and through bare block fetches, in the same run; and how much memory a streamed
// report takes.  The servers are those of the tests: bench/with-servers starts them.
//   bench_engines [TRAPS [Sqlite|PostgreSql|MariaDb ...]]
#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BareFetch.h"
#include "BenchRules.h"
#include "BenchStore.h"
#include "NativeClient.h"
#include "Size.h"
#include "intake/StoreFeeder.h"
#include "store/Statements.h"
#include "store/TrapReader.h"
#include "support/World.h"

namespace {

using namespace korvane;

constexpr int kRounds = 5;
constexpr std::int32_t kEnd = 2'000'000'000;

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print("{}\n", what);
    std::exit(1);
  }
}

// The most that this process has held since it was told to count anew, in KiB.
std::int64_t PeakKibibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::int64_t value = 0;
    if (word == "VmHWM:" && status >> value) return value;
  }
  return 0;
}

template <class Work>
double PeakMebibytes(Work work) {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";
  const std::int64_t before = PeakKibibytes();
  work();
  return static_cast<double>(PeakKibibytes() - before) / 1024;
}

// One measurement: ours, the bare calls of the driver manager where there are some, the native client's.
struct Times {
  std::vector<double> Ours, Bare, Native;
};

void Print(const char* what, const Times& times, double most) {
  const double ours = bench::Median(times.Ours);
  const double native = bench::Median(times.Native);
  const double bare = times.Bare.empty() ? 0 : bench::Median(times.Bare);
  fmt::print("  {:26} {:8.1f} ms{}; native client {:8.1f} ms, ratio {:5.2f}", what, ours,
             bare > 0 ? fmt::format("; bare block fetch {:8.1f} ms, ratio {:5.2f}", bare, ours / bare) : "",
             native, ours / native);
  fmt::print(" (at most {} of {})\n", most, bare > 0 ? "the bare fetch" : "the native client");
}

std::size_t ReadAll(store::Connection& connection, const std::string& statement) {
  store::TrapReader reader(connection, statement);
  store::IncomingTrap trap;
  std::size_t rows = 0;
  while (reader.Next(trap)) ++rows;
  return rows;
}

void MeasureReading(test::World& world, bench::NativeClient& native, std::int32_t traps) {
  const std::string statement = store::ReportStatement(0, kEnd);
  const auto all = static_cast<std::size_t>(traps);
  Times reading;
  for (int round = 0; round < kRounds; ++round) {
    reading.Native.push_back(
        bench::Milliseconds([&] { Expect(native.Fetch(statement) == all, "native rows are missing"); }));
    reading.Bare.push_back(bench::Milliseconds(
        [&] { Expect(bench::BareBlockFetch(world.Connection, statement) == all, "bare rows are missing"); }));
    reading.Ours.push_back(bench::Milliseconds(
        [&] { Expect(ReadAll(world.Connection, statement) == all, "rows are missing"); }));
  }
  Print("reading a report", reading, 1.3);
  const auto fresh = world.OpenConnection();
  const double report = PeakMebibytes([&] { ReadAll(*fresh, statement); });
  fmt::print(
      "  memory while it is read      {:5.1f} MiB (below 15, but MariaDB's driver holds every result)\n",
      report);
}

// Everything that is stored comes by the link: followed, queued, handed over.  As it does to a console whose
// windows were loaded when nothing was there yet.
void MeasureIntake(test::World& opener, bench::NativeClient& native, std::int32_t traps) {
  const std::string statement = "SELECT * FROM EventTrap WHERE SequenceNumber > 0 ORDER BY SequenceNumber";
  Times intake;
  for (int round = 0; round < kRounds; ++round) {
    intake.Native.push_back(bench::Milliseconds([&] { native.Fetch(statement); }));
    intake::StoreFeederOptions options;
    // In portions as long, since a driver may hold a whole result.
    intake.Bare.push_back(bench::Milliseconds([&] {
      for (std::int32_t first = 0; first < traps; first += options.Following.LongestRead) {
        bench::BareBlockFetch(opener.Connection,
                              fmt::format("SELECT * FROM EventTrap WHERE SequenceNumber > {} AND "
                                          "SequenceNumber <= {} ORDER BY SequenceNumber",
                                          first, first + options.Following.LongestRead));
      }
    }));
    options.PollInterval = std::chrono::milliseconds(10);
    options.KnownNumber = [] { return 0; };
    intake::StoreFeeder feeder([&] { return opener.OpenConnection(); },
                               std::make_shared<test::FakeHostNames>(), {}, options);
    std::int32_t taken = 0;
    intake.Ours.push_back(bench::Milliseconds([&] {
      feeder.StartRecvEvents(kEnd);
      const auto begun = std::chrono::steady_clock::now();
      while (taken < traps) {
        for (intake::ReceivedTrap trap; feeder.GetEventFromList(trap) != 0;) ++taken;
        // The console paints between two lists, and looks again at once.
        if (!feeder.MoreFollows()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        Expect(std::chrono::steady_clock::now() - begun < std::chrono::minutes(5),
               "traps were not delivered");
      }
    }));
    feeder.StopRecvEvents();
  }
  Print("intake through the feeder", intake, 1.3);
}

void MeasureAcknowledging(test::World& world, bench::NativeClient& native, std::int32_t traps) {
  const std::int32_t selected = std::max(traps / 50, 1);
  std::vector<std::uint32_t> rows(static_cast<std::size_t>(selected));
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<std::uint32_t>(i * 5);
  world.State.gMaxViewTraps = traps;
  Times acknowledging;
  for (int round = 0; round < kRounds; ++round) {
    const auto unacknowledged = [&] {
      world.Store.Execute("UPDATE EventTrap SET EventAck = 0 WHERE EventAck = 1");
    };
    unacknowledged();
    auto model = world.Open();
    model->Reset();
    std::vector<std::string> statements;
    for (const std::uint32_t row : rows) {
      statements.push_back(store::AcknowledgeTrapStatement(model->Rows().SequenceNumberAt(row)));
    }
    acknowledging.Native.push_back(bench::Milliseconds([&] { native.ExecuteAll(statements); }));
    unacknowledged();
    acknowledging.Ours.push_back(bench::Milliseconds([&] { model->AcknowledgeSelected(rows); }));
    Expect(model->Rows().Count() == static_cast<std::size_t>(traps - selected), "the rows have not left");
    world.Windows.Models.clear();
  }
  world.Store.Execute("UPDATE EventTrap SET EventAck = 0 WHERE EventAck = 1");
  Print("acknowledging one in fifty", acknowledging, 1.3);
}

struct Asked {};

void MeasureStart(test::TestStore& store, bench::NativeClient& native) {
  Times start;
  for (int round = 0; round < kRounds; ++round) {
    start.Native.push_back(bench::Milliseconds([&] { native.Fetch(store::CountUnacknowledgedStatement()); }));
    start.Ours.push_back(bench::Milliseconds([&] {
      test::World world(store);
      world.Bounds.Settled = false;
      world.State.gMaxViewTraps = 1;
      world.Question.Meanwhile = [] { throw Asked{}; };
      world.SystemList.LoadSystems(world.Connection);
      world.ReadRules();
      try {
        world.Model.Load();
        Expect(false, "the question was not asked");
      } catch (const Asked&) {
      }
    }));
  }
  Print("start-up to the question", start, 2);
}

void Measure(store::Engine engine, std::int32_t traps) {
  const std::unique_ptr<test::TestStore> store = test::MakeStore(engine);
  bench::AddNames(*store);
  bench::FillWithTraps(*store, traps);
  const auto native = bench::MakeNativeClient(*store, engine);
  fmt::print("{}, {} traps\n", test::EngineName(engine), traps);
  {
    test::World world(*store);
    world.ReadRules();
    world.Bounds.InitialLoad = false;
    world.State.gLastTrapTime = kEnd;
    MeasureReading(world, *native, traps);
    MeasureIntake(world, *native, traps);
    MeasureAcknowledging(world, *native, traps);
  }
  MeasureStart(*store, *native);
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 300'000);
  const std::vector<std::string> wanted(argv + std::min(argc, 2), argv + argc);
  for (const store::Engine engine : test::kEngines) {
    if (wanted.empty() || std::ranges::find(wanted, test::EngineName(engine)) != wanted.end()) {
      Measure(engine, traps);
    }
  }
}
