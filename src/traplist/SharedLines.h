// What many rows of a list have in common, made into text once and copied for each of them: for whatever
// writes all rows out.  Not for sharing between threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace korvane::traplist {

// Lines is what is kept for one number that rows share (TrapRows::OriginAt, TrapRows::KindAt).
template <class Lines>
class SharedLines {
 public:
  // Those of the number, which make() answers unless they are there; they hold until the next call.
  template <class Make>
  const Lines& Of(std::uint32_t number, Make make) {
    Kept& kept = kept_[number % kMost];
    if (kept.Number != number) {
      kept = {number, make()};
    }
    return kept.Text;
  }

 private:
  // Traps that invent a kind each must not fill the memory: numbers that agree in the rest take turns.
  static constexpr std::size_t kMost = 4096;

  struct Kept {
    std::uint32_t Number = UINT32_MAX;
    Lines Text;
  };
  std::vector<Kept> kept_{kMost};
};

}  // namespace korvane::traplist
