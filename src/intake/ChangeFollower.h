// Finds the entries of the change log that are new since a start, each once, in the order of their numbers;
// one that is committed after a higher one is found late, but found.  Holds positions only, as TrapFollower
// does beside it.  Used by the store feeder on its thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "intake/NumberGaps.h"
#include "intake/StoreNews.h"
#include "store/Connection.h"

namespace korvane::intake {

struct ChangeFollowerLimits {
  std::size_t ChangesPerRead = 200;
  std::int32_t LookBack = 1000;      // numbers below the start that may still be committed
  std::int32_t LongestGap = 65'536;  // and before an entry that comes
  NumberGapsLimits Gaps{.MostBytes = 1U * 1024 * 1024};
  std::chrono::milliseconds LookEvery{500};
  // Between two reads no more than this counts: what is longer, the store or the console was away.
  std::chrono::milliseconds LongestStep = std::chrono::seconds(10);
};

class ChangeFollower {
 public:
  // known: the largest Change_ID before the console loaded what was there.
  explicit ChangeFollower(std::int32_t known, ChangeFollowerLimits limits = {});

  // One step, of bounded size; more: read on at once.  Throws DatabaseError; the position is then unchanged.
  // now never goes back.
  StoreNews Read(store::Connection& connection, std::chrono::steady_clock::time_point now, bool& more);

  // At the last read the log ended below what was read of it before, and nothing was read: it is not the same
  // one, or its newest entries were deleted, or a node of a cluster is behind the one that was asked before.
  bool EndsBelow() const { return endsBelow_; }
  // Where it is the same one: goes on from where it ends now.  Entries that come again are not read again.
  void GoBack();

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Position {
    bool Started = false;
    std::int32_t Last;
    NumberGaps Gaps;
    TimePoint LastRead;
    NumberGaps::Watched Watched{0};  // for how long the log was followed
    TimePoint NextLook;
  };

  struct Seen {
    std::int32_t ChangeId;
    std::string Print;

    friend bool operator==(const Seen&, const Seen&) = default;
  };
  static Seen SeenOf(const store::Change& change);

  void Start(store::Connection& connection, TimePoint now);
  void RemoveSeen(std::vector<store::Change>& changes);
  // The largest number of the log; 0: there is none at all.
  static std::int32_t Highest(store::Connection& connection);

  ChangeFollowerLimits limits_;
  Position position_;
  bool endsBelow_ = false;
  std::int32_t end_ = 0;     // of the log, at the last read
  std::int32_t readTo_ = 0;  // up to here entries may come again
  std::deque<Seen> seen_;    // what was read last
};

}  // namespace korvane::intake
