#include "store/Connection.h"

#include <charconv>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "common/Text.h"
#include "platform/Identity.h"
#include "store/Odbc.h"
#include "store/RecordsetImpl.h"

namespace korvane::store {

namespace {

bool IsSelect(std::string_view text) {
  constexpr std::string_view kSelect = "SELECT ";
  return EqualsIgnoreCase(text.substr(0, kSelect.size()), kSelect);
}

bool SetAutocommit(Connection::Impl& link, SQLULEN value) {
  const WatchedCall watched(link.Watch.get());
  return odbc::Succeeded(SQLSetConnectAttr(link.Link.Get(), SQL_ATTR_AUTOCOMMIT,
                                           reinterpret_cast<SQLPOINTER>(value), SQL_IS_UINTEGER));  // NOLINT
}

// After a commit or rollback.  A link that stays without autocommit would hold back every later statement, so
// it is given up instead.
void EndTransaction(Connection::Impl& link) {
  link.InTransaction = false;
  if (!SetAutocommit(link, SQL_AUTOCOMMIT_ON)) link.Lost = true;
}

// "desk:77" becomes "desk:77+2", that "desk:77+3".
std::string NameOfNext(std::string_view writer) {
  const std::size_t plus = writer.rfind('+');
  int number = 0;
  const bool numbered =
      plus != std::string_view::npos &&
      std::from_chars(writer.data() + plus + 1, writer.data() + writer.size(), number).ptr ==
          writer.data() + writer.size() &&
      number > 1;
  return numbered ? fmt::format("{}+{}", writer.substr(0, plus), number + 1) : fmt::format("{}+2", writer);
}

}  // namespace

Connection::Connection() : impl_(std::make_unique<Impl>()) {}

Connection::~Connection() = default;

void Connection::Open(std::string_view dataSource, std::string_view user, std::string_view password,
                      ConnectionOptions options) {
  Close();
  impl_->Watch.reset();
  impl_->DataSource = dataSource;
  impl_->User = user;
  impl_->Password = password;
  impl_->Options = options;
  impl_->Wanted = true;
  impl_->Together([this] { impl_->Connect(); });
}

void Connection::CallBeside(BusyIndicator& busy) {
  try {
    impl_->Beside = std::make_unique<CallsBeside>(busy, [link = impl_.get()] { link->GiveUpCall(); });
  } catch (const std::system_error&) {  // NOLINT(bugprone-empty-catch): without a thread the window waits
  }
}

void Connection::RunTogether(const std::function<void()>& work) {
  impl_->Together(work);
}

void Connection::Close() noexcept {
  impl_->Wanted = false;
  impl_->Wait([this] { impl_->Disconnect(); });
}

bool Connection::IsOpen() const {
  return impl_->Link && !impl_->Lost;
}

std::uint64_t Connection::Session() const {
  return impl_->Session;
}

Engine Connection::Kind() const {
  return impl_->Kind;
}

std::int64_t Connection::Execute(std::string_view text) {
  return impl_->Together([&] {
    impl_->MakeReady(true);
    if (!impl_->Direct) impl_->Direct = std::make_unique<Statement>(*impl_);
    try {
      impl_->Direct->ExecuteDirect(text);
      const std::int64_t rows = impl_->Direct->RowCount();
      impl_->Direct->CloseCursor();
      return rows;
    } catch (const DatabaseError&) {
      impl_->Direct.reset();
      throw;
    }
  });
}

Recordset Connection::OpenRecordset(std::string_view tableOrSelect, std::string_view filter) {
  auto rows = std::make_unique<Recordset::Impl>(*impl_);
  std::string text;
  if (IsSelect(tableOrSelect)) {
    text = tableOrSelect;
  } else {
    rows->Table = tableOrSelect;
    rows->Filter = filter;
    text = fmt::format("SELECT * FROM {}", tableOrSelect);
  }
  if (!filter.empty()) text += fmt::format(" WHERE {}", filter);
  impl_->Together([&] {
    impl_->MakeReady(false);
    try {
      rows->Read(text);
    } catch (const DatabaseError&) {
      // Reading changes nothing, so it may be done again on a fresh connection.
      if (!impl_->Lost || impl_->InTransaction) throw;
      impl_->MakeReady(false);
      rows->Read(text);
    }
  });
  return Recordset(std::move(rows));
}

void Connection::Cancel() noexcept {
  const std::lock_guard lock(impl_->RunningMutex);
  if (impl_->Running != SQL_NULL_HSTMT) SQLCancel(impl_->Running);
}

void Connection::BeginTransaction() {
  if (impl_->InTransaction) throw DatabaseError("A transaction is open already.", "25001", 0, "BEGIN");
  impl_->Together([this] {
    impl_->MakeReady(true);
    if (!SetAutocommit(*impl_, SQL_AUTOCOMMIT_OFF)) {
      const DatabaseError error = impl_->FailureOf(SQL_HANDLE_DBC, impl_->Link.Get(), "BEGIN");
      impl_->NoteFailure(error);
      throw error;
    }
  });
  impl_->InTransaction = true;
  impl_->TakenBack = false;
}

void Connection::Commit() {
  if (!impl_->InTransaction) throw DatabaseError("No transaction is open.", "25000", 0, "COMMIT");
  impl_->Together([this] {
    impl_->MakeReady(true);
    const WatchedCall watched(impl_->Watch.get());
    if (!odbc::Succeeded(SQLEndTran(SQL_HANDLE_DBC, impl_->Link.Get(), SQL_COMMIT))) {
      const DatabaseError error = impl_->FailureOf(SQL_HANDLE_DBC, impl_->Link.Get(), "COMMIT");
      impl_->NoteFailure(error);
      if (impl_->Lost) impl_->Author.Writer = NameOfNext(Author().Writer);
      throw error;
    }
    EndTransaction(*impl_);
  });
}

void Connection::Rollback() noexcept {
  if (!impl_->InTransaction) return;
  // Autocommit comes after it: switching it on commits what is open.  A link that can't roll back is closed,
  // and its database rolls back on its own.
  impl_->Wait([this] {
    impl_->Direct.reset();
    if (impl_->Lost || !impl_->RollBack()) {
      impl_->Disconnect();
      return;
    }
    EndTransaction(*impl_);
  });
}

bool Connection::InTransaction() const {
  return impl_->InTransaction;
}

const ChangeAuthor& Connection::Author() const {
  if (impl_->Author.Writer.empty()) {
    platform::Identity self = platform::ThisProcess();
    impl_->Author = {std::move(self.Login), std::move(self.Machine), std::move(self.Process)};
  }
  return impl_->Author;
}

void Connection::WriteAs(ChangeAuthor author) {
  impl_->Author = std::move(author);
}

void TakeRightToWrite(Connection& connection, std::string_view table) {
  connection.Execute(fmt::format("DELETE FROM {} WHERE 1 = 0", table));
}

Transaction::Transaction(Connection& connection, std::string_view table) : Transaction(connection) {
  // Should it fail, the object is made as far as its destructor is concerned: it rolls back.
  TakeRightToWrite(connection_, table);
}

Transaction::~Transaction() {
  if (!done_) connection_.Rollback();
}

void Transaction::Commit() {
  connection_.Commit();
  done_ = true;
}

Snapshot::Snapshot(Connection& connection) : transaction_(connection) {
  const Engine engine = connection.Internals().Kind;
  if (engine == Engine::PostgreSql || engine == Engine::MariaDb) {
    connection.Execute("SET TRANSACTION ISOLATION LEVEL REPEATABLE READ");
  }
}

void OpenDatabase(Connection& connection) noexcept {
  try {
    connection.Open(kDataSourceName, {}, {},
                    {.CommandTimeoutSeconds = kLongestStatementSeconds, .SilenceSeconds = kSilenceSeconds});
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the first read meets it again
  }
}

}  // namespace korvane::store
