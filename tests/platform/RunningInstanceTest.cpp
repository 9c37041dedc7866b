#include "platform/qt/QtRunningInstance.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
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
  ~RunningInstanceTest() override { KillCopies(); }

  QString Folder() const { return QString::fromStdString(folder_.Path().string()); }
  QProcess& Launch() {
    QProcess& copy = *copies_.emplace_back(std::make_unique<QProcess>());
    copy.start(QStringLiteral(RUNNING_COPY_PROGRAM), {Folder(), QString::fromLatin1(kTitle)});
    EXPECT_TRUE(copy.waitForStarted());
    return copy;
  }
  static void LetTry(QProcess& copy) {
    copy.write("\n");
    copy.waitForBytesWritten();
  }
  // Reads the copy's lines up to this one.
  static bool Says(QProcess& copy, const QByteArray& line) {
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < 30000 && (copy.canReadLine() || copy.waitForReadyRead(30000))) {
      if (copy.canReadLine() && copy.readLine().trimmed() == line) {
        return true;
      }
    }
    return false;
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

TEST_F(RunningInstanceTest, RunningCopyIsRaisedMaximisedAndNotHarmed) {
  QtRunningInstance nowhere(Folder() + QStringLiteral("/missing"));
  EXPECT_FALSE(nowhere.PreviousInstanceExists()) << "a folder without a lock keeps nobody out";
  EXPECT_FALSE(nowhere.FindTopLevelWindow(kTitle));
  QProcess& first = Launch();
  LetTry(first);
  ASSERT_TRUE(Says(first, "first"));
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
  QtRunningInstance later(Folder(), 500);
  ASSERT_TRUE(later.PreviousInstanceExists());
  EXPECT_FALSE(later.BringToForeground()) << "no window was found yet";
  for (const char* other : {"Korvane Manager Console", "korvane manager console ", ""}) {
    EXPECT_FALSE(later.FindTopLevelWindow(other));
  }
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
  EXPECT_FALSE(later.FindTopLevelWindow(kTitle));
  EXPECT_LT(waited.elapsed(), 20000);
  kill(static_cast<pid_t>(first.processId()), SIGCONT);
  EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
}

TEST_F(RunningInstanceTest, OfCopiesStartedAtOnceExactlyOneRuns) {
  constexpr int kCopies = 5;
  for (int round = 0; round < 3; ++round) {  // from the second on with what a killed copy left
    for (int i = 0; i < kCopies; ++i) {
      Launch();
    }
    for (const auto& copy : copies_) {
      LetTry(*copy);
    }
    int first = 0;
    for (const auto& copy : copies_) {
      ASSERT_TRUE(copy->canReadLine() || copy->waitForReadyRead(30000));
      const QByteArray said = copy->readLine().trimmed();
      EXPECT_TRUE(said == "first" || said == "second") << said.toStdString();
      first += said == "first" ? 1 : 0;
    }
    EXPECT_EQ(first, 1);
    QtRunningInstance later(Folder());
    EXPECT_TRUE(later.PreviousInstanceExists());
    EXPECT_TRUE(later.FindTopLevelWindow(kTitle));
    KillCopies();
    EXPECT_TRUE(QDir(Folder()).exists(QStringLiteral("korvane-console.lock"))) << "nothing was left behind";
  }
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
