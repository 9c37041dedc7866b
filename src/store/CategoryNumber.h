// The numbers of categories (Category_ID).  Two consoles may each have a transaction open in which they make
// a category, and neither sees the other's: a server counts the numbers in a table of their own.
#pragma once

#include <cstdint>

#include "store/Connection.h"

namespace korvane::store {

// The first of so many numbers in a row that are given to nobody else, all of them above a given one.  within
// is the transaction that uses them and has the right to write.  A server counts on a connection of its own,
// so that nobody waits for that transaction, and numbers that are rolled back stay unused; in an embedded
// store whoever may write is alone and sees all.  Throws DatabaseError.
std::int32_t TakeCategoryNumbers(Connection& within, std::int32_t above, std::int32_t count = 1);

}  // namespace korvane::store
