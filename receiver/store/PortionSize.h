// How many rows a transaction of the housekeeping takes: as many as fit into a time in which nobody minds
// waiting for it, by what the ones before took.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace korvane::receiver {

class PortionSize {
 public:
  PortionSize(std::int64_t first, std::int64_t most, std::chrono::milliseconds goal)
      : rows_(first), most_(most), goal_(goal) {}

  std::int64_t Rows() const { return rows_; }

  // One of so many rows took so long.  It grows at most twofold, and only by a whole portion: a smaller one
  // says little of what a large one takes.
  void Took(std::int64_t rows, std::chrono::steady_clock::duration time) {
    const double share = std::chrono::duration<double>(time) / std::chrono::duration<double>(goal_);
    if (rows < rows_ && share < 1) {
      return;
    }
    const double fits = static_cast<double>(rows) / std::max(share, 0.5);
    rows_ = std::clamp<std::int64_t>(static_cast<std::int64_t>(fits), std::min(kLeast, most_), most_);
  }

 private:
  static constexpr std::int64_t kLeast = 50;

  std::int64_t rows_;
  std::int64_t most_;
  std::chrono::milliseconds goal_;
};

}  // namespace korvane::receiver
