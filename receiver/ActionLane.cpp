#include "ActionLane.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

namespace korvane::receiver {

ActionLane::ActionLane(std::unique_ptr<AlertAction> action, ServiceLog& log, std::size_t longest)
    : action_(std::move(action)), log_(log), longest_(longest) {}

void ActionLane::Add(std::shared_ptr<const AlertFiring> firing) {
  if (!action_->Wanted(*firing->Rule)) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.size() >= longest_) {
      ++dropped_;
      return;
    }
    waiting_.push_back(std::move(firing));
  }
  changed_.notify_one();
}

std::shared_ptr<const AlertFiring> ActionLane::Take(const std::stop_token& stop) {
  std::uint64_t dropped = 0;
  std::shared_ptr<const AlertFiring> firing;
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, stop, [this] { return !waiting_.empty(); });
    if (stop.stop_requested()) {
      dropped_ += waiting_.size();
      waiting_.clear();
    } else {
      firing = std::move(waiting_.front());
      waiting_.pop_front();
    }
    dropped = std::exchange(dropped_, 0);
  }
  if (dropped > 0) {
    log_.Warning(
        fmt::format("{} times {} was asked for and could not be done in time", dropped, action_->Name()));
  }
  return firing;
}

void ActionLane::Run(const std::stop_token& stop) {
  while (const std::shared_ptr<const AlertFiring> firing = Take(stop)) {
    std::string failure;
    try {
      failure = action_->Carry(*firing, stop);
    } catch (const std::exception& error) {
      failure = error.what();
    }
    if (!failure.empty()) {
      log_.Error(fmt::format("{}: {} failed: {}", AlertLine(*firing), action_->Name(), failure));
    }
  }
}

}  // namespace korvane::receiver
