// Finds the entries of the change log that are new since a start, each once, in the order of their numbers;
// one that is committed after a higher one is found late, but found.  Holds positions only, as TrapFollower
// does beside it.  Used by the store feeder on its thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

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

  // At the last read the log ended below what was read of it before: it is not the same one.
  bool EndsBelow() const { return endsBelow_; }

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

  void Start(store::Connection& connection, TimePoint now);
  // The largest number of the log; nothing: there is none at all.
  static std::optional<std::int32_t> Highest(store::Connection& connection);

  ChangeFollowerLimits limits_;
  Position position_;
  bool endsBelow_ = false;
};

}  // namespace korvane::intake
