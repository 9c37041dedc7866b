#include "BenchHistory.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

#include "receiver/store/Partitions.h"
#include "store/BatchInsert.h"
#include "store/Tables.h"
#include "support/Files.h"

namespace korvane::bench {
namespace {

using store::Engine;

constexpr std::int32_t kFirstTime = 1'200'000'000;
constexpr std::int64_t kTrapsAtOnce = 500'000;
// Which of the sources and kinds a trap has; neighbours differ.
constexpr const char* kSource = "((i * 7919) % 5000)";

// On the file itself, past the driver.
void OnFile(const std::filesystem::path& file, const std::string& statements) {
  sqlite3* database = nullptr;
  const bool good = sqlite3_open(file.c_str(), &database) == SQLITE_OK &&
                    sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  const std::string why = good ? "" : sqlite3_errmsg(database);
  sqlite3_close(database);
  if (!good) throw std::runtime_error(why);
}

std::string Joined(Engine engine, const std::vector<std::string>& parts) {
  return engine == Engine::MariaDb ? fmt::format("CONCAT({})", fmt::join(parts, ", "))
                                   : fmt::format("{}", fmt::join(parts, " || "));
}

std::string Numbers(Engine engine, std::int64_t first, std::int64_t last) {
  switch (engine) {
    case Engine::PostgreSql:
      return fmt::format("generate_series({}::bigint, {}::bigint) AS made(i)", first, last);
    case Engine::MariaDb:
      return fmt::format("(SELECT seq AS i FROM seq_{}_to_{}) AS made", first, last);
    default:
      return fmt::format(
          "(WITH RECURSIVE n(i) AS (SELECT {} UNION ALL SELECT i + 1 FROM n WHERE i < {}) SELECT i FROM n)",
          first, last);
  }
}

}  // namespace

std::string SourceOf(std::int64_t trap) {
  const std::int64_t source = (trap * 7919) % kHistorySources;
  return fmt::format("10.{}.{}.1", source / 250, source % 250);
}

History::History(test::TestStore& store, Engine engine, std::int32_t unacknowledged)
    : Unacknowledged(unacknowledged), store_(store), engine_(engine) {
  for (int kind = 0; kind < kHistoryKinds; ++kind) {
    store.AddDefinition(fmt::format("1.3.6.1.4.1.{}", 9000 + kind % 30), kind / 30,
                        fmt::format("trap{}", kind), fmt::format("vendor{}", kind % 30));
  }
  const store::Transaction transaction(store.Db());
  for (int source = 0; source < kHistorySources; ++source) store.AddSystem(SourceOf(source), "");
  store.Db().Commit();
}

std::int32_t History::TimeOf(std::int64_t trap) const {
  return static_cast<std::int32_t>(kFirstTime + trap * 864 / 100);
}

void History::Add(std::int64_t first, std::int64_t last) {
  const auto digits = [this](const std::string& number) {
    return engine_ == Engine::MariaDb ? number : fmt::format("CAST({} AS VARCHAR(9))", number);
  };
  const std::string whole = engine_ == Engine::MariaDb ? "DIV" : "/";
  const std::string source = Joined(engine_, {"'10.'", digits(fmt::format("({} {} 250)", kSource, whole)),
                                              "'.'", digits(fmt::format("({} % 250)", kSource)), "'.1'"});
  const std::string enterprise = Joined(engine_, {"'1.3.6.1.4.1.'", digits("(9000 + i % 30)")});
  const std::string description = Joined(engine_, {"'1.3.6.1.2.1.2.2.1.1.'", digits("(i % 48)")});
  store_.Execute(
      fmt::format("INSERT INTO EventTrap (EventTime, Source, EnterpriseOid, SpecificTrap, EventDescription, "
                  "Event_ExtDescr, EventAck) SELECT {} + i * 864 {} 100, {}, {}, i % 300 {} 30, {}, "
                  "', 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/12, 1.3.6.1.2.1.2.2.1.8 = 2', CASE WHEN i > {} THEN 0 "
                  "ELSE 1 END FROM {}",
                  kFirstTime, whole, source, enterprise, whole, description, last - Unacknowledged,
                  Numbers(engine_, first, last)));
}

void History::GrowTo(std::int64_t traps) {
  store_.Execute("UPDATE EventTrap SET EventAck = 1 WHERE EventAck = 0");
  // Entries at random places of an index that outgrows the cache cost more than making it again.
  const bool anew = engine_ == Engine::Sqlite && traps > 1'000'000;
  const auto file = anew ? dynamic_cast<test::SqliteStore&>(store_).TrapFile() : std::filesystem::path();
  std::string index;
  if (anew) {
    index =
        store_.Text("SELECT sql FROM traps.sqlite_master WHERE name = 'EventTrap_Source_Ack_Time'", "sql");
    OnFile(file, "DROP INDEX IF EXISTS EventTrap_Source_Ack_Time");
  }
  while (Traps < traps) {
    receiver::MakePartitions(store_.Db());
    // The newest go in one piece, so that all that are not acknowledged are of it.
    const std::int64_t left = traps - Traps;
    const std::int64_t some = left < kTrapsAtOnce + Unacknowledged ? left : kTrapsAtOnce;
    const std::int32_t fresh = std::exchange(Unacknowledged, some == left ? Unacknowledged : 0);
    Add(Traps + 1, Traps + some);
    Unacknowledged = fresh;
    Traps += some;
  }
  if (anew) OnFile(file, index + "; PRAGMA wal_checkpoint(TRUNCATE)");
  // What the server has left to do for so many new rows is not of what is measured.
  if (engine_ == Engine::PostgreSql) {
    store_.Execute("VACUUM ANALYZE EventTrap");
    store_.Execute("CHECKPOINT");
  }
  if (engine_ == Engine::MariaDb) {
    store_.Execute("ANALYZE TABLE EventTrap");
    store_.Execute("FLUSH TABLES EventTrap FOR EXPORT");
    store_.Execute("UNLOCK TABLES");
    store_.Execute("SET GLOBAL innodb_max_dirty_pages_pct = 0");
    const auto left = [this](std::string_view what) {
      return store_.Number(
          fmt::format("SELECT CAST(VARIABLE_VALUE AS INTEGER) FROM information_schema.GLOBAL_STATUS "
                      "WHERE VARIABLE_NAME = 'Innodb_{}'",
                      what));
    };
    if (!test::WaitUntil(
            [&] { return left("buffer_pool_pages_dirty") < 100 && left("history_list_length") < 100; },
            std::chrono::minutes(5))) {
      throw std::runtime_error("the server goes on writing");
    }
    store_.Execute("SET GLOBAL innodb_max_dirty_pages_pct = 90");
  }
  LastNumber = store_.Number("SELECT MAX(SequenceNumber) FROM EventTrap");
}

double History::BytesOfATrap() const {
  std::int64_t kibibytes = 0;
  if (engine_ == Engine::Sqlite) {
    kibibytes = static_cast<std::int64_t>(
        std::filesystem::file_size(dynamic_cast<test::SqliteStore&>(store_).TrapFile()) / 1024);
  } else if (engine_ == Engine::PostgreSql) {
    kibibytes = store_.Number(
        "SELECT CAST(SUM(pg_total_relation_size(oid)) / 1024 AS INTEGER) FROM pg_class WHERE relkind = 'r' "
        "AND "
        "relname LIKE 'eventtrap%'");
  } else {
    kibibytes = store_.Number(
        "SELECT CAST(SUM(DATA_LENGTH + INDEX_LENGTH) / 1024 AS SIGNED) FROM information_schema.TABLES WHERE "
        "TABLE_SCHEMA = DATABASE() AND TABLE_NAME = 'EventTrap'");
  }
  return static_cast<double>(kibibytes) * 1024 / static_cast<double>(Traps);
}

}  // namespace korvane::bench
