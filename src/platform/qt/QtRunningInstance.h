// The one copy of the console per user: a lock file says that it runs, a local socket lets a later start of
// the same session ask it to come to the front.  One of another session is found by a second lock, and can't
// be asked: its window is on a screen that nobody here sees.  The running copy answers from its event loop,
// so it must outlive neither the QApplication nor its windows; a later start waits a bounded time for each
// answer.
#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <string_view>

#include "platform/Platform.h"
#include "platform/UserLock.h"

class QLocalServer;
class QLocalSocket;
class QLockFile;

namespace korvane::platform {

class QtRunningInstance : public QObject, public RunningInstance {
  Q_OBJECT

 public:
  // folder: where lock and socket of the session are kept, private to the user.  answerMilliseconds: the
  // longest wait for the running copy's answer to one step.
  explicit QtRunningInstance(std::unique_ptr<UserLock> userLock, const QString& folder = DefaultFolder(),
                             int answerMilliseconds = 3000);
  ~QtRunningInstance() override;

  bool PreviousInstanceExists() override;
  bool FindTopLevelWindow(std::string_view title) override;
  bool BringToForeground() override;
  bool ShowMaximised() override;

  static QString DefaultFolder();
  // Of the user's settings, which all sessions share; made when it is missing.
  static QString UserFolder();

 private:
  void AcceptConnections();
  void AnswerRequests(QLocalSocket& connection);
  bool AskRunningCopy(const QByteArray& request);

  QString socketPath_;
  int answerMilliseconds_;
  std::unique_ptr<UserLock> userLock_;
  std::unique_ptr<QLockFile> lock_;
  std::unique_ptr<QLocalServer> server_;  // of the running copy
  std::unique_ptr<QLocalSocket> asking_;  // of a later start
};

}  // namespace korvane::platform
