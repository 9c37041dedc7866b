#include "params/CategoryInformation.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include "store/Codes.h"
#include "store/Recordset.h"
#include "store/StoredOrder.h"
#include "store/Tables.h"

namespace korvane::params {

namespace {

// The category tables as they were read, indexed the way they are joined.  Every list keeps stored order.
struct CategoryTables {
  std::vector<std::string> MasterNames;
  std::unordered_set<std::string> GroupNames;
  std::unordered_map<std::string, std::vector<std::int32_t>> IdsOfCategory;
  std::unordered_map<std::int32_t, std::vector<std::string>> TrapGroupsOfId;
  std::unordered_map<std::string, std::vector<std::int32_t>> MembersOfGroup;
  std::unordered_map<std::int32_t, CategoryCriterion> Definitions;
};

void ReadMaster(store::Connection& connection, CategoryTables& tables) {
  store::Recordset rows = connection.OpenRecordset(store::InStoredOrder(store::kCategoryGroupMaster));
  while (rows.Next()) {
    tables.MasterNames.push_back(rows.Text("Category_Name"));
  }
}

void ReadGroupDetail(store::Connection& connection, CategoryTables& tables) {
  store::Recordset rows = connection.OpenRecordset(store::InStoredOrder(store::kCategoryGroupDetail));
  while (rows.Next()) {
    std::string groupName = rows.Text("Group_Name");
    if (rows.Integer("Category_Type") == kTrapGroupType) {
      tables.TrapGroupsOfId[rows.Integer("Category_ID")].push_back(groupName);
    }
    tables.GroupNames.insert(std::move(groupName));
  }
}

void ReadGroup(store::Connection& connection, CategoryTables& tables) {
  store::Recordset rows = connection.OpenRecordset(store::InStoredOrder(store::kCategoryGroup));
  while (rows.Next()) {
    tables.IdsOfCategory[rows.Text("Category_Name")].push_back(rows.Integer("Category_ID"));
  }
}

void ReadMembers(store::Connection& connection, CategoryTables& tables) {
  store::Recordset rows = connection.OpenRecordset(store::InStoredOrder(store::kTrapGroup));
  // Members of one group lie together: the last group found saves the look-ups.
  const std::string* lastName = nullptr;
  std::vector<std::int32_t>* lastMembers = nullptr;
  while (rows.Next()) {
    std::string groupName = rows.Text("Trap_Group_Name");
    if (lastName == nullptr || *lastName != groupName) {
      const auto found = tables.MembersOfGroup.try_emplace(std::move(groupName)).first;
      lastName = &found->first;
      lastMembers = &found->second;
    }
    lastMembers->push_back(rows.Integer("Trap_ID"));
  }
}

void ReadDefinitions(store::Connection& connection, CategoryTables& tables) {
  store::Recordset rows = connection.OpenRecordset(store::kTrapGroupDetail);
  while (rows.Next()) {
    const std::optional<std::int32_t> specific = store::StoredSpecificCode(rows.Text("SpecificTrap"));
    if (!specific) {
      continue;
    }
    tables.Definitions.try_emplace(
        rows.Integer("Trap_Table_ID"),
        CategoryCriterion{.SourceAgent = rows.Text("Source_Agent"),
                          .EnterpriseOid = rows.Text("EnterpriseOid"),
                          .GenericTrap = rows.IsNull("GenericTrap") ? -1 : rows.Integer("GenericTrap"),
                          .SpecificTrap = *specific,
                          .VarBinds = CaseInsensitiveNeedle(rows.Text("EventDescription")),
                          .Severity = rows.Integer("Severity")});
  }
}

bool HasTrapGroup(const CategoryTables& tables, const std::string& name) {
  return tables.GroupNames.contains(name + std::string(kTrapGroupSuffix));
}

void AppendMembers(const CategoryTables& tables, const std::string& groupName,
                   std::vector<CategoryCriterion>& criteria) {
  const auto members = tables.MembersOfGroup.find(groupName);
  if (members == tables.MembersOfGroup.end()) {
    return;
  }
  criteria.reserve(criteria.size() + members->second.size());
  for (const std::int32_t id : members->second) {
    const auto definition = tables.Definitions.find(id);
    if (definition != tables.Definitions.end()) {
      criteria.push_back(definition->second);
    }
  }
}

std::vector<CategoryCriterion> CriteriaOf(const CategoryTables& tables, const std::string& name) {
  std::vector<CategoryCriterion> criteria;
  const auto ids = tables.IdsOfCategory.find(name);
  if (ids == tables.IdsOfCategory.end()) {
    return criteria;
  }
  for (const std::int32_t id : ids->second) {
    const auto groups = tables.TrapGroupsOfId.find(id);
    if (groups == tables.TrapGroupsOfId.end()) {
      continue;
    }
    for (const std::string& groupName : groups->second) {
      AppendMembers(tables, groupName, criteria);
    }
  }
  return criteria;
}

}  // namespace

store::ReadOutcome CategoryInformation::ReloadCategoryInformation(store::Connection& connection) {
  CategoryTables tables;
  try {
    ReadMaster(connection, tables);
    ReadGroupDetail(connection, tables);
    ReadGroup(connection, tables);
    ReadMembers(connection, tables);
    ReadDefinitions(connection, tables);
  } catch (const store::DatabaseError& error) {
    return store::ReadOutcome(error);
  }
  std::vector<Category> categories;
  for (std::string& name : tables.MasterNames) {
    if (HasTrapGroup(tables, name)) {
      std::vector<CategoryCriterion> criteria = CriteriaOf(tables, name);
      categories.push_back({std::move(name), std::move(criteria)});
    }
  }
  Assign(std::move(categories));
  return {};
}

void CategoryInformation::Clear() {
  Assign({});
}

void CategoryInformation::Assign(std::vector<Category> categories) {
  categories_ = std::move(categories);
  byFoldedName_.clear();
  for (std::size_t i = 0; i < categories_.size(); ++i) {
    byFoldedName_.try_emplace(FoldCase(categories_[i].Name), i);
  }
  ++revision_;
}

const Category* CategoryInformation::Find(std::string_view name) const {
  const auto found = byFoldedName_.find(FoldCase(name));
  return found == byFoldedName_.end() ? nullptr : &categories_[found->second];
}

std::vector<std::string> TrapCategoryNames(store::Connection& connection) {
  CategoryTables tables;
  ReadMaster(connection, tables);
  ReadGroupDetail(connection, tables);
  std::erase_if(tables.MasterNames, [&](const std::string& name) { return !HasTrapGroup(tables, name); });
  return std::move(tables.MasterNames);
}

bool KindMatchesCriterion(std::string_view enterpriseOid, std::int32_t specificTrap, std::int32_t genericTrap,
                          const CategoryCriterion& criterion) {
  return (criterion.GenericTrap == -1 || criterion.GenericTrap == genericTrap) &&
         (criterion.SpecificTrap == 0 || criterion.SpecificTrap == specificTrap) &&
         (criterion.EnterpriseOid.empty() || criterion.EnterpriseOid == enterpriseOid);
}

// The kind comes last: whoever asks has mostly looked at it already.
bool TrapMatchesCriterion(const store::IncomingTrap& trap, const CategoryCriterion& criterion) {
  return (criterion.SourceAgent.empty() || EqualsIgnoreCase(criterion.SourceAgent, trap.SystemName) ||
          EqualsIgnoreCase(criterion.SourceAgent, trap.Source)) &&
         (criterion.VarBinds.Empty() || criterion.VarBinds.FoundIn(trap.VarBinds)) &&
         KindMatchesCriterion(trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap, criterion);
}

}  // namespace korvane::params
