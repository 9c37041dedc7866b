#include "support/Engines.h"

#include <unistd.h>

#include <fstream>
#include <map>
#include <stdexcept>

#include <fmt/format.h>

namespace korvane::test {

namespace {

const std::string kScript = KORVANE_SOURCE_DIR "/tests/support/database-servers";

// The ports that the keeper of the servers wrote down, by the server's name.
std::map<std::string, std::string> ServerPorts() {
  std::map<std::string, std::string> ports;
  std::ifstream state(KORVANE_DATABASE_SERVERS);
  std::string section;
  for (std::string line; std::getline(state, line);) {
    if (line.starts_with('[')) section = line.substr(1, line.size() - 2);
    if (line.starts_with("port = ")) ports[section] = line.substr(7);
  }
  return ports;
}

// A database of this process's own.
std::string DatabaseName() {
  return fmt::format("test_{}", getpid());
}

class ServerStore : public TestStore {
 public:
  explicit ServerStore(std::string server) : TestStore("dvldb-" + server), server_(std::move(server)) {
    if (!ServerPorts().contains(server_)) {
      throw std::runtime_error("The database servers are not running.  ctest starts them; by hand: " +
                               kScript + " start " KORVANE_DATABASE_SERVERS);
    }
    DataSourceFolder();
    Ask({"create", server_, DatabaseName()});
    Connect(Db());
  }
  ~ServerStore() override {
    Db().Close();
    try {
      Ask({"drop", server_, DatabaseName()});
    } catch (const std::exception&) {  // it goes with the server
    }
  }

  void TakeAway() override { Ask({"halt", server_}); }
  void BringBack() override { Ask({"resume", server_}); }

 private:
  static void Ask(const std::vector<std::string>& words) {
    std::vector<std::string> command = {kScript, "ask", KORVANE_DATABASE_SERVERS};
    command.insert(command.end(), words.begin(), words.end());
    RunProgram(command);
  }

  std::string server_;
};

}  // namespace

std::string EngineName(store::Engine engine) {
  switch (engine) {
    case store::Engine::Sqlite:
      return "Sqlite";
    case store::Engine::PostgreSql:
      return "PostgreSql";
    case store::Engine::MariaDb:
      return "MariaDb";
    case store::Engine::Other:
      break;
  }
  return "Other";
}

std::string ServerDataSources() {
  std::string text;
  for (const auto& [server, port] : ServerPorts()) {
    if (server == "postgresql") {
      text += fmt::format(
          "[dvldb-{}]\nDriver=PostgreSQL\nServername=127.0.0.1\nPort={}\nDatabase={}\nUserName=dvl\n"
          "SSLmode=disable\nUseDeclareFetch=1\nFetch=2000\nProtocol=7.4-2\nB1=65536\n\n",
          server, port, DatabaseName());
    } else {
      text += fmt::format(
          "[dvldb-{}]\nDriver=MariaDB\nSERVER=127.0.0.1\nPORT={}\nDATABASE={}\nUID=dvl\nCHARSET=utf8mb4\n"
          "CONN_TIMEOUT=5\n\n",
          server, port, DatabaseName());
    }
  }
  return text;
}

std::unique_ptr<TestStore> MakeStore(store::Engine engine) {
  if (engine == store::Engine::Sqlite) return std::make_unique<SqliteStore>();
  return std::make_unique<ServerStore>(engine == store::Engine::MariaDb ? "mariadb" : "postgresql");
}

}  // namespace korvane::test
