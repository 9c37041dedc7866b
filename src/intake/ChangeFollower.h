// Finds the entries of the change log that are new since a start, each once, in the order of their numbers;
// one that is committed after a higher one is found late, but found.  Holds positions only, as TrapFollower
// does beside it.  Used by the store feeder on its thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "intake/StoreNews.h"
#include "store/Connection.h"

namespace korvane::intake {

struct ChangeFollowerLimits {
  std::size_t ChangesPerRead = 200;
  std::size_t MostGaps = 64;  // also how far below the start one may be that is still to be committed
  std::chrono::milliseconds GapLife = std::chrono::minutes(5);
};

class ChangeFollower {
 public:
  // known: the largest Change_ID before the console loaded what was there.
  explicit ChangeFollower(std::int32_t known, ChangeFollowerLimits limits = {});

  // One step, of bounded size; more: read on at once.  Throws DatabaseError; the position is then unchanged.
  // now never goes back.
  StoreNews Read(store::Connection& connection, std::chrono::steady_clock::time_point now, bool& more);

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Gap {
    std::int32_t Number;
    TimePoint Noticed;
  };
  struct Position {
    bool Started = false;
    std::int32_t Last;
    std::vector<Gap> Gaps;  // ascending
  };

  void NoteGaps(std::int32_t from, std::int32_t to, TimePoint now, std::vector<Gap>& gaps) const;
  void Start(store::Connection& connection, TimePoint now);
  // The log ends below what was read of it.
  bool WasReplaced(store::Connection& connection, std::int32_t& highest) const;

  ChangeFollowerLimits limits_;
  Position position_;
};

}  // namespace korvane::intake
