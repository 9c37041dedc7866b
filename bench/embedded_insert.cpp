// What a row costs on its way into an embedded trap store, in processor time: by the receiver's own store, by
// the insert that the servers get, by one statement of many rows whose parameters are bound once, and by the
// bare interface of the engine, which is the limit.  The same rows, batches of a thousand, one transaction
// each, every road on a fresh store.
#include <fmt/format.h>
#include <sql.h>
#include <sqlext.h>
#include <sqlite3.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "BenchRules.h"
#include "Size.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "store/BatchInsert.h"
#include "support/TestStore.h"

namespace {

using namespace korvane;
using receiver::SpooledTrap;

constexpr std::size_t kBatch = 1000;
constexpr std::size_t kBoundRows = 50;
constexpr std::size_t kColumns = 7;
constexpr std::string_view kHead =
    "INSERT INTO EventTrap (EventTime, Source, EnterpriseOid, GenericTrap, SpecificTrap, EventDescription, "
    "Event_ExtDescr) VALUES ";

void Require(bool good, const char* what) {
  if (!good) {
    fmt::print(stderr, "{}\n", what);
    std::exit(1);
  }
}

double CpuMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// What 5,000 systems send, in the order in which it comes.
std::vector<SpooledTrap> Traps(std::int32_t count) {
  std::vector<SpooledTrap> traps;
  for (std::int32_t i = 0; i < count; ++i) {
    const std::int32_t system = (i * 7919) % 5000;
    traps.push_back(
        {.Number = static_cast<std::uint64_t>(i) + 1,
         .Row = {.EventTime = 1'000'000 + i / 5000,
                 .Source = fmt::format("10.{}.{}.1", system / 250, system % 250),
                 .EnterpriseOid = "1.3.6.1.6.3.1.1.5",
                 .GenericTrap = 2,
                 .SpecificTrap = 0,
                 .EventDescription = fmt::format("ifIndex.{0} = {0}, ifAdminStatus.{0} = 1, ifOperStatus.{0} "
                                                 "= 2, ifDescr.{0} = TenGigE0/0/{0}",
                                                 i % 48),
                 .Event_ExtDescr = ""}});
  }
  return traps;
}

std::string Statement(std::size_t rows) {
  std::string text(kHead);
  for (std::size_t row = 0; row < rows; ++row) text += row == 0 ? "(?,?,?,?,?,?,?)" : ",(?,?,?,?,?,?,?)";
  return text;
}

using Batches = std::function<void(std::span<const SpooledTrap>)>;

void InBatches(std::span<const SpooledTrap> traps, const Batches& store) {
  for (; !traps.empty(); traps = traps.subspan(std::min(traps.size(), kBatch))) {
    store(traps.first(std::min(traps.size(), kBatch)));
  }
}

void ReceiversStore(test::SqliteStore& made, std::span<const SpooledTrap> traps) {
  receiver::DatabaseTrapStore store(made.DataSource());
  std::uint64_t number = store.Open("spool", 0, 0);
  InBatches(traps, [&](std::span<const SpooledTrap> batch) {
    store.Store(batch, number);
    number = batch.back().Number;
  });
}

// As the servers get it, and as the embedded store got it before.
void BatchOfServers(test::SqliteStore& made, std::span<const SpooledTrap> traps) {
  constexpr std::array<std::string_view, 9> kAll = {"EventTime",      "Source",       "EnterpriseOid",
                                                    "GenericTrap",    "SpecificTrap", "EventDescription",
                                                    "Event_ExtDescr", "EventNotes",   "EventAck"};
  store::BatchInsert insert(made.Db(), "EventTrap", kAll);
  InBatches(traps, [&](std::span<const SpooledTrap> batch) {
    store::Transaction transaction(made.Db());
    for (const SpooledTrap& trap : batch) {
      const receiver::TrapRow& row = trap.Row;
      const std::array<store::BatchInsert::Value, 9> values = {
          row.EventTime,      row.Source,         row.EnterpriseOid,
          row.GenericTrap,    row.SpecificTrap,   row.EventDescription,
          row.Event_ExtDescr, std::string_view(), 0};
      insert.Add(values);
    }
    insert.Flush();
    transaction.Commit();
  });
}

// Buffers at fixed places, filled anew for each execution.
class BoundOnce {
 public:
  explicit BoundOnce(const std::string& dataSource) {
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_);
    SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, environment_, &link_);
    std::string words = "DSN=" + dataSource;
    Check(SQLDriverConnect(link_, nullptr, Chars(words), SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT));
    SQLAllocHandle(SQL_HANDLE_STMT, link_, &statement_);
    std::string attach =
        "ATTACH DATABASE '" + (test::DataSourceFolder() / "dvldb-traps.db").string() + "' AS traps";
    Check(SQLExecDirect(statement_, Chars(attach), SQL_NTS));
    Check(SQLSetConnectAttr(link_, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0));
    text_ = Statement(kBoundRows);
    Check(SQLPrepare(statement_, Chars(text_), SQL_NTS));
    SQLUSMALLINT number = 0;
    for (Row& row : rows_) {
      const auto integer = [&](SQLINTEGER& value) {
        Check(SQLBindParameter(statement_, ++number, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0, &value,
                               0, nullptr));
      };
      const auto text = [&](int column) {
        Check(SQLBindParameter(statement_, ++number, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_LONGVARCHAR, kText, 0,
                               row.Texts[column].data(), kText, &row.Lengths[column]));
      };
      integer(row.Time);
      text(0);
      text(1);
      integer(row.Generic);
      integer(row.Specific);
      text(2);
      text(3);
    }
  }
  ~BoundOnce() {
    SQLFreeHandle(SQL_HANDLE_STMT, statement_);
    SQLDisconnect(link_);
    SQLFreeHandle(SQL_HANDLE_DBC, link_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  }
  BoundOnce(const BoundOnce&) = delete;
  BoundOnce& operator=(const BoundOnce&) = delete;

  void Store(std::span<const SpooledTrap> batch) {
    for (; batch.size() >= kBoundRows; batch = batch.subspan(kBoundRows)) {
      for (std::size_t i = 0; i < kBoundRows; ++i) {
        const receiver::TrapRow& from = batch[i].Row;
        Row& to = rows_[i];
        to.Time = from.EventTime;
        to.Generic = from.GenericTrap;
        to.Specific = from.SpecificTrap;
        int column = 0;
        for (const std::string* text :
             {&from.Source, &from.EnterpriseOid, &from.EventDescription, &from.Event_ExtDescr}) {
          std::copy(text->begin(), text->end(), to.Texts[column].begin());
          to.Lengths[column++] = static_cast<SQLLEN>(text->size());
        }
      }
      Check(SQLExecute(statement_));
    }
    Check(SQLEndTran(SQL_HANDLE_DBC, link_, SQL_COMMIT));
  }

 private:
  static constexpr SQLLEN kText = 512;
  struct Row {
    SQLINTEGER Time = 0, Generic = 0, Specific = 0;
    std::array<std::array<char, kText>, 4> Texts{};
    std::array<SQLLEN, 4> Lengths{};
  };
  static SQLCHAR* Chars(std::string& text) { return reinterpret_cast<SQLCHAR*>(text.data()); }
  static void Check(SQLRETURN code) { Require(SQL_SUCCEEDED(code), "a call of the bound insert failed"); }

  SQLHANDLE environment_ = nullptr, link_ = nullptr, statement_ = nullptr;
  std::string text_;
  std::array<Row, kBoundRows> rows_;
};

