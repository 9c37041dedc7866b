// The way of rows into an embedded store: the engine's own interface, with statements of many rows that are
// prepared once.  The driver takes every statement apart each time it runs, which costs more than the row
// itself.  Used by DatabaseTrapStore beside its connection, from the same thread; only this adds rows.
//
// It also keeps the store's journal short (the "-wal" file).  The engine starts it again from its beginning
// when nobody reads; a storm meanwhile makes it grow, and so does a reader that does not end.  Every call
// that fails throws DatabaseError as the driver would: SQLSTATE HY000 with the engine's code.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "receiver/WriteTurns.h"
#include "receiver/spool/SpoolRecord.h"
#include "store/Connection.h"

struct sqlite3;
struct sqlite3_stmt;

namespace korvane::receiver {

class EmbeddedInsert {
 public:
  // What must not be silent: a journal that grows and grows.
  using Warn = std::function<void(const std::string& text)>;

  // Opens the files that the connection, whose engine this is, has open, and with its settings.  turns: may
  // be null.
  EmbeddedInsert(store::Connection& connection, Warn warn, WriteTurns* turns);
  ~EmbeddedInsert();
  EmbeddedInsert(const EmbeddedInsert&) = delete;
  EmbeddedInsert& operator=(const EmbeddedInsert&) = delete;

  // Adds the rows and runs the statements in one transaction.  Nothing is changed, and the statement is
  // answered, when one of them does not change exactly one row.
  std::optional<std::string> Store(std::span<const SpooledTrap> traps,
                                   std::span<const std::string> statements);
  // Adds a row and takes it back.
  void Probe();
  // Where the files are.
  const std::filesystem::path& Folder() const { return folder_; }

 private:
  // Rows of one statement.  A remainder goes in smaller ones, so that at most these are ever prepared.
  static constexpr std::array<std::size_t, 3> kRowsAtOnce = {250, 25, 1};
  struct Freed {
    void operator()(sqlite3* link) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  class Transaction;

  void Check(int code, std::string_view statement) const;
  std::int64_t Run(const std::string& statement);
  void RequireFiles();
  void Insert(std::span<const SpooledTrap> traps);
  void Send(std::span<const SpooledTrap> traps, sqlite3_stmt* statement);
  void KeepJournalsShort();

  struct Journal {
    std::int64_t Frames = 0;   // after the last commit
    std::int64_t NextTry = 0;  // as many frames, before it is looked at again
    std::int64_t NextWarning = 0;
    std::chrono::steady_clock::time_point NextPush;
  };
  void KeepShort(const std::string& name, Journal& journal);

  const Warn warn_;
  WriteTurns* const turns_;
  std::filesystem::path folder_;
  std::map<std::string, Journal, std::less<>> journals_;  // by the name of the file's schema
  std::unique_ptr<sqlite3, Freed> link_;
  std::array<std::unique_ptr<sqlite3_stmt, Freed>, kRowsAtOnce.size()> prepared_;
};

}  // namespace korvane::receiver
