#include "store/TrapTableSwap.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/Files.h"
#include "store/Odbc.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapNumbers.h"
#include "store/TrapPartitions.h"

namespace korvane::store {
namespace {

// The values of the only column that is asked for.
std::vector<std::string> ValuesOf(Connection& connection, const std::string& select) {
  std::vector<std::string> values;
  for (Recordset rows = connection.OpenRecordset(select); rows.Next();) values.push_back(rows.Text("Found"));
  return values;
}

std::string ValueOf(Connection& connection, const std::string& select) {
  const std::vector<std::string> values = ValuesOf(connection, select);
  return values.empty() ? std::string() : values.front();
}

std::int64_t ParsedNumber(std::string_view text) {
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::int64_t LongOf(Connection& connection, const std::string& select) {
  return ParsedNumber(ValueOf(connection, select));
}

void WriteIdentity(Connection& connection, const std::string& identity) {
  connection.Execute(fmt::format("UPDATE {} SET Store_Identity = {}", kStoreInfo, Quoted(identity)));
}

// One transaction from the closing to the end; what others read is the state before it until then.
class SqliteSwap : public TrapTableSwap {
 public:
  explicit SqliteSwap(Connection& connection) : connection_(connection) {
    const bool apart =
        LongOf(connection, "SELECT COUNT(*) AS Found FROM pragma_database_list WHERE name = 'traps'") > 0;
    schema_ = apart ? "traps" : "main";
    // Sorting for the indices, and comparing two tables, go through memory.
    connection.Execute(fmt::format("PRAGMA {}.cache_size = -{}", schema_, kCacheKibibytes));
  }

  Size Measure() override {
    const auto pages = [this](std::string_view pragma) {
      Statement statement(connection_.Internals());
      statement.ExecuteDirect(fmt::format("PRAGMA {}.{}", schema_, pragma));
      std::string text;
      if (statement.Fetch()) statement.AppendCell(1, text);
      return ParsedNumber(text);
    };
    const std::int64_t page = pages("page_size");
    const std::int64_t unused = pages("freelist_count") * page;
    Size size{.Bytes = pages("page_count") * page - unused, .Needed = 0, .Free = {}};
    // The copy, and what is written ahead of the indices.
    size.Needed = size.Bytes / 2 * 3;
    const std::string file =
        ValueOf(connection_,
                fmt::format("SELECT file AS Found FROM pragma_database_list WHERE name = '{}'", schema_));
    std::error_code error;
    const std::filesystem::space_info space = std::filesystem::space(platform::PathOf(file), error);
    if (!error) size.Free = static_cast<std::int64_t>(space.available) + unused;
    return size;
  }

  std::int64_t LastGiven() override {
    return LongOf(connection_, fmt::format("SELECT seq AS Found FROM {}.sqlite_sequence WHERE name = '{}'",
                                           schema_, kEventTrap));
  }

  bool Unfinished() override {
    return LongOf(connection_, fmt::format("SELECT COUNT(*) AS Found FROM {}.sqlite_master WHERE name = '{}'",
                                           schema_, kTrapsAside)) > 0;
  }

  void MakeAside(std::int64_t /*last*/, const std::string& /*identity*/) override {
    const std::string made = Texts("table").at(0);
    connection_.Execute(
        fmt::format("CREATE TABLE {}.{} {}", schema_, kTrapsAside, made.substr(made.find('('))));
  }

  std::string Close() override {
    connection_.BeginTransaction();
    TakeRightToWrite(connection_, kEventTrap);
    // Of the other file too, while it can still be waited for.
    TakeRightToWrite(connection_, kStoreInfo);
    return std::string(kEventTrap);
  }

  void MakeRoom(std::int64_t /*last*/) override {}

  // Names of indices are unique in the file, so they are made when those of the old table are gone.
  void Swap(const std::string& identity, std::int64_t /*last*/) override {
    std::vector<std::string> further;
    for (const std::string_view type : {"index", "trigger"}) {
      for (const std::string& name : Names(type)) {
        std::string text = ValueOf(
            connection_,
            fmt::format("SELECT sql AS Found FROM {}.sqlite_master WHERE name = '{}'", schema_, name));
        further.push_back(text.insert(text.find(name), schema_ + "."));
      }
    }
    connection_.Execute(fmt::format("DROP TABLE {}.{}", schema_, kEventTrap));
    // Otherwise it objects to each view of the site that reads the table which is gone just now.
    connection_.Execute("PRAGMA legacy_alter_table = ON");
    connection_.Execute(fmt::format("ALTER TABLE {}.{} RENAME TO {}", schema_, kTrapsAside, kEventTrap));
    connection_.Execute("PRAGMA legacy_alter_table = OFF");
    for (const std::string& statement : further) connection_.Execute(statement);
    WriteIdentity(connection_, identity);
    connection_.Commit();
  }

  // Of two files each is committed by itself: who read one before and the other behind reads again.
  void TidyUp(const std::string& identity) override { WriteIdentity(connection_, identity + "b"); }

  void TakeBack() override {
    connection_.Rollback();
    connection_.Execute(fmt::format("DROP TABLE IF EXISTS {}.{}", schema_, kTrapsAside));
  }

 private:
  std::vector<std::string> Select(std::string_view column, std::string_view type) {
    return ValuesOf(connection_, fmt::format("SELECT {} AS Found FROM {}.sqlite_master WHERE type = '{}' AND "
                                             "tbl_name = '{}' AND sql IS NOT NULL ORDER BY rowid",
                                             column, schema_, type, kEventTrap));
  }
  std::vector<std::string> Texts(std::string_view type) { return Select("sql", type); }
  std::vector<std::string> Names(std::string_view type) { return Select("name", type); }

  static constexpr int kCacheKibibytes = 128 * 1024;

  Connection& connection_;
  std::string schema_;
};

// One transaction as well.  The partitions change places, so that the table keeps its name, rights and
// counter. Others go on reading until the last moment.
class PostgreSqlSwap : public TrapTableSwap {
 public:
  explicit PostgreSqlSwap(Connection& connection) : connection_(connection) {}

  Size Measure() override {
    const std::int64_t bytes =
        LongOf(connection_,
               fmt::format("SELECT SUM(pg_total_relation_size(relid)) AS Found FROM pg_partition_tree('{}')",
                           kEventTrap));
    return {.Bytes = bytes, .Needed = bytes, .Free = {}};
  }

  std::int64_t LastGiven() override {
    return LongOf(connection_, fmt::format("SELECT pg_sequence_last_value(pg_get_serial_sequence('{}', "
                                           "'sequencenumber')::regclass) AS Found",
                                           kEventTrap));
  }

  bool Unfinished() override { return Exists(kTrapsAside); }

  // Its traps can't be read any more, and the change log does not have their numbers yet.
  std::string Obstacle() override {
    std::vector<std::string> leaving = ValuesOf(
        connection_, fmt::format("SELECT Name AS Found FROM ({}) AS detached UNION ALL SELECT "
                                 "inhrelid::regclass::text FROM pg_inherits WHERE inhdetachpending AND "
                                 "inhparent = '{}'::regclass",
                                 SelectDetachedPartitions(), kEventTrap));
    if (leaving.empty()) return {};
    return fmt::format(
        "A receiver has begun to delete the partition {} of old traps. Let a receiver run until it is gone: "
        "some minutes, or as long as somebody reads in it.",
        leaving.front());
  }

  void MakeAside(std::int64_t last, const std::string& /*identity*/) override {
    ValueOf(connection_, fmt::format("SELECT pg_advisory_lock({})::text AS Found", kDroppingLock));
    dropping_ = true;
    RequireNothingLeaves();
    connection_.Execute(
        fmt::format("CREATE TABLE {} (LIKE {} INCLUDING DEFAULTS INCLUDING CONSTRAINTS) "
                    "PARTITION BY RANGE (SequenceNumber)",
                    kTrapsAside, kEventTrap));
    MakeRoom(last);
  }

  // The indices are those of the traps, whichever these are; without figures of its rows the server would
  // read the whole table for each portion.
  void Complete() override {
    connection_.Execute(fmt::format("ALTER TABLE {} ADD PRIMARY KEY (SequenceNumber)", kTrapsAside));
    for (const std::string& text :
         ValuesOf(connection_, fmt::format("SELECT pg_get_indexdef(indexrelid) AS Found FROM pg_index WHERE "
                                           "indrelid = '{}'::regclass AND NOT indisprimary",
                                           kEventTrap))) {
      connection_.Execute(
          fmt::format("CREATE INDEX ON {}{}", kTrapsAside, text.substr(text.find(" USING "))));
    }
    connection_.Execute(fmt::format("ANALYZE {}", kTrapsAside));
  }

  std::string Close() override {
    connection_.BeginTransaction();
    // The first once more: a connection that was opened again meanwhile has lost it.
    for (const std::string_view lock : {kDroppingLock, kMakingLock}) {
      ValueOf(connection_, fmt::format("SELECT pg_advisory_xact_lock({})::text AS Found", lock));
    }
    RequireNothingLeaves();
    connection_.Execute(fmt::format("LOCK TABLE {} IN EXCLUSIVE MODE", kEventTrap));
    return std::string(kEventTrap);
  }

  // As many more as a new store begins with.  The constraint saves looking through the rows at the end.
  void MakeRoom(std::int64_t last) override {
    const std::int64_t upTo = std::min(last + kNumbersOfPartition, kLastTrapNumber);
    for (; room_ <= upTo; room_ += kNumbersOfPartition) {
      connection_.Execute(fmt::format(
          "CREATE TABLE {0}_{1} PARTITION OF {0} (CONSTRAINT {2} CHECK (SequenceNumber >= {3} AND "
          "SequenceNumber <= {4})) FOR VALUES {5}",
          kTrapsAside, room_, kRoom, Lower(room_), Upper(room_), Bounds(room_)));
    }
  }

  void Swap(const std::string& identity, std::int64_t last) override {
    KeepOthersOut();
    for (const std::string& old :
         ValuesOf(connection_, fmt::format("SELECT inhrelid::regclass::text AS Found FROM pg_inherits WHERE "
                                           "inhparent = '{}'::regclass",
                                           kEventTrap))) {
      connection_.Execute(fmt::format("DROP TABLE {}", old));
    }
    for (std::int64_t first = 0; first < room_; first += kNumbersOfPartition) {
      const std::string aside = fmt::format("{}_{}", kTrapsAside, first);
      const std::string part = FreePartitionName(connection_, first);
      for (const std::string& statement :
           {fmt::format("ALTER TABLE {} DETACH PARTITION {}", kTrapsAside, aside),
            fmt::format("ALTER TABLE {} RENAME TO {}", aside, part),
            fmt::format("ALTER TABLE {} ATTACH PARTITION {} FOR VALUES {}", kEventTrap, part, Bounds(first)),
            fmt::format("ALTER TABLE {} DROP CONSTRAINT {}", part, kRoom)}) {
        connection_.Execute(statement);
      }
    }
    connection_.Execute(fmt::format("DROP TABLE {}", kTrapsAside));
    connection_.Execute(
        fmt::format("ALTER TABLE {} ALTER COLUMN SequenceNumber RESTART WITH {}", kEventTrap, last + 1));
    WriteIdentity(connection_, identity);
    connection_.Commit();
  }

  void TidyUp(const std::string& /*identity*/) override { LetDrop(); }

  void TakeBack() override {
    connection_.Rollback();
    connection_.Execute(fmt::format("DROP TABLE IF EXISTS {}", kTrapsAside));
    LetDrop();
  }

 private:
  bool Exists(std::string_view table) {
    return !ValueOf(connection_, fmt::format("SELECT to_regclass('{}')::text AS Found", table)).empty();
  }

  void RequireNothingLeaves() {
    if (const std::string obstacle = Obstacle(); !obstacle.empty()) {
      throw DatabaseError(obstacle, "55006", 0, {});
    }
  }
  void LetDrop() {
    if (dropping_) {
      ValueOf(connection_, fmt::format("SELECT pg_advisory_unlock({})::text AS Found", kDroppingLock));
    }
    dropping_ = false;
  }

  static constexpr std::string_view kRoom = "Renumber_Room";
  static constexpr int kTries = 600;

  static std::int64_t Lower(std::int64_t first) {
    return first == 0 ? std::numeric_limits<std::int32_t>::min() : first;
  }
  static std::int64_t Upper(std::int64_t first) {
    return std::min(first + kNumbersOfPartition - 1, kLastTrapNumber);
  }
  static std::string Bounds(std::int64_t first) {
    return fmt::format("FROM ({}) TO ({})", first == 0 ? "MINVALUE" : fmt::to_string(first),
                       Upper(first) == kLastTrapNumber ? "MAXVALUE" : fmt::to_string(Upper(first) + 1));
  }

  // Somebody may be reading for long, or read and be about to write.  Whoever comes behind a waiting lock
  // waits too, so it does not wait for long, and never until the server takes it for a deadlock, which would
  // end this.
  void KeepOthersOut() {
    connection_.Execute("SET LOCAL lock_timeout TO '700ms'");
    for (int tried = 1;; ++tried) {
      try {
        connection_.Execute(fmt::format("LOCK TABLE {} IN ACCESS EXCLUSIVE MODE", kEventTrap));
        return;
      } catch (const DatabaseError& error) {
        if (error.SqlState() != "55P03" || tried == kTries) throw;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
  }

  Connection& connection_;
  std::int64_t room_ = 0;  // numbers below have a partition aside
  bool dropping_ = false;  // the lock is held, by which receivers drop no partition
};

// Its statements on tables end a transaction.  The table is closed by giving it another name, so that
// everybody else fails at once, on each node of a cluster; where a run stands is told by the names that are
// there, and by the identity that is written on the table aside: once the store bears it, the run is to be
// brought to its end.
class MariaDbSwap : public TrapTableSwap {
 public:
  explicit MariaDbSwap(Connection& connection) : connection_(connection) {}

  Size Measure() override {
    const std::int64_t bytes =
        LongOf(connection_, "SELECT DATA_LENGTH + INDEX_LENGTH AS Found FROM " + Described(kEventTrap));
    return {.Bytes = bytes, .Needed = bytes, .Free = {}};
  }

  std::int64_t LastGiven() override {
    return LongOf(connection_, "SELECT AUTO_INCREMENT - 1 AS Found FROM " + Described(kEventTrap));
  }

  bool Unfinished() override { return Has(kTrapsAside) || Has(kOldTraps); }

  std::string Obstacle() override {
    const std::string trigger = ValueOf(
        connection_, fmt::format("SELECT TRIGGER_NAME AS Found FROM information_schema.TRIGGERS WHERE "
                                 "EVENT_OBJECT_SCHEMA = DATABASE() AND EVENT_OBJECT_TABLE = {}",
                                 Quoted(kEventTrap)));
    if (trigger.empty()) return {};
    return fmt::format("The trigger {} on {} would be lost. Drop it, and make it again afterwards.", trigger,
                       kEventTrap);
  }

  void MakeAside(std::int64_t /*last*/, const std::string& identity) override {
    connection_.Execute(fmt::format("CREATE TABLE {} LIKE {}", kTrapsAside, kEventTrap));
    connection_.Execute(fmt::format("ALTER TABLE {} COMMENT = {}", kTrapsAside, Quoted(identity)));
  }

  std::string Close() override {
    // Whoever has a transaction open on it is waited for, and who comes meanwhile waits too.
    connection_.Execute("SET SESSION lock_wait_timeout = 10");
    constexpr std::int32_t kLockWait = 1205;
    for (int tried = 1;; ++tried) {
      try {
        connection_.Execute(fmt::format("RENAME TABLE {} TO {}", kEventTrap, kOldTraps));
        return std::string(kOldTraps);
      } catch (const DatabaseError& error) {
        if (error.NativeCode() != kLockWait || tried == kTries) throw;
      }
    }
  }

  void MakeRoom(std::int64_t /*last*/) override {}

  void Swap(const std::string& identity, std::int64_t /*last*/) override {
    WriteIdentity(connection_, identity);
    connection_.Commit();
  }

  void TidyUp(const std::string& /*identity*/) override { TakeBack(); }

  void TakeBack() override {
    connection_.Rollback();
    if (!Has(kEventTrap)) {
      const bool goesOn = Has(kTrapsAside) && Bears(kTrapsAside);
      connection_.Execute(fmt::format("RENAME TABLE {} TO {}", goesOn ? kTrapsAside : kOldTraps, kEventTrap));
    }
    if (Has(kOldTraps) && !Bears(kEventTrap)) {
      throw DatabaseError(fmt::format("There are two tables of traps, {} and {}.", kEventTrap, kOldTraps),
                          "42S01", 0, {});
    }
    connection_.Execute(fmt::format("DROP TABLE IF EXISTS {}, {}", kTrapsAside, kOldTraps));
  }

 private:
  static constexpr std::string_view kOldTraps = "Renumber_Old";
  static constexpr int kTries = 60;

  static std::string Described(std::string_view table) {
    return fmt::format("information_schema.TABLES WHERE TABLE_SCHEMA = DATABASE() AND TABLE_NAME = {}",
                       Quoted(table));
  }
  bool Has(std::string_view table) {
    return LongOf(connection_, "SELECT COUNT(*) AS Found FROM " + Described(table)) > 0;
  }
  // True when the store has the identity that is written on the table.
  bool Bears(std::string_view table) {
    const std::string mark = ValueOf(connection_, "SELECT TABLE_COMMENT AS Found FROM " + Described(table));
    return !mark.empty() &&
           mark == ValueOf(connection_, fmt::format("SELECT Store_Identity AS Found FROM {}", kStoreInfo));
  }

  Connection& connection_;
};

}  // namespace

std::unique_ptr<TrapTableSwap> MakeTrapTableSwap(Connection& connection) {
  switch (connection.Kind()) {
    case Engine::Sqlite:
      return std::make_unique<SqliteSwap>(connection);
    case Engine::PostgreSql:
      return std::make_unique<PostgreSqlSwap>(connection);
    case Engine::MariaDb:
      return std::make_unique<MariaDbSwap>(connection);
    default:
      throw DatabaseError("The numbers of a trap store on this engine can't be moved.", "HYC00", 0, {});
  }
}

}  // namespace korvane::store
