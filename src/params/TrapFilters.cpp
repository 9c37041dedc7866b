#include "params/TrapFilters.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Tables.h"

namespace korvane::params {

namespace {

std::vector<std::int32_t> ReadFilterIds(store::Connection& connection) {
  std::vector<std::int32_t> ids;
  store::Recordset rows = connection.OpenRecordset(store::kTrapFilterGroup);
  while (rows.Next()) {
    ids.push_back(rows.Integer("Trap_ID"));
  }
  return ids;
}

// Trap_Detail also holds the conditions of alerts; only those that are filters are kept.
std::vector<TrapFilter> ReadFilters(store::Connection& connection) {
  const std::vector<std::int32_t> ids = ReadFilterIds(connection);
  std::unordered_map<std::int32_t, std::optional<TrapFilter>> wanted;
  for (const std::int32_t id : ids) {
    wanted.try_emplace(id);
  }
  store::Recordset rows = connection.OpenRecordset(store::kTrapDetail);
  while (rows.Next()) {
    const auto found = wanted.find(rows.Integer("Trap_Table_ID"));
    if (found == wanted.end() || found->second) {
      continue;
    }
    found->second = TrapFilter{.TrapTableId = found->first,
                               .SourceAgent = rows.Text("Source_Agent"),
                               .GenericTrap = rows.IsNull("GenericTrap") ? -1 : rows.Integer("GenericTrap"),
                               .EnterpriseOid = rows.Text("EnterpriseOid"),
                               .SpecificTrap = rows.Integer("SpecificTrap"),
                               .VarBinds = CaseInsensitiveNeedle(rows.Text("EventDescription"))};
  }
  std::vector<TrapFilter> filters;
  for (const std::int32_t id : ids) {
    if (const std::optional<TrapFilter>& filter = wanted[id]) {
      filters.push_back(*filter);
    }
  }
  return filters;
}

}  // namespace

bool TrapFilters::LoadFilters(store::Connection& connection) {
  Clear();
  try {
    Assign(ReadFilters(connection));
  } catch (const store::DatabaseError&) {
    return false;
  }
  return true;
}

void TrapFilters::Clear() {
  Assign({});
}

void TrapFilters::Assign(std::vector<TrapFilter> filters) {
  filters_ = std::move(filters);
  ++revision_;
}

bool TrapFilters::TrapIsFiltered(store::IncomingTrap& trap) const {
  trap.Filtered = std::any_of(filters_.begin(), filters_.end(),
                              [&](const TrapFilter& filter) { return TrapMatchesFilter(trap, filter); });
  return trap.Filtered;
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

bool SourceAndBindingsMatch(const store::IncomingTrap& trap, const TrapFilter& filter) {
  return (filter.SourceAgent.empty() || EqualsIgnoreCase(filter.SourceAgent, trap.SystemName) ||
          filter.SourceAgent == trap.Source) &&
         (filter.VarBinds.Empty() || filter.VarBinds.FoundIn(trap.VarBinds));
}

bool TrapMatchesFilter(const store::IncomingTrap& trap, const TrapFilter& filter) {
  return KindMatchesFilter(trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap, filter) &&
         SourceAndBindingsMatch(trap, filter);
}

}  // namespace korvane::params
