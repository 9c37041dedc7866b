// A thread that works on a database connection of its own and can be stopped within a bounded time although
// the store hangs: a call that does not come back is cancelled, and when that does not help either the thread
// is left behind with what it owns.  Used by the store feeder and the reports.
// The object belongs to one thread, the body runs on its own.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

#include "intake/Worker.h"
#include "store/Connection.h"

namespace korvane::intake {

// The connection that the body is using just now, shared for being cancelled only.
class CancellableConnection {
 public:
  CancellableConnection();
  ~CancellableConnection();
  CancellableConnection(const CancellableConnection&) = delete;
  CancellableConnection& operator=(const CancellableConnection&) = delete;

  // For the body: what it works on from now on; null before the connection is to be closed.
  void Use(std::shared_ptr<store::Connection> connection);

  // Gives up whatever call runs, again and again until told to stop.
  void CancelCalls(std::stop_token stop);

 private:
  struct Slot;
  std::unique_ptr<Slot> slot_;
};

class StoreWorker {
 public:
  using Body = std::function<void(std::stop_token, CancellableConnection&)>;

  explicit StoreWorker(Worker::ThreadMaker makeThread = Worker::MakeThread);
  ~StoreWorker();  // Stop, with a quarter of a second of patience

  // False when no thread could be made.  Not while one runs.
  bool Start(Body body);
  bool Running() const { return worker_.Running(); }

  // True: the thread ended (or never ran); false: it was left behind.  Takes no longer than the patience and
  // a little, and as good as nothing where the store answers.
  bool Stop(std::chrono::milliseconds patience);

 private:
  Worker worker_;
  std::shared_ptr<CancellableConnection> connection_;
};

}  // namespace korvane::intake
