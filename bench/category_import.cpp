// Importing category files with 10,000 rows: reading the file, looking for definitions that are there,
// writing categories, definitions and memberships, against bare batch inserts of the same definitions and
// memberships into the same tables.  On the embedded engine, and with "servers" as the second argument also
// on those that tests/support/database-servers started.
#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "BareFetch.h"
#include "BenchRules.h"
#include "Size.h"
#include "categories/CategoryCopies.h"
#include "store/BatchInsert.h"
#include "store/Connection.h"
#include "support/Processes.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace {

using namespace korvane;
using categories::ExchangedCategory;
using categories::TrapDetail;

constexpr int kRounds = 5;
constexpr std::array<std::string_view, 6> kDefinition = {"Source_Agent", "EnterpriseOid", "GenericTrap",
                                                         "Severity",     "SpecificTrap",  "EventDescription"};
constexpr std::array<std::string_view, 3> kMember = {"Trap_Group_Name", "Trap_ID", "Sort_Order"};

TrapDetail Trap(int i) {
  return {.Source = i % 3 == 0 ? fmt::format("core-router-{:05}.example.net", i) : "",
          .GenericTrap = 6,
          .EnterpriseOid = fmt::format("1.3.6.1.4.1.{}", 9'000 + i % 97),
          .SpecificTrap = fmt::to_string(i % 40),
          .VarBinds = fmt::format("ifIndex.{}", i),
          .Severity = i % 6};
}

std::vector<ExchangedCategory> Categories(int rows, int ofEach) {
  std::vector<ExchangedCategory> made;
  for (int row = 0; row < rows; ++row) {
    if (row % ofEach == 0) {
      made.push_back({.Name = fmt::format("Category number {}", made.size()), .Details = {}});
    }
    made.back().Details.Traps.push_back(Trap(row));
  }
  return made;
}

void InsertBare(store::Connection& connection, const std::vector<ExchangedCategory>& made,
                std::int32_t lastId) {
  store::Transaction whole(connection, "Trap_Group_Detail");
  store::BatchInsert definitions(connection, "Trap_Group_Detail", kDefinition);
  store::BatchInsert members(connection, "Trap_Group", kMember);
  for (const ExchangedCategory& category : made) {
    for (const TrapDetail& trap : category.Details.Traps) {
      definitions.Add(std::array<store::BatchInsert::Value, 6>{trap.Source, trap.EnterpriseOid,
                                                               trap.GenericTrap, trap.Severity,
                                                               trap.SpecificTrap, trap.VarBinds});
    }
  }
  definitions.Flush();
  for (const ExchangedCategory& category : made) {
    const std::string group = category.Name + "_Trap";
    std::int32_t place = 0;
    for (std::size_t i = 0; i < category.Details.Traps.size(); ++i) {
      members.Add(std::array<store::BatchInsert::Value, 3>{group, ++lastId, ++place});
    }
  }
  members.Flush();
  whole.Commit();
}

void Import(store::Connection& connection, const std::string& path) {
  std::vector<categories::OfferedCategory> offered = categories::CategoriesOfFile(path, connection);
  categories::StoreChosen(offered, connection);
}

// What both write, not what was there.
void Empty(test::TestStore& source, std::int32_t lastId) {
  for (const char* table : {"Category_Group_Master", "Category_Group", "Category_Group_Detail", "Trap_Group",
                            "Trap_Group_Master", "Category_Relation_Master"}) {
    source.Execute(fmt::format("DELETE FROM {}", table));
  }
  source.Execute(fmt::format("DELETE FROM Trap_Group_Detail WHERE Trap_Table_ID > {}", lastId));
}

void Measure(store::Engine engine, int rows, int ofEach, int stored) {
  const std::unique_ptr<test::TestStore> source = test::MakeStore(engine);
  store::Connection connection;
  source->Connect(connection);
  std::vector<ExchangedCategory> others(1);
  for (int i = 0; i < stored; ++i) {
    others[0].Details.Traps.push_back(Trap(rows + i));
  }
  InsertBare(connection, others, 0);
  source->Execute("DELETE FROM Trap_Group");
  const std::int32_t lastId = source->Number("SELECT MAX(Trap_Table_ID) FROM Trap_Group_Detail");
  const std::vector<ExchangedCategory> made = Categories(rows, ofEach);
  const test::TempFolder folder;
  const std::string path = (folder / "bench.dvcat").string();
  test::WriteFile(path, categories::WriteCategoryFile(made));
  std::vector<double> bare;
  std::vector<double> importing;
  for (int round = 0; round < kRounds; ++round) {
    const std::int32_t last = source->Number("SELECT MAX(Trap_Table_ID) FROM Trap_Group_Detail");
    bare.push_back(bench::Milliseconds([&] { InsertBare(connection, made, last); }));
    Empty(*source, lastId);
    importing.push_back(bench::Milliseconds([&] { Import(connection, path); }));
    if (source->Number("SELECT COUNT(*) FROM Trap_Group") != rows) {
      fmt::print("rows are missing\n");
      std::exit(1);
    }
    Empty(*source, lastId);
  }
  const double limit = bench::Median(bare);
  fmt::print("{}: {} rows in categories of {}, {} other definitions stored\n", test::EngineName(engine), rows,
             ofEach, stored);
  // A server answers each statement on its own, and each category takes a dozen.
  const bool limited = engine == store::Engine::Sqlite || (ofEach == rows && stored == 0);
  fmt::print("  bare inserts {:.0f} ms; import {:.0f} ms; ratio {:.2f}{}\n", limit, bench::Median(importing),
             bench::Median(importing) / limit, limited ? " (at most 2)" : "");
}

}  // namespace

int main(int argc, char** argv) {
  const int rows = bench::Size(argc, argv, 10'000);
  const bool servers = argc > 2 && std::string_view(argv[2]) == "servers";
  for (const store::Engine engine : test::kEngines) {
    if (engine == store::Engine::Sqlite || servers) {
      Measure(engine, rows, rows, 0);
      Measure(engine, rows, 50, 0);
      Measure(engine, rows, rows, 20 * rows);
    }
  }
}
