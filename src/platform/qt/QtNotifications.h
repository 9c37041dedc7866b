// Notifications over the desktop's notification service (org.freedesktop.Notifications), asked over the
// session bus.  Everything is asked asynchronously; without a bus or a service nothing happens.
#pragma once

#include <QObject>
#include <functional>
#include <utility>

#include "platform/Notifications.h"

class QDBusMessage;

namespace korvane::platform {

class QtNotifications : public QObject, public Notifications {
  Q_OBJECT

 public:
  void Show(const Notification& notification) override;
  void Withdraw() override;
  void SetListener(std::function<void()> chosen) override { chosen_ = std::move(chosen); }

 private Q_SLOTS:
  void ActionInvoked(uint id, const QString& action);
  void NotificationClosed(uint id, uint reason);

 private:
  bool Connect();
  void AskWhatItCan();
  void Send();

  std::function<void()> chosen_;
  bool connected_ = false;
  bool asked_ = false;  // what the service can do
  bool knows_ = false;
  bool markup_ = false;  // it reads texts as markup
  Notification latest_;
  bool wanted_ = false;     // the latest is still to be shown
  bool sending_ = false;    // one is on its way; its number is still to come
  bool withdrawn_ = false;  // meanwhile
  uint shown_ = 0;          // the service's number of what is shown; 0: nothing
};

}  // namespace korvane::platform
