#include "receiver/alerts/ActionLane.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

namespace korvane::receiver {

ActionLane::ActionLane(std::unique_ptr<AlertAction> action, ServiceLog& log, Report report,
                       ActionLaneOptions options)
    : action_(std::move(action)), log_(log), report_(std::move(report)), options_(options) {}

void ActionLane::Add(const Firing& firing) {
  if ((firing->Actions & ActionsOf(*firing->Rule) & action_->Kind()) == 0) {
    return;
  }
  bool fits = false;
  {
    const std::lock_guard lock(mutex_);
    const std::size_t bytes = BytesOf(*firing);
    fits = waiting_.size() < options_.Firings && (bytes_ == 0 || bytes_ + bytes <= options_.Bytes);
    if (fits) {
      bytes_ += bytes;
      waiting_.push_back(firing);
    } else {
      ++dropped_;
    }
  }
  if (fits) {
    changed_.notify_one();
  } else {
    report_(*firing, action_->Name(), "too many others were waiting");
  }
}

ActionLane::Firing ActionLane::Take(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, stop, [this] { return !waiting_.empty(); });
  if (stop.stop_requested()) {
    return nullptr;
  }
  inHand_ = std::move(waiting_.front());
  waiting_.pop_front();
  return inHand_;
}

std::vector<ActionLane::Firing> ActionLane::Waiting() const {
  const std::lock_guard lock(mutex_);
  std::vector<Firing> firings;
  if (inHand_) {
    firings.push_back(inHand_);
  }
  firings.insert(firings.end(), waiting_.begin(), waiting_.end());
  return firings;
}

void ActionLane::TellDropped() {
  std::uint64_t dropped = 0;
  {
    const std::lock_guard lock(mutex_);
    dropped = std::exchange(dropped_, 0);
  }
  if (dropped > 0) {
    log_.Warning(
        fmt::format("{} times {} was asked for and could not be done in time", dropped, action_->Name()));
  }
}

void ActionLane::Run(const std::stop_token& stop) {
  while (const Firing firing = Take(stop)) {
    TellDropped();
    Carry(firing, stop);
  }
  TellDropped();
}

void ActionLane::Carry(const Firing& firing, const std::stop_token& stop) {
  std::string failure;
  try {
    failure = action_->Carry(*firing, stop);
  } catch (const std::exception& error) {
    failure = error.what();
  }
  if (!failure.empty() && stop.stop_requested()) {
    return;  // it stays in hand, for the next run
  }
  {
    const std::lock_guard lock(mutex_);
    bytes_ -= BytesOf(*firing);
    inHand_ = nullptr;
  }
  if (!failure.empty()) {
    log_.Error(fmt::format("{}: {} failed: {}", AlertLine(*firing), action_->Name(), failure));
  }
  report_(*firing, action_->Name(), failure);
}

}  // namespace korvane::receiver
