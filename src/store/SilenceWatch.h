// Gives up the calls of one connection whose server has gone mute: stopped, cut off, or gone with its
// machine. No limit of the server's own helps then, and the drivers wait for ever.  What counts is silence
// and not work: while the server answers somebody else, a call may take its time, up to a last limit.  A call
// that is given up fails at once, because its socket was broken off. Owns a thread, and for moments another
// one that tries the server out.  The connection's thread calls it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

#include "platform/OpenSockets.h"

namespace korvane::store {

struct SilenceLimits {
  std::chrono::milliseconds Silence{4000};                      // then the server is tried out
  std::chrono::milliseconds Trial{4000};                        // what that may take
  std::chrono::milliseconds Longest{std::chrono::minutes(10)};  // of one call, whoever else is answered
};

class SilenceWatch {
 public:
  // Whether the server answers on a connection of its own; runs on a thread of its own, and may hang there.
  using Trial = std::function<bool()>;

  SilenceWatch(SilenceLimits limits, Trial trial);
  ~SilenceWatch();
  SilenceWatch(const SilenceWatch&) = delete;
  SilenceWatch& operator=(const SilenceWatch&) = delete;

  // The sockets of a link that was just made.  None before it is closed, and for a link that is not watched.
  void Use(std::vector<platform::OpenSocket> sockets);
  // Around a call that may wait for the server; may be nested.
  void CallBegins();
  void CallEnds();
  // Since the call began that is under way, or was the last.
  std::chrono::milliseconds SinceLastCall() const;
  // Breaks off the call that is under way, however long it has lasted; nothing when none is, or when its
  // sockets are not known.
  void GiveUpNow();
  // For how long the link was waited for before it was broken off; nothing while it is whole.
  std::optional<std::chrono::seconds> GaveUpAfter() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct TrialRun;

  void Watch(std::stop_token stop);
  void Look(Clock::time_point now);
  std::chrono::milliseconds Silence(Clock::time_point now) const;
  void StartTrial(Clock::time_point now);
  void GiveUp(Clock::time_point now);

  const SilenceLimits limits_;
  const Trial trial_;
  mutable std::mutex mutex_;
  std::condition_variable_any changed_;
  std::vector<platform::OpenSocket> sockets_;
  int calls_ = 0;  // under way, one inside the other
  Clock::time_point since_;
  std::optional<Clock::time_point> answered_;  // the last trial, during this call
  std::shared_ptr<TrialRun> run_;              // that is under way, or just over
  std::optional<std::chrono::seconds> gaveUpAfter_;
  std::jthread thread_;  // the last: it uses the others
};

// Around a call; a null watch watches nothing.
class WatchedCall {
 public:
  explicit WatchedCall(SilenceWatch* watch) : watch_(watch) {
    if (watch_ != nullptr) watch_->CallBegins();
  }
  ~WatchedCall() {
    if (watch_ != nullptr) watch_->CallEnds();
  }
  WatchedCall(const WatchedCall&) = delete;
  WatchedCall& operator=(const WatchedCall&) = delete;

 private:
  SilenceWatch* watch_;
};

}  // namespace korvane::store
