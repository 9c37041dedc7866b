#include "receiver/alerts/ActionLane.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

namespace korvane::receiver {

ActionLane::ActionLane(std::unique_ptr<AlertAction> action, ServiceLog& log, ActionLaneOptions options)
    : action_(std::move(action)), log_(log), options_(options) {}

void ActionLane::Add(std::shared_ptr<const AlertFiring> firing) {
  if (!action_->Wanted(*firing->Rule)) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    const std::size_t bytes = BytesOf(*firing);
    if (waiting_.size() >= options_.Firings || (bytes_ > 0 && bytes_ + bytes > options_.Bytes)) {
      ++dropped_;
      return;
    }
    bytes_ += bytes;
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

void ActionLane::Release(const AlertFiring& firing) {
  const std::lock_guard lock(mutex_);
  bytes_ -= BytesOf(firing);
}

void ActionLane::Run(const std::stop_token& stop) {
  while (const std::shared_ptr<const AlertFiring> firing = Take(stop)) {
    std::string failure;
    try {
      failure = action_->Carry(*firing, stop);
    } catch (const std::exception& error) {
      failure = error.what();
    }
    Release(*firing);
    if (!failure.empty()) {
      log_.Error(fmt::format("{}: {} failed: {}", AlertLine(*firing), action_->Name(), failure));
    }
  }
}

}  // namespace korvane::receiver
