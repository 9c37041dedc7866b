// What each engine's session must be told once it is open, in one table keyed by the driver's DBMS name, and
// what must be true of the store behind it.
#include <array>
#include <charconv>
#include <filesystem>
#include <span>
#include <system_error>

#include <fmt/format.h>

#include "platform/Files.h"
#include "store/Odbc.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

// An embedded store keeps EventTrap in a file of its own, "X-traps.db" beside "X.db", so that the receiver's
// writing and an open change of the categories never wait for each other.  A store in one file works too.
void AttachTrapFile(Connection::Impl& link) {
  Statement statement(link);
  statement.ExecuteDirect("PRAGMA database_list");
  std::string main;
  while (statement.Fetch()) {
    std::string schema;
    std::string path;
    statement.AppendCell(2, schema);
    statement.AppendCell(3, path);
    if (schema == "main") main = path;
  }
  if (main.empty()) return;
  const auto mark = [&link](const std::string& path) {
    link.Files.push_back({platform::PathOf(path), platform::IdentityOfFile(platform::PathOf(path))});
    return link.Files.back().Identity.has_value();
  };
  mark(main);
  std::filesystem::path file = platform::PathOf(main);
  const std::filesystem::path ending = file.extension();
  file.replace_extension() += "-traps";
  const std::string traps = platform::TextOf(file += ending);
  if (!mark(traps)) return;
  std::string quoted;
  for (const char c : traps) quoted.append(c == '\'' ? 2 : 1, c);
  statement.ExecuteDirect(fmt::format("ATTACH DATABASE '{}' AS traps", quoted));
  statement.ExecuteDirect("PRAGMA traps.journal_mode = WAL");
  statement.ExecuteDirect("PRAGMA traps.synchronous = NORMAL");
}

bool TellsOfMissingTable(const DatabaseError& error) {
  return error.SqlState() == "42S02" || error.SqlState() == "42P01" ||
         std::string_view(error.what()).find("no such table") != std::string_view::npos;
}

std::int32_t VersionOf(Connection::Impl& link) {
  Statement statement(link);
  std::string text;
  try {
    statement.ExecuteDirect(fmt::format("SELECT Schema_Version FROM {}", kStoreInfo));
    if (statement.Fetch()) statement.AppendCell(1, text);
  } catch (const DatabaseError& error) {
    if (!TellsOfMissingTable(error)) throw;
    // The first release did not write it down.  Where there is no store at all this fails too.
    statement.ExecuteDirect(fmt::format("SELECT 1 FROM {} WHERE 1 = 0", kEventStructure));
    return 1;
  }
  std::int32_t version = 0;
  std::from_chars(text.data(), text.data() + text.size(), version);
  return version;
}

constexpr std::string_view kMariaDbLockTimeout = "SET SESSION innodb_lock_wait_timeout = {}";

struct SessionProfile {
  std::string_view DbmsName;
  Engine Kind;
  std::span<const std::string_view> Statements;
  std::string_view CommandTimeout;  // with the seconds; empty: the driver has none
  std::string_view LockTimeout;     // the same, for what somebody else holds
  void (*Further)(Connection::Impl&);
};

constexpr std::array<std::string_view, 2> kPostgreSqlSetUp = {
    // Texts are UTF-8 whatever the environment says; a backslash in a text is a backslash.
    "SET client_encoding TO 'UTF8'", "SET standard_conforming_strings TO on"};
constexpr std::array<std::string_view, 2> kMariaDbSetUp = {
    // A backslash in a text is a backslash; a text that does not fit is an error, not cut; and a long
    // transaction does not freeze what the next statement sees.
    "SET SESSION sql_mode = 'NO_BACKSLASH_ESCAPES,STRICT_TRANS_TABLES'",
    "SET SESSION TRANSACTION ISOLATION LEVEL READ COMMITTED"};

const std::array<SessionProfile, 4> kProfiles = {{
    {"SQLite", Engine::Sqlite, {}, "", "", AttachTrapFile},
    {"PostgreSQL", Engine::PostgreSql, kPostgreSqlSetUp, "SET statement_timeout TO '{}s'",
     "SET lock_timeout TO '{}s'", nullptr},
    {"MariaDB", Engine::MariaDb, kMariaDbSetUp, "SET SESSION max_statement_time = {}", kMariaDbLockTimeout,
     nullptr},
    {"MySQL", Engine::MariaDb, kMariaDbSetUp, "", kMariaDbLockTimeout, nullptr},
}};

}  // namespace

void SetUpSession(Connection::Impl& link) {
  std::array<char, 64> name{};
  SQLSMALLINT length = 0;
  SQLGetInfo(link.Link.Get(), SQL_DBMS_NAME, name.data(), static_cast<SQLSMALLINT>(name.size()), &length);
  link.Kind = Engine::Other;
  for (const SessionProfile& profile : kProfiles) {
    if (!std::string_view(name.data()).starts_with(profile.DbmsName)) continue;
    link.Kind = profile.Kind;
    Statement statement(link);
    for (const std::string_view text : profile.Statements) statement.ExecuteDirect(text);
    const auto limit = [&statement](std::string_view text, int seconds) {
      if (seconds > 0 && !text.empty()) statement.ExecuteDirect(fmt::format(fmt::runtime(text), seconds));
    };
    limit(profile.CommandTimeout, link.Options.CommandTimeoutSeconds);
    // A lock is silence too, for whoever waits.
    const int lock = link.Options.LockTimeoutSeconds;
    limit(profile.LockTimeout, lock > 0 ? lock : 2 * link.Options.SilenceSeconds);
    if (profile.Further != nullptr) profile.Further(link);
    return;
  }
}

void RequireVersion(Connection::Impl& link) {
  const std::int32_t version = VersionOf(link);
  if (version == kStoreVersion) return;
  throw DatabaseError(
      fmt::format("The trap store is of version {}, and this program works with version {}. {}", version,
                  kStoreVersion,
                  version < kStoreVersion ? "Bring it up to date with \"make-store --upgrade\"."
                                          : "It was brought up to date for a later release of this program."),
      "55000", 0, {});
}

}  // namespace korvane::store
