#include "categories/CategoryStore.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "params/CategoryInformation.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/StoredOrder.h"
#include "store/Tables.h"

namespace korvane::categories {

namespace {

constexpr std::size_t kNumbersAtOnce = 500;

std::string WithSuffix(std::string_view name, std::string_view suffix) {
  return std::string(name).append(suffix);
}

std::string OfGroup(std::string_view groupName) {
  return "Trap_Group_Name = " + store::Quoted(groupName);
}

std::vector<std::int32_t> Members(store::Connection& connection, std::string_view groupName) {
  std::vector<std::int32_t> ids;
  store::Recordset rows =
      connection.OpenRecordset(store::InStoredOrder(store::kTrapGroup, OfGroup(groupName)));
  while (rows.Next()) {
    ids.push_back(rows.Integer("Trap_ID"));
  }
  return ids;
}

// In the order of the numbers; a number without a row is left out.
void AppendTrapDetails(store::Connection& connection, const std::vector<std::int32_t>& ids,
                       std::vector<TrapDetail>& traps) {
  std::unordered_map<std::int32_t, TrapDetail> found;
  for (std::size_t first = 0; first < ids.size(); first += kNumbersAtOnce) {
    const std::size_t end = std::min(ids.size(), first + kNumbersAtOnce);
    std::string filter;
    for (std::size_t i = first; i < end; ++i) {
      filter += fmt::format("{}{}", i == first ? "Trap_Table_ID IN (" : ",", ids[i]);
    }
    store::Recordset rows = connection.OpenRecordset(store::kTrapGroupDetail, filter + ")");
    while (rows.Next()) {
      TrapDetail trap = ReadTrapDetail(rows);
      found.emplace(trap.TrapTableId, std::move(trap));
    }
  }
  for (const std::int32_t id : ids) {
    if (const auto trap = found.find(id); trap != found.end()) {
      traps.push_back(trap->second);
    }
  }
}

}  // namespace

TrapDetail ReadTrapDetail(const store::Recordset& rows) {
  return {.TrapTableId = rows.Integer("Trap_Table_ID"),
          .Source = rows.Text("Source_Agent"),
          .GenericTrap = rows.IsNull("GenericTrap") ? -1 : rows.Integer("GenericTrap"),
          .EnterpriseOid = rows.Text("EnterpriseOid"),
          .SpecificTrap = rows.Text("SpecificTrap"),
          .VarBinds = rows.Text("EventDescription"),
          .Severity = rows.Integer("Severity")};
}

std::string TrapGroupName(std::string_view categoryName) {
  return WithSuffix(categoryName, params::kTrapGroupSuffix);
}

std::vector<std::string> CategoryStore::LoadCategoryTree() {
  return params::TrapCategoryNames(Db());
}

CategoryDetails CategoryStore::LoadTrapDetails(std::string_view categoryName) {
  CategoryDetails details;
  const std::string name = store::Quoted(categoryName);
  if (store::Recordset master = Db().OpenRecordset(store::kCategoryGroupMaster, "Category_Name = " + name);
      master.Next()) {
    details.Description = master.Text("Category_Desc");
    details.Severity = master.Integer("Severity");
  }
  store::Recordset groups =
      Db().OpenRecordset(store::InStoredOrder(store::kCategoryGroup, "Category_Name =" + name));
  while (groups.Next()) {
    store::Recordset kinds = Db().OpenRecordset(store::InStoredOrder(
        store::kCategoryGroupDetail, fmt::format("Category_ID = {}", groups.Integer("Category_ID"))));
    while (kinds.Next()) {
      if (kinds.Integer("Category_Type") == params::kTrapGroupType) {
        AppendTrapDetails(Db(), Members(Db(), kinds.Text("Group_Name")), details.Traps);
      }
    }
  }
  return details;
}

void CategoryStore::Delete(std::string_view table, std::string_view column, std::string_view text) {
  Db().Execute(fmt::format("DELETE FROM {} WHERE {} = {}", table, column, store::Quoted(text)));
}

void CategoryStore::DeleteCategory(std::string_view categoryName) {
  const std::string group = TrapGroupName(categoryName);
  store::Quoted(categoryName);  // refused before anything is written
  transaction_.BeforeChange();
  Delete(store::kCategoryGroup, "Category_Name", categoryName);
  Delete(store::kCategoryGroupDetail, "Group_Name", group);
  Delete(store::kCategoryGroupMaster, "Category_Name", categoryName);
  Db().Execute(fmt::format("DELETE FROM {} WHERE Category_Name = '{}' AND Related_Category_Name = {}",
                           store::kCategoryRelationMaster, kRootCategory, store::Quoted(categoryName)));
  if (!Members(Db(), group).empty()) {
    Delete(store::kTrapGroup, "Trap_Group_Name", group);
  }
  Delete(store::kTrapGroupMaster, "Trap_Group_Name", group);
}

void CategoryStore::RemoveTrapDetail(std::string_view categoryName, std::int32_t trapTableId) {
  const std::string group = store::Quoted(TrapGroupName(categoryName));
  transaction_.BeforeChange();
  Db().Execute(fmt::format("DELETE FROM {} WHERE Trap_Group_Name = {} AND Trap_ID = {}", store::kTrapGroup,
                           group, trapTableId));
}

bool CategoryStore::MoveCategory(std::string_view name, Side side, std::string_view other) {
  transaction_.BeforeChange();
  store::StoredOrder order(Db(), store::kCategoryGroupMaster);
  return side == Side::Before ? order.PutBefore(name, other) : order.PutBehind(name, other);
}

bool CategoryStore::MoveTrapDetail(std::string_view categoryName, std::int32_t trapTableId, Side side,
                                   std::int32_t other) {
  store::StoredOrder order(Db(), store::kTrapGroup, OfGroup(TrapGroupName(categoryName)));
  transaction_.BeforeChange();
  const std::string moved = fmt::to_string(trapTableId);
  const std::string neighbour = fmt::to_string(other);
  return side == Side::Before ? order.PutBefore(moved, neighbour) : order.PutBehind(moved, neighbour);
}

void CategoryStore::DeleteCategoryAllKinds(std::string_view categoryName) {
  struct Kind {
    std::string_view Members;
    std::string_view Master;
    std::string_view Column;
    std::string_view Suffix;
  };
  static constexpr Kind kKinds[] = {
      {store::kFileGroup, store::kFileGroupMaster, "File_Group_Name", "_File"},
      {store::kRegistryGroup, store::kRegistryGroupMaster, "Registry_Group_Name", "_Registry"},
      {store::kEventGroup, store::kEventGroupMaster, "Event_Group_Name", "_Event"},
      {store::kTrapGroup, store::kTrapGroupMaster, "Trap_Group_Name", params::kTrapGroupSuffix}};
  const std::string name = store::Quoted(categoryName);
  transaction_.BeforeChange();
  Delete(store::kCategoryGroup, "Category_Name", categoryName);
  for (const Kind& kind : kKinds) {
    Delete(store::kCategoryGroupDetail, "Group_Name", WithSuffix(categoryName, kind.Suffix));
  }
  Delete(store::kCategoryGroupMaster, "Category_Name", categoryName);
  for (const Kind& kind : kKinds) {
    const std::string group = WithSuffix(categoryName, kind.Suffix);
    Delete(kind.Members, kind.Column, group);
    Delete(kind.Master, kind.Column, group);
  }
  Db().Execute(fmt::format("DELETE FROM {} WHERE Category_Name = {} OR Related_Category_Name = {}",
                           store::kCategoryRelationMaster, name, name));
}

}  // namespace korvane::categories
