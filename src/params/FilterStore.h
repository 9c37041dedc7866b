// The two tables of the trap filters: Trap_Detail holds the conditions, which alerts share, and
// Trap_Filter_Group says which of them are filters.  User-interface thread; every call may throw
// DatabaseError.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "params/TrapCriteria.h"
#include "store/Connection.h"

namespace korvane::params {

// What a filter tests.
using FilterValues = TrapCriteria;

struct StoredFilter {
  std::int32_t TrapTableId = 0;
  FilterValues Values;
};

class FilterStore {
 public:
  explicit FilterStore(store::Connection& connection) : connection_(connection) {}

  // In stored order; a group row without a detail row is skipped.  Each table is read once.
  std::vector<StoredFilter> ReadFilters();

  // Uses the rows that are there and adds those that are missing, all of them or none; the filter's
  // TrapTableId.  Not inside a transaction.  The description is that of a group row that has to be added,
  // which stands behind all others, or where the filter stands that it is going to replace.  Refuses a text
  // with a single quote or a NUL before anything is sent (see store::Quoted).
  std::int32_t SaveFilter(const FilterValues& values, std::string_view description,
                          std::int32_t replaced = 0);

  // The condition stays, since others may share it.  Not inside a transaction.
  void RemoveFilter(std::int32_t trapTableId);

 private:
  std::int32_t AddCondition(store::Recordset& conditions, const std::string& filter,
                            const FilterValues& values);
  bool IsFilter(std::int32_t trapTableId);

  store::Connection& connection_;
};

}  // namespace korvane::params
