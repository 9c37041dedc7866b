// A console over very many unacknowledged traps: for how long its event loop is held at most while it starts,
// loads a window on one system and one on all, acknowledges a system, and acknowledges all when it ends.  On
// a server also while the server stands still and the operator opens a window.
//
//   bench_console_held [TRAPS] [sqlite|postgresql|mariadb]
//
// The servers are those of the tests: bench/with-servers.
#include <QAction>
#include <QDialog>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "BenchConsole.h"
#include "BenchRules.h"
#include "BenchStore.h"
#include "Size.h"
#include "store/Statements.h"
#include "traps/frmTraps.h"

namespace {

using namespace korvane;
using Clock = std::chrono::steady_clock;

// The console opens its usual data source: here it is the server's.
void LetTheServerBeTheStore(const std::string& server) {
  const std::string path = (test::DataSourceFolder() / "odbc.ini").string();
  std::stringstream all;
  all << std::ifstream(path).rdbuf();
  std::string text = all.str();
  const std::size_t embedded = text.find("[dvldb]");
  text.replace(embedded, 7, "[embedded]");
  const std::size_t from = text.find("[dvldb-" + server + "]");
  if (from == std::string::npos) throw std::runtime_error("the servers are not running");
  const std::string section =
      text.substr(text.find('\n', from), text.find("\n\n", from) - text.find('\n', from));
  std::ofstream(path) << text << "[dvldb]" << section << "\n";
}

void Measure(bench::Gauge& gauge, const char* what, const std::function<void()>& work) {
  gauge.Begin();
  const auto begun = Clock::now();
  work();
  const double held = gauge.Longest();
  fmt::print("{:44} {:8.2f} s; event loop held for {:5.0f} ms at most (200), {} times longer than that\n",
             what, std::chrono::duration<double>(Clock::now() - begun).count(), held, gauge.Beyond200());
  std::fflush(stdout);
}

void OpenWindowOf(mainwnd::frmMain& frame, int row) {
  test::Find<QTableView>(*frame.Systems(), "lvDevices").selectRow(row);
  frame.Systems()->ShowPerDeviceWindow();
}

// A dialog that opens all the same is left at once.
void Choose(mainwnd::frmMain& frame, const char* name) {
  QTimer leaving;
  QObject::connect(&leaving, &QTimer::timeout, [] {
    if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) dialog->reject();
  });
  leaving.start(std::chrono::seconds(30));
  test::Find<QAction>(frame, name).trigger();
}

traps::frmTraps& ActiveTraps(mainwnd::frmMain& frame) {
  return dynamic_cast<traps::frmTraps&>(
      *test::Find<mainwnd::ChildArea>(frame, "mdiChildren").Active()->widget());
}

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t traps = bench::Size(argc, argv, 1'000'000);
  const std::string engine = argc > 2 ? argv[2] : "sqlite";
  QApplication application(argc, argv);
  ApplyKorvaneStyle(application);
  if (engine != "sqlite") LetTheServerBeTheStore(engine);
  const auto store = test::MakeStore(engine == "postgresql" ? store::Engine::PostgreSql
                                     : engine == "mariadb"  ? store::Engine::MariaDb
                                                            : store::Engine::Sqlite);
  bench::AddNames(*store);
  bench::FillWithTraps(*store, traps);

  bench::Gauge gauge;
  std::unique_ptr<bench::BenchConsole> console;
  Measure(gauge, "start, up to the first window",
          [&] { console = std::make_unique<bench::BenchConsole>(traps); });
  mainwnd::frmMain& frame = console->Frame();
  // The traps of the newest second come with the first tick.
  Measure(gauge, "counts and the window of all traps", [&] {
    bench::Until([&] { return frame.Systems() != nullptr && bench::CountOf(*frame.Systems()) >= traps; });
  });
  traps::frmTraps& all = *test::Find<mainwnd::ChildArea>(frame, "mdiChildren").findChild<traps::frmTraps*>();
  Measure(gauge, "the same window again", [&] { all.Reset(); });
  Measure(gauge, "a window on a system", [&] { OpenWindowOf(frame, 0); });
  Measure(gauge, "closing it, its traps acknowledged", [&] {
    console->Prompts.WillAnswer(PromptAnswer::Yes);
    ActiveTraps(frame).parentWidget()->close();
  });
  if (engine != "sqlite") {
    store->Freeze();
    Measure(gauge, "a window while the server stands still", [&] { OpenWindowOf(frame, 1); });
    Measure(gauge, "the categories meanwhile", [&] { Choose(frame, "mnuReportsCategories"); });
    store->Thaw();
  }
  Measure(gauge, "five seconds later", [&] {
    const auto begun = Clock::now();
    bench::Until([&] { return Clock::now() - begun > std::chrono::seconds(5); });
  });
  Measure(gauge, "the end, all acknowledged", [&] {
    console->Prompts.WillAnswer(PromptAnswer::Yes);
    frame.close();
  });
  console->Prompts.ForgetScript();
  return console->Ended ? 0 : 1;
}
