// What the receiver counts since its start.  Every thread adds, any thread reads.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace korvane::receiver {

struct Counters {
  std::atomic<std::uint64_t> Received = 0;     // traps and informs taken in
  std::atomic<std::uint64_t> Stored = 0;       // rows committed to the trap store
  std::atomic<std::uint64_t> PassedOver = 0;   // stored by another receiver of the group
  std::atomic<std::uint64_t> Malformed = 0;    // packets that were no acceptable notification
  std::atomic<std::uint64_t> Repeated = 0;     // informs sent again because the answer was late or lost
  std::atomic<std::uint64_t> Answered = 0;     // responses sent to informs
  std::atomic<std::uint64_t> Quarantined = 0;  // traps that the trap store refuses
};

// Figures that are looked up when they are asked for.
struct Gauges {
  std::uint64_t Spooled = 0;            // of those received or found at start: had to wait for the store
  std::uint64_t Waiting = 0;            // in the spool, not yet stored
  std::uint64_t Captured = 0;           // packets in the ring, not yet decoded
  std::uint64_t DroppedByKernel = 0;    // at our sockets, because their buffers were full
  std::uint64_t DroppedByFullRing = 0;  // captured, and the ring had no room
  std::uint64_t AnswersLetGo = 0;       // of informs, because too many waited
  std::uint64_t DamagedRecords = 0;     // places of the spool that could not be read
};

// One line, the same words in the same order at all times.
std::string CountersText(const Counters& counters, const Gauges& gauges);

}  // namespace korvane::receiver
