#include "TrapDefinitionTable.h"

#include <array>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/BatchInsert.h"
#include "store/ChangeLog.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::mibc {
namespace {

constexpr std::array<std::string_view, 5> kColumns = {"EnterpriseOid", "RequestType", "SpecificTrap", "Name",
                                                      "TrapDescription"};

using store::Quoted;

// What the store knows of one enterprise, by specific code.
struct KnownTrap {
  std::string SpecificTrap;
  std::string TrapDescription;
  bool Several = false;
};

class ModuleWriter {
 public:
  ModuleWriter(store::Connection& connection, const Module& module)
      : connection_(connection), module_(module), added_(connection, store::kEventStructure, kColumns) {}

  StoredCounts Write() {
    // By enterprise, so that each is asked for once.
    std::map<std::string_view, std::vector<const Definition*>> enterprises;
    std::set<std::pair<std::string_view, std::int32_t>> seen;
    for (const Definition& definition : module_.Definitions) {
      if (seen.emplace(definition.EnterpriseOid, definition.RequestType).second) {
        enterprises[definition.EnterpriseOid].push_back(&definition);
      } else {
        ++counts_.Doubled;
      }
    }
    for (const auto& [oid, definitions] : enterprises) {
      WriteEnterprise(oid, definitions);
    }
    added_.Flush();
    return counts_;
  }

 private:
  void WriteEnterprise(std::string_view oid, const std::vector<const Definition*>& definitions) {
    const std::string name = NameOf(oid, definitions.front()->Name);
    connection_.Execute(fmt::format("UPDATE {} SET Name = {} WHERE EnterpriseOid = {} AND Name <> {}",
                                    store::kEventStructure, Quoted(name), Quoted(oid), Quoted(name)));
    std::map<std::int32_t, KnownTrap> known;
    store::Recordset rows =
        connection_.OpenRecordset(store::kEventStructure, fmt::format("EnterpriseOid = {}", Quoted(oid)));
    while (rows.Next()) {
      const auto [place, fresh] = known.try_emplace(rows.Integer("RequestType"));
      place->second = {rows.Text("SpecificTrap"), rows.Text("TrapDescription"), !fresh};
    }
    for (const Definition* definition : definitions) {
      const auto found = known.find(definition->RequestType);
      if (found == known.end()) {
        const std::array<store::BatchInsert::Value, kColumns.size()> row = {
            oid, definition->RequestType, definition->SpecificTrap, name, definition->TrapDescription};
        added_.Add(row);
        ++counts_.Added;
      } else if (!found->second.Several && found->second.SpecificTrap == definition->SpecificTrap &&
                 found->second.TrapDescription == definition->TrapDescription) {
        ++counts_.Unchanged;
      } else {
        Update(*definition);
        ++counts_.Updated;
      }
    }
  }

  // A module that gives the enterprise by its number leaves it the name that it has.
  std::string NameOf(std::string_view oid, const std::string& name) {
    if (name.find_first_not_of("0123456789.") != std::string::npos) return FreeName(oid, name);
    store::Recordset known = connection_.OpenRecordset(
        store::kEventStructure, fmt::format("EnterpriseOid = {} AND Name <> {}", Quoted(oid), Quoted(name)));
    return known.Next() ? known.Text("Name") : name;
  }

  // Names are unique within a module only, and "traps" is a favourite of many makers.
  std::string FreeName(std::string_view oid, const std::string& name) {
    store::Recordset others = connection_.OpenRecordset(
        fmt::format("SELECT COUNT(*) FROM {} WHERE Name = {} AND EnterpriseOid <> {} AND EnterpriseOid <> {}",
                    store::kEventStructure, Quoted(name), Quoted(oid), Quoted(fmt::format("{}.0", oid))));
    return others.Next() && others.Integer(0) > 0 ? fmt::format("{}::{}", module_.Name, name) : name;
  }

  void Update(const Definition& definition) {
    store::Recordset row = connection_.OpenRecordset(
        store::kEventStructure, fmt::format("EnterpriseOid = {} AND RequestType = {}",
                                            Quoted(definition.EnterpriseOid), definition.RequestType));
    if (row.Next()) {
      row.Set("SpecificTrap", definition.SpecificTrap);
      row.Set("TrapDescription", definition.TrapDescription);
      row.Update();
    }
  }

  store::Connection& connection_;
  const Module& module_;
  store::BatchInsert added_;
  StoredCounts counts_;
};

}  // namespace

std::vector<StoredCounts> TrapDefinitionTable::Store(std::span<const Module> modules) {
  store::Transaction transaction(connection_, store::kEventStructure);
  std::vector<StoredCounts> counts;
  for (const Module& module : modules) {
    counts.push_back(ModuleWriter(connection_, module).Write());
  }
  store::NoteChange(connection_, store::ChangeKind::TrapNames);
  transaction.Commit();
  return counts;
}

}  // namespace korvane::mibc
