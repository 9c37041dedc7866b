// What the console and the receiver take from stores that grow: one store is filled to each size in turn, and
// everything that an operator and the receiver do all day is measured at each.  Prints a table, and how the
// last size compares to the first from a million on.  See bench/history, which starts what it needs.
//   bench_history ENGINE UNACKNOWLEDGED TRAPS [TRAPS ...]      sizes ascending; ENGINE Sqlite, PostgreSql,
//   MariaDb
#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "BenchHistory.h"
#include "BenchRules.h"
#include "ServerCpu.h"
#include "intake/StoreFeeder.h"
#include "receiver/KeptLog.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/Housekeeping.h"
#include "reports/ReportModel.h"
#include "store/NotesWrite.h"
#include "support/Processes.h"
#include "support/World.h"

namespace {

using namespace korvane;
using std::chrono::milliseconds;

constexpr double kMost = 1.3;
constexpr int kRounds = 10;  // of what takes a few milliseconds

struct Cost {
  double Cpu = 0;  // milliseconds of this process and of the server
  double Wall = 0;
};

// Of the server that the measurement works on; an embedded store has none.
std::filesystem::path PidFile(store::Engine engine) {
  std::string folder;
  std::ifstream state(SERVERS_STATE);
  for (std::string line; std::getline(state, line);) {
    if (line.starts_with("folder=")) folder = line.substr(line.find('=') + 1);
  }
  if (engine == store::Engine::PostgreSql) return folder + "/postgresql/data/postmaster.pid";
  return engine == store::Engine::MariaDb ? folder + "/mariadb/pid" : "";
}

double OwnCpuMilliseconds() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const auto of = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
  };
  return of(used.ru_utime) + of(used.ru_stime);
}

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print(stderr, "{}\n", what);
    std::exit(1);
  }
}

// One line of the table: what a name cost at each size, for so many of its unit; the mean of its
// measurements.
class Table {
 public:
  explicit Table(std::filesystem::path pidFile) : pidFile_(std::move(pidFile)) {}

  template <class Work>
  void Measure(const std::string& name, Work work) {
    const double before = CpuMilliseconds();
    const double wall = bench::Milliseconds(work);
    Note(name, {.Cpu = CpuMilliseconds() - before, .Wall = wall});
  }
  // work says how many it did; the line is of a thousand of them.
  template <class Work>
  void MeasurePerThousand(const std::string& name, Work work) {
    const double before = CpuMilliseconds();
    std::int64_t done = 0;
    const double wall = bench::Milliseconds([&] { done = work(); });
    Expect(done > 0, name.c_str());
    const double thousands = static_cast<double>(done) / 1000;
    Note(name + ", per 1000", {.Cpu = (CpuMilliseconds() - before) / thousands, .Wall = wall / thousands});
  }
  void EndSize(std::int64_t traps) {
    sizes_.push_back(traps);
    for (const std::string& name : order_) {
      const auto& [sum, times] = now_.at(name);
      const Cost cost{.Cpu = sum.Cpu / times, .Wall = sum.Wall / times};
      lines_[name].push_back(cost);
      fmt::print(stderr, "  {:34} {:10.2f} ms CPU {:10.2f} ms\n", name, cost.Cpu, cost.Wall);
    }
    now_.clear();
  }

  void Print() const {
    fmt::print("\n{:34}", "CPU / wall in ms at");
    for (const std::int64_t size : sizes_) fmt::print("{:>22}", size);
    fmt::print("   ratio (at most {})\n", kMost);
    const auto from = std::ranges::find_if(sizes_, [](std::int64_t size) { return size >= 1'000'000; });
    const std::size_t first = from == sizes_.end() ? 0 : static_cast<std::size_t>(from - sizes_.begin());
    for (const std::string& name : order_) {
      const std::vector<Cost>& costs = lines_.at(name);
      fmt::print("{:34}", name);
      for (const Cost& cost : costs)
        fmt::print("{:>22}", fmt::format("{:.2f} / {:.2f}", cost.Cpu, cost.Wall));
      fmt::print("{:8.2f}\n", costs.back().Cpu / std::max(costs.at(first).Cpu, 0.01));
    }
  }

 private:
  double CpuMilliseconds() const { return OwnCpuMilliseconds() + bench::ServerCpuMilliseconds(pidFile_); }
  void Note(const std::string& name, Cost cost) {
    if (std::ranges::find(order_, name) == order_.end()) order_.push_back(name);
    auto& [sum, times] = now_[name];
    sum.Cpu += cost.Cpu;
    sum.Wall += cost.Wall;
    ++times;
  }

