// One read of the stored traps for everything that shows them: each trap is read and completed once and
// offered to the Systems window's counts and to every Traps window that loads.  User-interface thread.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "common/Desk.h"
#include "intake/LoadBounds.h"
#include "intake/Systems.h"
#include "store/Connection.h"
#include "store/TrapNames.h"
#include "store/TrapRecord.h"

namespace korvane::intake {

class StoredTrapsTaker {
 public:
  virtual ~StoredTrapsTaker() = default;
  // How many traps it showed before, for the progress; 0: not known.
  virtual std::int64_t ExpectedTraps() const { return 0; }
  virtual void LoadBegins() = 0;
  // Asked before the trap's names are looked up.  False: its source alone rules it out, and a trap that
  // nobody may take is passed over.
  virtual bool MayTake(const store::IncomingTrap& trap) const = 0;
  // A complete trap that is not filtered; the taker decides by itself whether it keeps it.
  virtual void TakeStored(const store::IncomingTrap& trap) = 0;
  // whole: false when a statement failed before the last trap.
  virtual void LoadEnds(bool whole) = 0;
};

using StoredTrapsTakers = std::span<StoredTrapsTaker* const>;

class StoredTraps {
 public:
  // All of it outlives this object.
  StoredTraps(Desk& desk, store::Connection& connection, store::TrapNames& names, Systems& systems,
              LoadBounds& bounds);

  // Reads the statement's traps that belong to the range.  expected: as above.  Throws DatabaseError.
  void Read(const LoadRange& range, std::string_view statement, std::int64_t expected,
            StoredTrapsTakers takers);

  // Loads all of them anew within the bounds of the loads, under one busy text.  A failing statement is
  // logged.
  void Load(StoredTrapsTakers takers);

 private:
  bool ReadsWhole(StoredTrapsTakers takers);

  Desk& desk_;
  store::Connection& connection_;
  store::TrapNames& names_;
  Systems& systems_;
  LoadBounds& bounds_;
};

}  // namespace korvane::intake
