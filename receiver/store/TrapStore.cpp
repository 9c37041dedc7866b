#include "receiver/store/TrapStore.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "store/TrapNumbers.h"

namespace korvane::receiver {

bool IsStoreTrouble(const store::DatabaseError& error) {
  // Classes of ISO SQLSTATE and of PostgreSQL: connection, no rights, rollback, time-out, resources, state,
  // intervention, system.  MariaDB: a statement that was ended, by its time or by somebody.
  constexpr std::array<std::string_view, 11> kStates = {"08", "28", "40", "42", "HYT", "53",
                                                        "54", "55", "57", "58", "70"};
  // SQLite: error, permission, busy, locked, memory, read-only, interrupted, I/O, corrupt, full, can't open,
  // protocol of locks, schema, auth, not a database.  MariaDB: no memory, full, too many connections, lock
  // wait, deadlock, record changed, gone, lost.
  constexpr std::array<std::int32_t, 26> kNatives = {1,    3,    5,    6,    7,    8,    9,    10,   11,
                                                     13,   14,   15,   17,   23,   26,   1021, 1037, 1040,
                                                     1114, 1205, 1213, 1020, 2002, 2006, 2013, 1146};
  const std::string& state = error.SqlState();
  return std::any_of(kStates.begin(), kStates.end(),
                     [&](std::string_view prefix) { return state.starts_with(prefix); }) ||
         (state.starts_with("HY") &&
          std::find(kNatives.begin(), kNatives.end(), error.NativeCode()) != kNatives.end());
}

namespace {

// The store numbers the rows itself: a number that is there already (after a failure for lack of room, and on
// a cluster whose nodes do not count apart from each other) or has no partition is no row's fault.  What an
// administrator has set up beside that, a unique index or a check, is: it has the same codes and another
// name.  Looked for only where no value of the row stands.
bool TellsOfGivenNumber(const store::DatabaseError& error) {
  constexpr std::int32_t kDuplicateEntry = 1062;
  const std::string_view text = error.what();
  // PostgreSQL's values stand in the lines below the first, MariaDB's in front of the name.
  const std::string_view first = text.substr(0, text.find('\n'));
  if (error.SqlState() == "23505") {
    return first.find("_pkey") != std::string_view::npos;
  }
  if (error.SqlState() == "23514") {
    return first.find("no partition of relation") != std::string_view::npos;
  }
  return error.NativeCode() == kDuplicateEntry && text.ends_with("PRIMARY'");
}

}  // namespace

bool TakesNoRows(const store::DatabaseError& error) {
  constexpr std::string_view kDiskFull = "53100";  // PostgreSQL's
  // SQLite: full.  MariaDB: disk full, error while writing, error of the storage engine (which names the
  // system's "no space left"), table full.
  constexpr std::array<std::int32_t, 5> kNatives = {13, 1021, 1026, 1030, 1114};
  return store::TellsOfUsedUpNumbers(error) || error.SqlState() == kDiskFull || TellsOfGivenNumber(error) ||
         std::find(kNatives.begin(), kNatives.end(), error.NativeCode()) != kNatives.end();
}

}  // namespace korvane::receiver
