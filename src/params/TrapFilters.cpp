#include "params/TrapFilters.h"

#include <fmt/format.h>

#include <utility>

#include "common/Translation.h"
#include "params/FilterStore.h"
#include "store/Codes.h"

namespace korvane::params {

store::ReadOutcome TrapFilters::LoadFilters(store::Connection& connection) {
  std::vector<TrapFilter> filters;
  try {
    for (StoredFilter& stored : FilterStore(connection).ReadFilters()) {
      FilterValues& values = stored.Values;
      filters.push_back({.SourceAgent = std::move(values.SourceAgent),
                         .GenericTrap = values.GenericTrap,
                         .EnterpriseOid = std::move(values.EnterpriseOid),
                         .SpecificTrap = values.SpecificTrap,
                         .VarBinds = CaseInsensitiveNeedle(values.VarBinds)});
    }
  } catch (const store::DatabaseError& error) {
    return store::ReadOutcome(error);
  }
  Assign(std::move(filters));
  return {};
}

std::string FiltersInForceText(std::size_t filters) {
  return filters == 0 ? std::string() : Phrase("Filters In Force: {} ", filters);
}

void TrapFilters::Clear() {
  Assign({});
}

void TrapFilters::Assign(std::vector<TrapFilter> filters) {
  filters_ = std::move(filters);
  ++revision_;
}

bool KindMatchesFilter(std::string_view enterpriseOid, std::int32_t specificTrap, std::int32_t genericTrap,
                       const TrapFilter& filter) {
  if (filter.GenericTrap != -1 && filter.GenericTrap != genericTrap) {
    return false;
  }
  if (filter.GenericTrap != store::kEnterpriseSpecific) {
    return true;  // enterprise and specific code mean something for enterprise traps only
  }
  return (filter.EnterpriseOid.empty() || filter.EnterpriseOid == enterpriseOid) &&
         (filter.SpecificTrap == 0 || filter.SpecificTrap == specificTrap);
}

// The kind comes last: whoever asks has mostly looked at it already.
bool TrapMatchesFilter(const store::IncomingTrap& trap, const TrapFilter& filter) {
  return (filter.SourceAgent.empty() || EqualsIgnoreCase(filter.SourceAgent, trap.SystemName) ||
          filter.SourceAgent == trap.Source) &&
         (filter.VarBinds.Empty() || filter.VarBinds.FoundIn(trap.VarBinds)) &&
         KindMatchesFilter(trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap, filter);
}

}  // namespace korvane::params
