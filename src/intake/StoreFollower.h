// Everything that the store feeder reads of the store, step by step: new traps, and what was changed.  Goes
// on where it was after the store was lost.  On the feeder's thread.
#pragma once

#include <chrono>
#include <cstdint>

#include "intake/ChangeFollower.h"
#include "intake/StoreLedger.h"
#include "intake/StoreNews.h"
#include "intake/TrapFollower.h"
#include "store/Connection.h"

namespace korvane::intake {

class StoreFollower {
 public:
  // known: the largest Change_ID before the console loaded what was there.  checkInterval: how often the
  // books are closed.
  StoreFollower(TrapFollower traps, std::int32_t known, std::chrono::milliseconds checkInterval);

  // The news come after the traps of the same read.
  struct Progress : TrapFollower::Progress {
    StoreNews News;

    bool Empty() const { return Traps.empty() && News.Empty(); }
  };

  // One step, of bounded size.  Throws DatabaseError; nothing is lost by that.
  Progress Read(store::Connection& connection, std::chrono::steady_clock::time_point now);

 private:
  TrapFollower traps_;
  ChangeFollower changes_;
  StoreLedger ledger_;
  StoreNews news_;  // read, and not handed on yet
  std::chrono::milliseconds checkInterval_;
  std::chrono::steady_clock::time_point nextCheck_;
};

}  // namespace korvane::intake
