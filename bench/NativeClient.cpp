#include "NativeClient.h"

#include <fmt/format.h>
#include <libpq-fe.h>
#include <mysql.h>
#include <sqlite3.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string_view>

namespace korvane::bench {
namespace {

void Require(bool good, std::string_view why) {
  if (!good) {
    fmt::print(stderr, "{}\n", why);
    std::exit(1);
  }
}

// The keys of a data source.
std::map<std::string, std::string> Place(const std::string& dataSource) {
  std::map<std::string, std::string> keys;
  std::ifstream file(test::DataSourceFolder() / "odbc.ini");
  bool within = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('[')) {
      within = line == fmt::format("[{}]", dataSource);
    } else if (const auto sign = line.find('='); within && sign != std::string::npos) {
      keys[line.substr(0, sign)] = line.substr(sign + 1);
    }
  }
  return keys;
}

class Sqlite : public NativeClient {
 public:
  explicit Sqlite(const test::TestStore& store) {
    const auto& files = dynamic_cast<const test::SqliteStore&>(store);
    Check(sqlite3_open(files.MainFile().c_str(), &database_));
    Run(fmt::format("ATTACH DATABASE '{}' AS traps", files.TrapFile().string()));
    Run("PRAGMA traps.synchronous = NORMAL");
  }
  ~Sqlite() override { sqlite3_close(database_); }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;

  std::size_t Fetch(const std::string& select) override {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database_, select.c_str(), -1, &statement, nullptr));
    std::size_t rows = 0;
    for (const int columns = sqlite3_column_count(statement); sqlite3_step(statement) == SQLITE_ROW; ++rows) {
      for (int column = 0; column < columns; ++column) {
        if (sqlite3_column_type(statement, column) == SQLITE_INTEGER) {
          sqlite3_column_int(statement, column);
        } else {
          sqlite3_column_text(statement, column);
          sqlite3_column_bytes(statement, column);
        }
      }
    }
    Check(sqlite3_finalize(statement));
    return rows;
  }
  void ExecuteAll(const std::vector<std::string>& statements) override {
    Run("BEGIN");
    for (const std::string& statement : statements) Run(statement);
    Run("COMMIT");
  }

 private:
  void Check(int code) const { Require(code == SQLITE_OK, sqlite3_errmsg(database_)); }
  void Run(const std::string& text) {
    Check(sqlite3_exec(database_, text.c_str(), nullptr, nullptr, nullptr));
  }
  sqlite3* database_ = nullptr;
};

class PostgreSql : public NativeClient {
 public:
  explicit PostgreSql(std::map<std::string, std::string> place)
      : link_(PQconnectdb(fmt::format("host={} port={} dbname={} user={}", place["Servername"], place["Port"],
                                      place["Database"], place["Username"])
                              .c_str())) {
    Require(PQstatus(link_) == CONNECTION_OK, PQerrorMessage(link_));
  }
  ~PostgreSql() override { PQfinish(link_); }
  PostgreSql(const PostgreSql&) = delete;
  PostgreSql& operator=(const PostgreSql&) = delete;

  // By a cursor: a plain query would first hold the whole result.
  std::size_t Fetch(const std::string& select) override {
    Run("BEGIN");
    Run("DECLARE reader CURSOR FOR " + select);
    std::size_t rows = 0;
    for (int some = 1; some > 0; rows += static_cast<std::size_t>(some)) some = Run("FETCH 2000 FROM reader");
    Run("COMMIT");
    return rows;
  }
  void ExecuteAll(const std::vector<std::string>& statements) override {
    Run("BEGIN");
    for (const std::string& statement : statements) Run(statement);
    Run("COMMIT");
  }

 private:
  int Run(const std::string& text) {
    PGresult* result = PQexec(link_, text.c_str());
    const ExecStatusType status = PQresultStatus(result);
    Require(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK, PQerrorMessage(link_));
    const int rows = PQntuples(result);
    PQclear(result);
    return rows;
  }
  PGconn* link_;
};

class MariaDb : public NativeClient {
 public:
  explicit MariaDb(std::map<std::string, std::string> place) : link_(mysql_init(nullptr)) {
    Require(mysql_real_connect(link_, place["Server"].c_str(), place["Uid"].c_str(), "",
                               place["Database"].c_str(), static_cast<unsigned>(std::stoi(place["Port"])),
                               nullptr, 0) != nullptr,
            mysql_error(link_));
  }
  ~MariaDb() override { mysql_close(link_); }
  MariaDb(const MariaDb&) = delete;
  MariaDb& operator=(const MariaDb&) = delete;

  std::size_t Fetch(const std::string& select) override {
    Run(select);
    MYSQL_RES* result = mysql_use_result(link_);
    std::size_t rows = 0;
    while (mysql_fetch_row(result) != nullptr) ++rows;
    mysql_free_result(result);
    return rows;
  }
  void ExecuteAll(const std::vector<std::string>& statements) override {
    Run("BEGIN");
    for (const std::string& statement : statements) Run(statement);
    Run("COMMIT");
  }

 private:
  void Run(const std::string& text) {
    Require(mysql_real_query(link_, text.c_str(), text.size()) == 0, mysql_error(link_));
  }
  MYSQL* link_;
};

}  // namespace

std::unique_ptr<NativeClient> MakeNativeClient(const test::TestStore& store, store::Engine engine) {
  if (engine == store::Engine::Sqlite) return std::make_unique<Sqlite>(store);
  std::map<std::string, std::string> place = Place(store.DataSource());
  if (engine == store::Engine::PostgreSql) return std::make_unique<PostgreSql>(std::move(place));
  return std::make_unique<MariaDb>(std::move(place));
}

}  // namespace korvane::bench
