#include "platform/qt/QtRunningInstance.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <csignal>
#include <memory>
#include <vector>

#include "platform/linux/LinuxPlatform.h"
#include "support/TempFolder.h"

namespace korvane::platform {
namespace {

constexpr char kTitle[] = "Korvane Manager Console ";

class RunningInstanceTest : public testing::Test {
 protected:
  ~RunningInstanceTest() override { KillCopies(); }

  QString Folder() const { return QString::fromStdString(folder_.Path().string()); }
  // A start with that folder of its session, and one of the user that all sessions share.
  QtRunningInstance StartIn(const QString& session) {
    return QtRunningInstance(MakeUserLock(Folder().toStdString()), session, 500);
  }
  // Starts copies, which then try at once; how many say that they are the first, which is the last in the
  // list.
  int Launch(int copies) {
    for (int i = 0; i < copies; ++i) {
      copies_.push_back(std::make_unique<QProcess>());
      copies_.back()->start(QStringLiteral(RUNNING_COPY_PROGRAM),
                            {Folder(), Folder(), QString::fromLatin1(kTitle)});
      EXPECT_TRUE(copies_.back()->waitForStarted());
    }
    for (const auto& copy : copies_) {
      copy->write("\n");
      copy->waitForBytesWritten();
    }
    const auto first = std::partition(copies_.begin(), copies_.end(),
                                      [](const auto& copy) { return Line(*copy) != "first"; });
    return static_cast<int>(copies_.end() - first);
  }
  static QByteArray Line(QProcess& copy) {
    while (!copy.canReadLine() && copy.waitForReadyRead(30000)) {
    }
    return copy.readLine().trimmed();
  }
  // Reads the copy's lines up to this one.
  static bool Says(QProcess& copy, const QByteArray& line) {
    QByteArray said = Line(copy);
    while (said != line && !said.isEmpty()) said = Line(copy);
    return said == line;
  }
  void KillCopies() {
    for (const auto& copy : copies_) {
      copy->kill();
      copy->waitForFinished();
    }
    copies_.clear();
  }

  test::TempFolder folder_;
  std::vector<std::unique_ptr<QProcess>> copies_;
};

TEST_F(RunningInstanceTest, OfCopiesStartedAtOnceOneRunsAndIsRaisedMaximisedAndNotHarmed) {
  {
    const QString missing = Folder() + QStringLiteral("/missing");
    QtRunningInstance nowhere(MakeUserLock(missing.toStdString()), missing);
    EXPECT_FALSE(nowhere.PreviousInstanceExists()) << "a folder without a lock keeps nobody out";
  }
  EXPECT_EQ(Launch(5), 1);
  KillCopies();
  EXPECT_TRUE(QDir(Folder()).exists(QStringLiteral("korvane-console.lock"))) << "nothing was left behind";
  ASSERT_EQ(Launch(5), 1);
  QProcess& first = *copies_.back();
  ASSERT_TRUE(Says(first, "minimised"));
  for (const QByteArray& nonsense :
       {QByteArray("\n\n\n"), QByteArray("maximise\nforeground \nfind %%%\nfind \n"),
        QByteArray(1 << 20, 'x'), QByteArray("find " + QByteArray(5000, 'A') + "\n")}) {
    QLocalSocket socket;
    socket.connectToServer(Folder() + QStringLiteral("/korvane-console.socket"));
    ASSERT_TRUE(socket.waitForConnected(5000));
    socket.write(nonsense);
    socket.waitForBytesWritten(2000);
  }
  const QTemporaryDir otherSession;
  QtRunningInstance elsewhere = StartIn(otherSession.path());
  ASSERT_TRUE(elsewhere.PreviousInstanceExists());
  EXPECT_FALSE(elsewhere.FindTopLevelWindow(kTitle)) << "it is on a screen that nobody here sees";
  QtRunningInstance later = StartIn(Folder());
  ASSERT_TRUE(later.PreviousInstanceExists());
  EXPECT_FALSE(later.BringToForeground()) << "no window was found yet";
  for (const char* other : {"korvane manager console ", ""}) EXPECT_FALSE(later.FindTopLevelWindow(other));
  EXPECT_FALSE(later.ShowMaximised());
  EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
  EXPECT_TRUE(later.BringToForeground());
  EXPECT_TRUE(Says(first, "normal"));
  EXPECT_TRUE(later.ShowMaximised());
  EXPECT_TRUE(Says(first, "maximised"));

  // One that does not answer is not waited for long.
  kill(static_cast<pid_t>(first.processId()), SIGSTOP);
  QElapsedTimer waited;
  waited.start();
  EXPECT_FALSE(later.BringToForeground());
  EXPECT_LT(waited.elapsed(), 20000);
  kill(static_cast<pid_t>(first.processId()), SIGCONT);
  EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
  qputenv("DISPLAY", "elsewhere:1");
  EXPECT_FALSE(later.FindTopLevelWindow(kTitle));
  KillCopies();
  EXPECT_FALSE(elsewhere.PreviousInstanceExists()) << "what a killed copy left locks nobody out";
}

}  // namespace
}  // namespace korvane::platform
