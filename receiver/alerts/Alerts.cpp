#include "receiver/alerts/Alerts.h"

#include <utility>

#include "receiver/alerts/BeepAction.h"
#include "receiver/alerts/MailAction.h"
#include "receiver/alerts/MessageAction.h"
#include "receiver/alerts/ProgramAction.h"

namespace korvane::receiver {

namespace {

// A program is started for every trap that its alert is about, as long as it keeps up.
constexpr ActionLaneOptions kProgramLane{.Firings = 2000};

AlertRunnerOptions RunnerOptions(const AlertPace& pace, WriteTurns* turns) {
  return {.Limits = {.PerSource = pace.PerSource, .PerAlert = pace.PerMinute},
          .ProgramLimits = {.PerSource = pace.ProgramsPerMinute,
                            .PerAlert = pace.ProgramsPerMinute,
                            .StormsStayQuiet = false},
          .Turns = turns};
}

}  // namespace

Alerts::Alerts(std::string dataSource, platform::RegistryStore& registry, Spool& spool,
               const Configuration& configuration, ServiceLog& log, WriteTurns* turns)
    : runner_(std::move(dataSource), registry, spool, outcomes_, log, ForRunner(),
              RunnerOptions(configuration.Pace, turns)) {
  const auto add = [&](std::unique_ptr<AlertAction> action, ActionLaneOptions options = {}) {
    lanes_.push_back(std::make_unique<ActionLane>(
        std::move(action), log,
        [this](const AlertFiring& firing, std::string_view name, const std::string& failure) {
          outcomes_.Note(firing, name, failure);
        },
        options));
  };
  add(std::make_unique<BeepAction>());
  add(std::make_unique<MailAction>(configuration.Mail));
  add(std::make_unique<MessageAction>());
  add(std::make_unique<ProgramAction>(), kProgramLane);
}

AlertRunner::Lanes Alerts::ForRunner() {
  return {.Act =
              [this](const AlertRunner::Firing& firing) {
                for (const auto& lane : lanes_) {
                  lane->Add(firing);
                }
              },
          .Waiting =
              [this] {
                std::vector<std::pair<AlertRunner::Firing, ActionSet>> waiting;
                for (const auto& lane : lanes_) {
                  for (ActionLane::Firing& firing : lane->Waiting()) {
                    waiting.emplace_back(std::move(firing), lane->Kind());
                  }
                }
                return waiting;
              }};
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
  runner_.RememberForNextRun();
  return true;
}

}  // namespace korvane::receiver
