// What the desktop shows on the console's behalf while the operator works elsewhere: one notification at a
// time, which a click answers.  Where the desktop has no such service nothing happens.  qt/ implements it.
// User-interface thread only; never throws and never waits for the desktop.
#pragma once

#include <functional>
#include <string>

namespace korvane::platform {

// Plain text in UTF-8, one line each; the text may be empty.
struct Notification {
  std::string Title;
  std::string Text;
};

class Notifications {
 public:
  virtual ~Notifications() = default;
  virtual void Show(const Notification& notification) = 0;  // in the place of the one before
  virtual void Withdraw() = 0;                              // what is shown has been seen otherwise
  // Called when the operator chose the notification.
  virtual void SetListener(std::function<void()> chosen) = 0;
};

}  // namespace korvane::platform
