#include "receiver/clock/ClockWitness.h"

#include <algorithm>
#include <cstdlib>

namespace korvane::receiver {
namespace {

// Two clocks drift apart by some seconds a day; what is more was set by somebody.
constexpr std::int64_t kDrift = 300;
// A stop of the receiver that the wall clock alone may tell the length of: a restart, a reboot.
constexpr std::int64_t kShortStop = 600;

}  // namespace

ClockWitness::ClockWitness(std::chrono::seconds longestAge, std::optional<ClockMemory> earlier)
    : longestAge_(longestAge.count()), earlier_(earlier) {}

std::int64_t ClockWitness::FirstLook(ClockReading now) {
  looked_ = true;
  evenSince_ = last_ = now;
  if (!earlier_) {
    return 0;
  }
  vouched_ = earlier_->Vouched;
  const std::int64_t stopped = now.Wall - earlier_->Wall;
  if (std::abs(stopped) <= kShortStop) {
    even_ = earlier_->Even;
    if (vouched_) {
      *vouched_ += std::max<std::int64_t>(0, stopped);
    }
  }
  return stopped < -kDrift ? stopped : 0;
}

std::int64_t ClockWitness::Look(ClockReading now) {
  std::int64_t set = 0;
  if (!looked_) {
    set = FirstLook(now);
  } else {
    const std::int64_t passed = std::max<std::int64_t>(0, now.Elapsed - last_.Elapsed);
    set = (now.Wall - evenSince_.Wall) - (now.Elapsed - evenSince_.Elapsed);
    last_ = now;
    if (std::abs(set) > kDrift) {
      evenSince_ = now;
      even_ = 0;
    } else {
      even_ += passed;
      set = 0;
    }
    if (vouched_) {
      *vouched_ += passed;
    }
  }
  if (even_ >= longestAge_) {
    Confirm();
  }
  if (vouched_) {
    // A clock that was ahead when it was confirmed is forgotten once it is set right.
    vouched_ = std::min(*vouched_, now.Wall);
  }
  return set;
}

void ClockWitness::Confirm() {
  vouched_ = last_.Wall;
}

std::optional<std::int64_t> ClockWitness::Present(std::int64_t age) const {
  return even_ >= age ? std::optional(last_.Wall) : vouched_;
}

}  // namespace korvane::receiver
