// Calls the operator back when critical traps arrive while the console is not in front: its taskbar entry
// asks for attention, and the desktop shows one notification, renewed at most every ten seconds, which counts
// what came since the operator looked last.  Notifications can be switched off; that is kept per user. The
// systems model tells it of traps and of the ends of ticks.  User-interface thread only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/Desk.h"
#include "platform/Notifications.h"

namespace korvane::systems {

// The console's windows, as far as it matters here.
class ConsoleFront {
 public:
  virtual ~ConsoleFront() = default;
  virtual bool InFront() const = 0;    // the operator works in one of them
  virtual void AskForAttention() = 0;  // on the taskbar; does no harm while it asks already
  virtual void BringToFront() = 0;
};

class CriticalNews {
 public:
  static constexpr std::int64_t kBetweenNotifications = 10'000;  // milliseconds

  // All of them outlive it.
  CriticalNews(Desk& desk, platform::Notifications& notifications, ConsoleFront& front);
  ~CriticalNews();
  CriticalNews(const CriticalNews&) = delete;
  CriticalNews& operator=(const CriticalNews&) = delete;

  // A critical trap has come in; the texts are the network's.
  void Arrived(std::string_view system, std::string_view trapName);
  // All of them were seen, or acknowledged by a colleague meanwhile.
  void NothingUnseen();
  void EndTick();

  bool Notifies() const { return notifies_; }
  void SwitchNotifications(bool on);

 private:
  struct Unseen {
    std::int64_t Traps = 0;
    std::vector<std::string> Systems;  // the first few of them, each once
    bool OtherSystems = false;
    std::string NewestName;
  };

  platform::Notification Words() const;

  Desk& desk_;
  platform::Notifications& notifications_;
  ConsoleFront& front_;
  bool notifies_;
  Unseen unseen_;
  std::int64_t asked_ = 0;    // of the unseen traps, those that attention was asked for
  std::int64_t shown_ = 0;    // and those that the notification counts; 0: none is shown
  std::int64_t mayShow_ = 0;  // by the monotonic clock
};

}  // namespace korvane::systems
