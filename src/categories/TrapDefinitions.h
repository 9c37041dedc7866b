// The stored trap definitions (Trap_Group_Detail), of which equal ones are one row that categories share:
// finds those that are there and adds those that are not, many at once.  Works inside the caller's
// transaction, which has the right to write.  User-interface thread; every call may throw DatabaseError.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "categories/CategoryStore.h"
#include "store/BatchInsert.h"
#include "store/Connection.h"

namespace korvane::categories {

class TrapDefinitions {
 public:
  explicit TrapDefinitions(store::Connection& connection) : connection_(connection) {}

  // So many are going to be asked for: the whole table is read now where that costs less than looking for
  // each of them by the table's index.
  void Expect(std::size_t count);
  // The key of each, in their order.  Refuses a text that can't stand in a statement.
  std::vector<std::int32_t> FindOrAdd(std::span<const TrapDetail> traps);

 private:
  void Learn(const std::string& filter);
  void Find(std::span<const TrapDetail> traps);
  void Add(std::span<const TrapDetail> missing);
  std::int32_t LargestKey();

  store::Connection& connection_;
  std::unordered_map<std::string, std::int32_t> keys_;  // by all values of a definition
  bool knowsAll_ = false;
  std::optional<store::BatchInsert> inserts_;  // prepared once
};

}  // namespace korvane::categories
