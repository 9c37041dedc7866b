#include "support/Engines.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <map>
#include <stdexcept>

#include <fmt/format.h>

namespace korvane::test {

namespace {

using Section = std::map<std::string, std::string>;

// What the keeper of the servers wrote down: its folder, and each server's port.  Empty when none run.
std::map<std::string, Section> KeepersState() {
  std::map<std::string, Section> state;
  std::ifstream file(KORVANE_DATABASE_SERVERS);
  std::string section;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('[')) section = line.substr(1, line.size() - 2);
    if (const auto equals = line.find(" = "); equals != std::string::npos) {
      state[section][line.substr(0, equals)] = line.substr(equals + 3);
    }
  }
  return state;
}

// One request to the keeper, in a line of words; throws with its answer unless it was carried out.
void AskKeeper(const std::string& request) {
  const std::string path = KeepersState()["keeper"]["folder"] + "/control";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int link = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::string answer;
  if (connect(link, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    const std::string line = request + "\n";
    [[maybe_unused]] const ssize_t sent = send(link, line.data(), line.size(), MSG_NOSIGNAL);
    std::array<char, 4096> part{};
    for (ssize_t size = 0; (size = recv(link, part.data(), part.size(), 0)) > 0;) {
      answer.append(part.data(), static_cast<std::size_t>(size));
    }
  }
  close(link);
  if (answer != "done\n")
    throw std::runtime_error("The database servers' keeper: " + request + ": " + answer);
}

// A database of this process's own.
std::string DatabaseName() {
  return fmt::format("test_{}", getpid());
}

class ServerStore : public TestStore {
 public:
  explicit ServerStore(std::string server) : TestStore("dvldb-" + server), server_(std::move(server)) {
    if (!KeepersState().contains(server_)) {
      throw std::runtime_error(
          "The database servers are not running.  ctest starts them; by hand: "
          "tests/support/database-servers start " KORVANE_DATABASE_SERVERS);
    }
    AskKeeper(fmt::format("create {} {}", server_, DatabaseName()));
    Connect(Db());
  }
  ~ServerStore() override {
    Db().Close();
    try {
      AskKeeper(fmt::format("drop {} {}", server_, DatabaseName()));
    } catch (const std::exception&) {  // it goes with the server
    }
  }

  void TakeAway() override { AskKeeper("halt " + server_); }
  void BringBack() override { AskKeeper("resume " + server_); }

 private:
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
  for (const auto& [server, section] : KeepersState()) {
    if (!section.contains("port")) continue;
    const bool isPostgreSql = server == "postgresql";
    text += fmt::format("[dvldb-{}]\nDriver={}\n{}=127.0.0.1\nPort={}\nDatabase={}\n{}=dvl\n\n", server,
                        isPostgreSql ? "PostgreSQL" : "MariaDB", isPostgreSql ? "Servername" : "Server",
                        section.at("port"), DatabaseName(), isPostgreSql ? "Username" : "Uid");
  }
  return text;
}

std::unique_ptr<TestStore> MakeStore(store::Engine engine) {
  if (engine == store::Engine::Sqlite) return std::make_unique<SqliteStore>();
  return std::make_unique<ServerStore>(engine == store::Engine::MariaDb ? "mariadb" : "postgresql");
}

}  // namespace korvane::test
