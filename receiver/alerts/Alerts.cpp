#include "receiver/alerts/Alerts.h"

#include <utility>

#include "receiver/alerts/BeepAction.h"
#include "receiver/alerts/MailAction.h"
#include "receiver/alerts/MessageAction.h"
#include "receiver/alerts/ProgramAction.h"

namespace korvane::receiver {

Alerts::Alerts(std::string dataSource, platform::RegistryStore& registry, ServiceLog& log)
    : runner_(std::move(dataSource), registry, log, [this](const std::shared_ptr<const AlertFiring>& firing) {
        for (const auto& lane : lanes_) {
          lane->Add(firing);
        }
      }) {
  lanes_.push_back(std::make_unique<ActionLane>(std::make_unique<BeepAction>(), log));
  lanes_.push_back(std::make_unique<ActionLane>(std::make_unique<MailAction>(), log));
  lanes_.push_back(std::make_unique<ActionLane>(std::make_unique<MessageAction>(), log));
  lanes_.push_back(std::make_unique<ActionLane>(std::make_unique<ProgramAction>(), log));
}

Alerts::~Alerts() {
  RequestStop();
  for (Thread& thread : threads_) {
    if (thread.Running.joinable()) {
      thread.Running.join();
    }
  }
}

void Alerts::Start() {
  Begin([this](const std::stop_token& stop) { runner_.Run(stop); });
  for (const auto& lane : lanes_) {
    Begin([&lane = *lane](const std::stop_token& stop) { lane.Run(stop); });
  }
}

void Alerts::Begin(std::function<void(std::stop_token)> body) {
  std::packaged_task<void()> task([body = std::move(body), stop = stop_.get_token()] { body(stop); });
  std::future<void> ended = task.get_future();
  threads_.push_back({.Ended = std::move(ended), .Running = std::thread(std::move(task))});
}

bool Alerts::EndBy(std::chrono::steady_clock::time_point until) {
  for (Thread& thread : threads_) {
    if (thread.Ended.wait_until(until) != std::future_status::ready) {
      return false;
    }
  }
  return true;
}

}  // namespace korvane::receiver
