// Acknowledging traps in the store, and taking it back.  Each is one transaction that knows exactly which
// rows it changed and notes them in the change log.  Not inside a transaction.
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

struct Acknowledgement {
  std::vector<TrapSelection> Leaving;    // all of it is acknowledged now, whoever did it: it leaves the lists
  TrapSelection Changed;                 // the rows that this acknowledgement changed, by their numbers
  std::int32_t ChangeId = 0;             // of its last entry in the change log; 0: it changed nothing
  std::optional<DatabaseError> Failure;  // a statement was refused: what came before it is done
};

// One statement for each number, committed also when one of them fails, which ends the work.  done: told how
// many statements have run.  Throws DatabaseError when nothing could be done at all.
Acknowledgement AcknowledgeTraps(Connection& connection, std::span<const std::int32_t> sequenceNumbers,
                                 const std::function<void(std::size_t done)>& done);

// All traps of these source texts older than the time: all of it or nothing.  Throws DatabaseError.
Acknowledgement AcknowledgeSources(Connection& connection, std::span<const std::string> sources,
                                   std::int32_t beforeTime);

// All traps older than the time.
Acknowledgement AcknowledgeAll(Connection& connection, std::int32_t beforeTime);

// Makes new again what the acknowledgement changed and nobody changed since.  Returns what is new again.
// Throws DatabaseError; nothing is changed then.
TrapSelection TakeBack(Connection& connection, const Acknowledgement& acknowledgement);

}  // namespace korvane::store
