#include "receiver/store/EmbeddedInsert.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Tables.h"
#include "store/TrapNumbers.h"

namespace korvane::receiver {
namespace {

using std::chrono::steady_clock;

// As long as the driver waits for somebody else's lock: twice its two seconds.
constexpr int kLockMilliseconds = 4000;
// Traps of thousands of systems come in any order, so each row touches a page of its own in the index on the
// source: these pages want to be at hand, and written once for many transactions.
constexpr int kCacheKilobytes = 32 * 1024;
constexpr std::int64_t kFramesAtRest = 4096;  // pages in the journal before they go to the store
// From here on readers are waited for, shortly, so that the journal can begin again.
constexpr std::int64_t kFramesTooMany = 16384;
constexpr int kPushMilliseconds = 100;
constexpr auto kPushEvery = std::chrono::seconds(5);
constexpr std::int64_t kJournalBytesKept = 64 << 20;
constexpr std::int64_t kFirstWarningBytes = std::int64_t{1} << 30;

constexpr std::string_view kInsertHead =
    "INSERT INTO {} (EventTime, Source, EnterpriseOid, GenericTrap, SpecificTrap, EventDescription, "
    "Event_ExtDescr) VALUES ";
constexpr std::string_view kInsertRow = "(?, ?, ?, ?, ?, ?, ?)";

std::string InsertStatement(std::size_t rows) {
  std::string text = fmt::format(kInsertHead, store::kEventTrap);
  for (std::size_t row = 0; row < rows; ++row) {
    text += row == 0 ? "" : ", ";
    text += kInsertRow;
  }
  return text;
}

std::string QuotedFile(std::string_view file) {
  std::string quoted;
  for (const char c : file) {
    quoted.append(c == '\'' ? 2 : 1, c);
  }
  return quoted;
}

// What the connection has set, for one of its files or for all.
std::string Setting(store::Connection& connection, std::string_view name, std::string_view file = {}) {
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT {0} FROM pragma_{0}", name),
                               file.empty() ? std::string() : fmt::format("schema = '{}'", file));
  return rows.Next() ? rows.Text(name) : std::string();
}

}  // namespace

void EmbeddedInsert::Freed::operator()(sqlite3* link) const {
  sqlite3_close_v2(link);
}

void EmbeddedInsert::Freed::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

