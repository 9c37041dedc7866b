// One read of the stored traps for everything that shows them: each trap is read and completed once and
// offered to the Systems window's counts and to every Traps window that loads.  Windows on single systems
// alone have only the traps of these read.  What could not be loaded is loaded again, all of it by one read,
// as soon as the store can be read.  User-interface thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/Desk.h"
#include "intake/LinkWatch.h"
#include "intake/LoadBounds.h"
#include "intake/RetryPause.h"
#include "intake/Systems.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/TrapNames.h"
#include "store/TrapRecord.h"

namespace korvane::intake {

struct LoadOutcome {
  std::int64_t Unacknowledged = 0;  // traps that were read, whoever kept them
  std::string Failure;              // why there are not all of them, on one line
  bool Stopped = false;             // by the operator, before all of them were read

  bool Whole() const { return Failure.empty() && !Stopped; }
};

class StoredTrapsTaker {
 public:
  virtual ~StoredTrapsTaker() = default;
  // How many traps it showed before, for the progress; 0: not known.
  virtual std::int64_t ExpectedTraps() const { return 0; }
  // The source texts of all traps that it may take, as far as the console knows any; nothing: any text.
  virtual std::optional<std::vector<std::string>> OnlySources() const { return std::nullopt; }
  // Whether it can say afterwards that it shows a part.
  virtual bool MayBeStopped() const { return true; }
  virtual void LoadBegins() = 0;
  // Asked before the trap's names are looked up.  False: its source alone rules it out, and a trap that
  // nobody may take is passed over.
  virtual bool MayTake(const store::IncomingTrap& trap) const = 0;
  // A complete trap that is not filtered; the taker decides by itself whether it keeps it.
  virtual void TakeStored(const store::IncomingTrap& trap) = 0;
  // A complete trap that a filter hides.
  virtual void TakeHidden(const store::IncomingTrap&) {}
  virtual void LoadEnds(const LoadOutcome& outcome) = 0;
};

using StoredTrapsTakers = std::span<StoredTrapsTaker* const>;

class StoredTraps {
 public:
  // All of it outlives this object.
  StoredTraps(Desk& desk, store::Connection& connection, store::TrapNames& names, Systems& systems,
              LoadBounds& bounds);

  // The first load of all, for the Systems window's counts: one read for it and for every window that waits
  // by then; how many traps were in the range.  statement: for the counts alone.  expected: as above.  Throws
  // DatabaseError; then the windows go on waiting.
  std::int64_t ReadFirst(std::string_view statement, std::int64_t expected, StoredTrapsTaker& counts);
  // A window that is opened before the first load: it is loaded with it, or as soon as it can be.
  void Await(StoredTrapsTaker& taker);
  // After ReadFirst, when all that was read may be shown.
  void FirstLoadEnds(std::int64_t unacknowledged);
  // Instead, when the first load failed, in ReadFirst or before it: who waits is told why, and goes on
  // waiting.
  void FirstLoadFailed(const store::DatabaseError& error);

  // Loads all of them anew within the bounds of the loads, under one busy text.  A failing statement is
  // logged, and its takers load again.  Asked for in the middle of another load, it is done after that.
  // One that lasts can be stopped: it is not made up for unless LoadStopped asks.
  void Load(StoredTrapsTakers takers);
  // Those whose last load was stopped.
  void LoadStopped();

  // For every tick: loads what could not be loaded, when its time has come.
  void LoadAgain();
  // The same at once: the store is there, and so are the bounds.
  void LoadAllAgain();
  // The last load, while it is to be made up for.
  const std::optional<FailedLoad>& Failed() const { return failed_; }
  // For a taker that goes.
  void Forget(const StoredTrapsTaker& taker);

 private:
  void LoadNow(StoredTrapsTakers takers);
  void LoadQueued();
  void ReadAll(StoredTrapsTakers takers, LoadOutcome& outcome);
  // stopped: set when it was; null: it can't be.
  std::int64_t Read(const LoadRange& range, std::span<const std::string> statements, std::int64_t expected,
                    StoredTrapsTakers takers, bool* stopped);
  bool AnyStored(const LoadRange& range);

  Desk& desk_;
  store::Connection& connection_;
  store::TrapNames& names_;
  Systems& systems_;
  LoadBounds& bounds_;
  std::vector<StoredTrapsTaker*> again_;    // those whose last load failed
  std::vector<StoredTrapsTaker*> stopped_;  // was stopped
  bool reading_ = false;
  std::vector<StoredTrapsTaker*> queued_;  // those that are to be loaded after it
  RetryPause retry_;
  std::optional<FailedLoad> failed_;
};

}  // namespace korvane::intake
