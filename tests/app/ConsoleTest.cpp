#include <QProcess>
#include <QTemporaryDir>
#include <fstream>

#include "app/ConsoleFixture.h"
#include "app/StartupChecks.h"
#include "mainwnd/FrameCaption.h"
#include "mainwnd/frmWait.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/qt/QtRunningInstance.h"

namespace korvane::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using ConsoleTest = ConsoleFixture;

TEST_F(ConsoleTest, ATrapStoredByTheReceiverShowsInBothWindows) {
  Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme");
  Start();
  EXPECT_EQ(RowsIn(1), 0);
  Store.AddTrap({.EventTime = 500, .Source = "edge-1", .SpecificTrap = 7, .EventDescription = "fan=2 "});
  ASSERT_TRUE(TickUntil([&] { return RowsIn(1) == 1; }));
  EXPECT_EQ(Cell(1, 0, 1), "edge-1");
  EXPECT_EQ(Cell(1, 0, 2), "fanFailed");
  EXPECT_EQ(Cell(0, 0, 0), "edge-1");
  EXPECT_EQ(TextOf("lblTotalTraps"), "Total Traps In Window: 1 ");
  EXPECT_EQ(Console->State().gLastTrapTime, 500);
}

TEST_F(ConsoleTest, ClosingAsksSavesAndEndsOnce) {
  for (const PromptAnswer answer : {PromptAnswer::No, PromptAnswer::Yes}) {
    Store.Execute("DELETE FROM EventTrap");
    Store.Execute("DELETE FROM System_Table");
    Machine.Calls.clear();
    Ended = 0;
    StartWith({{.EventTime = 10, .Source = "a"}, {.EventTime = 20, .Source = "b"}});
    Prompt.WillAnswer(answer);
    Frame().Menus().Item("mnuFileExit").trigger();
    EXPECT_EQ(Ended, 1);
    EXPECT_FALSE(Frame().isVisible());
    EXPECT_TRUE(Children().empty());
    Frame().close();
    EXPECT_EQ(Ended, 1);
    // The newest trap stays new.
    EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"),
              answer == PromptAnswer::Yes ? 1 : 0);
    EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM System_Table WHERE System_Type = 'Manual'"), 2);
    EXPECT_THAT(Machine.Calls, Contains("SaveSetting MainWindowState=2"));
    EXPECT_THAT(Machine.Calls, Contains("Sockets::Cleanup"));
  }
}

TEST_F(ConsoleTest, ClosingWaitsForDialogsAndLongWork) {
  Start();
  {
    WithModal stubborn([&](QWidget& dialog) {
      EXPECT_FALSE(Frame().close());
      dialog.close();
    });
    Frame().Menus().Item("mnuHelpAbout").trigger();
  }
  auto& wait = *Frame().findChild<mainwnd::frmWait*>();
  wait.ShowBusy("Loading Trap(s)");
  EXPECT_FALSE(Frame().close());
  EXPECT_EQ(Ended, 0);
  wait.ShowFree();
  EXPECT_TRUE(Frame().close());
  EXPECT_EQ(Ended, 1);
}

TEST_F(ConsoleTest, ClosedAsAnIconItKeepsItsLastPlacement) {
  Machine.Settings.Values = {{"Settings/MainLeft", "300"},
                             {"Settings/MainTop", "450"},
                             {"Settings/MainWidth", "9000"},
                             {"Settings/MainHeight", "7500"},
                             {"Settings/MainWindowState", "0"}};
  const auto before = Machine.Settings.Values;
  Start();
  EXPECT_EQ(Frame().pos(), QPoint(20, 30));
  EXPECT_EQ(Frame().size(), QSize(600, 500));
  EXPECT_FALSE(Frame().isMaximized());
  Frame().showMinimized();
  Frame().close();
  EXPECT_EQ(Machine.Settings.Values, before);
}

TEST_F(ConsoleTest, TheFirstWindowsComeBackWhereTheyWere) {
  Start();
  const QRect area = Area().viewport()->rect();
  Frame().Menus().Item("mnuWindowTileVertical").trigger();
  const QRect systems = Child(0).geometry();
  const QRect traps = Child(1).geometry();
  Frame().close();
  Start();
  ASSERT_EQ(Area().viewport()->rect(), area);
  EXPECT_EQ(Child(0).geometry(), systems);
  EXPECT_EQ(Child(1).geometry(), traps);
  const auto saved = Machine.Settings.Values;
  Frame().close();
  EXPECT_EQ(Machine.Settings.Values, saved) << "nobody moved anything";
}

TEST_F(ConsoleTest, APlaceThatIsNoLongerOnAScreenIsMovedOntoOne) {
  Machine.Settings.Values = {
      {"Settings/MainLeft", "-900000"}, {"Settings/MainTop", "9e30"}, {"Settings/MainWindowState", "0"}};
  Start();
  EXPECT_TRUE(Frame().screen()->availableGeometry().contains(Frame().geometry()));
}

TEST_F(ConsoleTest, StartedAsAnIconItCountsAllTheSame) {
  Machine.Settings.Values = {{"Settings/MainWindowState", "1"}};
  Console = std::make_unique<app::ConsoleApp>(Host());
  ASSERT_EQ(Console->Start(""), app::StartupResult::Running);
  EXPECT_TRUE(WaitFor([this] { return Children().size() == 2; }));
}

// The real program, offscreen, with settings and a run-time directory of its own.
class TwoConsoles : public testing::Test {
 protected:
  TwoConsoles() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    DataSourceFolder();
    for (const char* name : {"ODBCINI", "ODBCSYSINI"}) {
      environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
    }
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), Folder.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), Folder.path());
    environment.insert(QStringLiteral("KORVANE_REGISTRY"), Folder.filePath(QStringLiteral("registry.reg")));
    std::ofstream(Folder.filePath(QStringLiteral("registry.reg")).toStdString())
        << "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\" << kManagerKey
        << "]\n\"KVInstallPath\"=\"" << Folder.path().toStdString() << "\"\n";
    for (QProcess* process : {&First, &Second}) {
      process->setProcessEnvironment(environment);
      process->setProgram(QStringLiteral(KORVANE_CONSOLE));
      process->setProcessChannelMode(QProcess::ForwardedChannels);
    }
  }
  ~TwoConsoles() override {
    for (QProcess* process : {&First, &Second}) {
      process->kill();
      process->waitForFinished(kPatienceMilliseconds);
    }
  }

  SqliteStore Store;
  QTemporaryDir Folder;
  QProcess First;
  QProcess Second;
};

TEST_F(TwoConsoles, TheSecondBringsUpTheFirstAndEnds) {
  if (!app::IsUserAdministrator(*platform::MakeAccountGroups())) {
    GTEST_SKIP() << "the console runs for administrators only";
  }
  First.start();
  ASSERT_TRUE(First.waitForStarted());
  platform::QtRunningInstance later(Folder.path(), 500);
  ASSERT_TRUE(WaitFor([&] { return later.FindTopLevelWindow(mainwnd::kFrameCaption); }));
  Second.start();
  ASSERT_TRUE(Second.waitForFinished(kPatienceMilliseconds));
  EXPECT_EQ(Second.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(Second.exitCode(), 0);
  EXPECT_EQ(First.state(), QProcess::Running);
}

}  // namespace
}  // namespace korvane::test
