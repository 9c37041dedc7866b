// One thread that can be stopped within a bounded time, whatever it hangs in.  A thread that does not end in
// time is left to end by itself, so its body must own (share) everything it touches.
// The object belongs to one thread, the body runs on its own.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <thread>

namespace korvane::intake {

class Worker {
 public:
  using Body = std::function<void(std::stop_token)>;
  // Makes the thread; throws std::system_error when the system refuses one.
  using ThreadMaker = std::function<std::thread(std::function<void()>)>;

  static std::thread MakeThread(std::function<void()> body) { return std::thread(std::move(body)); }

  // What the destructor waits at most.
  static constexpr std::chrono::milliseconds kLastPatience{250};

  explicit Worker(ThreadMaker makeThread = MakeThread);
  ~Worker();  // Stop
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // False when no thread could be made.  Not while one runs.
  bool Start(Body body);
  bool Running() const { return thread_.joinable(); }

  void RequestStop() { stop_.request_stop(); }
  bool EndsWithin(std::chrono::milliseconds patience);  // true also when none ran

  // Asks the body to stop and waits for its end.  True: it ended (or never ran); false: it was left behind.
  bool Stop(std::chrono::milliseconds patience);

 private:
  struct End;

  ThreadMaker makeThread_;
  std::thread thread_;
  std::stop_source stop_;
  std::shared_ptr<End> end_;
};

}  // namespace korvane::intake
