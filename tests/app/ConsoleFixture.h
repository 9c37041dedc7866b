// The whole console on an embedded store of its own: real windows, receiver link and intake, while the
// machine and the prompts are fakes.  Ticks are made by the tests.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QMdiSubWindow>
#include <QPointer>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/ConsoleApp.h"
#include "common/RegistryValues.h"
#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtText.h"
#include "mainwnd/ChildArea.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"
#include "systems/frmDevices.h"
#include "traps/frmTraps.h"

namespace korvane::test {

inline constexpr int kPatienceMilliseconds = 15'000;

inline bool WaitFor(const std::function<bool()>& condition) {
  QElapsedTimer waited;
  waited.start();
  while (!condition()) {
    if (waited.elapsed() > kPatienceMilliseconds) {
      return false;
    }
    QTest::qWait(10);
  }
  return true;
}

// Does something to the next modal dialog, from a timer that gives up with the patience of the tests.
class WithModal {
 public:
  explicit WithModal(std::function<void(QWidget&)> act) : act_(std::move(act)) {
    waited_.start();
    QObject::connect(&timer_, &QTimer::timeout, [this] { Poll(); });
    timer_.start(5);
  }
  ~WithModal() { EXPECT_TRUE(Seen) << "no dialog came up"; }

  bool Seen = false;

 private:
  void Poll() {
    QWidget* modal = QApplication::activeModalWidget();
    if (modal == nullptr && waited_.elapsed() < kPatienceMilliseconds) {
      return;
    }
    timer_.stop();
    if (modal != nullptr) {
      Seen = true;
      act_(*modal);
    }
  }
  std::function<void(QWidget&)> act_;
  QElapsedTimer waited_;
  QTimer timer_;
};

class ConsoleFixture : public testing::Test {
 protected:
  ConsoleFixture() {
    static const bool styled = (ApplyKorvaneStyle(*qApp), true);
    EXPECT_TRUE(styled);
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/opt/korvane");
  }

  app::ConsoleHost Host() {
    return {.Registry = Machine.Registry,
            .Settings = Machine.Settings,
            .Groups = Machine.Groups,
            .Instance = Machine.Instance,
            .Sockets = Machine.Sockets,
            .Services = Machine.Services,
            .Programs = Machine.Programs,
            .Directories = Machine.Directories,
            .Clock = Machine.Clock,
            .Names = std::make_shared<FakeHostNames>(),
            .Prompt = Prompt,
            .End = [this] { ++Ended; }};
  }

  void Start() {
    Console = std::make_unique<app::ConsoleApp>(Host());
    ASSERT_EQ(Console->Start(""), app::StartupResult::Running);
    ASSERT_TRUE(WaitFor([this] { return Children().size() == 2; }));
    Systems().StopTimers();
    Activate();
  }
  // So that shortcuts reach the frame.
  void Activate() {
    Frame().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&Frame()));
  }
  // Starts on a store with these traps and waits until the newest, which come by the receiver link, show.
  void StartWith(const std::vector<StoredTrap>& traps) {
    Store.AddTraps(traps);
    Start();
    ASSERT_TRUE(TickUntil([&] { return RowsIn(1) == static_cast<int>(traps.size()); }));
  }
  bool TickUntil(const std::function<bool()>& condition) {
    return WaitFor([&] {
      Q_EMIT Systems().findChild<QTimer*>(QStringLiteral("tmrCheckTraps"))->timeout({});
      return condition();
    });
  }

  mainwnd::frmMain& Frame() { return *Console->Frame(); }
  systems::frmDevices& Systems() { return *Frame().Systems(); }
  mainwnd::ChildArea& Area() { return *Frame().findChild<mainwnd::ChildArea*>(); }
  const std::vector<mainwnd::ChildWindow*>& Children() { return Area().InCreationOrder(); }
  mainwnd::ChildWindow& Child(std::size_t i) { return *Children().at(i); }
  std::vector<std::string> Captions() {
    std::vector<std::string> captions;
    for (const auto* child : Children()) {
      captions.push_back(ToUtf8(child->windowTitle()));
    }
    return captions;
  }
  QTableView& ListIn(std::size_t child) { return *Child(child).findChild<QTableView*>(); }
  int RowsIn(std::size_t child) { return ListIn(child).model()->rowCount(); }
  std::string Cell(std::size_t child, int row, int column) {
    return ToUtf8(ListIn(child).model()->index(row, column).data().toString());
  }
  std::string TextOf(const char* label) {
    return ToUtf8(Frame().findChild<QLabel*>(QString::fromLatin1(label))->text());
  }
  // The row of a system in the Systems window.
  int RowOf(const std::string& system) {
    for (int row = 0; row < RowsIn(0); ++row) {
      if (Cell(0, row, 0) == system) {
        return row;
      }
    }
    ADD_FAILURE() << "no system " << system;
    return -1;
  }
  void Click(const char* command) { Frame().Menus().Item(command).trigger(); }

  SqliteStore Store;
  FakePlatform Machine;
  ScriptedPrompts Prompt;
  std::unique_ptr<app::ConsoleApp> Console;
  int Ended = 0;
};

}  // namespace korvane::test
