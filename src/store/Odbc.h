// The part of ODBC that this folder uses: handles that free themselves, diagnostics read at once into a
// DatabaseError, and the link that a Connection keeps to its data source.  Private to src/store.
// ANSI entry points carry UTF-8: the wide ones are slower everywhere and missing in one driver.
#pragma once

#ifdef _WIN32
#include "platform/windows/SystemHeaders.h"  // what that system's sql.h is written in
#endif

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/Files.h"
#include "store/CallsBeside.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/SilenceWatch.h"

namespace korvane::store {

namespace odbc {

class Handle {
 public:
  Handle() = default;
  Handle(SQLSMALLINT type, SQLHANDLE handle) : type_(type), handle_(handle) {}
  ~Handle() { Free(); }
  Handle(Handle&& other) noexcept : type_(other.type_), handle_(other.handle_) { other.handle_ = nullptr; }
  Handle& operator=(Handle&& other) noexcept;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  SQLHANDLE Get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }
  void Free() noexcept;

 private:
  SQLSMALLINT type_ = 0;
  SQLHANDLE handle_ = nullptr;
};

inline bool Succeeded(SQLRETURN code) {
  return code == SQL_SUCCESS || code == SQL_SUCCESS_WITH_INFO;
}

// Reads the diagnostics of the handle's last call: its first record's text without the names of the layers it
// came through, its SQLSTATE and native code.
DatabaseError ErrorOf(SQLSMALLINT type, SQLHANDLE handle, std::string_view statement);

inline SQLCHAR* Chars(std::string_view text) {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}

}  // namespace odbc

// What identifies a file, so that one moved away or put back from a copy is noticed (where files have no such
// numbers, only that it is there; a system like that doesn't let an open file be moved).
struct FileMark {
  std::filesystem::path Path;
  // When the connection was made: one that was missing then is made anew once the file is there.
  std::optional<platform::FileIdentity> Identity;
};

class Statement;

struct Connection::Impl {
  // Opened by its user, and not closed again.  The handle may be lost meanwhile.
  bool Wanted = false;
  bool Lost = false;
  bool InTransaction = false;
  bool TakenBack = false;  // the open transaction, by the database: what follows would be half of it
  Engine Kind = Engine::Other;
  std::string DataSource, User, Password;
  ConnectionOptions Options;
  ChangeAuthor Author;
  odbc::Handle Environment, Link;
  std::uint64_t Session = 0;            // counts the connections made; handles of an earlier one are gone
  std::unique_ptr<Statement> Direct;    // for Execute
  std::vector<FileMark> Files;          // an embedded store's
  std::int64_t LastUse = 0;             // monotonic milliseconds
  std::mutex RunningMutex;              // held by a cancel: the statement is not freed, Watch not made
  SQLHSTMT Running = SQL_NULL_HSTMT;    // in a call that may take its time
  std::vector<Statement*> Statements;   // of this session; freed before the link is, which else stays open
  std::unique_ptr<SilenceWatch> Watch;  // where Options want one
  std::optional<DatabaseError> Mute;    // why the server counts as mute
  std::int64_t MuteSince = 0;           // monotonic milliseconds
  std::unique_ptr<CallsBeside> Beside;  // where a window waits for the calls; gone before the rest

  Impl();
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void Connect();
  void Disconnect() noexcept;
  // For a driver's call that failed: its words, or that the server went mute.
  DatabaseError FailureOf(SQLSMALLINT type, SQLHANDLE handle, std::string_view statement);
  // What is open on the link; false when the link can't do that any more.
  bool RollBack() noexcept;
  // Before anything is sent: opens a lost connection again unless a transaction was open on it.
  // aWrite: what follows can't be repeated, so a connection that was idle is tried out first.
  void MakeReady(bool aWrite);
  // After a failed call: remembers whether the connection is gone.
  void NoteFailure(const DatabaseError& error) noexcept;
  bool FilesAreThere() const;
  bool AnswersProbe();
  // What may wait for the store, beside the window where there is one.  A window that is painted meanwhile
  // can't begin anything else on this link: that throws.
  template <class Work>
  auto Together(Work&& work) -> decltype(work()) {
    if (Beside && Beside->Waits()) {
      throw DatabaseError("The trap store has not answered the call before this one yet.", "HY010", 0, {});
    }
    return Wait(std::forward<Work>(work));
  }
  // The same for what has to be done: after the call that is under way.
  template <class Work>
  auto Wait(Work&& work) -> decltype(work()) {
    if (!Beside) return work();
    if constexpr (std::is_void_v<decltype(work())>) {
      Beside->Run(work);
    } else {
      std::optional<decltype(work())> result;
      Beside->Run([&] { result.emplace(work()); });
      return std::move(*result);
    }
  }
  // From another thread: makes the call that is under way fail, where that does not take a server's word.
  void GiveUpCall() noexcept;

 private:
  odbc::Handle OpenLink();
  void WatchLink(const std::vector<platform::OpenSocket>& before);
};

// Around a driver call that may hang: what Connection::Cancel from another thread finds.
class RunningCall {
 public:
  RunningCall(Connection::Impl& link, SQLHSTMT statement) : watched_(link.Watch.get()), link_(link) {
    Set(statement);
  }
  ~RunningCall() { Set(SQL_NULL_HSTMT); }
  RunningCall(const RunningCall&) = delete;
  RunningCall& operator=(const RunningCall&) = delete;

 private:
  void Set(SQLHSTMT statement) {
    const std::lock_guard lock(link_.RunningMutex);
    link_.Running = statement;
  }

  const WatchedCall watched_;
  Connection::Impl& link_;
};

// One statement handle on a link.  Every call throws DatabaseError.
class Statement {
 public:
  explicit Statement(Connection::Impl& link);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  void ExecuteDirect(std::string_view text);
  void Prepare(std::string_view text);
  void BindText(SQLUSMALLINT number, std::string_view text);  // the text must live until Execute
  void BindInteger(SQLUSMALLINT number, const std::int32_t& value);
  void Execute();

  bool Fetch();
  std::int64_t RowCount();
  SQLSMALLINT ColumnCount();
  std::string ColumnName(SQLUSMALLINT number);
  // The whole cell of the current row, appended; false for NULL.
  bool AppendCell(SQLUSMALLINT number, std::string& text);

  void CloseCursor() noexcept;
  // False once the link was closed or made anew: the handle went with the old one.
  bool IsCurrent() const { return session_ == link_.Session; }
  SQLHSTMT Get() const { return handle_.Get(); }
  // Throws for anything but success (or no data).
  SQLRETURN Check(SQLRETURN code);
  // Before the link is closed.
  void Free() noexcept;

 private:
  // Another statement may have found the link lost and made it anew: the handle, or what now has its number,
  // would answer as if there were no more rows.
  void RequireCurrent() const;

  Connection::Impl& link_;
  std::uint64_t session_;
  odbc::Handle handle_;
  std::string text_;
  std::deque<SQLLEN> lengths_;
};

// Per-engine session set-up, after a connection was made: what the driver is, and what it must be told.
void SetUpSession(Connection::Impl& link);

// Throws for a store of another version: tables or columns are missing from an older one, and those of a
// newer one may mean something else.
void RequireVersion(Connection::Impl& link);

}  // namespace korvane::store
