// How the receivers of a store show that they are alive: each moves a counter every few seconds.  Whoever
// looks judges by a clock of its own whether the counter moves; no time is stored, since no machine's clock
// is to be trusted on another.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/Connection.h"

namespace korvane::store {

// What an operator should know of a receiver that is alive.
struct ReceiverCondition {
  std::int32_t Dropped = 0;  // packets lost since it started, by the kernel or a full ring; cut at the end
  std::int32_t DroppedSince = 0;  // UTC seconds of the first of them; 0: none
  std::int32_t DiskUsed = 0;      // per cent of the disk it needs most; 0: not known
};

struct Heartbeat {
  std::string SpoolId;  // which receiver
  std::string Machine;  // where it runs
  std::int32_t Beats = 0;
  bool Stopped = false;  // it said so itself
  ReceiverCondition Condition;
};

// For a statement.  A machine whose name can't stand in one is "(unnamed)".
std::string QuotedMachine(std::string_view machine);

// One more beat of this receiver; its first makes its row.  Throws DatabaseError.
void Beat(Connection& connection, std::string_view spoolId, std::string_view machine,
          const ReceiverCondition& condition = {}, bool stopped = false);

// Of all receivers that ever stored here.  Throws DatabaseError.
std::vector<Heartbeat> ReadHeartbeats(Connection& connection);

}  // namespace korvane::store