void OdbcBoundOnce(test::SqliteStore& made, std::span<const SpooledTrap> traps) {
  BoundOnce insert(made.DataSource());
  InBatches(traps, [&](std::span<const SpooledTrap> batch) { insert.Store(batch); });
}

void Bare(test::SqliteStore& made, std::span<const SpooledTrap> traps, std::size_t rows) {
  sqlite3* link = nullptr;
  sqlite3_stmt* insert = nullptr;
  const auto check = [](int code) { Require(code == SQLITE_OK || code == SQLITE_DONE, "sqlite3 refuses"); };
  check(
      sqlite3_open_v2(made.TrapFile().c_str(), &link, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr));
  check(sqlite3_exec(link, "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr));
  check(sqlite3_prepare_v2(link, Statement(rows).c_str(), -1, &insert, nullptr));
  InBatches(traps, [&](std::span<const SpooledTrap> batch) {
    check(sqlite3_exec(link, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
    for (; batch.size() >= rows; batch = batch.subspan(rows)) {
      int number = 0;
      for (const SpooledTrap& trap : batch.first(rows)) {
        const receiver::TrapRow& row = trap.Row;
        const auto text = [&](const std::string& value) {
          sqlite3_bind_text(insert, ++number, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        };
        sqlite3_bind_int(insert, ++number, row.EventTime);
        text(row.Source);
        text(row.EnterpriseOid);
        sqlite3_bind_int(insert, ++number, row.GenericTrap);
        sqlite3_bind_int(insert, ++number, row.SpecificTrap);
        text(row.EventDescription);
        text(row.Event_ExtDescr);
      }
      check(sqlite3_step(insert));
      check(sqlite3_reset(insert));
    }
    check(sqlite3_exec(link, "COMMIT", nullptr, nullptr, nullptr));
  });
  sqlite3_finalize(insert);
  sqlite3_close(link);
}

struct Road {
  const char* Name;
  std::function<void(test::SqliteStore&, std::span<const SpooledTrap>)> Store;
  std::vector<double> Cpu = {};
};

}  // namespace

int main(int argc, char** argv) {
  const std::int32_t count = bench::Size(argc, argv, 200'000) / 1000 * 1000;
  Require(count > 0, "at least 1000");
  const std::vector<SpooledTrap> traps = Traps(count);
  std::array<Road, 5> roads = {{
      {"engine's own interface, 250 rows a statement", [](auto& made, auto rows) { Bare(made, rows, 250); }},
      {"engine's own interface,  50 rows a statement", [](auto& made, auto rows) { Bare(made, rows, 50); }},
      {"ODBC, 50 rows bound once, without defaults  ", OdbcBoundOnce},
      {"ODBC, the batch that the servers get        ", BatchOfServers},
      {"the receiver's store                        ", ReceiversStore},
  }};
  for (int round = 0; round < 3; ++round) {
    for (Road& road : roads) {
      test::SqliteStore made;
      const double before = CpuMicroseconds();
      road.Store(made, traps);
      road.Cpu.push_back((CpuMicroseconds() - before) / count);
      Require(made.Number("SELECT COUNT(*) FROM EventTrap") == count, "rows are missing");
    }
  }
  const double limit = bench::Median(roads[0].Cpu);
  fmt::print("{} rows into an embedded store, processor time a row\n", count);
  for (const Road& road : roads) {
    const double median = bench::Median(road.Cpu);
    fmt::print("  {} {:5.2f} us; ratio {:.2f}\n", road.Name, median, median / limit);
  }
  fmt::print("  (the receiver's store at most 1.3)\n");
}
