#include "store/Retry.h"

namespace korvane::store {

bool IsConflict(const DatabaseError& error) {
  return error.SqlState() == "40001" || error.SqlState() == "40P01";
}

}  // namespace korvane::store
