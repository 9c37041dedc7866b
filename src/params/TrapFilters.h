// The trap filters in memory.  A filter hides the traps it matches from every window; they stay stored.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/Text.h"
#include "store/Connection.h"
#include "store/TrapRecord.h"

namespace korvane::params {

struct TrapFilter {
  std::int32_t TrapTableId = 0;
  std::string SourceAgent;         // empty: any
  std::int32_t GenericTrap = -1;   // -1: any
  std::string EnterpriseOid;       // tested for generic 6 only; empty: any
  std::int32_t SpecificTrap = 0;   // tested for generic 6 only; 0: any
  CaseInsensitiveNeedle VarBinds;  // empty: any
};

class TrapFilters {
 public:
  // Rebuilds the list from the tables; a group row without a detail row is skipped.  False when a database
  // call failed.
  bool LoadFilters(store::Connection& connection);
  void Clear();
  const std::vector<TrapFilter>& Filters() const { return filters_; }

  // Sets the trap's flag and returns it.
  bool TrapIsFiltered(store::IncomingTrap& trap) const;

 private:
  std::vector<TrapFilter> filters_;
};

bool TrapMatchesFilter(const store::IncomingTrap& trap, const TrapFilter& filter);

}  // namespace korvane::params
