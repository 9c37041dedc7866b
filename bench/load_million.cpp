// A million stored traps into one Traps window (read, named, filtered, matched, made into rows) against the
// bare block fetch of the same statement over the same driver, and the memory that the rows take.
#include <fmt/format.h>
#include <malloc.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

#include "BenchRules.h"
#include "BenchStore.h"
#include "store/Odbc.h"
#include "store/Statements.h"
#include "views/TrapsWorld.h"

namespace {

using namespace korvane;

constexpr std::int32_t kTraps = 1'000'000;
constexpr std::size_t kBlockRows = 256;
constexpr std::size_t kTextBytes = 512;

// Nothing but the driver manager's calls: every column bound, blocks of rows, no cell looked at.
std::size_t BareBlockFetch(store::Connection& connection, const std::string& statement) {
  store::Statement reader(connection.Internals());
  SQLHSTMT const handle = reader.Get();
  SQLULEN fetched = 0;
  SQLSetStmtAttr(handle, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(kBlockRows), 0);
  SQLSetStmtAttr(handle, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
  reader.ExecuteDirect(statement);
  struct Column {
    std::array<std::array<char, kTextBytes>, kBlockRows> Values;
    std::array<SQLLEN, kBlockRows> Lengths;
  };
  const auto columns = static_cast<SQLUSMALLINT>(reader.ColumnCount());
  const auto buffers = std::make_unique<Column[]>(columns);
  for (SQLUSMALLINT place = 1; place <= columns; ++place) {
    const std::string name = reader.ColumnName(place);
    const bool number = name == "SequenceNumber" || name == "EventTime" || name == "GenericTrap" ||
                        name == "SpecificTrap" || name == "EventAck";
    Column& column = buffers[place - 1U];
    SQLBindCol(handle, place, number ? SQL_C_SLONG : SQL_C_CHAR, column.Values.data(),
               number ? sizeof(std::int32_t) : kTextBytes, column.Lengths.data());
  }
  std::size_t rows = 0;
  while (SQL_SUCCEEDED(SQLFetch(handle)) && fetched > 0) {
    rows += fetched;
  }
  reader.CloseCursor();
  return rows;
}

std::size_t HeapBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::size_t TextBytes(const views::TrapRows& rows) {
  std::size_t bytes = 0;
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    bytes += rows.VarBindsAt(row).size();
  }
  return bytes;
}

void Expect(bool condition, const char* what) {
  if (!condition) {
    fmt::print("{}\n", what);
    std::exit(1);
  }
}

}  // namespace

int main() {
  test::TrapsWorld world;
  bench::AddNames(world.Store);
  bench::AddRules(world.Store);
  bench::FillWithTraps(world.Store, kTraps);
  world.ReadRules();
  world.State.gLastTrapTime = 2'000'000'000;
  const std::string statement = store::TrapsLoadStatement(world.State.gLastTrapTime + 1);

  std::vector<double> bare;
  std::vector<double> whole;
  std::vector<double> limited;
  double perRow = 0;
  for (int round = 0; round < 5; ++round) {
    bare.push_back(bench::Milliseconds([&] {
      Expect(BareBlockFetch(world.Connection, statement) == kTraps, "the fetch did not see every trap");
    }));
    for (const std::int32_t limit : {kTraps, 1000}) {
      world.State.gMaxViewTraps = limit;
      auto model = world.Open();
      malloc_trim(0);
      const std::size_t before = HeapBytes();
      const double time = bench::Milliseconds([&] { model->Reset(); });
      Expect(model->Rows().Count() == static_cast<std::size_t>(limit), "rows are missing");
      if (limit == kTraps) {
        whole.push_back(time);
        const double extra =
            static_cast<double>(HeapBytes() - before) - static_cast<double>(TextBytes(model->Rows()));
        perRow = extra / kTraps;
      } else {
        limited.push_back(time);
      }
      world.Windows.Models.clear();
    }
  }
  fmt::print(
      "a million stored traps: bare block fetch {:.0f} ms\n"
      "  into a window that shows them all: {:.0f} ms; ratio {:.2f} (at most 1.3)\n"
      "  into a window that shows 1000:     {:.0f} ms; ratio {:.2f} (at most 1.3)\n"
      "  memory beside the rows' own text:  {:.0f} bytes a row (under 120)\n",
      bench::Median(bare), bench::Median(whole), bench::Median(whole) / bench::Median(bare),
      bench::Median(limited), bench::Median(limited) / bench::Median(bare), perRow);
}
