// Keeps the books of the store: how many unacknowledged traps there must be by all that was read of traps
// and changes, and how many rows the rules have.  What the books do not explain was written by somebody who
// keeps no log.  Counts only, by index.  Used by the store feeder on its thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "intake/StoreNews.h"
#include "store/Connection.h"

namespace korvane::intake {

class StoreLedger {
 public:
  // Rows that appeared in the trap table.
  void Appeared(std::int64_t rows) { expected_ += rows; }
  void Read(const StoreNews& news);

  // Counts and closes the books: true when there is a difference that nothing explains.  What was read until
  // now must be all there is at the connection's moment: see store::Snapshot.  Throws DatabaseError.
  bool Differs(store::Connection& connection);

 private:
  static constexpr std::size_t kRuleTables = 4;

  struct Counts {
    std::int64_t Unacknowledged = 0;
    std::array<std::int64_t, kRuleTables> Rules{};
  };
  static Counts ReadCounts(store::Connection& connection);

  std::optional<Counts> last_;
  std::int64_t expected_ = 0;  // the change of the unacknowledged since then
  bool known_ = true;          // that change is
  std::array<bool, kRuleTables> changed_{};
};

}  // namespace korvane::intake
