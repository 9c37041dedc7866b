#include "support/TestStore.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "store/BatchInsert.h"
#include "store/Tables.h"
#include "support/Engines.h"
#include "support/Sanitizers.h"
#include "support/TempFolder.h"

namespace korvane::test {

namespace {

// Debian keeps the drivers in its multiarch folder, other systems elsewhere below /usr.
std::string DriverLibrary(const std::string& name) {
  for (const auto& folder : std::filesystem::directory_iterator("/usr/lib")) {
    if (const auto path = folder.path() / "odbc" / name; std::filesystem::exists(path)) return path;
  }
  for (const char* const folder : {"/usr/lib/odbc", "/usr/lib64"}) {
    if (const auto path = std::filesystem::path(folder) / name; std::filesystem::exists(path)) return path;
  }
  return name;  // left to the loader, whose error names it
}

std::string ShellWord(const std::string& text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}

std::unique_ptr<TempFolder> MakeDataSourceFolder() {
  auto folder = std::make_unique<TempFolder>();
  std::ofstream drivers(*folder / "odbcinst.ini");
  for (const auto& [name, library] :
       {std::pair{"SQLite3", "libsqlite3odbc.so"}, std::pair{"PostgreSQL", "psqlodbcw.so"},
        std::pair{"MariaDB", "libmaodbc.so"}}) {
    const std::string path = DriverLibrary(library);
    drivers << fmt::format("[{}]\nDriver={}\nThreading=0\n\n", name, path);
    KeepDriverLoaded(path);
  }
  std::ofstream sources(*folder / "odbc.ini");
  sources << fmt::format("[dvldb]\nDriver=SQLite3\nDatabase={}\n\n", (*folder / "dvldb.db").string());
  sources << ServerDataSources();
  setenv("ODBCSYSINI", folder->Path().c_str(), 1);       // NOLINT(concurrency-mt-unsafe)
  setenv("ODBCINI", (*folder / "odbc.ini").c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  return folder;
}

}  // namespace

const std::filesystem::path& DataSourceFolder() {
  static const std::unique_ptr<TempFolder> folder = MakeDataSourceFolder();
  return folder->Path();
}

void RunProgram(const std::vector<std::string>& command) {
  std::string line;
  for (const std::string& word : command) line += ShellWord(word) + " ";
  std::FILE* const pipe = popen((line + "2>&1").c_str(), "re");
  if (pipe == nullptr) throw std::runtime_error("cannot run " + line);
  std::string output;
  std::array<char, 4096> part{};
  while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe))
    output.append(part.data(), size);
  if (pclose(pipe) != 0) throw std::runtime_error(line + "failed:\n" + output);
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

std::int32_t TestStore::AddTraps(std::span<const StoredTrap> traps) {
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
  const std::string group = fmt::format("{}_Trap", name);
  Execute(fmt::format("INSERT INTO Category_Group_Master (Category_Name) VALUES ('{}')", name));
  Execute(fmt::format("INSERT INTO Category_Group (Category_Name, Category_ID) VALUES ('{}', {})", name, id));
  Execute(
      fmt::format("INSERT INTO Category_Group_Detail (Category_ID, Category_Type, Group_Name) "
                  "VALUES ({}, 4, '{}')",
                  id, group));
  Execute(fmt::format("INSERT INTO Trap_Group_Master (Trap_Group_Name) VALUES ('{}')", group));
  for (const StoredCriterion& member : members) {
    AddRow(store::kTrapGroupDetail, {{"Source_Agent", member.Source_Agent},
                                     {"EnterpriseOid", member.EnterpriseOid},
                                     {"GenericTrap", member.GenericTrap},
                                     {"SpecificTrap", std::to_string(member.SpecificTrap)},
                                     {"EventDescription", member.EventDescription},
                                     {"Severity", member.Severity}});
    Execute(fmt::format("INSERT INTO Trap_Group (Trap_Group_Name, Trap_ID) VALUES ('{}', {})", group,
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

constexpr std::array<const char*, 3> kFileSuffixes = {"", "-wal", "-shm"};

void MoveStore(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::filesystem::create_directories(to);
  for (const char* const name : {"dvldb.db", "dvldb-traps.db"}) {
    for (const char* const suffix : kFileSuffixes) {
      const std::string file = std::string(name) + suffix;
      if (std::filesystem::exists(from / file)) std::filesystem::rename(from / file, to / file);
    }
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
  for (const auto& file : {MainFile(), TrapFile()}) {
    for (const char* const suffix : kFileSuffixes) {
      std::error_code ignored;
      std::filesystem::remove(file.string() + suffix, ignored);
    }
  }
  RunProgram({KORVANE_SOURCE_DIR "/install/make-store", "sqlite", MainFile()});
  Connect(Db());
}

}  // namespace korvane::test
