// Whether the wall clock may be believed where it decides what is too old to keep.  A clock that is ahead (a
// dead battery, a slip of a hand, a virtual machine put back to life) would have the whole history deleted,
// so nothing goes on its word alone: a second clock must agree.
//
// The second clock counts the seconds that passed and knows no date.  With it,
//   - the vouched time runs on from a time that was confirmed once, and is never later than the wall clock;
//   - once the wall clock has gone evenly with it for as long as an age, whatever the wall clock calls older
//     than that age lies here longer than that by both, and goes.
// A time service or the administrator confirms the wall clock at once.  Stored traps prove nothing: they were
// stamped by a wall clock too, this machine's or another receiver's, and some may be from the future.
//
// A value; used by one thread.  All times are seconds.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace korvane::receiver {

// Both clocks at one moment.
struct ClockReading {
  std::int64_t Wall = 0;     // UTC, since 1970
  std::int64_t Elapsed = 0;  // of a clock that nobody sets and that counts on while the machine is suspended
};

// What is kept between two runs.
struct ClockMemory {
  std::optional<std::int64_t> Vouched;  // none: the clock was never confirmed
  std::int64_t Wall = 0;                // at the last look
  std::int64_t Even = 0;                // how long the wall clock had gone evenly then

  bool operator==(const ClockMemory&) const = default;
};

class ClockWitness {
 public:
  // longestAge: when the wall clock went evenly for so long, it counts as confirmed.
  explicit ClockWitness(std::chrono::seconds longestAge, std::optional<ClockMemory> earlier = std::nullopt);

  // To be called every minute or so.  By how much the wall clock was set since the last look, 0 when it was
  // not; of an earlier run it only shows that the clock went back.
  std::int64_t Look(ClockReading now);

  // Somebody who does not know it from this clock says that it is right as of the last look.
  void Confirm();

  // What may be taken for the present when traps of this age are looked for; nothing when no trap may go.
  // Never later than the wall clock.
  std::optional<std::int64_t> Present(std::int64_t age) const;

  std::int64_t Wall() const { return last_.Wall; }
  ClockMemory Memory() const { return {.Vouched = vouched_, .Wall = last_.Wall, .Even = even_}; }

 private:
  std::int64_t FirstLook(ClockReading now);

  std::int64_t longestAge_;
  std::optional<ClockMemory> earlier_;
  bool looked_ = false;
  ClockReading last_;
  ClockReading evenSince_;  // both clocks, to see what they differ by since then
  std::int64_t even_ = 0;   // how long they have gone evenly, short stops of the receiver included
  std::optional<std::int64_t> vouched_;
};

}  // namespace korvane::receiver
