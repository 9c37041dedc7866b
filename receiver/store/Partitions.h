// The partitions in which the traps lie on PostgreSQL, by their numbers: made ahead of the next number, and
// dropped whole when every trap in one is old, which costs a moment where deleting fifty million rows costs
// minutes and leaves their room to be tidied up.  Neither makes a reader or a receiver wait, and several
// receivers may do it at once.  Every other engine has one table, and nothing here does anything to it.
//
// The user of the connection must own the tables.  A partition that was detached by hand, to be kept, is left
// alone: those that are on their way out of here carry a mark in their comment.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "receiver/ServiceLog.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"

namespace korvane::receiver {

// Sees to it that the next number, and the twenty million behind it, have their partition.  Outside of a
// transaction.  Throws DatabaseError.
void MakePartitions(store::Connection& connection);

// True for a row whose number has no partition.
bool LacksPartition(const store::DatabaseError& error);

// A table that holds traps which are to be deleted row by row.
struct PurgeTable {
  std::string Name;
  bool Unacknowledged = false;  // only those: the others go with their partition then
};

struct Partition {
  std::string Name;       // as it stands in a statement
  std::int64_t From = 0;  // its first number; the smallest or largest integer: no bound
  std::int64_t To = 0;    // behind its last one
  bool Leaving = false;   // its detaching was begun
  bool Marked = false;    // to be dropped, by a receiver
};

// Used by housekeeping, on its thread and its connection, outside of transactions.
class Partitions {
 public:
  explicit Partitions(ServiceLog& log) : log_(log) {}

  // As above; what is refused stands in the log.
  void MakeAhead(store::Connection& connection);

  // Drops the partitions in which all traps are older than the bound (UTC seconds) and acknowledged, with
  // their entry in the change log.  The tables whose old traps are left for the caller: not those of
  // partitions that will be old whole within the grace (seconds), which wait to be dropped.  Throws
  // DatabaseError when the partitions can't be read.
  std::vector<PurgeTable> Purge(store::Connection& connection, std::int64_t before, std::int64_t grace);

 private:
  enum class Outcome { Done, Busy, Refused };

  Outcome FinishDropping(store::Connection& connection, const std::vector<Partition>& attached,
                         std::int64_t before);
  Outcome Drop(store::Connection& connection, const Partition& partition, std::int64_t before);
  void DropDetached(store::Connection& connection, const Partition& partition, std::int64_t before);
  Outcome Try(const Partition& partition, const std::function<void()>& work);
  // Once in the log, until something else is to be said.
  void Say(LogLevel level, const std::string& text);

  ServiceLog& log_;
  std::string said_;
  int busyRounds_ = 0;  // in a row, in which others kept a partition from being dropped
};

}  // namespace korvane::receiver
