// Carries the actions of one kind out, one after the other, on a thread of its own.  What can't be done is
// logged with its reason; what comes faster than it can be done is counted and dropped.  Add may be called
// from any thread and never waits.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <stop_token>

#include "AlertAction.h"
#include "AlertFiring.h"
#include "ServiceLog.h"

namespace korvane::receiver {

class ActionLane {
 public:
  ActionLane(std::unique_ptr<AlertAction> action, ServiceLog& log, std::size_t longest = 200);

  void Add(std::shared_ptr<const AlertFiring> firing);
  // Until the stop is asked for; what still waits then is dropped and logged.
  void Run(const std::stop_token& stop);

 private:
  std::shared_ptr<const AlertFiring> Take(const std::stop_token& stop);

  const std::unique_ptr<AlertAction> action_;
  ServiceLog& log_;
  const std::size_t longest_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<std::shared_ptr<const AlertFiring>> waiting_;
  std::uint64_t dropped_ = 0;  // not yet logged
};

}  // namespace korvane::receiver
