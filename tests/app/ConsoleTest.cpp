#include "app/ConsoleFixture.h"

#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>

#include "app/StartupChecks.h"
#include "mainwnd/FrameCaption.h"
#include "mainwnd/frmWait.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/qt/QtRunningInstance.h"
#include "support/Processes.h"

namespace korvane::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

using ConsoleTest = ConsoleFixture;

TEST_F(ConsoleTest, ATrapStoredByTheReceiverShowsInBothWindows) {
  Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme");
  Start();
  EXPECT_EQ(RowsIn(1), 0);
  Store.AddTrap({.EventTime = 500, .Source = "edge-1", .SpecificTrap = 7, .EventDescription = "fan=2 "});
  ASSERT_TRUE(TickUntil([&] { return RowsIn(1) == 1; }));
  EXPECT_THAT(Rows(ListIn(1), {1, 2}), ElementsAre("edge-1|fanFailed"));
  EXPECT_THAT(Rows(ListIn(0), {0}), ElementsAre("edge-1"));
  EXPECT_EQ(TextOf(Frame(), "lblTotalTraps"), "Total Traps In Window: 1 ");
  EXPECT_EQ(Console->State().gLastTrapTime, 500);
}

// A receiver that catches up stores old times, also between the first load and the start of the receiver
// link.
TEST_F(ConsoleTest, AnOldTrapStoredWhileItStartsIsNotLost) {
  Store.AddTraps(std::vector<StoredTrap>{{.EventTime = 900}, {.EventTime = 1000}});
  Machine.Registry.PutDword(kManagerKey, kMaxViewTrapsValue, 1);
  InDialog([this] { Start(); },
           [this](QDialog& viewOptions) {
             QObject::connect(
                 ListIn(0).model(), &QAbstractItemModel::rowsInserted, &Systems(),
                 [this] { Store.AddTrap({.EventTime = 10, .Source = "late"}); }, Qt::SingleShotConnection);
             viewOptions.accept();
           });
  EXPECT_TRUE(TickUntil([this] { return RowsIn(0) == 2; }));
}

TEST_F(ConsoleTest, ClosingAsksSavesAndEndsOnce) {
  for (const PromptAnswer answer : {PromptAnswer::No, PromptAnswer::Yes}) {
    Store.Execute("DELETE FROM EventTrap");
    Store.Execute("DELETE FROM System_Table");
    Machine.Calls.clear();
    Ended = 0;
    StartWith({{.EventTime = 10, .Source = "a"}, {.EventTime = 20, .Source = "b"}});
    Prompt.WillAnswer(answer);
    Command("mnuFileExit");
    EXPECT_FALSE(Frame().isVisible());
    EXPECT_TRUE(Children().empty());
    Frame().close();
    EXPECT_EQ(Ended, 1);
    // The newest trap stays new.
    EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"),
              answer == PromptAnswer::Yes ? 1 : 0);
    EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM System_Table WHERE System_Type = 'Manual'"), 2);
    EXPECT_THAT(Machine.Calls, Contains("Sockets::Cleanup"));
  }
}

TEST_F(ConsoleTest, ClosingWaitsForDialogsAndLongWork) {
  Start();
  InDialog([this] { Command("mnuHelpAbout"); },
           [this](QDialog& dialog) {
             EXPECT_FALSE(Frame().close());
             dialog.close();
           });
  auto& wait = Find<mainwnd::frmWait>(Frame());
  wait.ShowBusy("Loading Trap(s)");
  EXPECT_FALSE(Frame().close());
  EXPECT_EQ(Ended, 0);
  wait.ShowFree();
  EXPECT_TRUE(Frame().close());
  EXPECT_EQ(Ended, 1);
}

TEST_F(ConsoleTest, ItsWindowsComeBackWhereTheyWereOrOntoAScreen) {
  auto& settings = Machine.Settings.Values;
  settings = {
      {"Settings/MainLeft", "-900000"}, {"Settings/MainTop", "9e30"}, {"Settings/MainWindowState", "0"}};
  Start();
  EXPECT_TRUE(Frame().screen()->availableGeometry().contains(Frame().geometry()));
  Frame().close();
  settings["Settings/MainLeft"] = "300";
  settings["Settings/MainTop"] = "450";
  settings["Settings/MainWidth"] = "9000";
  settings["Settings/MainHeight"] = "7500";
  Start();
  EXPECT_EQ(QRect(Frame().pos(), Frame().size()), QRect(20, 30, 600, 500));
  Command("mnuWindowTileVertical");
  const QRect systems = Child(0).geometry();
  const QRect traps = Child(1).geometry();
  Frame().close();
  const auto saved = settings;
  Start();
  EXPECT_EQ(Child(0).geometry(), systems);
  EXPECT_EQ(Child(1).geometry(), traps);
  Frame().showMinimized();
  Frame().close();
  EXPECT_EQ(settings, saved) << "nobody moved anything, and an icon's place is none";
}

// The real program, offscreen, with settings and a run-time directory of its own.
TEST(ProgramTest, TheSecondCopyBringsUpTheFirstAndEnds) {
  if (!app::IsUserAdministrator(*platform::MakeAccountGroups())) {
    GTEST_SKIP() << "the console runs for administrators only";
  }
  const SqliteStore store;
  const QTemporaryDir folder;
  const QString registry = folder.filePath(QStringLiteral("registry.reg"));
  WriteFile(registry.toStdString(), "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\" +
                                        std::string(kManagerKey) + "]\n\"KVInstallPath\"=\"" +
                                        folder.path().toStdString() + "\"\n");
  const QStringList command = {
      QStringLiteral("QT_QPA_PLATFORM=offscreen"), QStringLiteral("XDG_RUNTIME_DIR=") + folder.path(),
      QStringLiteral("XDG_CONFIG_HOME=") + folder.path(), QStringLiteral("KORVANE_REGISTRY=") + registry,
      QStringLiteral(KORVANE_CONSOLE)};
  QProcess first;
  first.start(QStringLiteral("env"), command);
  platform::QtRunningInstance later(folder.path(), 500);
  EXPECT_TRUE(WaitFor([&] { return later.FindTopLevelWindow(mainwnd::kFrameCaption); }));
  QProcess second;
  second.start(QStringLiteral("env"), command);
  EXPECT_TRUE(second.waitForFinished());
  EXPECT_EQ(second.exitCode(), 0);
  EXPECT_EQ(first.state(), QProcess::Running);
  first.kill();
  first.waitForFinished();
}

}  // namespace
}  // namespace korvane::test
