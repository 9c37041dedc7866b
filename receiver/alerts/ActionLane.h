// Carries the actions of one kind out, one after the other, on a thread of its own.  What can't be done is
// logged with its reason; what comes faster than it can be done is counted and dropped.  Add and Waiting may
// be called from any thread and never wait.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

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
  using Firing = std::shared_ptr<const AlertFiring>;
  // Told of everything that was carried out or given up, on the lane's thread or that of Add; must not wait.
  // failure: empty when it was done.
  using Report = std::function<void(const AlertFiring&, std::string_view action, const std::string& failure)>;

  ActionLane(std::unique_ptr<AlertAction> action, ServiceLog& log, Report report,
             ActionLaneOptions options = {});

  ActionSet Kind() const { return action_->Kind(); }
  void Add(const Firing& firing);
  // Until the stop is asked for.
  void Run(const std::stop_token& stop);
  // What is not done yet, the one in hand first.  After Run it is what the next run is to do.
  std::vector<Firing> Waiting() const;

 private:
  Firing Take(const std::stop_token& stop);
  void Carry(const Firing& firing, const std::stop_token& stop);
  void TellDropped();

  const std::unique_ptr<AlertAction> action_;
  ServiceLog& log_;
  const Report report_;
  const ActionLaneOptions options_;
  mutable std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<Firing> waiting_;
  Firing inHand_;
  std::size_t bytes_ = 0;      // of those and of the one in hand
  std::uint64_t dropped_ = 0;  // not yet logged
};

}  // namespace korvane::receiver
