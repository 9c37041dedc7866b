// Everything that the store feeder reads of the store, step by step: new traps, and what was changed.  Goes
// on where it was after the store was lost.  Where it finds the store in another state than the one that was
// read, it says so and reads no further.  On the feeder's thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "intake/ChangeFollower.h"
#include "intake/StoreLedger.h"
#include "intake/StoreNews.h"
#include "intake/TrapFollower.h"
#include "store/Connection.h"

namespace korvane::intake {

class StoreFollower {
 public:
  static constexpr std::chrono::milliseconds kMissingFor = std::chrono::seconds(60);

  // known: the largest Change_ID before the console loaded what was there.  checkInterval: how often the
  // books are closed.  missingFor: for so long rows may be missing until it is sure that the word of whoever
  // purged them does not come, and that a node of a cluster has not only fallen behind the one that was asked
  // before.
  StoreFollower(TrapFollower traps, std::int32_t known, std::chrono::milliseconds checkInterval,
                std::chrono::milliseconds missingFor = kMissingFor);

  // The news come after the traps of the same read.
  struct Progress : TrapFollower::Progress {
    StoreNews News;
    // For so long the store has not held what it held.  It is read no further until it does, or the time is
    // over.
    std::chrono::milliseconds MissingFor{0};
    // Every number that is held is void.  Nothing else is in this read, and it is the last.
    bool Replaced = false;

    bool Empty() const { return Traps.empty() && News.Empty(); }
  };

  // One step, of bounded size.  Throws DatabaseError; nothing is lost by that.
  Progress Read(store::Connection& connection, std::chrono::steady_clock::time_point now);

  const TrapFollower& Traps() const { return traps_; }

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  StoreNews ReadChanges(store::Connection& connection, TimePoint now, bool& more);
  bool IsInState(store::Connection& connection, TimePoint now, bool changesRead, Progress& progress);
  bool IsOfAnotherState(store::Connection& connection);

  TrapFollower traps_;
  ChangeFollower changes_;
  StoreLedger ledger_;
  StoreNews news_;  // read, and not handed on yet
  std::chrono::milliseconds checkInterval_;
  std::chrono::milliseconds missingFor_;
  TimePoint nextCheck_;
  bool postponed_ = false;               // the check, once
  std::optional<std::uint64_t> sameIn_;  // the session of the last read, which this one follows at once
  TimePoint lastLook_;
  StoreAnchor::Finding found_ = StoreAnchor::Finding::Same;
  std::chrono::steady_clock::duration foundFor_{0};  // while the store could be read
};

}  // namespace korvane::intake
