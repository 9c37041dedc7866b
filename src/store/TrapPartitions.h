// The partitions of EventTrap on PostgreSQL, by their numbers: what the schema, the receiver and the
// renumbering must agree on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/Connection.h"

namespace korvane::store {

// As the schema makes the first of them.  There should be few: a statement that knows no number looks into
// each, which takes it a tenth of a millisecond.  All numbers there are make 43.  And where so many come that
// deleting them one by one would be felt, a partition should fill within the time that a trap may stay too
// long, to be dropped whole: at 2,000 a second this one does within seven hours.
inline constexpr std::int64_t kNumbersOfPartition = 50'000'000;

// Of the partition from that number on (0: without a lower bound); with "_" behind it while a table of that
// name is there, which somebody has kept.  Throws DatabaseError.
std::string FreePartitionName(Connection& connection, std::int64_t first);

// Advisory locks, for what must not be done twice at the same time; the first number is of this product
// alone.  Who needs both takes the one for dropping first.
inline constexpr std::string_view kDroppingLock = "1263943236, 2";
inline constexpr std::string_view kMakingLock = "1263943236, 1";

// Before the bounds, in the comment of a partition that is on its way out.
inline constexpr std::string_view kLeavingMark = "korvane deletes this: ";

// Name and Mark (its comment) of those that were detached to be dropped.
std::string SelectDetachedPartitions();

}  // namespace korvane::store
