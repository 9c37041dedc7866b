// The numbers that a follower of a table has passed over and that may still be committed: numbers are given
// out in order, but rows are committed in any order, and a cluster's node leaves the numbers of the other
// nodes out for good.  Holds one bit a number and says which of them to look for now, so that a look costs
// about the same however many are open: the newest are looked for each time, the older ones in turn.
// A plain value, no connection; its user reads the numbers and closes what it found.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string_view>
#include <vector>

#include "store/Connection.h"
#include "store/TrapSelection.h"

namespace korvane::intake {

struct NumberGapsLimits {
  std::size_t MostBytes = 16U * 1024 * 1024;  // a million numbers take 256 KiB; the lowest go
  std::chrono::milliseconds Life = std::chrono::minutes(5);
  std::chrono::milliseconds Young = std::chrono::seconds(4);       // looked for each time
  std::chrono::milliseconds RoundEvery = std::chrono::seconds(5);  // at most this often one of the older
  std::int64_t NumbersPerLook = 200'000;                           // of the young and of the older each
};

class NumberGaps {
 public:
  // For how long the table was followed, see TrapFollower.
  using Watched = std::chrono::steady_clock::duration;

  explicit NumberGaps(NumberGapsLimits limits = {}) : limits_(limits) {}

  // Both ends inclusive, above everything that is open.
  void Open(std::int64_t first, std::int64_t last, Watched now);
  void Close(std::int32_t number);
  void CloseAbove(std::int32_t number);
  bool Contains(std::int32_t number) const;

  // What to look for now: the numbers in these ranges, of which some are known.
  struct Look {
    std::vector<store::NumberRange> Ranges;  // ascending, none touching the next
    std::size_t RoundEnd = 0;                // how far the round through the older ones comes by it
    bool Older = false;                      // it goes on with that round
  };
  Look Next(Watched now) const;
  // All of it was looked for, and what was there is closed: what has had its life is given up.
  void Looked(const Look& look, Watched now);

  std::int64_t Count() const { return open_; }
  std::size_t Bytes() const { return words_.size() * sizeof(Word); }
  // How many numbers the bound in bytes has cost, of which some may have been looked for in vain.
  std::int64_t GivenUp() const { return givenUp_; }

 private:
  // Sixty-four numbers.
  struct Word {
    std::int32_t Index;     // the numbers from 64 times this on
    std::uint32_t Noticed;  // seconds of Watched, of the newest of them
    std::uint64_t Open;
  };
  using Words = std::deque<Word>;

  Words::const_iterator WordOf(std::int32_t number) const;
  std::size_t FirstYoung(std::uint32_t now) const;
  std::size_t WordsPerLook() const { return static_cast<std::size_t>(limits_.NumbersPerLook) / 64 + 1; }
  void TakeWords(std::size_t from, std::size_t end, std::vector<store::NumberRange>& ranges) const;

  NumberGapsLimits limits_;
  Words words_;  // ascending
  std::int64_t open_ = 0;
  std::int64_t givenUp_ = 0;
  std::size_t round_ = 0;  // the first word that this round has not come to
  Watched nextRound_{0};
};

// The numbers of the column that are there, of these ranges, ascending, as far as the gaps miss them.
// Throws DatabaseError.
std::vector<std::int32_t> FindMissed(store::Connection& connection, std::string_view table,
                                     std::string_view column, const NumberGaps& gaps,
                                     std::span<const store::NumberRange> ranges, std::int64_t& read);

// Gaps with the numbers from one to the other, both inclusive, that are not there; none where the first is
// above the last.  Throws DatabaseError.
NumberGaps GapsBetween(store::Connection& connection, std::string_view table, std::string_view column,
                       std::int64_t first, std::int64_t last, NumberGapsLimits limits);

}  // namespace korvane::intake
