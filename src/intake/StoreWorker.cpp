#include "intake/StoreWorker.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace korvane::intake {

namespace {

constexpr std::chrono::milliseconds kUsualEnd{100};
constexpr std::chrono::milliseconds kCancelInterval{100};

}  // namespace

struct CancellableConnection::Slot {
  std::mutex Mutex;
  std::condition_variable_any Changed;
  std::shared_ptr<store::Connection> Connection;
};

CancellableConnection::CancellableConnection() : slot_(std::make_unique<Slot>()) {}

CancellableConnection::~CancellableConnection() = default;

void CancellableConnection::Use(std::shared_ptr<store::Connection> connection) {
  std::unique_lock lock(slot_->Mutex);
  slot_->Connection.swap(connection);
  lock.unlock();  // the old one is closed without the lock: closing may take its time
}

void CancellableConnection::CancelCalls(std::stop_token stop) {
  while (!stop.stop_requested()) {
    std::unique_lock lock(slot_->Mutex);
    const std::shared_ptr<store::Connection> connection = slot_->Connection;
    lock.unlock();
    if (connection) {
      connection->Cancel();
    }
    lock.lock();
    slot_->Changed.wait_for(lock, stop, kCancelInterval, [] { return false; });
  }
}

StoreWorker::StoreWorker(Worker::ThreadMaker makeThread) : worker_(std::move(makeThread)) {}

StoreWorker::~StoreWorker() {
  Stop(Worker::kLastPatience);
}

bool StoreWorker::Start(Body body) {
  connection_ = std::make_shared<CancellableConnection>();
  return worker_.Start([run = std::move(body), connection = connection_](std::stop_token stop) {
    run(std::move(stop), *connection);
    connection->Use(nullptr);
  });
}

bool StoreWorker::Stop(std::chrono::milliseconds patience) {
  worker_.RequestStop();
  Worker canceller;
  if (!worker_.EndsWithin(std::min(kUsualEnd, patience))) {
    // On a thread of its own, since a driver may need long to reach a server that is mute.
    canceller.Start([connection = connection_](std::stop_token stop) { connection->CancelCalls(stop); });
  }
  const bool ended = worker_.Stop(patience);
  // Let go at once, it could still be in the driver when the program ends.
  canceller.Stop(ended ? kUsualEnd : std::chrono::milliseconds(0));
  return ended;
}

}  // namespace korvane::intake
