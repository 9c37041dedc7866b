#include "categories/CategoryWriter.h"

#include <fmt/format.h>

#include <algorithm>

#include "common/Text.h"
#include "params/CategoryInformation.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::categories {

namespace {

constexpr std::int32_t kRootRelationType = 1;

// Refuses texts that can't stand in a statement before anything is written, so that a second try finds
// everything as it was.
void CheckTexts(std::string_view name, std::span<const TrapDetail> traps) {
  store::Quoted(name);
  for (const TrapDetail& trap : traps) {
    for (const std::string& text : {trap.Source, trap.EnterpriseOid, trap.SpecificTrap, trap.VarBinds}) {
      store::Quoted(text);
    }
  }
}

std::int32_t LargestId(store::Connection& connection, std::string_view table) {
  store::Recordset rows = connection.OpenRecordset(fmt::format("SELECT MAX(Category_ID) FROM {}", table));
  return rows.Next() ? rows.Integer(std::size_t{0}) : 0;
}

}  // namespace

std::multimap<std::string, std::string> CategoryWriter::NamesInUse() {
  std::multimap<std::string, std::string> names;
  store::Recordset rows = Db().OpenRecordset(store::kCategoryGroupMaster);
  while (rows.Next()) {
    std::string name = rows.Text("Category_Name");
    names.emplace(FoldCase(name), std::move(name));
  }
  return names;
}

void CategoryWriter::AddCategory(std::string_view name, std::string_view description, std::int32_t severity,
                                 std::span<const TrapDetail> traps) {
  CheckTexts(name, traps);
  if (!begun_.empty() && begun_ == name) {
    CategoryStore(transaction_).DeleteCategory(name);
  }
  begun_.clear();
  transaction_.BeforeChange();
  store::Recordset master = Db().OpenRecordset(store::kCategoryGroupMaster);
  master.AddNew();
  master.Set("Category_Name", name);
  master.Set("Category_Desc", description);
  master.Set("Severity", severity);
  master.Update();
  begun_ = name;
  EnsureGroups(name, description);
  AddMembers(TrapGroupName(name), traps);
  RelateToRoot(name);
  begun_.clear();
}

void CategoryWriter::EditCategory(std::string_view name, std::string_view description,
                                  std::int32_t severity) {
  const std::string quotedDescription = store::Quoted(description);
  const std::string quotedName = store::Quoted(name);
  transaction_.BeforeChange();
  Db().Execute(fmt::format("UPDATE {} SET Category_Desc = {}, Severity = {} WHERE Category_Name = {}",
                           store::kCategoryGroupMaster, quotedDescription, severity, quotedName));
  Db().Execute(fmt::format("UPDATE {} SET Trap_Group_Desc = {} WHERE Trap_Group_Name = {}",
                           store::kTrapGroupMaster, quotedDescription, store::Quoted(TrapGroupName(name))));
  EnsureGroups(name, description);
}

void CategoryWriter::AddTrapDetails(std::string_view name, std::span<const TrapDetail> traps) {
  const std::string group = TrapGroupName(name);
  CheckTexts(name, traps);
  transaction_.BeforeChange();
  AddMembers(group, traps);
}

void CategoryWriter::EditTrapDetail(std::string_view name, std::int32_t oldTrapTableId,
                                    const TrapDetail& trap) {
  const std::string group = TrapGroupName(name);
  CheckTexts(name, std::span(&trap, 1));
  transaction_.BeforeChange();
  Db().Execute(fmt::format("DELETE FROM {} WHERE Trap_Group_Name = {} AND Trap_ID = {}", store::kTrapGroup,
                           store::Quoted(group), oldTrapTableId));
  AddMembers(group, std::span(&trap, 1));
}

