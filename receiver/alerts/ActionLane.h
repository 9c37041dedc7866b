// Carries the actions of one kind out, one after the other, on a thread of its own.  What can't be done is
// logged with its reason; what comes faster than it can be done is counted and dropped.  Add may be called
// from any thread and never waits.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <stop_token>

#include "receiver/ServiceLog.h"
#include "receiver/alerts/AlertAction.h"
#include "receiver/alerts/AlertFiring.h"

namespace korvane::receiver {

struct ActionLaneOptions {
  // What may wait together with what is being carried out; a firing always fits where nothing else is.
  std::size_t Firings = 200;
  std::size_t Bytes = std::size_t{4} << 20;
};

class ActionLane {
 public:
  ActionLane(std::unique_ptr<AlertAction> action, ServiceLog& log, ActionLaneOptions options = {});

  void Add(std::shared_ptr<const AlertFiring> firing);
  // Until the stop is asked for; what still waits then is dropped and logged.
  void Run(const std::stop_token& stop);

 private:
  std::shared_ptr<const AlertFiring> Take(const std::stop_token& stop);
  void Release(const AlertFiring& firing);

  const std::unique_ptr<AlertAction> action_;
  ServiceLog& log_;
  const ActionLaneOptions options_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<std::shared_ptr<const AlertFiring>> waiting_;
  std::size_t bytes_ = 0;      // of those and of the one in hand
  std::uint64_t dropped_ = 0;  // not yet logged
};

}  // namespace korvane::receiver
