#include "receiver/store/TrapStore.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "store/TrapNumbers.h"

namespace korvane::receiver {

bool IsStoreTrouble(const store::DatabaseError& error) {
  // Classes of ISO SQLSTATE and of PostgreSQL: connection, no rights, rollback, time-out, resources, state,
  // intervention, system.
  constexpr std::array<std::string_view, 10> kStates = {"08", "28", "40", "42", "HYT",
                                                        "53", "54", "55", "57", "58"};
  // SQLite: error, permission, busy, locked, memory, read-only, I/O, corrupt, full, can't open, schema, auth,
  // not a database.  MariaDB: no memory, full, too many connections, lock wait, deadlock, record changed,
  // gone, lost.
  constexpr std::array<std::int32_t, 24> kNatives = {1,    3,    5,    6,    7,    8,    10,   11,
                                                     13,   14,   17,   23,   26,   1021, 1037, 1040,
                                                     1114, 1205, 1213, 1020, 2002, 2006, 2013, 1146};
  const std::string& state = error.SqlState();
  return std::any_of(kStates.begin(), kStates.end(),
                     [&](std::string_view prefix) { return state.starts_with(prefix); }) ||
         (state.starts_with("HY") &&
          std::find(kNatives.begin(), kNatives.end(), error.NativeCode()) != kNatives.end());
}

bool TakesNoRows(const store::DatabaseError& error) {
  // PostgreSQL: disk full, no partition for the row.  It numbers the rows itself: a number that is there
  // already is no row's fault.
  constexpr std::array<std::string_view, 3> kStates = {"53100", "23514", "23505"};
  // SQLite: full.  MariaDB: disk full, error while writing, error of the storage engine (which names the
  // system's "no space left"), table full, a number that is there already (after a failure for lack of room,
  // and on a cluster whose nodes do not count apart from each other).
  constexpr std::array<std::int32_t, 6> kNatives = {13, 1021, 1026, 1030, 1114, 1062};
  return store::TellsOfUsedUpNumbers(error) ||
         std::find(kStates.begin(), kStates.end(), error.SqlState()) != kStates.end() ||
         std::find(kNatives.begin(), kNatives.end(), error.NativeCode()) != kNatives.end();
}

}  // namespace korvane::receiver