  std::filesystem::path pidFile_;
  std::vector<std::int64_t> sizes_;
  std::vector<std::string> order_;
  std::map<std::string, std::pair<Cost, int>> now_;  // at this size: the sum, of so many
  std::map<std::string, std::vector<Cost>> lines_;
};

// The machine's clock stands at the newest trap.
struct StandingClocks : receiver::Clocks {
  explicit StandingClocks(std::int64_t now) : Now(now) {}
  receiver::ClockReading Read() override { return {.Wall = Now, .Elapsed = 1'000'000}; }
  bool Synchronized() override { return true; }
  std::int64_t Now;
};

// The second round: the first has the clock confirmed.
receiver::HouseholdWork Keep(const test::TestStore& store, receiver::Intervals intervals, std::int64_t now) {
  const test::TempFolder folder;
  receiver::KeptLog log;
  StandingClocks clocks(now);
  const std::stop_source never;
  receiver::Housekeeping keeper(store.DataSource(), intervals, clocks, folder.Path(), log,
                                {.Breath = milliseconds(0)});
  receiver::HouseholdWork work = keeper.Round(never.get_token());
  const receiver::HouseholdWork second = keeper.Round(never.get_token());
  work.Acknowledged += second.Acknowledged;
  work.Purged += second.Purged;
  return work;
}

