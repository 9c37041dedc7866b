// Keeps the trap store from growing for ever: acknowledges traps older than so many hours and deletes those
// older than so many days.  A thread of its own with a connection of its own; every transaction is small, and
// there is a pause after each, so that neither the storing of traps nor a console ever waits for it.  A store
// that can't be used, or is in use for too long, is tried again soon.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>

#include "Configuration.h"
#include "ServiceLog.h"
#include "store/Connection.h"

namespace korvane::receiver {

struct HousekeepingOptions {
  std::int32_t RowsAtOnce = 500;
  std::chrono::milliseconds Breath{20};  // after each transaction
  std::chrono::minutes Every{1};
  std::chrono::seconds AfterFailure{5};
};

struct HouseholdWork {
  std::int64_t Acknowledged = 0;
  std::int64_t Purged = 0;
};

class Housekeeping {
 public:
  Housekeeping(std::string dataSource, Intervals intervals, ServiceLog& log,
               HousekeepingOptions options = {});

  // Rounds until the stop is asked for.
  void Run(const std::stop_token& stop);

  // One round at this time (UTC seconds): everything that is due.  Throws DatabaseError; what was done before
  // is committed.
  HouseholdWork Round(std::int64_t now, const std::stop_token& stop);

 private:
  using Change = std::string (*)(std::string_view numbers);
  std::int64_t ChangeOlder(const std::string& select, Change change, const std::stop_token& stop);
  void Pause(std::chrono::milliseconds time, const std::stop_token& stop);

  std::string dataSource_;
  Intervals intervals_;
  ServiceLog& log_;
  HousekeepingOptions options_;
  store::Connection connection_;
  std::mutex mutex_;
  std::condition_variable_any stopped_;
};

}  // namespace korvane::receiver
