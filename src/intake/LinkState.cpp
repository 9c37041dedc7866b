#include "intake/LinkState.h"

#include <utility>

namespace korvane::intake {

using std::chrono::milliseconds;

void LinkBoard::Works() {
  const std::lock_guard lock(mutex_);
  outage_.reset();
}

void LinkBoard::Failed(const std::exception& error, milliseconds pause) {
  const auto* const known = dynamic_cast<const store::DatabaseError*>(&error);
  store::DatabaseError cause = known != nullptr ? *known : store::DatabaseError(error.what(), "HY000", 0, {});
  const Clock::time_point now = Clock::now();
  const std::lock_guard lock(mutex_);
  outage_ = {.Error = std::move(cause), .Since = outage_ ? outage_->Since : now, .NextTry = now + pause};
}

void LinkBoard::ReceiversRead(std::vector<store::Heartbeat> receivers) {
  const std::lock_guard lock(mutex_);
  receivers_ = std::move(receivers);
  ++looks_;
}

void LinkBoard::CallBegins() {
  const std::lock_guard lock(mutex_);
  callSince_ = Clock::now();
}

void LinkBoard::CallEnds() {
  const std::lock_guard lock(mutex_);
  callSince_.reset();
}

void LinkBoard::Followed(const Following& following) {
  const std::lock_guard lock(mutex_);
  following_ = following;
}

void LinkBoard::Replaced() {
  const std::lock_guard lock(mutex_);
  replaced_ = true;
}

LinkState LinkBoard::State() const {
  const Clock::time_point now = Clock::now();
  const std::lock_guard lock(mutex_);
  LinkState state{.Away = {},
                  .Receivers = receivers_,
                  .Looks = looks_,
                  .Waiting = {},
                  .Replaced = replaced_,
                  .Following = following_};
  if (callSince_) {
    state.Waiting = std::chrono::duration_cast<milliseconds>(now - *callSince_);
  }
  if (outage_) {
    state.Away = {.Error = outage_->Error,
                  .For = std::chrono::duration_cast<milliseconds>(now - outage_->Since),
                  .NextTryIn = {}};
    if (outage_->NextTry > now) {
      state.Away->NextTryIn = std::chrono::duration_cast<milliseconds>(outage_->NextTry - now);
    }
  }
  return state;
}

}  // namespace korvane::intake