void MeasureConsole(test::TestStore& store, Table& table, const bench::History& history) {
  const auto unacknowledged = static_cast<std::size_t>(history.Unacknowledged);
  std::unique_ptr<test::World> started;
  table.Measure("start-up", [&] {
    started = std::make_unique<test::World>(store);
    started->Bounds.Settled = false;
    started->State.gMaxViewTraps = history.Unacknowledged;
    started->SystemList.LoadSystems(started->Connection);
    started->ReadRules();
    started->Model.Load();
  });
  test::World& world = *started;
  world.Bounds.InitialLoad = false;
  world.Windows.Counts = &world.Model;
  std::unique_ptr<traps::TrapsModel> all;
  table.Measure("new window of all traps", [&] {
    all = world.Open();
    all->Reset();
  });
  Expect(all->Rows().Count() + 1 >= unacknowledged, "the window lacks traps");
  std::vector<std::uint32_t> rows(20);
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<std::uint32_t>(7 * i);
  std::vector<std::unique_ptr<traps::TrapsModel>> opened;
  for (int round = 0; round < kRounds; ++round) {
    const intake::System& system =
        world.SystemList.At(world.SystemList.FindSystem(bench::SourceOf(history.Traps - 10 - round)));
    table.Measure("new window of one system", [&] {
      opened.push_back(world.Open(traps::WindowKind::PerSystem, {}, &system));
      opened.back()->Reset();
    });
    table.Measure("acknowledging 20 traps", [&] { all->AcknowledgeSelected(rows); });
    table.Measure("taking that back", [&] { world.Strip.Press(StripKind::Told); });
    world.Prompt.WillAnswer(PromptAnswer::Yes);
    table.Measure("acknowledging a system",
                  [&] { world.Acknowledge.Ask(system, "system", [&] { return history.Now() + 1; }); });
    table.Measure("taking that back too", [&] { world.Strip.Press(StripKind::Told); });
    store::TrapKey noted{world.Bounds.StartNumber - 5 - round, 0};
    noted.Time =
        store.Number(fmt::format("SELECT EventTime FROM EventTrap WHERE SequenceNumber = {}", noted.Number));
    table.Measure("saving notes", [&] { store::WriteNotes(world.Connection, noted, "", "called the site"); });
  }

  table.MeasurePerThousand("report", [&] {
    reports::ReportModel report(
        world.ForReports,
        {.FromTime = history.TimeOf(history.Traps - 100'000), .ToTime = history.Now(), .Window = {}},
        {.BatchesReady = [] {}, .StateChanged = [] {}});
    report.Reset();
    Expect(test::WaitUntil(
               [&] {
                 while (report.TakeBatches(milliseconds(100))) {
                 }
                 return report.State() != reports::ReportState::Loading;
               },
               std::chrono::minutes(10)),
           "the report did not end");
    return static_cast<std::int64_t>(report.Rows().Count());
  });
  world.Windows.Models.clear();
}

// One trap after the other until it was handed over, with the looks for news between them.
void MeasureFollowing(test::TestStore& store, Table& table, const bench::History& history) {
  test::World world(store);
  intake::StoreFeederOptions options;
  options.PollInterval = milliseconds(5);
  options.KnownNumber = [&] { return static_cast<std::int32_t>(history.LastNumber); };
  intake::StoreFeeder feeder([&] { return world.OpenConnection(); }, std::make_shared<test::FakeHostNames>(),
                             {}, options);
  const auto taken = [&] {
    for (intake::ReceivedTrap trap; feeder.GetEventFromList(trap) != 0;) {
      if (trap.Source == "tick") return true;
    }
    feeder.TakeNews();  // what comes later waits for it
    return false;
  };
  const auto tick = [&] {
    store.Execute(
        fmt::format("INSERT INTO EventTrap (EventTime, Source) VALUES ({}, 'tick')", history.Now() + 1));
    Expect(test::WaitUntil(taken), "a trap was not delivered");
  };
  feeder.StartRecvEvents(history.Now() + 1);
  tick();
  table.Measure("ten ticks", [&] {
    for (int i = 0; i < 10; ++i) tick();
  });
  feeder.StopRecvEvents();
}

void MeasureReceiver(test::TestStore& store, Table& table, bench::History& history) {
  receiver::DatabaseTrapStore traps(store.DataSource());
  traps.Open(fmt::format("bench{}", history.Traps), 1'000'000'000, 0);
  std::uint64_t number = 0;
  table.MeasurePerThousand("receiver, traps", [&] {
    for (int batch = 0; batch < 20; ++batch) {
      std::vector<receiver::SpooledTrap> some(500);
      const std::uint64_t before = number;
      for (receiver::SpooledTrap& trap : some) {
        const auto i = static_cast<std::int64_t>(number++);
        trap = {.Number = number,
                .Row = {.EventTime = history.Now(),
                        .Source = bench::SourceOf(i * 7919),
                        .EnterpriseOid = "1.3.6.1.4.1.9000",
                        .SpecificTrap = 1,
                        .EventDescription = "1.3.6.1.2.1.2.2.1.1.4 = 4",
                        .Event_ExtDescr = ", 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/12"}};
      }
      traps.Store(some, before);
    }
    return 10'000;
  });
  traps.Close();
  store.Execute(
      "UPDATE EventTrap SET EventAck = 1 WHERE EventAck = 0 AND EventDescription = "
      "'1.3.6.1.2.1.2.2.1.1.4 = 4' AND Event_ExtDescr = ', 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/12'");
  const std::int64_t age = history.Now() + 1;
  table.MeasurePerThousand("acknowledging by age", [&] {
    return Keep(store, {.AckHours = bench::History::HoursOf(history.Unacknowledged / 2), .PurgeDays = 0}, age)
        .Acknowledged;
  });
  history.Purged += bench::History::kTrapsOfADay * 2;
  const std::int64_t kept = history.Traps - history.Purged;
  table.MeasurePerThousand("purging", [&] {
    return Keep(store, {.AckHours = 0, .PurgeDays = bench::History::DaysOf(kept)}, age).Purged;
  });
}

}  // namespace

int main(int argc, char** argv) {
  const auto engine = std::ranges::find_if(
      test::kEngines, [&](store::Engine each) { return argc > 3 && test::EngineName(each) == argv[1]; });
  if (engine == test::kEngines.end()) {
    fmt::print(stderr, "usage: {} ENGINE UNACKNOWLEDGED TRAPS [TRAPS ...]\n", argv[0]);
    return 2;
  }
  const std::unique_ptr<test::TestStore> store = test::MakeStore(*engine);
  bench::History history(*store, *engine, std::atoi(argv[2]));
  Table table(PidFile(*engine));
  for (int i = 3; i < argc; ++i) {
    history.GrowTo(std::atoll(argv[i]));
    fmt::print(stderr, "{} traps, {:.0f} bytes each\n", history.Traps, history.BytesOfATrap());
    MeasureConsole(*store, table, history);
    MeasureFollowing(*store, table, history);
    MeasureReceiver(*store, table, history);
    table.EndSize(history.Traps);
  }
  fmt::print("{}, {} unacknowledged, of {} systems and {} kinds\n", test::EngineName(*engine),
             history.Unacknowledged, bench::kHistorySources, bench::kHistoryKinds);
  table.Print();
}
