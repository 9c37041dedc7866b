// The whole console, offscreen, for the measurements of its event loop.
#pragma once

#include <fmt/format.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QElapsedTimer>
#include <QTableView>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

#include "app/ConsoleApp.h"
#include "common/RegistryValues.h"
#include "common/qt/KorvaneStyle.h"
#include "mainwnd/ChildArea.h"
#include "support/ConsoleHost.h"
#include "support/ScriptedPrompts.h"
#include "support/WindowDriver.h"
#include "systems/frmDevices.h"

namespace korvane::bench {

inline void Until(const std::function<bool()>& condition) {
  while (!condition()) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

// The traps that the Systems window counts.
inline std::int64_t CountOf(const systems::frmDevices& window) {
  const QTableView& list = test::Find<QTableView>(window, "lvDevices");
  std::int64_t sum = 0;
  for (int row = 0; row < list.model()->rowCount(); ++row) {
    for (int column = 2; column < 8; ++column) {
      sum += list.model()->index(row, column).data().toLongLong();
    }
  }
  return sum;
}

// Its frame is shown at once; what it loads, it loads in the event loop.
class BenchConsole {
 public:
  explicit BenchConsole(int maxViewTraps = 0) {
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/opt/korvane");
    if (maxViewTraps > 0) {
      Machine.Registry.PutText(kManagerKey, kMaxViewTrapsValue, fmt::format("{}", maxViewTraps));
    }
    if (Console.Start("") != app::StartupResult::Running) throw std::runtime_error("no console");
    Frame().resize(1600, 1000);
    Frame().show();
    wake_.start(5);
  }

  mainwnd::frmMain& Frame() { return *Console.Frame(); }

  test::FakePlatform Machine;
  test::ScriptedPrompts Prompts;
  bool Ended = false;
  app::ConsoleApp Console{test::HostOn(Machine, Prompts, [this] { Ended = true; })};

 private:
  QTimer wake_;  // conditions are looked at this often at least
};

// For how long nothing was painted and the system not answered at most, also while the busy box holds the
// timers.
class Gauge : public QObject {
 public:
  Gauge() {
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, this, [this] { Look(); });
    Begin();
  }
  void Begin() {
    since_.start();
    longest_ = 0;
    beyond_ = 0;
  }
  double Longest() {
    Look();
    return static_cast<double>(longest_) / 1e6;
  }
  int Beyond200() const { return beyond_; }

 private:
  void Look() {
    const qint64 held = since_.nsecsElapsed();
    since_.restart();
    longest_ = std::max(longest_, held);
    beyond_ += held > 200'000'000 ? 1 : 0;
  }

  QElapsedTimer since_;
  qint64 longest_ = 0;
  int beyond_ = 0;
};

}  // namespace korvane::bench
