#include "categories/CategoryWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <unordered_set>

#include "common/Text.h"
#include "params/CategoryInformation.h"
#include "store/CategoryNumber.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/StoredOrder.h"
#include "store/Tables.h"

namespace korvane::categories {

namespace {

constexpr std::int32_t kRootRelationType = 1;
constexpr std::size_t kTrapsAtOnce = 1024;
constexpr std::array<std::string_view, 3> kMemberColumns = {"Trap_Group_Name", "Trap_ID", store::kSortOrder};

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

void CategoryWriter::Expect(std::size_t categories, std::span<const TrapDetail> traps) {
  CheckTexts({}, traps);
  transaction_.BeforeChange();
  expected_ = true;
  const std::int32_t largest =
      std::max(LargestId(Db(), store::kCategoryGroup), LargestId(Db(), store::kCategoryGroupDetail));
  numbersLeft_ = static_cast<std::int32_t>(categories);
  nextNumber_ = store::TakeCategoryNumbers(Db(), largest, numbersLeft_);
  definitions_.Expect(traps.size());
  while (!traps.empty()) {
    const auto some = traps.first(std::min(traps.size(), kTrapsAtOnce));
    traps = traps.subspan(some.size());
    definitions_.FindOrAdd(some);
    Report(some.size());
  }
}

void CategoryWriter::Finish() {
  expected_ = false;
  if (members_) {
    members_->Flush();
  }
}

void CategoryWriter::Report(std::size_t steps) {
  steps_ += steps;
  if (progress_) {
    progress_(Written());
  }
}

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
  } else {
    begunNumber_ = 0;
  }
  begun_.clear();
  transaction_.BeforeChange();
  store::Recordset master =
      Db().OpenRecordset(store::kCategoryGroupMaster, "Category_Name = " + store::Quoted(name));
  master.AddNew();
  master.Set("Category_Name", name);
  master.Set("Category_Desc", description);
  master.Set("Severity", severity);
  master.Set(store::kSortOrder, store::StoredOrder(Db(), store::kCategoryGroupMaster).NumberAtEnd());
  master.Update();
  begun_ = name;
  EnsureGroups(name, description);
  AddMembers(TrapGroupName(name), traps);
  RelateToRoot(name);
  begun_.clear();
}

void CategoryWriter::EditCategory(std::string_view name, std::string_view description,
                                  std::int32_t severity) {
  begunNumber_ = 0;
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
  const std::string filter = "Trap_Group_Name = " + store::Quoted(TrapGroupName(name));
  CheckTexts(name, std::span(&trap, 1));
  transaction_.BeforeChange();
  // A second try finds the old one gone already.
  if (editedId_ != oldTrapTableId) {
    editedNumber_ =
        store::StoredOrder(Db(), store::kTrapGroup, filter).NumberOf(fmt::to_string(oldTrapTableId));
    editedId_ = oldTrapTableId;
  }
  std::int32_t number = editedNumber_;
  Db().Execute(
      fmt::format("DELETE FROM {} WHERE {} AND Trap_ID = {}", store::kTrapGroup, filter, oldTrapTableId));
  const std::int32_t id = definitions_.FindOrAdd(std::span(&trap, 1)).front();
  store::Recordset member =
      Db().OpenRecordset(store::kTrapGroup, fmt::format("{} AND Trap_ID = {}", filter, id));
  if (member.Next()) {
    // Equal to another member it is that one, and stands where the first of the two stood.
    number = std::min(number, member.Integer(store::kSortOrder));
  } else {
    member.AddNew();
    member.Set("Trap_Group_Name", TrapGroupName(name));
    member.Set("Trap_ID", id);
  }
  member.Set(store::kSortOrder, number);
  member.Update();
  editedId_ = 0;
}

// Above all in use, whoever gave those their numbers.
std::int32_t CategoryWriter::NewNumber() {
  if (numbersLeft_ > 0) {
    --numbersLeft_;
    begunNumber_ = nextNumber_++;
  } else if (begunNumber_ == 0) {
    begunNumber_ = store::TakeCategoryNumbers(
        Db(), std::max(LargestId(Db(), store::kCategoryGroup), LargestId(Db(), store::kCategoryGroupDetail)));
  }
  return begunNumber_;
}

// The category's number: that of its group of traps where one was left behind, else a new one.
std::int32_t CategoryWriter::EnsureTrapKind(std::string_view group) {
  store::Recordset rows = Db().OpenRecordset(
      store::kCategoryGroupDetail,
      fmt::format("Category_Type = {} AND Group_Name = {}", params::kTrapGroupType, store::Quoted(group)));
  if (rows.Next()) {
    return rows.Integer("Category_ID");
  }
  const std::int32_t id = NewNumber();
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

void CategoryWriter::AddMembers(std::string_view group, std::span<const TrapDetail> traps) {
  const std::string filter = "Trap_Group_Name = " + store::Quoted(group);
  std::unordered_set<std::int32_t> members;
  for (store::Recordset rows = Db().OpenRecordset(store::kTrapGroup, filter); rows.Next();) {
    members.insert(rows.Integer("Trap_ID"));
  }
  if (!members_) {
    members_.emplace(Db(), store::kTrapGroup, kMemberColumns);
  }
  definitions_.Expect(traps.size());
  std::int32_t number = members.empty() ? 1
                                        : store::StoredOrder(Db(), store::kTrapGroup, filter)
                                              .NumberAtEnd(static_cast<std::int32_t>(traps.size()));
  while (!traps.empty()) {
    const auto some = traps.first(std::min(traps.size(), kTrapsAtOnce));
    traps = traps.subspan(some.size());
    for (const std::int32_t id : definitions_.FindOrAdd(some)) {
      if (members.insert(id).second) {
        members_->Add(std::array<store::BatchInsert::Value, kMemberColumns.size()>{group, id, number++});
      }
    }
    if (!expected_) {
      members_->Flush();
    }
    Report(expected_ ? some.size() : 2 * some.size());
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
