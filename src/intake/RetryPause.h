// When to try again what the store refused: after a few seconds, then after longer and longer pauses.  A
// database that fails now may be back in a moment, and nobody else asks again for the rest of the shift.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace korvane::intake {

class RetryPause {
 public:
  // now: monotonic milliseconds, always of the same clock.
  void Failed(std::int64_t now) {
    if (at_ && now < *at_) {
      return;  // several that fail together are one failure
    }
    pause_ = std::clamp(pause_ * 2, kFirst, kLongest);
    at_ = now + pause_;
  }
  void Succeeded() {
    at_.reset();
    pause_ = 0;
  }
  // Nothing while there is nothing to try again.
  std::optional<std::int64_t> NextTry() const { return at_; }
  // True once when the time has come: what is tried then says how it went.
  bool TakeDue(std::int64_t now) {
    if (!at_ || now < *at_) {
      return false;
    }
    at_.reset();
    return true;
  }

 private:
  static constexpr std::int64_t kFirst = 3000;
  static constexpr std::int64_t kLongest = 60'000;

  std::optional<std::int64_t> at_;
  std::int64_t pause_ = 0;  // the last one, while something has failed
};

}  // namespace korvane::intake
