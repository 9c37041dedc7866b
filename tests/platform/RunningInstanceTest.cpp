#include "platform/qt/QtRunningInstance.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <csignal>
#include <memory>
#include <vector>

#include "platform/qt/QtSettings.h"
#include "support/TempFolder.h"

namespace korvane::platform {
namespace {

constexpr char kTitle[] = "Korvane Manager Console ";

class RunningInstanceTest : public testing::Test {
 protected:
  using Copy = std::unique_ptr<QProcess>;

  ~RunningInstanceTest() override {
    for (const Copy& copy : copies_) {
      copy->kill();
      copy->waitForFinished();
    }
  }

  QString Folder() const { return QString::fromStdString(folder_.Path().string()); }
  QProcess& Launch() {
    copies_.push_back(std::make_unique<QProcess>());
    QProcess& copy = *copies_.back();
    copy.start(QStringLiteral(RUNNING_COPY_PROGRAM), {Folder(), QString::fromLatin1(kTitle)});
    EXPECT_TRUE(copy.waitForStarted());
    return copy;
  }
  static void LetTry(QProcess& copy) {
    copy.write("\n");
    copy.waitForBytesWritten();
  }
  static QByteArray NextLine(QProcess& copy) {
    QElapsedTimer waited;
    waited.start();
    while (!copy.canReadLine() && waited.elapsed() < 30000 && copy.waitForReadyRead(30000)) {
    }
    return copy.readLine().trimmed();
  }
  // Reads the copy's lines up to this one.
  static bool Says(QProcess& copy, const QByteArray& line) {
    for (;;) {
      const QByteArray said = NextLine(copy);
      if (said == line || said.isEmpty()) {
        return said == line;
      }
    }
  }
  QProcess& RunFirst() {
    QProcess& copy = Launch();
    LetTry(copy);
    EXPECT_TRUE(Says(copy, "first"));
    return copy;
  }

  test::TempFolder folder_;
  std::vector<Copy> copies_;
};

TEST_F(RunningInstanceTest, RunningCopyIsRaisedAndMaximised) {
  QProcess& first = RunFirst();
  ASSERT_TRUE(Says(first, "minimised"));
  QtRunningInstance later(Folder());
  ASSERT_TRUE(later.PreviousInstanceExists());
  EXPECT_FALSE(later.BringToForeground()) << "no window was found yet";
  EXPECT_FALSE(later.FindTopLevelWindow("Korvane Manager Console")) << "the blank belongs to the title";
  EXPECT_FALSE(later.FindTopLevelWindow("korvane manager console "));
  EXPECT_FALSE(later.FindTopLevelWindow(""));
  EXPECT_FALSE(later.ShowMaximised());
  EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
  EXPECT_TRUE(later.BringToForeground());
  EXPECT_TRUE(Says(first, "normal"));
  EXPECT_TRUE(later.ShowMaximised());
  EXPECT_TRUE(Says(first, "maximised"));
}

TEST_F(RunningInstanceTest, KilledCopyIsSucceeded) {
  QProcess& first = RunFirst();
  {
    QtRunningInstance later(Folder());
    EXPECT_TRUE(later.PreviousInstanceExists());
  }
  first.kill();
  first.waitForFinished();
  ASSERT_TRUE(QFile::exists(Folder() + QStringLiteral("/korvane-console.lock"))) << "nothing was left behind";
  RunFirst();
  QtRunningInstance later(Folder());
  EXPECT_TRUE(later.PreviousInstanceExists());
  EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
}

TEST_F(RunningInstanceTest, OfCopiesStartedAtOnceExactlyOneRuns) {
  constexpr int kCopies = 5;
  for (int round = 0; round < 4; ++round) {  // from the second on with what a killed copy left
    std::vector<QProcess*> started;
    for (int i = 0; i < kCopies; ++i) {
      started.push_back(&Launch());
    }
    for (QProcess* copy : started) {
      LetTry(*copy);
    }
    int first = 0;
    int second = 0;
    for (QProcess* copy : started) {
      const QByteArray said = NextLine(*copy);
      first += said == "first" ? 1 : 0;
      second += said == "second" ? 1 : 0;
    }
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, kCopies - 1);
    for (QProcess* copy : started) {
      copy->kill();
      copy->waitForFinished();
    }
  }
}

TEST_F(RunningInstanceTest, CopyThatDoesNotAnswerIsNotWaitedForLong) {
  QProcess& first = RunFirst();
  QtRunningInstance later(Folder(), 300);
  ASSERT_TRUE(later.PreviousInstanceExists());
  ASSERT_TRUE(later.FindTopLevelWindow(kTitle));
  kill(static_cast<pid_t>(first.processId()), SIGSTOP);
  QElapsedTimer waited;
  waited.start();
  EXPECT_FALSE(later.BringToForeground());
  EXPECT_FALSE(later.FindTopLevelWindow(kTitle));
  EXPECT_LT(waited.elapsed(), 10000);
  kill(static_cast<pid_t>(first.processId()), SIGCONT);
  EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
}

TEST_F(RunningInstanceTest, NonsenseOnTheSocketHarmsNothing) {
  RunFirst();
  for (const QByteArray& nonsense :
       {QByteArray("\n\n\n"), QByteArray("maximise\nforeground \nfind %%%\nfind \n"),
        QByteArray(1 << 20, 'x'), QByteArray("find " + QByteArray(5000, 'A') + "\n")}) {
    QLocalSocket socket;
    socket.connectToServer(Folder() + QStringLiteral("/korvane-console.socket"));
    ASSERT_TRUE(socket.waitForConnected(5000));
    socket.write(nonsense);
    socket.waitForBytesWritten(2000);
  }
  QtRunningInstance later(Folder());
  EXPECT_TRUE(later.PreviousInstanceExists());
  EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
}

TEST_F(RunningInstanceTest, FolderWithoutALockKeepsNobodyOut) {
  QtRunningInstance only(Folder() + QStringLiteral("/missing"));
  EXPECT_FALSE(only.PreviousInstanceExists());
  EXPECT_FALSE(only.FindTopLevelWindow(kTitle));
}

TEST(QtSettingsTest, TextsComeBackAsTheyWere) {
  QtSettings settings;
  EXPECT_EQ(settings.GetSetting("Settings", "MainLeft", "1000"), "1000");
  for (const char* text : {"6500", "-8.5", "1,5", "", " blanks ", "a;b=c\"d\\e", "größe", "true"}) {
    settings.SaveSetting("Settings", "MainLeft", text);
    EXPECT_EQ(QtSettings().GetSetting("Settings", "MainLeft", "1000"), text);
  }
  EXPECT_EQ(settings.GetSetting("Other", "MainLeft", "none"), "none");
}

}  // namespace
}  // namespace korvane::platform
