// Categories in memory: reading 1,000 of them with 50 trap definitions each, against a bare block fetch of
// the same tables; and deciding for single traps whether a category of 10,000 rows accepts them, against
// looking at row after row.
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "BareFetch.h"
#include "BenchRules.h"
#include "Size.h"
#include "params/CategoryInformation.h"
#include "params/CriteriaIndex.h"
#include "params/WindowParameters.h"
#include "store/Connection.h"
#include "store/Tables.h"

namespace {

using namespace korvane;

constexpr int kTrapsOfCategory = 50;
constexpr int kTraps = 2'000;

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print("{}\n", what);
    std::exit(1);
  }
}

// Numbers from 1 up, as a table "n".
std::string Numbers(int last) {
  return fmt::format("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {}) ", last);
}

void Fill(test::TestStore& source, int categories) {
  store::Transaction whole(source.Db());
  const std::string each = Numbers(categories);
  const std::string members = Numbers(categories * kTrapsOfCategory);
  source.Execute(each +
                 "INSERT INTO Category_Group_Master (Category_Name, Category_Desc, Severity) "
                 "SELECT 'Category number ' || i, 'What belongs to it', i % 6 FROM n");
  source.Execute(each +
                 "INSERT INTO Category_Group (Category_Name, Category_ID) "
                 "SELECT 'Category number ' || i, i FROM n");
  source.Execute(each +
                 "INSERT INTO Category_Group_Detail (Category_ID, Category_Type, Group_Name) "
                 "SELECT i, 4, 'Category number ' || i || '_Trap' FROM n");
  source.Execute(
      members +
      "INSERT INTO Trap_Group_Detail (Trap_Table_ID, Source_Agent, EnterpriseOid, GenericTrap, "
      "SpecificTrap, EventDescription, Severity) "
      "SELECT i, CASE i % 3 WHEN 0 THEN 'router' || i ELSE '' END, '1.3.6.1.4.1.' || (i % 997), 6, "
      "'' || (i % 40), CASE i % 5 WHEN 0 THEN 'ifOperStatus' ELSE '' END, i % 6 FROM n");
  source.Execute(members + fmt::format("INSERT INTO Trap_Group (Trap_Group_Name, Trap_ID) "
                                       "SELECT 'Category number ' || ((i - 1) / {} + 1) || '_Trap', i FROM n",
                                       kTrapsOfCategory));
  whole.Commit();
}

void MeasureReading(int count) {
  test::SqliteStore source;
  Fill(source, count);
  store::Connection connection;
  source.Connect(connection);
  params::CategoryInformation categories;
  std::vector<double> bare;
  std::vector<double> reading;
  for (int round = 0; round < 15; ++round) {
    std::size_t rows = 0;
    bare.push_back(bench::Milliseconds([&] {
      for (const std::string_view table :
           {store::kCategoryGroupMaster, store::kCategoryGroupDetail, store::kCategoryGroup,
            store::kTrapGroup, store::kTrapGroupDetail}) {
        rows += bench::BareBlockFetch(connection, fmt::format("SELECT * FROM {}", table));
      }
    }));
    Expect(rows == static_cast<std::size_t>(3 * count + 2 * count * kTrapsOfCategory),
           "the fetch did not see every row");
    reading.push_back(bench::Milliseconds([&] { categories.ReloadCategoryInformation(connection); }));
    Expect(categories.Categories().size() == static_cast<std::size_t>(count) &&
               categories.Categories().back().Criteria.size() == kTrapsOfCategory,
           "definitions are missing");
  }
  const double limit = bench::Median(bare);
  fmt::print(
      "{} categories of {} trap definitions\n  bare block fetch {:.0f} ms; into memory {:.0f} ms; ratio "
      "{:.2f} "
      "(at most 2)\n",
      count, kTrapsOfCategory, limit, bench::Median(reading), bench::Median(reading) / limit);
  std::vector<double> indexing;
  for (int round = 0; round < 15; ++round) {
    indexing.push_back(bench::Milliseconds([&] { params::CriteriaIndex(categories.Categories()); }));
  }
  fmt::print("  its index by kinds of trap {:.1f} ms, once after each reading\n", bench::Median(indexing));
}

bool RowByRow(const store::IncomingTrap& trap, const params::Category& category) {
  return std::ranges::any_of(category.Criteria, [&](const params::CategoryCriterion& row) {
    return params::KindMatchesCriterion(trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap, row) &&
           params::TrapMatchesCriterion(trap, row);
  });
}

enum class Rows { OfOtherKinds, OfOtherSources };

// No row accepts the traps, so nothing ends the search early.
void MeasureMatching(const char* what, Rows kind, int rows) {
  params::Category category{.Name = "big", .Criteria = {}};
  for (int i = 0; i < rows; ++i) {
    params::CategoryCriterion row;
    row.GenericTrap = 6;
    row.EnterpriseOid =
        kind == Rows::OfOtherKinds ? fmt::format("1.3.6.1.4.1.{}", 10'000 + i) : "1.3.6.1.4.1.9";
    row.SpecificTrap = kind == Rows::OfOtherKinds ? i % 40 : 7;
    row.SourceAgent = kind == Rows::OfOtherKinds ? "" : fmt::format("core-router-{:05}.example.net", i);
    category.Criteria.push_back(row);
  }
  params::CategoryInformation categories;
  categories.Assign({category});
  const params::WindowMatcher window({.Category = "big"}, categories);
  store::IncomingTrap trap;
  trap.SystemName = "core-router-99999.example.net";
  trap.Source = "192.0.2.1";
  trap.EnterpriseOid = "1.3.6.1.4.1.9";
  trap.SpecificTrap = 7;
  trap.GenericTrap = 6;
  trap.VarBinds = "1.3.6.1.2.1.2.2.1.1.7 = 7, 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/12";
  Expect(!window.TrapMatchesWindow(trap), "no row is about this trap");
  std::vector<double> rowByRow;
  std::vector<double> matching;
  for (int round = 0; round < 7; ++round) {
    int accepted = 0;
    rowByRow.push_back(bench::Milliseconds([&] {
                         for (int i = 0; i < kTraps / 10; ++i) {
                           accepted += RowByRow(trap, category) ? 1 : 0;
                         }
                       }) *
                       10);
    matching.push_back(bench::Milliseconds([&] {
      for (int i = 0; i < kTraps; ++i) {
        accepted += window.TrapMatchesWindow(trap) ? 1 : 0;
      }
    }));
    Expect(accepted == 0, "no row is about this trap");
  }
  const double nanoseconds = bench::Median(matching) * 1e6 / kTraps;
  const double reference = bench::Median(rowByRow) * 1e6 / kTraps;
  fmt::print(
      "a category of {} rows {}\n  a trap takes {:.0f} ns, {:.3f} ns a row (under 1000); row by row {:.0f} "
      "ns, {:.1f} ns a row; "
      "ratio "
      "{:.4f}\n",
      rows, what, nanoseconds, nanoseconds / rows, reference, reference / rows, nanoseconds / reference);
}

}  // namespace

int main(int argc, char** argv) {
  const int categories = bench::Size(argc, argv, 1'000);
  MeasureReading(categories);
  MeasureMatching("about other kinds of trap", Rows::OfOtherKinds, 10 * categories);
  MeasureMatching("about this kind from other sources", Rows::OfOtherSources, 10 * categories);
}
