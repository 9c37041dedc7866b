#include "params/FilterStore.h"

#include <fmt/format.h>

#include <optional>
#include <unordered_map>
#include <utility>

#include "store/ChangeLog.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/StoredOrder.h"
#include "store/Tables.h"

namespace korvane::params {

namespace {

constexpr std::string_view kConditionId = "Trap_Table_ID";

std::vector<std::int32_t> ReadIds(store::Recordset rows, std::string_view column) {
  std::vector<std::int32_t> ids;
  while (rows.Next()) {
    ids.push_back(rows.Integer(column));
  }
  return ids;
}

FilterValues ValuesOf(const store::Recordset& row) {
  return {.SourceAgent = row.Text("Source_Agent"),
          .GenericTrap = row.IsNull("GenericTrap") ? -1 : row.Integer("GenericTrap"),
          .EnterpriseOid = row.Text("EnterpriseOid"),
          .SpecificTrap = row.Integer("SpecificTrap"),
          .VarBinds = row.Text("EventDescription")};
}

std::string OfId(std::int32_t trapTableId) {
  return fmt::format("Trap_ID = {}", trapTableId);
}

}  // namespace

std::vector<StoredFilter> FilterStore::ReadFilters() {
  const std::vector<std::int32_t> ids =
      ReadIds(connection_.OpenRecordset(store::InStoredOrder(store::kTrapFilterGroup)), "Trap_ID");
  std::unordered_map<std::int32_t, std::optional<FilterValues>> wanted;
  for (const std::int32_t id : ids) {
    wanted.try_emplace(id);
  }
  store::Recordset rows = connection_.OpenRecordset(store::kTrapDetail);
  while (rows.Next()) {
    const auto found = wanted.find(rows.Integer("Trap_Table_ID"));
    if (found != wanted.end() && !found->second) {
      found->second = ValuesOf(rows);
    }
  }
  std::vector<StoredFilter> filters;
  for (const std::int32_t id : ids) {
    if (const std::optional<FilterValues>& values = wanted[id]) {
      filters.push_back({.TrapTableId = id, .Values = *values});
    }
  }
  return filters;
}

std::int32_t FilterStore::AddCondition(store::Recordset& conditions, const std::string& filter,
                                       const FilterValues& values) {
  conditions.AddNew();
  conditions.Set("Source_Agent", values.SourceAgent);
  conditions.Set("GenericTrap", values.GenericTrap);
  conditions.Set("EnterpriseOid", values.EnterpriseOid);
  conditions.Set("SpecificTrap", values.SpecificTrap);
  conditions.Set("EventDescription", values.VarBinds);
  conditions.Update();
  store::Recordset added = connection_.OpenRecordset(store::kTrapDetail, filter);
  if (!added.Next()) {
    throw store::DatabaseError("The row that was just added is not there.", "02000", 0, filter);
  }
  return added.Integer(kConditionId);
}

bool FilterStore::IsFilter(std::int32_t trapTableId) {
  return connection_.OpenRecordset(store::kTrapFilterGroup, OfId(trapTableId)).Next();
}

std::int32_t FilterStore::SaveFilter(const FilterValues& values, std::string_view description,
                                     std::int32_t replaced) {
  const std::string filter = fmt::format(
      "Source_Agent = {} AND GenericTrap = {} AND EnterpriseOid = {} AND SpecificTrap = {}"
      " AND EventDescription = {}",
      store::Quoted(values.SourceAgent), values.GenericTrap, store::Quoted(values.EnterpriseOid),
      values.SpecificTrap, store::Quoted(values.VarBinds));
  // Several rows when they differ in columns that a filter does not have.
  store::Recordset conditions = connection_.OpenRecordset(store::kTrapDetail, filter);
  std::int32_t id = 0;
  while (conditions.Next()) {
    const std::int32_t found = conditions.Integer(kConditionId);
    if (IsFilter(found)) {
      return found;
    }
    id = id == 0 ? found : id;
  }
  store::Recordset group = connection_.OpenRecordset(store::kTrapFilterGroup, OfId(id));
  store::StoredOrder order(connection_, store::kTrapFilterGroup);
  return store::RetriedOnce(connection_, [&, found = id] {
    store::Transaction transaction(connection_, store::kTrapFilterGroup);
    const std::int32_t used = found == 0 ? AddCondition(conditions, filter, values) : found;
    group.AddNew();
    group.Set("Trap_ID", used);
    group.Set("Description", description);
    group.Set(store::kSortOrder, order.NumberOf(fmt::to_string(replaced)));
    group.Update();
    store::NoteChange(connection_, store::ChangeKind::Filters);
    transaction.Commit();
    return used;
  });
}

void FilterStore::RemoveFilter(std::int32_t trapTableId) {
  if (!IsFilter(trapTableId)) {
    return;  // removed by somebody else
  }
  store::RetriedOnce(connection_, [&] {
    store::Transaction transaction(connection_);
    connection_.Execute(fmt::format("DELETE FROM {} WHERE {}", store::kTrapFilterGroup, OfId(trapTableId)));
    store::NoteChange(connection_, store::ChangeKind::Filters);
    transaction.Commit();
  });
}

}  // namespace korvane::params
