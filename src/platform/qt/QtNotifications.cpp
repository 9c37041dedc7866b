#include "platform/qt/QtNotifications.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>
#include <utility>

#include "platform/ApplicationTitle.h"
#include "platform/qt/SessionBus.h"

namespace korvane::platform {
namespace {

constexpr uchar kUrgent = 2;  // stays until it is seen
constexpr int kServiceChooses = -1;

QString NotificationService() {
  return QStringLiteral("org.freedesktop.Notifications");
}
QString NotificationPath() {
  return QStringLiteral("/org/freedesktop/Notifications");
}

QDBusMessage NotificationCall(const char* method) {
  return QDBusMessage::createMethodCall(NotificationService(), NotificationPath(), NotificationService(),
                                        QLatin1String(method));
}

QString NotificationText(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

bool QtNotifications::Connect() {
  if (connected_ || !SessionBusThere()) {
    return connected_;
  }
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    return false;
  }
  // The toolkit wants the signatures without blanks.
  // clang-format off
  bus.connect(NotificationService(), NotificationPath(), NotificationService(), QStringLiteral("ActionInvoked"),
              this, SLOT(ActionInvoked(uint,QString)));
  bus.connect(NotificationService(), NotificationPath(), NotificationService(),
              QStringLiteral("NotificationClosed"), this, SLOT(NotificationClosed(uint,uint)));
  // clang-format on
  connected_ = true;
  return true;
}

void QtNotifications::Show(const Notification& notification) {
  if (!Connect()) {
    return;
  }
  latest_ = notification;
  wanted_ = true;
  withdrawn_ = false;
  if (knows_) {
    Send();
  } else if (!std::exchange(asked_, true)) {
    AskWhatItCan();
  }
}

void QtNotifications::AskWhatItCan() {
  auto* watcher = new QDBusPendingCallWatcher(
      QDBusConnection::sessionBus().asyncCall(NotificationCall("GetCapabilities")), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
    const QDBusPendingReply<QStringList> reply = *finished;
    finished->deleteLater();
    asked_ = false;  // without an answer there is no service: the next notification asks again
    if (reply.isValid()) {
      knows_ = true;
      markup_ = reply.value().contains(QStringLiteral("body-markup"));
      Send();
    }
  });
}

void QtNotifications::Send() {
  // The next one takes the place of what is on its way, whose number must be known.
  if (!wanted_ || sending_) {
    return;
  }
  wanted_ = false;
  const QString text = NotificationText(latest_.Text);
  QDBusMessage notify = NotificationCall("Notify");
  notify << NotificationText(kApplicationTitle) << shown_ << QStringLiteral("korvane-console")
         << NotificationText(latest_.Title) << (markup_ ? text.toHtmlEscaped() : text)
         << QStringList{QStringLiteral("default"), tr("Show")}
         << QVariantMap{{QStringLiteral("urgency"), QVariant::fromValue(kUrgent)},
                        {QStringLiteral("category"), QStringLiteral("network.error")},
                        {QStringLiteral("desktop-entry"), QStringLiteral("korvane-console")}}
         << kServiceChooses;
  sending_ = true;
  auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(notify), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
    const QDBusPendingReply<uint> reply = *finished;
    finished->deleteLater();
    sending_ = false;
    knows_ = reply.isValid();  // another service may come
    shown_ = reply.isValid() ? reply.value() : 0;
    if (withdrawn_) {
      Withdraw();
    }
    Send();
  });
}

void QtNotifications::Withdraw() {
  wanted_ = false;
  withdrawn_ = sending_;
  if (const uint id = std::exchange(shown_, 0); id != 0) {
    QDBusMessage close = NotificationCall("CloseNotification");
    close << id;
    QDBusConnection::sessionBus().asyncCall(close);
  }
}

void QtNotifications::ActionInvoked(uint id, const QString&) {
  if (id == shown_ && chosen_) {
    chosen_();
  }
}

void QtNotifications::NotificationClosed(uint id, uint) {
  if (id == shown_) {
    shown_ = 0;
  }
}

}  // namespace korvane::platform
