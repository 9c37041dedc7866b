// The console in a storm: its whole frame, offscreen, with ten Traps windows, while traps are stored at a
// rate. How long its event loop was held at most, how far behind the store it was at the end, how its memory
// grew, and whether every count is what the store holds.
//
//   bench_console_storm [TRAPS A SECOND [SECONDS]]
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QTableView>
#include <QTimer>
#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "BenchConsole.h"
#include "BenchRules.h"
#include "store/BatchInsert.h"
#include "store/Tables.h"
#include "support/TestStore.h"

namespace {

using namespace korvane;
using bench::CountOf;
using bench::Until;
using Clock = std::chrono::steady_clock;

constexpr int kSystems = 100;
constexpr std::array<std::string_view, 7> kColumns = {"EventTime",     "Source",       "EnterpriseOid",
                                                      "GenericTrap",   "SpecificTrap", "EventDescription",
                                                      "Event_ExtDescr"};

// Stores as a receiver does: transactions of up to 1,000 rows, evenly over the time.
class Storm {
 public:
  Storm(const test::TestStore& store, int rate, int seconds)
      : rows_(std::int64_t{rate} * seconds), thread_([this, &store, rate] { Run(store, rate); }) {}

  bool Over() const { return stored_ == rows_; }
  std::int64_t Stored() const { return stored_; }

 private:
  void Run(const test::TestStore& store, int rate) {
    store::Connection connection;
    store.Connect(connection);
    store::BatchInsert batch(connection, store::kEventTrap, kColumns);
    const auto start = Clock::now();
    while (stored_ < rows_) {
      const auto due =
          static_cast<std::int64_t>(std::chrono::duration<double>(Clock::now() - start).count() * rate);
      const std::int64_t until = std::min({due, stored_ + 1000, rows_});
      if (until < std::min(stored_ + 1000, rows_)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        continue;
      }
      store::Transaction transaction(connection, store::kEventTrap);
      for (std::int64_t i = stored_; i < until; ++i) Add(batch, static_cast<std::int32_t>(i));
      batch.Flush();
      transaction.Commit();
      stored_ = until;
    }
  }

  static void Add(store::BatchInsert& batch, std::int32_t i) {
    const std::string source = fmt::format("10.0.{}.1", i % kSystems);
    const std::string enterprise = fmt::format("1.3.6.1.4.1.{}", 9000 + i % 10);
    const std::string description = fmt::format("1.3.6.1.2.1.2.2.1.1.{0} = {0}", i % 48);
    const std::array<store::BatchInsert::Value, kColumns.size()> row = {
        1'700'000'000 + i / 1000,
        source,
        enterprise,
        6,
        1 + i % 4,
        description,
        ", 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/12, 1.3.6.1.2.1.2.2.1.8 = 2"};
    batch.Add(row);
  }

  const std::int64_t rows_;
  std::atomic<std::int64_t> stored_ = 0;
  std::jthread thread_;
};

// How long the event loop came back late at most.
class HeldUp : public QObject {
 public:
  HeldUp() {
    since_.start();
    startTimer(1, Qt::PreciseTimer);
  }
  double Longest() const { return static_cast<double>(longest_) / 1e6; }
  int Beyond100() const { return beyond_; }

 protected:
  void timerEvent(QTimerEvent*) override {
    const qint64 held = since_.nsecsElapsed();
    since_.restart();
    longest_ = std::max(longest_, held);
    beyond_ += held > 100'000'000 ? 1 : 0;
  }

 private:
  QElapsedTimer since_;
  qint64 longest_ = 0;
  int beyond_ = 0;
};

// Of this process, in MiB.
double ResidentMemory() {
  std::ifstream status("/proc/self/statm");
  double total = 0;
  double resident = 0;
  status >> total >> resident;
  return resident * 4096 / 1048576;
}

void OpenWindows(mainwnd::frmMain& frame) {
  auto& list = test::Find<QTableView>(*frame.Systems(), "lvDevices");
  for (int row = 0; row < 9; ++row) {
    list.selectRow(row);
    frame.Systems()->ShowPerDeviceWindow();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int rate = argc > 1 ? std::atoi(argv[1]) : 60'000;
  const int seconds = argc > 2 ? std::atoi(argv[2]) : 60;
  QApplication application(argc, argv);
  ApplyKorvaneStyle(application);
  test::SqliteStore store;
  bench::AddNames(store);
  bench::AddRules(store);
  std::vector<test::StoredTrap> first(kSystems);
  for (int i = 0; i < kSystems; ++i) first[static_cast<std::size_t>(i)].Source = fmt::format("10.0.{}.1", i);
  store.AddTraps(first);

  bench::BenchConsole console;
  mainwnd::frmMain& frame = console.Frame();
  Until([&] { return frame.Systems() != nullptr && CountOf(*frame.Systems()) == kSystems; });
  OpenWindows(frame);

  const double before = ResidentMemory();
  double most = before;
  std::int64_t behind = 0;
  HeldUp held;
  const auto start = Clock::now();
  std::int64_t stored = 0;
  {
    Storm storm(store, rate, seconds);
    Until([&] {
      most = std::max(most, ResidentMemory());
      return storm.Over();
    });
    stored = storm.Stored();
    behind = stored + kSystems - CountOf(*frame.Systems());
  }
  const double took = std::chrono::duration<double>(Clock::now() - start).count();
  Until([&] {
    return CountOf(*frame.Systems()) == stored + kSystems ||
           Clock::now() - start > std::chrono::seconds(4 * seconds + 60);
  });
  const double caughtUp = std::chrono::duration<double>(Clock::now() - start).count() - took;
  const std::int64_t shown = CountOf(*frame.Systems()) - kSystems;
  fmt::print(
      "{} traps stored in {:.1f} s ({:.0f} a second of {} asked for), ten Traps windows: event loop held for "
      "{:.0f} ms "
      "at most (below 100), {} times longer than that; {} traps behind at the end, caught up after {:.1f} s; "
      "memory "
      "{:.0f} MiB, {:.0f} at most\n",
      stored, took, static_cast<double>(stored) / took, rate, held.Longest(), held.Beyond100(), behind,
      caughtUp, before, most);
  if (shown != stored) {
    fmt::print("the counts are wrong: {} shown of {}\n", shown, stored);
    return 1;
  }
  return 0;
}
