// A million stored traps into a Report / History window on a screen that is not there: from OK to the filled
// list against the bare block fetch of the same statement, when the first traps are painted, how long the
// window is ever held up, what sorting costs, and the memory that the rows take.
#include <fmt/format.h>
#include <malloc.h>

#include <QApplication>
#include <QEvent>
#include <QTableView>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BareFetch.h"
#include "BenchMemory.h"
#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "platform/linux/LinuxPlatform.h"
#include "reports/frmReport.h"
#include "store/Statements.h"
#include "support/World.h"

namespace {

using namespace korvane;
using Clock = std::chrono::steady_clock;

constexpr std::int32_t kFrom = 0;
constexpr std::int32_t kTo = 2'000'000'000;
constexpr double kLongestHold = 200;  // milliseconds; longer is felt
constexpr std::array<const char*, traplist::kTrapColumns> kColumns = {"Date / Time", "Source", "Trap Name",
                                                                      "Variables"};

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Notes when the list is painted first with a row in it.
class FirstPaint : public QObject {
 public:
  FirstPaint(QTableView& view, Clock::time_point start) : view_(view), start_(start) {
    view.viewport()->installEventFilter(this);
  }
  double Time = 0;

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint && Time == 0 && view_.model()->rowCount() > 0) {
      Time = MillisecondsSince(start_);
    }
    return false;
  }

 private:
  QTableView& view_;
  Clock::time_point start_;
};

struct Loaded {
  double Whole = 0;
  double Painted = 0;
  double LongestHold = 0;  // between two looks at the event queue
  double BytesPerRow = 0;
  std::array<double, traplist::kTrapColumns> Sort{};
};

// sortedBy: the column by which the list is sorted from the start on; -1: as the traps arrive.
Loaded Load(test::LoadedWorld& world, reports::ReportServices& services, std::int32_t traps, int sortedBy) {
  malloc_trim(0);
  const std::size_t before = bench::HeapBytes();
  Loaded result;
  const Clock::time_point start = Clock::now();
  reports::frmReport report(services, world.Windows, {.FromTime = kFrom, .ToTime = kTo, .Window = {}});
  report.resize(900, 600);
  report.show();
  auto* view = report.findChild<QTableView*>(QStringLiteral("lvTraps"));
  FirstPaint painted(*view, start);
  report.Reset();
  view->sortByColumn(sortedBy, Qt::AscendingOrder);
  while (report.Model().State() == reports::ReportState::Loading || report.Table().IsSorting()) {
    const Clock::time_point turn = Clock::now();
    QApplication::processEvents(QEventLoop::AllEvents);
    result.LongestHold = std::max(result.LongestHold, MillisecondsSince(turn));
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  result.Whole = MillisecondsSince(start);
  result.Painted = painted.Time;
  if (report.Model().State() != reports::ReportState::Complete ||
      report.Model().Rows().Count() != static_cast<std::size_t>(traps)) {
    fmt::print("rows are missing: {}\n", report.Model().Notice());
    std::exit(1);
  }
  const auto extra = static_cast<double>(bench::HeapBytes() - before) -
                     static_cast<double>(bench::TextBytes(report.Model().Rows()));
  result.BytesPerRow = extra / traps;
  if (sortedBy != -1) {
    return result;
  }
  for (int column = 0; column < traplist::kTrapColumns; ++column) {
    result.Sort[static_cast<std::size_t>(column)] = bench::Milliseconds([&] {
      view->sortByColumn(column, Qt::DescendingOrder);
      view->viewport()->repaint();
    });
  }
  return result;
}

template <class Value>
double MedianOf(const std::vector<Loaded>& all, Value value) {
  std::vector<double> times;
  std::ranges::transform(all, std::back_inserter(times), value);
  return bench::Median(times);
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 1'000'000);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_LOGGING_RULES", "qt.qpa.*=false");
  const QApplication application(argc, argv);
  test::LoadedWorld world;
  const auto clock = platform::MakeClock();
  Desk desk{world.State, world.Prompt, world.Busy, world.DebugLog, *clock, world.Platform.Settings,
            world.Strip};
  reports::ReportServices services{desk,
                                   world.Connection,
                                   world.ForReports.OpenConnection,
                                   world.Names,
                                   world.Categories,
                                   world.Filters,
                                   world.SystemList,
                                   world.Printer};
  bench::AddNames(world.Store);
  bench::AddRules(world.Store);
  bench::FillWithTraps(world.Store, traps);
  world.ReadRules();
  const std::string statement = store::ReportStatement(kFrom, kTo);

  std::vector<double> bare;
  std::vector<Loaded> loads;
  std::array<std::vector<Loaded>, traplist::kTrapColumns> sorted;
  for (int round = 0; round < 5; ++round) {
    bare.push_back(bench::Milliseconds([&] { bench::BareBlockFetch(world.Connection, statement); }));
    loads.push_back(Load(world, services, traps, -1));
    for (std::size_t column = 0; column < sorted.size(); ++column) {
      sorted[column].push_back(Load(world, services, traps, static_cast<int>(column)));
    }
  }
  const double limit = bench::Median(bare);
  const double whole = MedianOf(loads, &Loaded::Whole);
  fmt::print(
      "{} stored traps: bare block fetch {:.0f} ms\n"
      "  from OK to the filled report: {:.0f} ms; ratio {:.2f} (at most 1.3)\n"
      "  first traps painted after {:.0f} ms (at most 200)\n"
      "  the window was held up for {:.0f} ms at most\n"
      "  memory beside the rows' own text, with the list: {:.0f} bytes a row\n",
      traps, limit, whole, whole / limit, MedianOf(loads, &Loaded::Painted),
      MedianOf(loads, &Loaded::LongestHold), MedianOf(loads, &Loaded::BytesPerRow));
  for (std::size_t column = 0; column < kColumns.size(); ++column) {
    const double whileSorted = MedianOf(sorted[column], &Loaded::Whole);
    const double hold = MedianOf(sorted[column], &Loaded::LongestHold);
    fmt::print(
        "  sorted by {} while it loads: {:.0f} ms; ratio {:.2f}; held up for {:.0f} ms at most; ratio {:.2f} "
        "to "
        "the limit of {:.0f} ms\n",
        kColumns[column], whileSorted, whileSorted / limit, hold, hold / kLongestHold, kLongestHold);
  }
  for (std::size_t column = 0; column < kColumns.size(); ++column) {
    fmt::print("  sorting by {}: {:.0f} ms (at most 1500)\n", kColumns[column],
               MedianOf(loads, [column](const Loaded& load) { return load.Sort[column]; }));
  }
}
