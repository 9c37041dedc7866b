// Transactions that the database takes back because they collide with somebody else's: a deadlock, a snapshot
// that is too old, the same row changed on another node of a cluster.  It does so wholly, so that the same
// transaction can be run once more; the other one has gone on meanwhile.
#pragma once

#include <chrono>
#include <thread>

#include "store/Connection.h"
#include "store/DatabaseError.h"

namespace korvane::store {

// SQLSTATE 40001, and PostgreSQL's own 40P01 for a deadlock.  Not a lock that was waited for too long: that
// takes back one statement at most.
bool IsConflict(const DatabaseError& error);

// Runs work, which holds one whole transaction from its beginning to its commit, and runs it once more when a
// conflict ends it, a moment later.  So work begins with nothing that an earlier run has left in its
// captures.  Answers what it answers; what it throws otherwise, and what the second run throws, goes on.
// Within somebody else's transaction nothing is repeated: it is that one's to begin anew.
template <class Work>
auto RetriedOnce(Connection& connection, Work&& work) -> decltype(work()) {
  const bool whole = !connection.InTransaction();
  try {
    return work();
  } catch (const DatabaseError& error) {
    if (!whole || !IsConflict(error)) throw;
    connection.Rollback();
  }
  // At once it could be back before the other one has noticed that its turn has come, and collide again.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return work();
}

}  // namespace korvane::store
