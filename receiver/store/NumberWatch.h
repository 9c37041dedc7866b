// Looks how far the numbers of the trap table are used, and says so in the log in time: once a day from nine
// tenths on, with how long they last.  Of the housekeeping's thread.
#pragma once

#include <cstdint>
#include <optional>

#include "receiver/ServiceLog.h"
#include "store/Connection.h"

namespace korvane::receiver {

class NumberWatch {
 public:
  // now: seconds of a clock that never goes back.  Throws DatabaseError.
  void Look(store::Connection& connection, std::int64_t now, ServiceLog& log);

 private:
  std::optional<std::int64_t> warned_;
};

}  // namespace korvane::receiver
