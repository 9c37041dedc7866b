// From the listening thread to the spooling one, bounded by bytes.  When it is full the listener stops
// decoding, so the ring of packets fills; what does not fit there is dropped and counted, and nowhere else.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "receiver/spool/TrapRow.h"

namespace korvane::receiver {

struct QueuedTrap {
  TrapRow Row;
  std::uint64_t InformToken = 0;  // 0: nobody waits for an answer
};

class TrapQueue {
 public:
  explicit TrapQueue(std::size_t maxBytes) : maxBytes_(maxBytes) {}

  // Always takes them: HasRoom is asked before more is read.
  void Push(std::vector<QueuedTrap> traps);
  bool HasRoom() const;
  bool Empty() const;
  // What there is, in order, up to some megabytes, waiting a while when there is nothing.  Empty after the
  // time, or when the queue was closed and is used up.
  std::vector<QueuedTrap> Take(std::chrono::milliseconds longest);
  void Close();
  bool Closed() const;
  bool ClosedAndEmpty() const;

 private:
  struct Batch {
    std::vector<QueuedTrap> Traps;
    std::size_t Bytes = 0;
  };

  const std::size_t maxBytes_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Batch> batches_;  // as they were pushed
  std::size_t bytes_ = 0;
  bool closed_ = false;
};

}  // namespace korvane::receiver
