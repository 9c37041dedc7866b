// All there is to alerts in the receiver: the runner that looks at stored traps, one lane for each kind of
// action, and their threads.  Offer may be called from any thread and never waits; the rest belongs to the
// main thread.
#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "platform/Platform.h"
#include "receiver/Configuration.h"
#include "receiver/ServiceLog.h"
#include "receiver/alerts/ActionLane.h"
#include "receiver/alerts/AlertOutcomes.h"
#include "receiver/alerts/AlertRunner.h"
#include "receiver/spool/Spool.h"

namespace korvane::receiver {

class Alerts {
 public:
  // spool: the one that the traps are stored from; must outlive this.  turns: of an embedded store, may be
  // null.
  Alerts(std::string dataSource, platform::RegistryStore& registry, Spool& spool,
         const Configuration& configuration, ServiceLog& log, WriteTurns* turns = nullptr);
  ~Alerts();
  Alerts(const Alerts&) = delete;
  Alerts& operator=(const Alerts&) = delete;

  void Offer(std::span<const SpooledTrap> traps) { runner_.Offer(traps); }
  void PassOver(std::span<const SpooledTrap> traps) { runner_.PassOver(traps); }
  void Start();
  void RequestStop() { stop_.request_stop(); }
  // False: something still hangs; its threads can't be joined.  Else what is left is remembered for the next
  // run.
  bool EndBy(std::chrono::steady_clock::time_point until);

 private:
  struct Thread {
    std::future<void> Ended;
    std::thread Running;
  };
  AlertRunner::Lanes ForRunner();
  void Begin(std::function<void(std::stop_token)> body);

  AlertOutcomes outcomes_;
  std::vector<std::unique_ptr<ActionLane>> lanes_;
  AlertRunner runner_;
  std::stop_source stop_;
  std::vector<Thread> threads_;
};

}  // namespace korvane::receiver
