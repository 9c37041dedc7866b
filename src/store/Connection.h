// One connection to the trap store through ODBC.  The console has one for its user-interface thread; the
// store feeder, the category window and the receiver have their own.  A connection, its recordsets and
// everything made from it belong to one thread at a time (the environment handle is not shared either, since
// one driver races inside a shared one).
//
// Every failing call throws DatabaseError.  When the server went away, the next operation outside a
// transaction opens the connection again, once; a statement that may have run is never repeated.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "common/BusyIndicator.h"
#include "store/Recordset.h"

namespace korvane::store {

inline constexpr std::string_view kDataSourceName = "dvldb";

enum class Engine { Sqlite, PostgreSql, MariaDb, Other };

// Who makes the changes of a connection, as the change log names it.
struct ChangeAuthor {
  std::string Operator;
  std::string Machine;
  // One run of one program: by it a console knows its own entries.  It changes when a commit was not
  // answered: if that was carried out all the same, its entries come back from the log like somebody else's.
  std::string Writer;
};

struct ConnectionOptions {
  int ConnectTimeoutSeconds = 0;  // 0: the driver's own
  int CommandTimeoutSeconds = 0;
  // A call is given up after twice as long when the server says nothing and answers nobody else either, or
  // when it waits for a lock; a connection that does not come about is after once; 0: never.  Whoever tries
  // again in the next moments fails at once, so that a window with several statements does not wait for each.
  int SilenceSeconds = 0;
  int LockTimeoutSeconds = 0;  // for a row that another transaction holds; an embedded store has its own
};

class Connection {
 public:
  Connection();
  ~Connection();  // rolls back what is open
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void Open(std::string_view dataSource, std::string_view user, std::string_view password,
            ConnectionOptions options = {});
  void Close() noexcept;
  bool IsOpen() const;
  // Of the data source, as it was when it was last open; Other before.
  Engine Kind() const;
  // Another one with each connection that was made: it may lead to another server.
  std::uint64_t Session() const;

  // Runs one statement; the number of rows it touched (0 where the driver doesn't tell).
  std::int64_t Execute(std::string_view statement);

  // A whole table by its name, or a SELECT; the filter is a WHERE predicate without the word.
  Recordset OpenRecordset(std::string_view tableOrSelect, std::string_view filter = {});

  // From any thread: asks the driver to give up the call that runs just now, which then fails; nothing when
  // none runs.  Takes as long as the driver needs to reach its server.  The connection must outlive it.
  void Cancel() noexcept;

  // From now on the calls are made beside the thread that makes them, which waits in a way that keeps its
  // windows alive; busy outlives the connection.
  void CallBeside(BusyIndicator& busy);
  // Several calls as one, which is cheaper than one by one where they are made beside.  Throws what work
  // throws.
  template <class Work>
  auto Together(Work&& work) -> decltype(work());

  void BeginTransaction();
  void Commit();
  void Rollback() noexcept;
  bool InTransaction() const;

  // The user and the process that run this program, unless said otherwise.
  const ChangeAuthor& Author() const;
  void WriteAs(ChangeAuthor author);

  // The link underneath, for the classes of this folder only.
  struct Impl;
  Impl& Internals() { return *impl_; }

 private:
  void RunTogether(const std::function<void()>& work);

  std::unique_ptr<Impl> impl_;
};

template <class Work>
auto Connection::Together(Work&& work) -> decltype(work()) {
  if constexpr (std::is_void_v<decltype(work())>) {
    RunTogether(work);
  } else {
    std::optional<decltype(work())> result;
    RunTogether([&] { result.emplace(work()); });
    return std::move(*result);
  }
}

// For a transaction that reads before it writes, to this table or another one beside it: SQLite refuses to
// write in one that has read, once somebody else has written.  Touches no row.
void TakeRightToWrite(Connection& connection, std::string_view table);

// Rolls back unless committed.
class Transaction {
 public:
  explicit Transaction(Connection& connection) : connection_(connection) { connection_.BeginTransaction(); }
  // One that reads before it writes, to this table or another one beside it, takes the right to write first.
  Transaction(Connection& connection, std::string_view table);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit();

 private:
  Connection& connection_;
  bool done_ = false;
};

// For reading only: all that is read until the end is of one moment.
class Snapshot {
 public:
  explicit Snapshot(Connection& connection);

 private:
  Transaction transaction_;
};

// Opens the shared connection with the data source's own user.  A failure is not reported here: it shows as
// the failure of the first read.
// Of connections that somebody waits for: a server that says nothing is waited for less than ten seconds, one
// that works as long as it takes to acknowledge or read millions of traps.
inline constexpr int kSilenceSeconds = 4;
inline constexpr int kLongestStatementSeconds = 300;

// Opens the shared connection with the data source's own user and these limits.  A failure is not reported
// here: it shows as the failure of the first read.
void OpenDatabase(Connection& connection) noexcept;

}  // namespace korvane::store
