#include "support/TestStore.h"

#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include "store/BatchInsert.h"
#include "store/Tables.h"
#include "store/TrapPartitions.h"
#include "support/TempFolder.h"

#ifdef __SANITIZE_ADDRESS__
#include <dlfcn.h>

extern "C" const char* __lsan_default_suppressions();
extern "C" const char*
__lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier): its given name
  // The embedded engine's driver loses some 1.6 kB at every connect, PostgreSQL's a few bytes with each
  // connection that is refused.
  return "leak:libsqlite3odbc\nleak:psqlodbcw\n";
}
#endif

namespace korvane::test {

namespace {

// The folder and the servers' ports that tests/support/database-servers wrote down; empty when none run.
std::map<std::string, std::string> ServersState() {
  std::map<std::string, std::string> state;
  std::ifstream file(KORVANE_DATABASE_SERVERS);
  for (std::string name, value; std::getline(file, name, '=') && std::getline(file, value);) {
    state[name] = value;
  }
  return state;
}

// A database of this process's own.
std::string DatabaseName() {
  return fmt::format("test_{}", getpid());
}

void SetVariable(const char* name, const std::filesystem::path& value) {
#ifdef _WIN32
  _putenv_s(name, value.string().c_str());
#else
  setenv(name, value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
#endif
}

// The data sources say where a store is and nothing more: what the console relies on it must ask for itself.
std::unique_ptr<TempFolder> MakeDataSourceFolder() {
  auto folder = std::make_unique<TempFolder>();
  std::ofstream drivers(*folder / "odbcinst.ini");
  for (const auto& [name, library] :
       {std::pair{"SQLite3", "libsqlite3odbc.so"}, std::pair{"PostgreSQL", "psqlodbcw.so"},
        std::pair{"MariaDB", "libmaodbc.so"}}) {
    const std::string path = std::string(KORVANE_ODBC_DRIVERS "/") + library;
    drivers << fmt::format("[{}]\nDriver={}\nThreading=0\n\n", name, path);
#ifdef __SANITIZE_ADDRESS__
    // The driver manager unloads a driver with its last connection; a leak of it would then stand in a report
    // without a module, where nothing can be told apart.
    dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
#endif
  }
  std::ofstream sources(*folder / "odbc.ini");
  sources << fmt::format("[dvldb]\nDriver=SQLite3\nDatabase={}\n\n", (*folder / "dvldb.db").string());
  const auto state = ServersState();
  for (const auto& [server, driver, host, user] :
       {std::array{"postgresql", "PostgreSQL", "Servername", "Username"},
        std::array{"mariadb", "MariaDB", "Server", "Uid"}}) {
    if (!state.contains(server)) continue;
    sources << fmt::format("[dvldb-{}]\nDriver={}\n{}=127.0.0.1\nPort={}\nDatabase={}\n{}=dvl\n\n", server,
                           driver, host, state.at(server), DatabaseName(), user);
  }
  SetVariable("ODBCSYSINI", folder->Path());
  SetVariable("ODBCINI", *folder / "odbc.ini");
  return folder;
}

class ServerStore : public TestStore {
 public:
  explicit ServerStore(std::string server) : TestStore("dvldb-" + server), server_(std::move(server)) {
    if (!ServersState().contains(server_)) {
      throw std::runtime_error(
          "The database servers are not running.  ctest starts them; by hand: "
          "tests/support/database-servers start " KORVANE_DATABASE_SERVERS);
    }
    Ask("create");
    Connect(Db());
  }
  ~ServerStore() override {
    Db().Close();
    try {
      Ask("drop");
    } catch (const std::exception&) {  // it goes with the server
    }
  }

  void TakeAway() override { Ask("halt"); }
  void BringBack() override { Ask("resume"); }
  void Freeze() override { Ask("freeze"); }
  void Thaw() override { Ask("thaw"); }

 private:
  void Ask(const std::string& verb) {
    RunProgram({std::string(KORVANE_SOURCE_DIR) + "/tests/support/database-servers", verb,
                KORVANE_DATABASE_SERVERS, server_, DatabaseName()});
  }

  std::string server_;
};

}  // namespace

std::string EngineName(store::Engine engine) {
  static const std::map<store::Engine, std::string> kNames = {{store::Engine::Sqlite, "Sqlite"},
                                                              {store::Engine::PostgreSql, "PostgreSql"},
                                                              {store::Engine::MariaDb, "MariaDb"}};
  return kNames.at(engine);
}

std::unique_ptr<TestStore> MakeStore(store::Engine engine) {
  if (engine == store::Engine::Sqlite) return std::make_unique<SqliteStore>();
  return std::make_unique<ServerStore>(engine == store::Engine::MariaDb ? "mariadb" : "postgresql");
}

const std::filesystem::path& DataSourceFolder() {
  static const std::unique_ptr<TempFolder> folder = MakeDataSourceFolder();
  return folder->Path();
}

void RunProgram(const std::vector<std::string>& command) {
  const std::string line = fmt::format("'{}' >/dev/null", fmt::join(command, "' '"));
  if (std::system(line.c_str()) != 0) throw std::runtime_error(line + " failed");
}

std::int32_t TestStore::Number(std::string_view select) {
  store::Recordset rows = db_.OpenRecordset(select);
  return rows.Next() ? rows.Integer(0) : 0;
}

std::string TestStore::Text(std::string_view select, std::string_view column) {
  store::Recordset rows = db_.OpenRecordset(select);
  return rows.Next() ? rows.Text(column) : std::string();
}

std::int32_t TestStore::AddTrap(const StoredTrap& trap) {
  return AddTraps(std::span(&trap, 1));
}

// The receiver makes the partitions of the numbers that it is given; these are chosen by a test.
void TestStore::MakePartitionOf(std::int32_t number) {
  constexpr std::int64_t kNumbers = store::kNumbersOfPartition;
  const std::int64_t from = number / kNumbers * kNumbers;
  if (Db().Kind() != store::Engine::PostgreSql || number < 2 * kNumbers) return;
  Execute(fmt::format(
      "CREATE TABLE IF NOT EXISTS EventTrap_{0} PARTITION OF EventTrap FOR VALUES FROM ({0}) TO ({1})", from,
      from + kNumbers > INT32_MAX ? "MAXVALUE" : std::to_string(from + kNumbers)));
}

std::int32_t TestStore::AddTraps(std::span<const StoredTrap> traps) {
  for (const StoredTrap& trap : traps) MakePartitionOf(trap.SequenceNumber);
  static constexpr std::array<std::string_view, 10> kColumns = {
      "SequenceNumber", "EventTime",        "Source",         "EnterpriseOid", "GenericTrap",
      "SpecificTrap",   "EventDescription", "Event_ExtDescr", "EventNotes",    "EventAck"};
  std::int32_t next = Number(fmt::format("SELECT MAX(SequenceNumber) FROM {}", store::kEventTrap));
  store::Transaction transaction(db_);
  store::BatchInsert insert(db_, store::kEventTrap, kColumns);
  for (const StoredTrap& trap : traps) {
    next = trap.SequenceNumber != 0 ? trap.SequenceNumber : next + 1;
    insert.Add(std::array<store::BatchInsert::Value, 10>{
        next, trap.EventTime, trap.Source, trap.EnterpriseOid, trap.GenericTrap, trap.SpecificTrap,
        trap.EventDescription, trap.Event_ExtDescr, trap.EventNotes, trap.EventAck});
  }
  insert.Flush();
  transaction.Commit();
  return next;
}

void TestStore::AddRow(std::string_view table, const std::vector<std::pair<std::string_view, Cell>>& cells) {
  store::Recordset rows = db_.OpenRecordset(table, "1 = 0");
  rows.AddNew();
  for (const auto& [column, cell] : cells) {
    std::visit([&rows, name = column](const auto& value) { rows.Set(name, value); }, cell);
  }
  rows.Update();
}

void TestStore::AddDefinition(std::string_view enterpriseOid, std::int32_t specificTrap,
                              std::string_view trapName, std::string_view enterpriseName,
                              std::string_view description) {
  AddRow(store::kEventStructure, {{"EnterpriseOid", enterpriseOid},
                                  {"RequestType", specificTrap},
                                  {"SpecificTrap", trapName},
                                  {"Name", enterpriseName},
                                  {"TrapDescription", description}});
}

void TestStore::AddSystem(std::string_view name, std::string_view address, std::string_view type) {
  AddRow(store::kSystemTable, {{"System_Name", name}, {"IP_Address", address}, {"System_Type", type}});
}

void TestStore::AddCategory(std::string_view name, std::span<const StoredCriterion> members) {
  const std::int32_t id = Number("SELECT MAX(Category_ID) FROM Category_Group") + 1;
  for (const std::string& row :
       {fmt::format("Category_Group_Master (Category_Name) VALUES ('{}')", name),
        fmt::format("Category_Group (Category_Name, Category_ID) VALUES ('{}', {})", name, id),
        fmt::format(
            "Category_Group_Detail (Category_ID, Category_Type, Group_Name) VALUES ({}, 4, '{}_Trap')", id,
            name),
        fmt::format("Trap_Group_Master (Trap_Group_Name) VALUES ('{}_Trap')", name)}) {
    Execute("INSERT INTO " + row);
  }
  for (const StoredCriterion& member : members) {
    AddRow(store::kTrapGroupDetail, {{"Source_Agent", member.Source_Agent},
                                     {"EnterpriseOid", member.EnterpriseOid},
                                     {"GenericTrap", member.GenericTrap},
                                     {"SpecificTrap", std::to_string(member.SpecificTrap)},
                                     {"EventDescription", member.EventDescription},
                                     {"Severity", member.Severity}});
    Execute(fmt::format("INSERT INTO Trap_Group (Trap_Group_Name, Trap_ID) VALUES ('{}_Trap', {})", name,
                        Number("SELECT MAX(Trap_Table_ID) FROM Trap_Group_Detail")));
  }
}

void TestStore::AddFilter(const StoredCriterion& criterion) {
  AddRow(store::kTrapDetail, {{"Source_Agent", criterion.Source_Agent},
                              {"EnterpriseOid", criterion.EnterpriseOid},
                              {"GenericTrap", criterion.GenericTrap},
                              {"SpecificTrap", criterion.SpecificTrap},
                              {"EventDescription", criterion.EventDescription}});
  Execute(fmt::format("INSERT INTO Trap_Filter_Group (Trap_ID) VALUES ({})",
                      Number("SELECT MAX(Trap_Table_ID) FROM Trap_Detail")));
}

namespace {

constexpr std::array<const char*, 6> kStoreFiles = {
    "dvldb.db", "dvldb.db-wal", "dvldb.db-shm", "dvldb-traps.db", "dvldb-traps.db-wal", "dvldb-traps.db-shm"};

void MoveStore(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::filesystem::create_directories(to);
  for (const char* const file : kStoreFiles) {
    if (std::filesystem::exists(from / file)) std::filesystem::rename(from / file, to / file);
  }
}

}  // namespace

void SqliteStore::TakeAway() {
  MoveStore(DataSourceFolder(), DataSourceFolder() / "away");
}

void SqliteStore::BringBack() {
  MoveStore(DataSourceFolder() / "away", DataSourceFolder());
}

SqliteStore::SqliteStore() : TestStore(std::string(store::kDataSourceName)) {
  for (const char* const file : kStoreFiles) {
    std::filesystem::remove(DataSourceFolder() / file);
  }
  RunProgram({KORVANE_SOURCE_DIR "/install/make-store", "sqlite", MainFile().string()});
  Connect(Db());
}

}  // namespace korvane::test
