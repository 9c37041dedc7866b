// The whole console on an embedded store of its own: real windows, receiver link and intake, while the
// machine and the prompts are fakes.  Ticks are made by the tests.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QMdiSubWindow>
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
#include "mainwnd/ChildArea.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"
#include "support/TestStore.h"
#include "support/WindowDriver.h"
#include "systems/frmDevices.h"
#include "traps/frmTraps.h"

namespace korvane::test {

class ConsoleFixture : public testing::Test {
 protected:
  ConsoleFixture() {
    static const bool styled = (ApplyKorvaneStyle(*qApp), true);
    EXPECT_TRUE(styled);
    Machine.Registry.PutText(kManagerKey, kInstallPathValue, "/opt/korvane");
  }

  void Start() {
    Console = std::make_unique<app::ConsoleApp>(app::ConsoleHost{.Registry = Machine.Registry,
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
                                                                 .End = [this] { ++Ended; }});
    ASSERT_EQ(Console->Start(""), app::StartupResult::Running);
    ASSERT_TRUE(WaitFor([this] { return Children().size() == 2; }));
    Systems().StopTimers();
    ShowActive(Frame());
  }
  // Starts on a store with these traps and waits until the newest, which come by the receiver link, show.
  void StartWith(const std::vector<StoredTrap>& traps) {
    Store.AddTraps(traps);
    Start();
    ASSERT_TRUE(TickUntil([&] { return RowsIn(1) == static_cast<int>(traps.size()); }));
  }
  bool TickUntil(const std::function<bool()>& condition) {
    return WaitFor([&] {
      Q_EMIT Find<QTimer>(Systems(), "tmrCheckTraps").timeout({});
      return condition();
    });
  }

  mainwnd::frmMain& Frame() { return *Console->Frame(); }
  systems::frmDevices& Systems() { return *Frame().Systems(); }
  mainwnd::ChildArea& Area() { return Find<mainwnd::ChildArea>(Frame()); }
  const std::vector<mainwnd::ChildWindow*>& Children() { return Area().InCreationOrder(); }
  mainwnd::ChildWindow& Child(std::size_t i) { return *Children().at(i); }
  std::vector<std::string> Captions() {
    std::vector<std::string> captions;
    for (const auto* child : Children()) {
      captions.push_back(child->widget()->windowTitle().toStdString());
    }
    return captions;
  }
  QTableView& ListIn(std::size_t child) { return Find<QTableView>(Child(child)); }
  int RowsIn(std::size_t child) { return ListIn(child).model()->rowCount(); }
  void Command(const char* name) { Frame().Menus().Item(name).trigger(); }

  SqliteStore Store;
  FakePlatform Machine;
  ScriptedPrompts Prompt;
  std::unique_ptr<app::ConsoleApp> Console;
  int Ended = 0;
};

}  // namespace korvane::test
