#include "platform/qt/QtRunningInstance.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QPointer>
#include <QStandardPaths>
#include <QWidget>
#include <utility>

#include "platform/ApplicationTitle.h"

namespace korvane::platform {
namespace {

// One request a line, one answer a line; the connection remembers the window that was found.
constexpr char kFind[] = "find ";              // and the title and the display, Base64 of their UTF-8
constexpr char kForeground[] = "foreground ";  // and the asking copy's activation token, Base64
constexpr char kMaximise[] = "maximise";
constexpr char kDone[] = "done\n";
constexpr char kFailed[] = "failed\n";
constexpr char kActivationToken[] = "XDG_ACTIVATION_TOKEN";
constexpr char kFoundWindow[] = "foundWindow";
constexpr qint64 kLongestRequest = 64 * 1024;

QWidget* TopLevelWindowTitled(const QString& title) {
  const QWidgetList windows = QApplication::topLevelWidgets();
  for (QWidget* window : windows) {
    if (window->isVisible() && window->windowTitle() == title) {
      return window;
    }
  }
  return nullptr;
}

// A window on another display would come to the front where nobody sees it.
QByteArray Display() {
  return qgetenv("WAYLAND_DISPLAY") + ' ' + qgetenv("DISPLAY");
}

// A window under Wayland may come to the front only with the token that the desktop gave to whoever the user
// acted on, which is the later start.
bool ToForeground(QWidget* window, const QByteArray& activationToken) {
  if (window == nullptr) {
    return false;
  }
  if (!activationToken.isEmpty()) {
    qputenv(kActivationToken, activationToken);
  }
  window->setWindowState((window->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
  window->show();
  window->raise();
  window->activateWindow();
  return !window->isMinimized();
}

bool Maximise(QWidget* window) {
  if (window == nullptr) {
    return false;
  }
  window->showMaximized();
  return window->isMaximized();
}

bool Carry(QLocalSocket& connection, const QByteArray& request) {
  auto* found = connection.property(kFoundWindow).value<QWidget*>();
  const QPointer<QWidget> window(QApplication::topLevelWidgets().contains(found) ? found : nullptr);
  if (request.startsWith(kFind)) {
    const QByteArrayList parts = request.mid(sizeof(kFind) - 1).split(' ');
    const bool here = parts.size() == 2 && QByteArray::fromBase64(parts[1]) == Display();
    QWidget* match =
        here ? TopLevelWindowTitled(QString::fromUtf8(QByteArray::fromBase64(parts[0]))) : nullptr;
    connection.setProperty(kFoundWindow, QVariant::fromValue(match));
    return match != nullptr;
  }
  if (request.startsWith(kForeground)) {
    return ToForeground(window, QByteArray::fromBase64(request.mid(sizeof(kForeground) - 1)));
  }
  return request == kMaximise && Maximise(window);
}

}  // namespace

QtRunningInstance::QtRunningInstance(std::unique_ptr<UserLock> userLock, const QString& folder,
                                     int answerMilliseconds)
    : socketPath_(folder + QStringLiteral("/korvane-console.socket")),
      answerMilliseconds_(answerMilliseconds),
      userLock_(std::move(userLock)),
      lock_(std::make_unique<QLockFile>(folder + QStringLiteral("/korvane-console.lock"))) {
  // A lock is stale when its process is gone, never by age: a console runs for months.
  lock_->setStaleLockTime(0);
}

QtRunningInstance::~QtRunningInstance() = default;

QString QtRunningInstance::DefaultFolder() {
  QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
  if (!runtime.isEmpty()) {
    return runtime;
  }
  // The session's own folder is unusable, for example when others may read it.
  QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
  QDir().mkpath(cache);
  return cache;
}

QString QtRunningInstance::UserFolder() {
  const QString title = QString::fromUtf8(kApplicationTitle.data(), kApplicationTitle.size());
  QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/' + title;
  QDir().mkpath(folder);
  return folder;
}

bool QtRunningInstance::PreviousInstanceExists() {
  if (lock_->isLocked()) {
    return false;
  }
  if (!lock_->tryLock(0) && lock_->error() == QLockFile::LockFailedError) {
    return true;
  }
  if (userLock_->HeldByAnother()) {
    lock_->unlock();
    return true;
  }
  if (!lock_->isLocked()) {
    // A folder that takes no lock file tells nothing about another copy; it must not keep the console shut.
    return false;
  }
  // Whatever lies at the socket's path was left by a copy that was killed: this one holds the lock.
  QLocalServer::removeServer(socketPath_);
  server_ = std::make_unique<QLocalServer>();
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  connect(server_.get(), &QLocalServer::newConnection, this, &QtRunningInstance::AcceptConnections);
  server_->listen(socketPath_);
  return false;
}

void QtRunningInstance::AcceptConnections() {
  while (QLocalSocket* connection = server_->nextPendingConnection()) {
    connection->setReadBufferSize(kLongestRequest);
    connect(connection, &QLocalSocket::readyRead, this, [this, connection] { AnswerRequests(*connection); });
    connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
    AnswerRequests(*connection);
  }
}

void QtRunningInstance::AnswerRequests(QLocalSocket& connection) {
  while (connection.canReadLine()) {
    connection.write(Carry(connection, connection.readLine().chopped(1)) ? kDone : kFailed);
  }
  connection.flush();
  if (connection.bytesAvailable() >= kLongestRequest) {
    connection.abort();
  }
}

bool QtRunningInstance::FindTopLevelWindow(std::string_view title) {
  const QByteArray utf8(title.data(), static_cast<qsizetype>(title.size()));
  return AskRunningCopy(kFind + utf8.toBase64() + ' ' + Display().toBase64());
}

bool QtRunningInstance::BringToForeground() {
  return AskRunningCopy(kForeground + qgetenv(kActivationToken).toBase64());
}

bool QtRunningInstance::ShowMaximised() {
  return AskRunningCopy(kMaximise);
}

bool QtRunningInstance::AskRunningCopy(const QByteArray& request) {
  QElapsedTimer waited;
  waited.start();
  const auto left = [&] { return std::max(0, answerMilliseconds_ - static_cast<int>(waited.elapsed())); };
  if (!asking_) {
    asking_ = std::make_unique<QLocalSocket>();
    asking_->connectToServer(socketPath_);
    if (!asking_->waitForConnected(left())) {
      asking_.reset();
      return false;
    }
  }
  asking_->write(request + '\n');
  while (!asking_->canReadLine()) {
    if (!asking_->waitForReadyRead(left())) {
      // A late answer to this step must not be taken for the next one's.
      asking_.reset();
      return false;
    }
  }
  return asking_->readLine() == kDone;
}

}  // namespace korvane::platform
