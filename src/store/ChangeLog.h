// The record of what was changed in the store, when and by whom: how a console learns what another one, the
// receiver or the MIB compiler has changed.  Written in the transaction of the change itself, so that there
// is no change without its entry and no entry without its change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "store/Connection.h"
#include "store/TrapSelection.h"

namespace korvane::store {

// The numbers are stored.
enum class ChangeKind : std::int32_t {
  Unknown = 0,  // of a later release
  Acknowledged = 1,
  Unacknowledged = 2,
  Notes = 3,   // of the traps
  Purged = 4,  // the traps were deleted for their age
  Filters = 5,
  Categories = 6,
  Alerts = 7,
  TrapNames = 8,
};

struct Change {
  std::int32_t ChangeId = 0;
  std::int32_t Time = 0;  // seconds since 1970-01-01 00:00:00 UTC, by the writer's clock
  ChangeKind Kind = ChangeKind::Acknowledged;
  ChangeAuthor Author;  // without an operator: the receiver, by the traps' age
  TrapSelection Traps;  // of the first four kinds
  // How many rows were no longer, or are again, unacknowledged; nothing: the writer does not know.
  std::optional<std::int32_t> Rows;
};

// Inside the transaction that makes the change, after its statements and right before the commit: the lower
// of two numbers is then the earlier change of a row that both touch, and nobody waits for the log.
// Who writes is said by the connection.  A selection with very many numbers becomes several entries; rows
// stands in the first of them.  The largest Change_ID of them.  Throws DatabaseError.
std::int32_t NoteChange(Connection& connection, ChangeKind kind, const TrapSelection& traps = {},
                        std::optional<std::int64_t> rows = std::nullopt);

// The entries that the condition (of a WHERE) selects, in the order of their numbers, and no more than the
// first so many of them.  Throws DatabaseError.
std::vector<Change> ReadChanges(Connection& connection, std::string_view condition,
                                std::size_t most = std::numeric_limits<std::int32_t>::max());

}  // namespace korvane::store
