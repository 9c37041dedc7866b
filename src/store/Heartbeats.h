// How the receivers of a store show that they are alive: each moves a counter, with the rows it stores and
// every few seconds without any.  Whoever looks judges by a clock of its own whether the counter moves; no
// time is stored, since no machine's clock is to be trusted on another.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/Connection.h"

namespace korvane::store {

struct Heartbeat {
  std::string SpoolId;  // which receiver
  std::string Machine;  // where it runs
  std::int32_t Beats = 0;
  bool Stopped = false;  // it said so itself
};

// One more beat of this receiver; its first makes its row.  Throws DatabaseError.
void Beat(Connection& connection, std::string_view spoolId, std::string_view machine, bool stopped = false);

// Of all receivers that ever stored here.  Throws DatabaseError.
std::vector<Heartbeat> ReadHeartbeats(Connection& connection);

}  // namespace korvane::store