// Rolls back unless committed.
class EmbeddedInsert::Transaction {
 public:
  // The right to write is taken with the first row: taken at once, it would be that to every file, and a
  // change of the categories may keep the other one for minutes.
  explicit Transaction(EmbeddedInsert& insert) : insert_(insert) { insert_.Run("BEGIN"); }
  ~Transaction() {
    // The engine has done it by itself when its disk is full.
    if (sqlite3_get_autocommit(insert_.link_.get()) == 0) {
      sqlite3_exec(insert_.link_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit() { insert_.Run("COMMIT"); }

 private:
  EmbeddedInsert& insert_;
};

EmbeddedInsert::EmbeddedInsert(store::Connection& connection, Warn warn, WriteTurns* turns)
    : warn_(std::move(warn)), turns_(turns) {
  std::vector<std::pair<std::string, std::string>> files;
  store::Recordset rows = connection.OpenRecordset("SELECT name, file FROM pragma_database_list");
  while (rows.Next()) {
    files.emplace_back(rows.Text("name"), rows.Text("file"));
  }
  for (const auto& [name, file] : files) {
    if (file.empty()) {
      continue;
    }
    if (name == "main") {
      sqlite3* link = nullptr;
      const int code =
          sqlite3_open_v2(file.c_str(), &link, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
      link_.reset(link);
      Check(code, file);
      sqlite3_busy_timeout(link, kLockMilliseconds);
      folder_ = std::filesystem::path(file).parent_path();
    } else {
      Run(fmt::format("ATTACH DATABASE '{}' AS {}", QuotedFile(file), name));
    }
    Run(fmt::format("PRAGMA {}.synchronous = {}", name, Setting(connection, "synchronous", name)));
    Run(fmt::format("PRAGMA {}.cache_size = -{}", name, kCacheKilobytes));
    Run(fmt::format("PRAGMA {}.journal_size_limit = {}", name, kJournalBytesKept));
  }
  Run(fmt::format("PRAGMA foreign_keys = {}", Setting(connection, "foreign_keys")));
  sqlite3_wal_hook(
      link_.get(),
      [](void* self, sqlite3*, const char* name, int frames) {
        static_cast<EmbeddedInsert*>(self)->journals_[name].Frames = frames;
        return SQLITE_OK;
      },
      this);
}

EmbeddedInsert::~EmbeddedInsert() = default;

void EmbeddedInsert::Check(int code, std::string_view statement) const {
  if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) {
    return;
  }
  const char* text = link_ ? sqlite3_errmsg(link_.get()) : sqlite3_errstr(code);
  throw store::DatabaseError(fmt::format("{} ({})", text, code & 0xFF), "HY000", code & 0xFF,
                             std::string(statement));
}

// The number of rows that it changed, where it changes any.
std::int64_t EmbeddedInsert::Run(const std::string& statement) {
  Check(sqlite3_exec(link_.get(), statement.c_str(), nullptr, nullptr, nullptr), statement);
  return sqlite3_changes64(link_.get());
}

// What is written to files that were moved away or replaced is lost.
void EmbeddedInsert::RequireFiles() {
  for (int number = 0;; ++number) {
    const char* name = sqlite3_db_name(link_.get(), number);
    if (name == nullptr) {
      return;
    }
    int moved = 0;
    if (sqlite3_file_control(link_.get(), name, SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved != 0) {
      throw store::DatabaseError("The files of the trap store were moved or replaced.", "08S01", 0, {});
    }
  }
}

std::optional<std::string> EmbeddedInsert::Store(std::span<const SpooledTrap> traps,
                                                 std::span<const std::string> statements) {
  RequireFiles();
  const WriteTurns::Turn turn(turns_);
  {
    Transaction transaction(*this);
    Insert(traps);
    store::RequireTrapNumber(sqlite3_last_insert_rowid(link_.get()));
    for (const std::string& statement : statements) {
      if (Run(statement) != 1) {
        return statement;
      }
    }
    transaction.Commit();
  }
  KeepJournalsShort();
  return std::nullopt;
}

void EmbeddedInsert::Probe() {
  RequireFiles();
  const WriteTurns::Turn turn(turns_);
  const Transaction transaction(*this);
  const SpooledTrap row;
  Insert({&row, 1});
}

void EmbeddedInsert::Insert(std::span<const SpooledTrap> traps) {
  for (std::size_t step = 0; step < kRowsAtOnce.size(); ++step) {
    const std::size_t rows = kRowsAtOnce[step];
    for (; traps.size() >= rows; traps = traps.subspan(rows)) {
      if (!prepared_[step]) {
        const std::string text = InsertStatement(rows);
        sqlite3_stmt* statement = nullptr;
        Check(sqlite3_prepare_v3(link_.get(), text.data(), static_cast<int>(text.size()),
                                 SQLITE_PREPARE_PERSISTENT, &statement, nullptr),
              kInsertHead);
        prepared_[step].reset(statement);
      }
      Send(traps.first(rows), prepared_[step].get());
    }
  }
}

void EmbeddedInsert::Send(std::span<const SpooledTrap> traps, sqlite3_stmt* statement) {
  int number = 0;
  const auto integer = [&](std::int32_t value) {
    Check(sqlite3_bind_int(statement, ++number, value), kInsertHead);
  };
  // The texts live until the statement has run.
  const auto text = [&](std::string_view value) {
    if (value.find('\0') != std::string_view::npos) {
      // As through the driver, which would store the part before it.
      throw store::DatabaseError("A text that holds a NUL character can't be stored.", "22021", 0,
                                 std::string(kInsertHead));
    }
    Check(sqlite3_bind_text(statement, ++number, value.data(), static_cast<int>(value.size()), SQLITE_STATIC),
          kInsertHead);
  };
  for (const SpooledTrap& trap : traps) {
    integer(trap.Row.EventTime);
    text(trap.Row.Source);
    text(trap.Row.EnterpriseOid);
    integer(trap.Row.GenericTrap);
    integer(trap.Row.SpecificTrap);
    text(trap.Row.EventDescription);
    text(trap.Row.Event_ExtDescr);
  }
  const int code = sqlite3_step(statement);
  if (code != SQLITE_DONE) {
    // Before it is reset, since the words are those of the last call.
    try {
      Check(code, kInsertHead);
    } catch (const store::DatabaseError&) {
      sqlite3_reset(statement);
      throw;
    }
  }
  sqlite3_reset(statement);
}

void EmbeddedInsert::KeepJournalsShort() {
  for (auto& [name, journal] : journals_) {
    if (journal.Frames < kFramesAtRest) {
      journal.NextTry = 0;  // it began again
      journal.NextWarning = 0;
    } else if (journal.Frames >= journal.NextTry) {
      KeepShort(name, journal);
    }
  }
}

// What was written goes to the store as far as no reader still needs what was there before.  Each try looks
// at every frame, so while a reader holds the journal there is one for so many new frames, not one for each
// commit as the engine would have it.
void EmbeddedInsert::KeepShort(const std::string& name, Journal& journal) {
  int frames = 0;
  int moved = 0;
  sqlite3_wal_checkpoint_v2(link_.get(), name.c_str(), SQLITE_CHECKPOINT_PASSIVE, &frames, &moved);
  const auto now = steady_clock::now();
  if (frames >= kFramesTooMany && now >= journal.NextPush) {
    // Readers that come and go one after the other never leave it free: it is asked for.
    sqlite3_busy_timeout(link_.get(), kPushMilliseconds);
    sqlite3_wal_checkpoint_v2(link_.get(), name.c_str(), SQLITE_CHECKPOINT_RESTART, &frames, &moved);
    sqlite3_busy_timeout(link_.get(), kLockMilliseconds);
    journal.NextPush = steady_clock::now() + kPushEvery;
  }
  journal.NextTry = journal.Frames + kFramesAtRest;
  std::error_code ignored;
  const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(
      sqlite3_filename_wal(sqlite3_db_filename(link_.get(), name.c_str())), ignored));
  if (moved < frames && warn_ && bytes >= std::max(journal.NextWarning, kFirstWarningBytes)) {
    journal.NextWarning = 2 * bytes;
    warn_(
        fmt::format("the journal of the trap store has grown to {} MiB, since a program has not ended "
                    "its reading of the store; it is used again from its beginning once that ends",
                    bytes >> 20));
  }
}

}  // namespace korvane::receiver
