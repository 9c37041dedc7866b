// The trap filters in memory.  A filter hides the traps it matches from every window; they stay stored.
// Read at start-up and after the filters were edited; user-interface thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/Text.h"
#include "store/Connection.h"
#include "store/ReadOutcome.h"
#include "store/TrapRecord.h"

namespace korvane::params {

struct TrapFilter {
  std::string SourceAgent = {};                        // empty: any
  std::int32_t GenericTrap = -1;                       // -1: any
  std::string EnterpriseOid = {};                      // tested for generic 6 only; empty: any
  std::int32_t SpecificTrap = 0;                       // tested for generic 6 only; 0: any
  CaseInsensitiveNeedle VarBinds{std::string_view{}};  // empty: any
};

class TrapFilters {
 public:
  // Rebuilds the list from the two tables, each read once; a group row without a detail row is skipped.
  // When a database call fails the filters that were there stay in force.
  store::ReadOutcome LoadFilters(store::Connection& connection);
  void Clear();
  const std::vector<TrapFilter>& Filters() const { return filters_; }  // in load order
  // Grows with every change of the list: what was derived from the list holds while this stays the same.
  std::uint64_t Revision() const { return revision_; }
  void Assign(std::vector<TrapFilter> filters);

 private:
  std::vector<TrapFilter> filters_;
  std::uint64_t revision_ = 0;
};

// "Filters In Force: 2 " below a list that filters may hide traps from; empty when there are none.
std::string FiltersInForceText(std::size_t filters);

// A filter's source is the system's name in any letter case, or the trap's source text exactly as stored:
// names are typed by people, source texts are identifiers.
bool TrapMatchesFilter(const store::IncomingTrap& trap, const TrapFilter& filter);

// What every trap of a kind has in common: no trap of a kind that fails here matches the filter.
bool KindMatchesFilter(std::string_view enterpriseOid, std::int32_t specificTrap, std::int32_t genericTrap,
                       const TrapFilter& filter);

}  // namespace korvane::params
