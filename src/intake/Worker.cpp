#include "intake/Worker.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <utility>

namespace korvane::intake {

struct Worker::End {
  std::mutex Mutex;
  std::condition_variable Changed;
  bool Reached = false;
};

Worker::Worker(ThreadMaker makeThread) : makeThread_(std::move(makeThread)) {}

Worker::~Worker() {
  Stop(kLastPatience);
}

bool Worker::Start(Body body) {
  stop_ = std::stop_source();
  end_ = std::make_shared<End>();
  try {
    thread_ = makeThread_([run = std::move(body), token = stop_.get_token(), end = end_]() mutable {
      run(token);
      run = nullptr;  // what the body owns goes before the end is told
      const std::lock_guard lock(end->Mutex);
      end->Reached = true;
      end->Changed.notify_all();
    });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

bool Worker::EndsWithin(std::chrono::milliseconds patience) {
  if (!thread_.joinable()) {
    return true;
  }
  std::unique_lock lock(end_->Mutex);
  return end_->Changed.wait_for(lock, patience, [this] { return end_->Reached; });
}

bool Worker::Stop(std::chrono::milliseconds patience) {
  RequestStop();
  const bool ended = EndsWithin(patience);
  if (!thread_.joinable()) {
    return true;
  }
  if (ended) {
    thread_.join();
  } else {
    thread_.detach();
  }
  return ended;
}

}  // namespace korvane::intake
