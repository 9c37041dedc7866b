#include "store/StatementCost.h"

#include <sqlite3.h>

#include <charconv>
#include <regex>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "store/Odbc.h"

namespace korvane::store {
namespace {

bool IsSelect(std::string_view statement) {
  return statement.starts_with("SELECT");
}

std::string WithValues(const std::string& statement) {
  return std::regex_replace(statement, std::regex("\\?"), "'1'");
}

class SqliteMeter : public CostMeter {
 public:
  explicit SqliteMeter(const test::SqliteStore& store) {
    Check(sqlite3_open(store.MainFile().c_str(), &database_));
    Run(fmt::format("ATTACH DATABASE '{}' AS traps", store.TrapFile().string()));
  }
  ~SqliteMeter() override { sqlite3_close(database_); }
  SqliteMeter(const SqliteMeter&) = delete;
  SqliteMeter& operator=(const SqliteMeter&) = delete;

  StatementCost Measure(const std::string& statement) override {
    const std::string text = WithValues(statement);
    StatementCost cost;
    Step("EXPLAIN QUERY PLAN " + text, [&](sqlite3_stmt* row) {
      cost.Plan += fmt::format("{}\n", reinterpret_cast<const char*>(sqlite3_column_text(row, 3)));
    });
    Run("BEGIN IMMEDIATE");
    const int before = sqlite3_total_changes(database_);
    cost.Looked = Step(text, [&](sqlite3_stmt*) { ++cost.Rows; });
    if (!IsSelect(text)) {
      cost.Rows = sqlite3_total_changes(database_) - before;
    }
    Run("ROLLBACK");
    return cost;
  }
  std::int64_t MostFor(std::int64_t rows) const override { return 900 + 50 * rows; }

 private:
  void Check(int code) const {
    if (code != SQLITE_OK && code != SQLITE_DONE) {
      throw std::runtime_error(sqlite3_errmsg(database_));
    }
  }
  void Run(const std::string& text) {
    Step(text, [](sqlite3_stmt*) {});
  }
  template <class Each>
  std::int64_t Step(const std::string& text, Each each) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database_, text.c_str(), -1, &statement, nullptr));
    while (sqlite3_step(statement) == SQLITE_ROW) {
      each(statement);
    }
    const std::int64_t steps = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_VM_STEP, 0);
    Check(sqlite3_finalize(statement));
    return steps;
  }

  sqlite3* database_ = nullptr;
};

// On a connection like those of the programs.
class ServerMeter : public CostMeter {
 protected:
  explicit ServerMeter(const test::TestStore& store) { store.Connect(connection_); }

  std::string Text(const std::string& statement) {
    std::string text;
    Statement asked(connection_.Internals());
    asked.ExecuteDirect(statement);
    for (const SQLSMALLINT columns = asked.ColumnCount(); columns > 0 && asked.Fetch();) {
      for (SQLUSMALLINT place = 1; place <= columns; ++place) {
        asked.AppendCell(place, text);
        text += place == columns ? '\n' : '\t';
      }
    }
    return text;
  }

  Connection connection_;
};

class PostgreSqlMeter : public ServerMeter {
 public:
  explicit PostgreSqlMeter(const test::TestStore& store) : ServerMeter(store) { Text("ANALYZE"); }

  StatementCost Measure(const std::string& statement) override {
    // The driver reads through cursors, which are planned for their first rows.
    const bool cursor = IsSelect(statement) && statement.find("FOR UPDATE") == std::string::npos;
    const Transaction transaction(connection_);
    StatementCost cost;
    cost.Plan = Text(fmt::format("EXPLAIN (ANALYZE, BUFFERS, FORMAT JSON) {}{}",
                                 cursor ? "DECLARE measured CURSOR FOR " : "", WithValues(statement)));
    ReadPlan(cost);
    return cost;
  }

 private:
  static void ReadPlan(StatementCost& cost) {
    constexpr std::string_view kNode = "\"Node Type\": \"";
    bool changes = false;
    for (std::size_t at = cost.Plan.find(kNode), depth = 0; at != std::string::npos; ++depth) {
      const std::size_t next = cost.Plan.find(kNode, at + 1);
      const std::string_view node = std::string_view(cost.Plan).substr(at, next - at);
      const std::int64_t loops = Figure(node, "Actual Loops");
      const std::int64_t rows = Figure(node, "Actual Rows") * loops;
      const std::string_view type = node.substr(kNode.size(), node.find('"', kNode.size()) - kNode.size());
      changes = changes || type == "ModifyTable";
      if (depth == (changes ? 1U : 0U)) {
        cost.Rows = rows;
      }
      if (type.find("Scan") != std::string_view::npos) {
        const std::int64_t others =
            Figure(node, "Rows Removed by Filter") + Figure(node, "Rows Removed by Index Recheck");
        cost.Looked += rows + others * loops;
        // Entries of an index that are passed over show in its pages alone.
        cost.Looked = std::max(cost.Looked, Figure(node, "Shared Hit Blocks") / (changes ? 20 : 1));
      }
      at = next;
    }
    cost.Plan = std::regex_replace(
        cost.Plan, std::regex("[^\n]*(: 0,?|: 0.00,|Aware\": false,|Capable\": false,)\n"), "");
  }
  static std::int64_t Figure(std::string_view node, std::string_view name) {
    const std::string label = fmt::format("\"{}\": ", name);
    const std::size_t at = node.find(label);
    std::int64_t figure = 0;
    if (at != std::string_view::npos) {
      std::from_chars(node.data() + at + label.size(), node.data() + node.size(), figure);
    }
    return figure;
  }
};

class MariaDbMeter : public ServerMeter {
 public:
  explicit MariaDbMeter(const test::TestStore& store) : ServerMeter(store) {
    for (const char* table : {"EventTrap", "Change_Log", "EventStructure", "System_Table"}) {
      Text(fmt::format("ANALYZE TABLE {}", table));
    }
    ofReading_ = Handled();
    ofReading_ = Handled() - ofReading_;
  }

  StatementCost Measure(const std::string& statement) override {
    const std::string text = WithValues(statement);
    const Transaction transaction(connection_);
    StatementCost cost;
    cost.Plan = Text("EXPLAIN FORMAT=JSON " + text);
    const std::int64_t before = Handled();
    Statement asked(connection_.Internals());
    asked.ExecuteDirect(text);
    if (IsSelect(text)) {
      while (asked.Fetch()) ++cost.Rows;
    } else {
      cost.Rows = asked.RowCount();
    }
    asked.CloseCursor();
    cost.Looked = Handled() - before - ofReading_;
    return cost;
  }

 private:
  // Rows and entries that this session was handed, and those that its indices passed over.
  std::int64_t Handled() {
    return std::stoll(
        Text("SELECT CAST(SUM(VARIABLE_VALUE) AS SIGNED) FROM information_schema.SESSION_STATUS "
             "WHERE VARIABLE_NAME LIKE 'Handler_read%' OR VARIABLE_NAME = 'Handler_icp_attempts'"));
  }

  std::int64_t ofReading_ = 0;
};

}  // namespace

std::unique_ptr<CostMeter> MakeCostMeter(test::TestStore& store, Engine engine) {
  if (engine == Engine::PostgreSql) return std::make_unique<PostgreSqlMeter>(store);
  if (engine == Engine::MariaDb) return std::make_unique<MariaDbMeter>(store);
  return std::make_unique<SqliteMeter>(dynamic_cast<test::SqliteStore&>(store));
}

}  // namespace korvane::store
