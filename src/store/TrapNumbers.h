// The numbers of the trap table and their end.  Everybody who reads a SequenceNumber holds it in 32 bits, so
// no trap may get a number above the last of these; the servers see to that themselves, an embedded store
// would go on.  See Renumbering.h for the way to have numbers free again.
#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

#include "store/Connection.h"
#include "store/DatabaseError.h"

namespace korvane::store {

inline constexpr std::int64_t kLastTrapNumber = std::numeric_limits<std::int32_t>::max();

// The largest there is, also one that does not fit into 32 bits; 0 without traps.  Throws DatabaseError.
std::int64_t NewestTrapNumber(Connection& connection);

// Before the commit of added traps, with the last number they got: throws what TellsOfUsedUpNumbers knows
// when it is one that nobody can read.
void RequireTrapNumber(std::int64_t last);

// True for the ways in which adding a trap fails at the end of the numbers, on every engine.
bool TellsOfUsedUpNumbers(const DatabaseError& error);

// The same failure in words for whoever has to do something about it.
DatabaseError UsedUpNumbers(const DatabaseError& error);

}  // namespace korvane::store
