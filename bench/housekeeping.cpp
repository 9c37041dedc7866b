// Whether old traps go as fast as new ones come: how many traps a second the receiver acknowledges and
// deletes by their age, alone and while another thread stores as fast as the store takes them, and what the
// storing loses by it.  On an embedded store, which has one writer at a time, or on a server of the tests.
//
//   bench_housekeeping [TRAPS] [postgresql|mariadb]

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <vector>

#include "BenchRules.h"
#include "Size.h"
#include "receiver/KeptLog.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/Housekeeping.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace {

using namespace korvane;
using receiver::SpooledTrap;

constexpr std::int32_t kNow = 1'700'000'000;
constexpr std::int32_t kDay = 86'400;
constexpr std::size_t kBatch = 1000;

struct TrueClock : receiver::Clocks {
  receiver::ClockReading Read() override { return {.Wall = kNow, .Elapsed = kDay}; }
  bool Synchronized() override { return true; }
};

class Sender {
 public:
  Sender(const test::TestStore& made, receiver::WriteTurns& turns) : store_(made.DataSource(), {}, &turns) {
    number_ = store_.Open("sender", ~std::uint64_t{0} >> 1, 0);
  }

  void StoreBatch(std::int32_t time) {
    std::vector<SpooledTrap> traps;
    for (std::size_t i = 0; i < kBatch; ++i) {
      const std::uint64_t system = (number_ + i) * 7919 % 5000;
      traps.push_back({.Number = number_ + i + 1,
                       .Row = {.EventTime = time,
                               .Source = fmt::format("10.{}.{}.1", system / 250, system % 250),
                               .EnterpriseOid = "1.3.6.1.6.3.1.1.5",
                               .GenericTrap = 2,
                               .SpecificTrap = 0,
                               .EventDescription =
                                   "ifIndex.3 = 3, ifAdminStatus.3 = 1, ifOperStatus.3 = 2, ifDescr.3 = Te3",
                               .Event_ExtDescr = ""}});
    }
    store_.Store(traps, number_);
    number_ = traps.back().Number;
  }

 private:
  receiver::DatabaseTrapStore store_;
  std::uint64_t number_ = 0;
};

double Seconds(const auto& work) {
  return bench::Milliseconds(work) / 1000;
}

// Old traps, and one round that acknowledges or deletes them, with or without somebody who stores.  Traps a
// second of both.
struct Rates {
  double Kept = 0;
  double Stored = 0;
};

Rates Measure(store::Engine engine, std::int32_t traps, receiver::Intervals ages, bool storing) {
  const auto made = test::MakeStore(engine);
  receiver::WriteTurns turns;
  Sender sender(*made, turns);
  for (std::int32_t stored = 0; stored < traps; stored += static_cast<std::int32_t>(kBatch)) {
    sender.StoreBatch(kNow - 10 * kDay + stored / 5000);
  }
  receiver::KeptLog log;
  TrueClock clock;
  const test::TempFolder folder;
  receiver::Housekeeping keeper(made->DataSource(), ages, clock, folder.Path(), log, {.Turns = &turns});
  std::atomic<bool> ended = !storing;
  std::int64_t batches = 0;
  std::thread other([&] {
    for (; !ended; ++batches) sender.StoreBatch(kNow);
  });
  receiver::HouseholdWork work;
  const double seconds = Seconds([&] { work = keeper.Round(std::stop_source().get_token()); });
  ended = true;
  other.join();
  if (work.Acknowledged + work.Purged != traps) {
    fmt::print(stderr, "{} of {} traps were done\n", work.Acknowledged + work.Purged, traps);
    std::exit(1);
  }
  return {.Kept = traps / seconds, .Stored = static_cast<double>(batches) * kBatch / seconds};
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps =
      (bench::Size(argc, argv, 200'000) + static_cast<std::int32_t>(kBatch) - 1) / 1000 * 1000;
  const std::string_view name = argc > 2 ? argv[2] : "";
  const store::Engine engine = name == "postgresql" ? store::Engine::PostgreSql
                               : name == "mariadb"  ? store::Engine::MariaDb
                                                    : store::Engine::Sqlite;
  double limit = 0;
  {
    const auto made = test::MakeStore(engine);
    receiver::WriteTurns turns;
    Sender sender(*made, turns);
    limit = traps / Seconds([&] {
              for (std::int32_t stored = 0; stored < traps; stored += static_cast<std::int32_t>(kBatch)) {
                sender.StoreBatch(kNow);
              }
            });
  }
  fmt::print("{} traps of 5,000 systems; storing alone {:.0f} a second\n", traps, limit);
  for (const auto& [what, ages] :
       {std::pair("acknowledged by age", receiver::Intervals{.AckHours = 12, .PurgeDays = 0}),
        {"deleted            ", receiver::Intervals{.AckHours = 0, .PurgeDays = 7}}}) {
    const Rates alone = Measure(engine, traps, ages, false);
    const Rates both = Measure(engine, traps, ages, true);
    fmt::print(
        "  {} alone {:.0f} a second; beside storing {:.0f}, while {:.0f} are stored; together {:.2f} of "
        "storing alone\n",
        what, alone.Kept, both.Kept, both.Stored, (both.Kept + both.Stored) / limit);
  }
}
