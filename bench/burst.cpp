// A burst: one tick that takes in 100,000 delivered traps with the Systems window and ten Traps windows open,
// 20 filters and 50 category rows, against inserting those traps into the store in one transaction; and one
// of traps whose senders invent an enterprise for each, against that of known ones.
#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "BenchRules.h"
#include "Size.h"
#include "intake/Intake.h"
#include "support/World.h"
#include "systems/SystemsModel.h"

namespace {

using namespace korvane;

class BurstLibrary : public test::FakeLibrary {
 public:
  std::int32_t GetEventFromList(intake::ReceivedTrap& trap) override {
    if (next_ == List.size()) {
      return 0;
    }
    trap = List[next_++];
    return 1;
  }
  void Again() { next_ = 0; }
  std::vector<intake::ReceivedTrap> List;

 private:
  std::size_t next_ = 0;
};

class NoQuestion : public systems::ViewOptionQuestion {
 public:
  intake::ViewOption AskViewOption(std::int64_t, std::int32_t) override {
    return intake::ViewOption::LoadRecentTraps;
  }
};

class Windows : public intake::TrapsWindows {
 public:
  std::vector<intake::TrapsWindow*> InCreationOrder() override { return {Open.begin(), Open.end()}; }
  std::vector<traps::TrapsModel*> Open;
};

std::vector<test::StoredTrap> Burst(std::int32_t count) {
  std::vector<test::StoredTrap> traps;
  traps.reserve(static_cast<std::size_t>(count));
  for (std::int32_t i = 0; i < count; ++i) {
    test::StoredTrap trap;
    trap.SequenceNumber = i + 1;
    trap.EventTime = 1'000'000 + i / 50;
    trap.Source = fmt::format("10.{}.{}.1", i % 8, i % 25);
    trap.EnterpriseOid = fmt::format("1.3.6.1.4.1.{}", 9000 + i % 10);
    trap.SpecificTrap = 1 + i % 4;
    trap.EventDescription = fmt::format("1.3.6.1.2.1.2.2.1.1.{0} = {0}", i % 48);
    trap.Event_ExtDescr = ", 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/12, 1.3.6.1.2.1.2.2.1.8 = 2";
    traps.push_back(trap);
  }
  return traps;
}

// What ten windows of an operator look at: all of it, some of it, next to nothing.
std::vector<params::WindowParameters> TenWindows() {
  std::vector<params::WindowParameters> ten(10);
  ten[1].Severity = 5;
  ten[2].Category = "category 3";
  ten[3].Source = "10.1.1.1";
  ten[4].Generic = 6;
  ten[5].Generic = 6;
  ten[5].Enterprise = "vendor4";
  ten[6].VarBindsMatch = "tengige0/0/12";
  ten[7].VarBindsMatch = "not there";
  ten[8].Category = "category 7";
  ten[8].Severity = 3;
  return ten;
}

// What a tick with the windows open takes for them, in milliseconds.
double Tick(test::LoadedWorld& world, const std::vector<test::StoredTrap>& traps) {
  world.Store.Execute("DELETE FROM EventTrap");
  BurstLibrary library;
  for (const test::StoredTrap& trap : traps) {
    library.List.push_back({.Source = trap.Source,
                            .EnterpriseOid = trap.EnterpriseOid,
                            .SpecificTrap = trap.SpecificTrap,
                            .VarBindsFirst = trap.Event_ExtDescr,
                            .VarBindsSecond = "",
                            .SequenceNumber = trap.SequenceNumber,
                            .EventDescription = trap.EventDescription,
                            .GenericTrap = trap.GenericTrap,
                            .EventTime = trap.EventTime,
                            .TimeKey = trap.EventTime});
  }
  // Names are looked up once in a console's life, yet each round pays for it.
  world.Names.ClearCache();
  NoQuestion question;
  systems::SystemsModel systems(world.Desk, world.Connection, world.SystemList, world.Bounds, world.Stored,
                                world.Library, question);
  Windows windows;
  intake::Intake intake(library, world.Names, world.SystemList, systems, windows, world.ChangesOfStore,
                        world.State, world.Prompt, world.DebugLog);
  systems.AttachIntake(intake);
  systems.Load();
  std::vector<std::unique_ptr<traps::TrapsModel>> open;
  for (const params::WindowParameters& parameters : TenWindows()) {
    open.push_back(world.Open(traps::WindowKind::Selected, parameters));
    open.back()->Reset();
    windows.Open.push_back(open.back().get());
  }
  const double tick = bench::Milliseconds([&] { intake.CheckTraps(); });
  if (open.front()->Rows().Count() != std::min<std::size_t>(traps.size(), 1000) ||
      intake.Counters().PeriodTraps != static_cast<std::int64_t>(traps.size())) {
    fmt::print("the burst was not taken in\n");
    std::exit(1);
  }
  world.Windows.Models.clear();
  return tick;
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t count = bench::Size(argc, argv, 100'000);
  test::LoadedWorld world;
  bench::AddNames(world.Store);
  bench::AddRules(world.Store);
  world.ReadRules();
  world.State.gLastTrapTime = 0;
  const std::vector<test::StoredTrap> traps = Burst(count);
  const std::vector<test::StoredTrap> known(traps.begin(), traps.begin() + count * 3 / 5);
  std::vector<test::StoredTrap> invented = known;
  for (test::StoredTrap& trap : invented) {
    trap.EnterpriseOid = fmt::format("1.3.6.1.4.1.{}.{}", 77'777, trap.SequenceNumber);
  }

  std::vector<double> inserts;
  std::vector<double> ticks;
  std::vector<double> knownTicks;
  std::vector<double> inventedTicks;
  for (int round = 0; round < 5; ++round) {
    world.Store.Execute("DELETE FROM EventTrap");
    inserts.push_back(bench::Milliseconds([&] { world.Store.AddTraps(traps); }));
    ticks.push_back(Tick(world, traps));
    knownTicks.push_back(Tick(world, known));
    inventedTicks.push_back(Tick(world, invented));
  }
  fmt::print(
      "a burst of {} traps, ten windows: tick {:.0f} ms; inserting them {:.0f} ms; ratio {:.2f} "
      "(below 1)\n",
      count, bench::Median(ticks), bench::Median(inserts), bench::Median(ticks) / bench::Median(inserts));
  fmt::print(
      "{} traps of as many invented enterprises: tick {:.0f} ms; of known ones {:.0f} ms; ratio {:.2f} "
      "(below 3)\n",
      invented.size(), bench::Median(inventedTicks), bench::Median(knownTicks),
      bench::Median(inventedTicks) / bench::Median(knownTicks));
}
