// The calls of one connection, made beside the thread that waits for them: a store may take its time or say
// nothing at all, and a window that stands still meanwhile looks broken.  While a call lasts, the windows are
// painted, and after a while the busy box says what is waited for and lets the operator give it up.  What is
// short ends before anybody notices, and costs a hand-over between two threads: who makes many calls makes
// them together.  Owns the other thread; used by the one that waits.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

#include "common/BusyIndicator.h"

namespace korvane::store {

class CallsBeside {
 public:
  static constexpr std::chrono::milliseconds kUnnoticed{20};
  static constexpr std::chrono::milliseconds kToBeSaid{1500};

  // busy outlives it.  giveUp: makes the call that is under way fail soon, where it can; called by the thread
  // that waits.  Throws std::system_error when no thread is to be had.
  CallsBeside(BusyIndicator& busy, std::function<void()> giveUp);
  ~CallsBeside() = default;
  CallsBeside(const CallsBeside&) = delete;
  CallsBeside& operator=(const CallsBeside&) = delete;

  // Comes back when work is done, and throws what it throws.  Within a work it runs at once.
  void Run(const std::function<void()>& work);
  // The thread that waits is in Run: what it is asked to do now comes from a window that was just painted.
  bool Waits() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Job {
    const std::function<void()>& Work;
    bool Done = false;
    std::exception_ptr Failure;
  };

  void Serve(std::stop_token stop);
  bool DoneWithin(const Job& job, std::chrono::milliseconds time);
  void StandBy(const Job& job, Clock::time_point begun);

  BusyIndicator& busy_;
  const std::function<void()> giveUp_;
  int waits_ = 0;  // of the thread that waits
  std::mutex mutex_;
  std::condition_variable_any asked_;
  std::condition_variable done_;
  std::deque<Job*> jobs_;
  std::jthread thread_;  // the last: it uses the others
};

}  // namespace korvane::store
