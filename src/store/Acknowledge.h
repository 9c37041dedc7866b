// Acknowledging traps in the store, and taking it back.  Done in portions: each is one short transaction that
// knows exactly which rows it changed and notes them in the change log, so that nobody waits long for a row,
// storing goes on in between, and what was done stays done when the rest is not.  A portion that collides
// with somebody else's is tried once more.  Not inside a transaction.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/TrapSelection.h"

namespace korvane::store {

// What one portion changed.
struct AcknowledgedPortion {
  std::int32_t ChangeId = 0;     // of its last entry in the change log
  std::vector<TrapKey> Changed;  // by their numbers, ascending
};

struct Acknowledgement {
  std::vector<TrapSelection> Leaving;         // all of it is acknowledged now, or gone: it leaves the lists
  std::vector<AcknowledgedPortion> Portions;  // those that changed something
  std::int64_t Gone = 0;                      // asked for by number, and another trap has it now, or none
  bool Stopped = false;                       // the rest was not wanted any more
  std::optional<DatabaseError> Failure;       // a statement was refused: what came before it is done

  std::int64_t ChangedCount() const;
  TrapSelection Changed() const;  // by number
};

// After each portion that leaves something, with the rows dealt with so far; false: no more of them.
using GoOn = std::function<bool(std::int64_t done)>;

// One statement for each trap that is still stored under its number.  Throws DatabaseError when nothing could
// be done at all.
Acknowledgement AcknowledgeTraps(Connection& connection, std::span<const TrapKey> traps, const GoOn& goOn);

// How many traps of these source texts, older than the time, are unacknowledged.  Throws DatabaseError.
std::int64_t CountUnacknowledged(Connection& connection, std::span<const std::string> sources,
                                 std::int32_t beforeTime);

// All traps of these source texts older than the time, from the oldest to the newest.  Throws DatabaseError
// when nothing could be done at all, which is so when one of the texts can't stand in a statement.
Acknowledgement AcknowledgeSources(Connection& connection, std::span<const std::string> sources,
                                   std::int32_t beforeTime, const GoOn& goOn);

// All traps older than the time.  Leaving is not told.
Acknowledgement AcknowledgeAll(Connection& connection, std::int32_t beforeTime, const GoOn& goOn);

struct TakenBack {
  TrapSelection Traps;                   // these are new again
  bool Stopped = false;                  // the rest was not wanted any more
  std::optional<DatabaseError> Failure;  // a statement was refused: the rest is not
};

// Makes new again what the acknowledgement changed and nobody changed since.  Throws DatabaseError when
// nothing could be done at all.
TakenBack TakeBack(Connection& connection, const Acknowledgement& acknowledgement, const GoOn& goOn);

}  // namespace korvane::store
