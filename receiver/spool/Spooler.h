// Carries traps from the listener's queue to the spool.  A thread of its own runs Run until the queue is
// closed and used up.
//
// An inform is answered when its trap is in the spool and synced; where the disk refuses, when it is in the
// trap store.  So what was answered survives a kill and a loss of power.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <utility>
#include <vector>

#include "receiver/ServiceLog.h"
#include "receiver/spool/Spool.h"
#include "receiver/spool/TrapQueue.h"

namespace korvane::receiver {

struct SpoolerOptions {
  // What may wait in memory while the disk refuses; then the queue fills, and then the sockets.
  std::size_t UnwrittenBytes = std::size_t{64} << 20;
  // Informs that may wait for disk or store.  More are stored and not answered; their senders repeat them.
  std::size_t Unanswered = 100'000;
};

class Spooler {
 public:
  // answer: called with the tokens of informs that are safe.  storeAvailable: while it answers false
  // everything is synced, since the spool is then the only place a trap is in.
  Spooler(TrapQueue& queue, Spool& spool, ServiceLog& log,
          std::function<void(const std::vector<std::uint64_t>&)> answer, std::function<bool()> storeAvailable,
          SpoolerOptions options = {});

  void Run();

 private:
  void Take(std::vector<QueuedTrap> traps);
  void AwaitAnswer(std::uint64_t number, std::uint64_t token);
  void AnswerStored();
  void AnswerAll();
  void NoteDisk();

  TrapQueue& queue_;
  Spool& spool_;
  ServiceLog& log_;
  std::function<void(const std::vector<std::uint64_t>&)> answer_;
  std::function<bool()> storeAvailable_;
  const SpoolerOptions options_;
  std::deque<std::pair<std::uint64_t, std::uint64_t>> unanswered_;  // number of the trap, token
  std::uint64_t neverAnswered_ = 0;                                 // of this run
  int reportedError_ = 0;
};

}  // namespace korvane::receiver
