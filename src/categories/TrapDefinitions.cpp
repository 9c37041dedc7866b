#include "categories/TrapDefinitions.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_set>

#include "common/Translation.h"
#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::categories {

namespace {

constexpr std::size_t kFoundByAStatement = 50;
// Looking for one by the index takes as long as reading about so many rows.
constexpr std::size_t kRowsOfASearch = 16;

constexpr std::array<std::string_view, 6> kDefinitionColumns = {
    "Source_Agent", "EnterpriseOid", "GenericTrap", "Severity", "SpecificTrap", "EventDescription"};

// None of the texts holds a NUL.
std::string ValuesOf(const TrapDetail& trap) {
  std::string values;
  for (const std::string* text : {&trap.Source, &trap.EnterpriseOid, &trap.SpecificTrap, &trap.VarBinds}) {
    values.append(*text).push_back('\0');
  }
  fmt::format_to(std::back_inserter(values), "{},{}", trap.GenericTrap, trap.Severity);
  return values;
}

}  // namespace

std::int32_t TrapDefinitions::LargestKey() {
  store::Recordset rows =
      connection_.OpenRecordset(fmt::format("SELECT MAX(Trap_Table_ID) FROM {}", store::kTrapGroupDetail));
  return rows.Next() ? rows.Integer(std::size_t{0}) : 0;
}

// Of equal rows the first one counts.
void TrapDefinitions::Learn(const std::string& filter) {
  store::Recordset rows = connection_.OpenRecordset(fmt::format("SELECT * FROM {}{}{} ORDER BY Trap_Table_ID",
                                                                store::kTrapGroupDetail,
                                                                filter.empty() ? "" : " WHERE ", filter));
  while (rows.Next()) {
    keys_.try_emplace(ValuesOf(ReadTrapDetail(rows)), rows.Integer("Trap_Table_ID"));
  }
}

void TrapDefinitions::Expect(std::size_t count) {
  if (!knowsAll_ && static_cast<std::size_t>(LargestKey()) <= count * kRowsOfASearch) {
    Learn({});
    knowsAll_ = true;
  }
}

void TrapDefinitions::Find(std::span<const TrapDetail> traps) {
  while (!traps.empty()) {
    const auto some = traps.first(std::min(traps.size(), kFoundByAStatement));
    traps = traps.subspan(some.size());
    std::string filter;
    for (const TrapDetail& trap : some) {
      filter += fmt::format(
          "{}(Source_Agent = {} AND EnterpriseOid = {} AND GenericTrap = {} AND Severity = {} "
          "AND SpecificTrap = {} AND EventDescription = {})",
          filter.empty() ? "" : " OR ", store::Quoted(trap.Source), store::Quoted(trap.EnterpriseOid),
          trap.GenericTrap, trap.Severity, store::Quoted(trap.SpecificTrap), store::Quoted(trap.VarBinds));
    }
    Learn(filter);
  }
}

void TrapDefinitions::Add(std::span<const TrapDetail> missing) {
  if (missing.empty()) {
    return;
  }
  if (!inserts_) {
    inserts_.emplace(connection_, store::kTrapGroupDetail, kDefinitionColumns);
  }
  const std::int32_t before = LargestKey();
  for (const TrapDetail& trap : missing) {
    inserts_->Add(std::array<store::BatchInsert::Value, kDefinitionColumns.size()>{
        trap.Source, trap.EnterpriseOid, trap.GenericTrap, trap.Severity, trap.SpecificTrap, trap.VarBinds});
  }
  inserts_->Flush();
  Learn(fmt::format("Trap_Table_ID > {}", before));
}

std::vector<std::int32_t> TrapDefinitions::FindOrAdd(std::span<const TrapDetail> traps) {
  Expect(traps.size());
  std::vector<std::string> values;
  values.reserve(traps.size());
  for (const TrapDetail& trap : traps) {
    values.push_back(ValuesOf(trap));
  }
  // Each once, however often it is among them.
  const auto unknown = [&] {
    std::vector<TrapDetail> found;
    std::unordered_set<std::string_view> wanted;
    for (std::size_t i = 0; i < traps.size(); ++i) {
      if (!keys_.contains(values[i]) && wanted.insert(values[i]).second) {
        found.push_back(traps[i]);
      }
    }
    return found;
  };
  if (!knowsAll_) {
    Find(unknown());
  }
  try {
    Add(unknown());
  } catch (const store::DatabaseError&) {
    // Some of them may be stored.
    keys_.clear();
    knowsAll_ = false;
    throw;
  }
  std::vector<std::int32_t> keys;
  keys.reserve(values.size());
  for (const std::string& all : values) {
    const auto found = keys_.find(all);
    if (found == keys_.end()) {
      throw store::DatabaseError(Translated("The trap that was just added is not there."), "02000", 0, {});
    }
    keys.push_back(found->second);
  }
  return keys;
}

}  // namespace korvane::categories
