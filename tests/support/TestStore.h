// A fresh trap store for one test, with helpers that fill and read it through a connection of its own.
// SqliteStore is what most tests want; MakeStore makes one of the three engines, for what must hold on each.
// One store at a time and process.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "store/Connection.h"

namespace korvane::test {

struct StoredTrap {
  std::int32_t SequenceNumber = 0;  // 0: the next
  std::int32_t EventTime = 1000;
  std::string Source = "router1";
  std::string EnterpriseOid = "1.3.6.1.4.1.9";
  std::int32_t GenericTrap = 6;
  std::int32_t SpecificTrap = 1;
  std::string EventDescription = "description";
  std::string Event_ExtDescr = "";
  std::string EventNotes = "";
  std::int32_t EventAck = 0;
};

struct StoredCriterion {
  std::string Source_Agent = "";
  std::string EnterpriseOid = "";
  std::int32_t GenericTrap = -1;
  std::int32_t SpecificTrap = 0;
  std::string EventDescription = "";
  std::int32_t Severity = 0;
};

// The folder of this process's odbc.ini and odbcinst.ini, named in its environment, with a data source for
// each engine: "dvldb" is the embedded one.  Written once, since the driver manager keeps what it once read.
const std::filesystem::path& DataSourceFolder();
// Runs a program with its arguments, which hold no quotes; throws when it fails, for the reason it wrote.
void RunProgram(const std::vector<std::string>& command);

class TestStore {
 public:
  virtual ~TestStore() = default;
  TestStore(const TestStore&) = delete;
  TestStore& operator=(const TestStore&) = delete;

  const std::string& DataSource() const { return dataSource_; }
  void Connect(store::Connection& connection) const { connection.Open(dataSource_, {}, {}); }

  // The helpers' own connection, committed after every call.
  store::Connection& Db() { return db_; }
  std::int64_t Execute(std::string_view statement) { return db_.Execute(statement); }
  std::int32_t Number(std::string_view select);  // the first cell, 0 without a row
  std::string Text(std::string_view select, std::string_view column);

  std::int32_t AddTrap(const StoredTrap& trap);              // its SequenceNumber
  std::int32_t AddTraps(std::span<const StoredTrap> traps);  // in one transaction; that of the last
  void AddDefinition(std::string_view enterpriseOid, std::int32_t specificTrap, std::string_view trapName,
                     std::string_view enterpriseName, std::string_view description = "");
  void AddSystem(std::string_view name, std::string_view address, std::string_view type = "Manual");

  // Takes the store from everybody (the server stops, the files are moved away) and gives it back as it was.
  virtual void TakeAway() = 0;
  virtual void BringBack() = 0;
  // A server stands still: whoever asks it gets no answer, not even a refusal, until it goes on.
  virtual void Freeze() {}
  virtual void Thaw() {}

  // A category with a "_Trap" group of these members, and a filter.
  void AddCategory(std::string_view name, std::span<const StoredCriterion> members);
  void AddFilter(const StoredCriterion& criterion);

 protected:
  explicit TestStore(std::string dataSource) : dataSource_(std::move(dataSource)) { DataSourceFolder(); }

 private:
  void MakePartitionOf(std::int32_t number);

  using Cell = std::variant<std::int32_t, std::string_view>;
  void AddRow(std::string_view table, const std::vector<std::pair<std::string_view, Cell>>& cells);

  std::string dataSource_;
  store::Connection db_;
};

// An embedded store behind the data source "dvldb".
class SqliteStore : public TestStore {
 public:
  SqliteStore();
  std::filesystem::path MainFile() const { return DataSourceFolder() / "dvldb.db"; }
  std::filesystem::path TrapFile() const { return DataSourceFolder() / "dvldb-traps.db"; }
  void TakeAway() override;
  void BringBack() override;
};

inline constexpr std::array<store::Engine, 3> kEngines = {store::Engine::Sqlite, store::Engine::PostgreSql,
                                                          store::Engine::MariaDb};
std::string EngineName(store::Engine engine);  // "Sqlite", "PostgreSql", "MariaDb"
// On the servers that the ctest fixture "database_servers" started (tests/support/database-servers); a test
// on an engine that is not there fails.
std::unique_ptr<TestStore> MakeStore(store::Engine engine);

}  // namespace korvane::test