// The category's number: that of its group of traps where one was left behind, else one above all in use.
std::int32_t CategoryWriter::EnsureTrapKind(std::string_view group) {
  store::Recordset rows = Db().OpenRecordset(
      store::kCategoryGroupDetail,
      fmt::format("Category_Type = {} AND Group_Name = {}", params::kTrapGroupType, store::Quoted(group)));
  if (rows.Next()) {
    return rows.Integer("Category_ID");
  }
  const std::int32_t id =
      std::max(LargestId(Db(), store::kCategoryGroup), LargestId(Db(), store::kCategoryGroupDetail)) + 1;
  rows.AddNew();
  rows.Set("Category_ID", id);
  rows.Set("Category_Type", params::kTrapGroupType);
  rows.Set("Group_Name", group);
  rows.Update();
  return id;
}

void CategoryWriter::EnsureGroups(std::string_view name, std::string_view description) {
  const std::string group = TrapGroupName(name);
  const std::int32_t id = EnsureTrapKind(group);
  store::Recordset groups = Db().OpenRecordset(
      store::kCategoryGroup, fmt::format("Category_Name = {} AND Category_ID = {}", store::Quoted(name), id));
  if (!groups.Next()) {
    groups.AddNew();
    groups.Set("Category_Name", name);
    groups.Set("Category_ID", id);
    groups.Update();
  }
  store::Recordset master =
      Db().OpenRecordset(store::kTrapGroupMaster, "Trap_Group_Name = " + store::Quoted(group));
  if (!master.Next()) {
    master.AddNew();
    master.Set("Trap_Group_Name", group);
    master.Set("Trap_Group_Desc", description);
    master.Update();
  }
}

std::int32_t CategoryWriter::FindOrAdd(const TrapDetail& trap) {
  const std::string filter = fmt::format(
      "Source_Agent = {} AND EnterpriseOid = {} AND GenericTrap = {} AND Severity = {} AND SpecificTrap = {} "
      "AND EventDescription = {}",
      store::Quoted(trap.Source), store::Quoted(trap.EnterpriseOid), trap.GenericTrap, trap.Severity,
      store::Quoted(trap.SpecificTrap), store::Quoted(trap.VarBinds));
  store::Recordset rows = Db().OpenRecordset(store::kTrapGroupDetail, filter);
  if (rows.Next()) {
    return rows.Integer("Trap_Table_ID");
  }
  rows.AddNew();
  rows.Set("Source_Agent", trap.Source);
  rows.Set("EnterpriseOid", trap.EnterpriseOid);
  rows.Set("GenericTrap", trap.GenericTrap);
  rows.Set("Severity", trap.Severity);
  rows.Set("SpecificTrap", trap.SpecificTrap);
  rows.Set("EventDescription", trap.VarBinds);
  rows.Update();
  store::Recordset added = Db().OpenRecordset(store::kTrapGroupDetail, filter);
  if (!added.Next()) {
    throw store::DatabaseError("The trap that was just added is not there.", "02000", 0, filter);
  }
  return added.Integer("Trap_Table_ID");
}

void CategoryWriter::AddMembers(std::string_view group, std::span<const TrapDetail> traps) {
  for (const TrapDetail& trap : traps) {
    const std::int32_t id = FindOrAdd(trap);
    store::Recordset members = Db().OpenRecordset(
        store::kTrapGroup, fmt::format("Trap_Group_Name = {} AND Trap_ID = {}", store::Quoted(group), id));
    if (!members.Next()) {
      members.AddNew();
      members.Set("Trap_Group_Name", group);
      members.Set("Trap_ID", id);
      members.Update();
    }
  }
}

void CategoryWriter::RelateToRoot(std::string_view name) {
  store::Recordset relations = Db().OpenRecordset(
      store::kCategoryRelationMaster,
      fmt::format("Category_Name = '{}' AND Related_Category_Name = {}", kRootCategory, store::Quoted(name)));
  if (relations.Next()) {
    begun_.clear();
    throw RelationExists(fmt::format("This group viz. '{}' already exists.", TrapGroupName(name)));
  }
  relations.AddNew();
  relations.Set("Category_Name", kRootCategory);
  relations.Set("Related_Category_Name", name);
  relations.Set("Category_Relation_Type", kRootRelationType);
  relations.Update();
}

}  // namespace korvane::categories
