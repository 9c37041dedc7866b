// By what it is told that the store is still in the state that was read, and not an earlier or another one: a
// standby took its place, a backup was restored, the table was emptied.  Every number that is held is void
// then.  Holds the identity that the store gives itself and what the newest rows are like, which never
// changes once they are stored.  A plain value.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "store/Connection.h"
#include "store/TrapRecord.h"
#include "store/TrapSelection.h"

namespace korvane::intake {

class StoreAnchor {
 public:
  // Knows nothing: whatever the store is like is right, and its identity is learned by the first Check.
  StoreAnchor() = default;
  // Its identity, and the newest row where there is one.  Throws DatabaseError.
  static StoreAnchor Of(store::Connection& connection);

  // So many are held, the last ones.
  static constexpr std::int32_t kRows = 16;
  // Some of the rows as they are read, by rising numbers.
  void Note(const store::IncomingTrap& row);
  // They were deleted by somebody who said so.
  void Forget(const store::TrapSelection& purged);

  enum class Finding : std::uint8_t {
    Same,
    // Rows are missing: deleted, maybe by somebody whose word has not been read yet.
    Thinned,  // some, but the rest is the same, and the numbers of the store go as far as they did
    Gone,     // all of them, or the store ends below them: emptied, behind, or another one
    Other,    // another store, or other traps under the same numbers
  };
  // Throws DatabaseError.
  Finding Check(store::Connection& connection);
  // What was missing in the last check.
  void ForgetMissing();

 private:
  struct Row {
    std::int32_t Number = 0;
    std::int32_t Time = 0;
    std::string Source;
    bool Long = false;  // its bindings would be too much to be read again and again
    std::uint64_t Print = 0;

    friend bool operator==(const Row&, const Row&) = default;
  };
  static Row RowOf(const store::IncomingTrap& trap, bool isLong);
  // False when another row stands under one of the numbers.
  bool CheckRows(store::Connection& connection, bool isLong);

  std::optional<std::string> identity_;
  std::deque<Row> rows_;               // ascending
  std::vector<std::int32_t> missing_;  // of their numbers, ascending
};

}  // namespace korvane::intake
