#include "store/Odbc.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <utility>

#include <fmt/format.h>
#include <odbcinst.h>

#include "store/DataSource.h"
#include "store/Retry.h"

namespace korvane::store {

namespace {

constexpr std::int64_t kIdleMilliseconds = 1000;
// A connection that took longer to fail was waited for, and for how long nobody waits for it again.
constexpr std::int64_t kSlowFailure = 1000;
constexpr std::int64_t kMuteMemory = 3000;

std::int64_t SteadyMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// "[unixODBC][driver]text" -> "text": the layers say nothing to the reader of a message box.
std::string_view WithoutLayers(std::string_view text) {
  while (text.starts_with('[')) {
    const auto end = text.find(']');
    if (end == std::string_view::npos || end + 1 >= text.size()) break;
    text.remove_prefix(end + 1);
  }
  return text;
}

// The SQLSTATEs by which the drivers say that the link itself is gone.
bool TellsOfLostLink(std::string_view state) {
  return state.starts_with("08") || state.starts_with("57P0");
}

// What the console relies on is asked for here rather than left to the data source.  Each line is one
// driver's; the others don't know its words and pass over them.
constexpr std::string_view kDriverAttributes =
    // SQLite: rows as they are read, not the whole result first; a store that is not there is not created; a
    // locked file is an error after this many milliseconds, twice, rather than after minutes; texts are
    // handed over as they are, where the driver would take them for the system's code page.
    ";StepAPI=1;NoCreat=1;Timeout=2000;OEMCP=0"
    // PostgreSQL: rows in portions; an error inside a transaction leaves what ran before it.
    ";UseDeclareFetch=1;Fetch=2000;Protocol=7.4-2"
    // MariaDB: UTF-8; an UPDATE counts the rows it found, as on the others, not only those it changed.
    ";CHARSET=utf8mb4;OPTION=2";

// No server, or none that says anything; by the codes of the drivers for it.
bool TellsOfSilence(const DatabaseError& error) {
  constexpr std::array<std::int32_t, 4> kMariaDbCodes = {2002, 2003, 2006, 2013};
  return TellsOfLostLink(error.SqlState()) || error.SqlState().starts_with("HYT") ||
         std::ranges::find(kMariaDbCodes, error.NativeCode()) != kMariaDbCodes.end();
}

// Whether the server answers anybody at all.
bool AnswersAnother(const std::string& dataSource, const std::string& user, const std::string& password,
                    int seconds) {
  try {
    Connection other;
    other.Open(dataSource, user, password, {.ConnectTimeoutSeconds = seconds});
    return true;
  } catch (const DatabaseError& error) {
    return !TellsOfSilence(error);
  }
}

int ConnectLimit(const ConnectionOptions& options) {
  if (options.SilenceSeconds == 0 || options.ConnectTimeoutSeconds == 0) {
    return std::max(options.SilenceSeconds, options.ConnectTimeoutSeconds);
  }
  return std::min(options.SilenceSeconds, options.ConnectTimeoutSeconds);
}

std::string ConnectionText(const Connection::Impl& link) {
  std::string asked;
  if (!link.User.empty()) asked += fmt::format(";UID={}", Braced(link.User));
  if (!link.Password.empty()) asked += fmt::format(";PWD={}", Braced(link.Password));
  asked += kDriverAttributes;
  if (const int seconds = ConnectLimit(link.Options); seconds > 0) {
    asked += fmt::format(";CONN_TIMEOUT={}", seconds);
  }
  // The watch tells a server that works from one that is mute; a limit of the data source can't.
  if (link.Options.SilenceSeconds > 0 && link.Options.CommandTimeoutSeconds > 0) {
    asked += fmt::format(";READ_TIMEOUT={}", link.Options.CommandTimeoutSeconds);
  }
  return ConnectionWords(link.DataSource, asked) + asked;
}

// The driver manager notes where its files are the first time it is asked, without a lock: done here once, so
// that two threads that connect at the same time only read it.
void FindDriverFiles() {
  static std::once_flag found;
  std::call_once(found, [] {
    std::array<char, 16> ignored{};
    SQLGetPrivateProfileString("ODBC", "Trace", "", ignored.data(), static_cast<int>(ignored.size()),
                               "odbc.ini");
  });
}

// It notes more while it connects for the first time: until that has gone well once, threads connect one
// after the other.
SQLRETURN DriverConnect(SQLHDBC link, const std::string& text) {
  static std::mutex first;
  static std::atomic<bool> everConnected = false;
  std::unique_lock<std::mutex> alone;
  if (!everConnected) alone = std::unique_lock(first);
  std::array<SQLCHAR, 1024> completed{};
  SQLSMALLINT length = 0;
  const SQLRETURN code = SQLDriverConnect(
      link, nullptr, odbc::Chars(text), static_cast<SQLSMALLINT>(text.size()), completed.data(),
      static_cast<SQLSMALLINT>(completed.size()), &length, SQL_DRIVER_NOPROMPT);
  if (odbc::Succeeded(code)) everConnected = true;
  return code;
}

}  // namespace

namespace odbc {

Handle& Handle::operator=(Handle&& other) noexcept {
  if (this != &other) {
    Free();
    type_ = other.type_;
    handle_ = std::exchange(other.handle_, nullptr);
  }
  return *this;
}

void Handle::Free() noexcept {
  if (handle_ != nullptr) SQLFreeHandle(type_, handle_);
  handle_ = nullptr;
}

DatabaseError ErrorOf(SQLSMALLINT type, SQLHANDLE handle, std::string_view statement) {
  std::array<SQLCHAR, 6> state{};
  std::array<SQLCHAR, 4096> text{};
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  std::string shown = "The database driver reported a failure without a reason.";
  std::string code = "HY000";
  if (Succeeded(SQLGetDiagRec(type, handle, 1, state.data(), &native, text.data(),
                              static_cast<SQLSMALLINT>(text.size()), &length))) {
    const auto held = std::clamp<std::size_t>(static_cast<std::size_t>(std::max<SQLSMALLINT>(length, 0)), 0,
                                              text.size() - 1);
    shown = WithoutLayers({reinterpret_cast<const char*>(text.data()), held});
    code = reinterpret_cast<const char*>(state.data());
  }
  return {shown, code, native, std::string(statement)};
}

}  // namespace odbc

Connection::Impl::Impl() = default;

Connection::Impl::~Impl() {
  Wait([this] { Disconnect(); });
}

void Connection::Impl::Connect() {
  if (Mute && SteadyMilliseconds() - MuteSince < kMuteMemory) throw DatabaseError(*Mute);
  Mute.reset();
  Disconnect();
  const std::int64_t begun = SteadyMilliseconds();
  const std::vector<platform::OpenSocket> before =
      Options.SilenceSeconds > 0 ? platform::ConnectedSockets() : std::vector<platform::OpenSocket>();
  try {
    Link = OpenLink();
  } catch (const DatabaseError& error) {
    if (Options.SilenceSeconds > 0 && SteadyMilliseconds() - begun >= kSlowFailure) {
      Mute = error;
      MuteSince = SteadyMilliseconds();
    }
    throw;
  }
  Lost = false;
  try {
    if (Options.SilenceSeconds > 0) WatchLink(before);
    SetUpSession(*this);
    RequireVersion(*this);
  } catch (const DatabaseError&) {
    Disconnect();
    throw;
  }
  LastUse = SteadyMilliseconds();
}

odbc::Handle Connection::Impl::OpenLink() {
  FindDriverFiles();
  SQLHANDLE raw = SQL_NULL_HANDLE;
  if (!odbc::Succeeded(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &raw))) {
    throw DatabaseError("The database driver manager could not be started.", "HY001", 0, {});
  }
  Environment = odbc::Handle(SQL_HANDLE_ENV, raw);
  SQLSetEnvAttr(raw, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);  // NOLINT
  if (!odbc::Succeeded(SQLAllocHandle(SQL_HANDLE_DBC, Environment.Get(), &raw))) {
    throw odbc::ErrorOf(SQL_HANDLE_ENV, Environment.Get(), {});
  }
  odbc::Handle link(SQL_HANDLE_DBC, raw);
  if (const int seconds = ConnectLimit(Options); seconds > 0) {
    SQLSetConnectAttr(raw, SQL_ATTR_LOGIN_TIMEOUT,
                      reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(seconds)), 0);  // NOLINT
  }
  const std::string text = ConnectionText(*this);
  if (!odbc::Succeeded(DriverConnect(raw, text))) {
    throw odbc::ErrorOf(SQL_HANDLE_DBC, raw, "DSN=" + DataSource);
  }
  return link;
}

// The driver does not tell its socket: it is the one that appeared.  Another thread may have connected at the
// same time; to the same server, it is given up with this one, and else nobody's is.
void Connection::Impl::WatchLink(const std::vector<platform::OpenSocket>& before) {
  std::vector<platform::OpenSocket> sockets = platform::ConnectedSockets();
  std::erase_if(sockets,
                [&](const auto& socket) { return std::ranges::find(before, socket) != before.end(); });
  const auto elsewhere = [&](const auto& socket) {
    return platform::PeerOf(socket) != platform::PeerOf(sockets.front());
  };
  if (std::ranges::any_of(sockets, elsewhere)) sockets.clear();
  if (!Watch) {
    const int seconds = Options.SilenceSeconds;
    const std::chrono::seconds limit(seconds);
    const std::lock_guard lock(RunningMutex);
    Watch = std::make_unique<SilenceWatch>(SilenceLimits{.Silence = limit, .Trial = limit},
                                           [source = DataSource, user = User, password = Password, seconds] {
                                             return AnswersAnother(source, user, password, seconds);
                                           });
  }
  Watch->Use(std::move(sockets));
}

DatabaseError Connection::Impl::FailureOf(SQLSMALLINT type, SQLHANDLE handle, std::string_view statement) {
  if (!Watch) return odbc::ErrorOf(type, handle, statement);
  const auto after = Watch->GaveUpAfter();
  DatabaseError error =
      after
          ? DatabaseError(fmt::format("The database server has not answered for {} seconds.", after->count()),
                          "HYT00", 0, std::string(statement))
          : odbc::ErrorOf(type, handle, statement);
  // The system may be the first to give up.
  const bool waited = Watch->SinceLastCall() >= std::chrono::milliseconds(kSlowFailure);
  if (after || (waited && TellsOfSilence(error))) {
    Lost = true;
    Mute = error;
    MuteSince = SteadyMilliseconds();
  }
  return error;
}

void Connection::Impl::Disconnect() noexcept {
  Direct.reset();
  // A driver refuses to disconnect while one of these is left, and then keeps the files open for good.
  for (Statement* statement : std::exchange(Statements, {})) statement->Free();
  if (Link) {
    if (InTransaction) RollBack();
    {
      const WatchedCall watched(Watch.get());
      SQLDisconnect(Link.Get());
    }
    if (Watch) Watch->Use({});
    Link.Free();
    ++Session;
  }
  Environment.Free();
  Files.clear();
  InTransaction = false;
}

bool Connection::Impl::RollBack() noexcept {
  const auto rollback = [this] {
    const WatchedCall watched(Watch.get());
    return odbc::Succeeded(SQLEndTran(SQL_HANDLE_DBC, Link.Get(), SQL_ROLLBACK));
  };
  if (rollback()) return true;
  if (Kind != Engine::Sqlite) return false;
  // SQLite takes a transaction back by itself when its disk is full.  Its driver doesn't notice, fails to do
  // it once more, and does not disconnect before it has: it gets an empty one to take back.
  try {
    Statement(*this).ExecuteDirect("BEGIN");
  } catch (const DatabaseError&) {
    return false;
  }
  return rollback();
}

void Connection::Impl::MakeReady(bool aWrite) {
  if (!Wanted) throw DatabaseError("The connection to the database is not open.", "08003", 0, {});
  if (InTransaction) {
    if (Lost) {
      throw DatabaseError("The connection to the database was lost inside a transaction.", "08007", 0, {});
    }
    if (TakenBack) {
      throw DatabaseError("The database took the transaction back, since it collided with another one.",
                          "40001", 0, {});
    }
    return;
  }
  if (Link && !Lost && !FilesAreThere()) Lost = true;
  if (Link && !Lost && aWrite && Kind != Engine::Sqlite &&
      SteadyMilliseconds() - LastUse > kIdleMilliseconds && !AnswersProbe()) {
    Lost = true;
  }
  if (!Link || Lost) Connect();
  LastUse = SteadyMilliseconds();
}

// A server's driver would ask the server to cancel, and may wait for it.
void Connection::Impl::GiveUpCall() noexcept {
  const std::lock_guard lock(RunningMutex);
  if (Watch) Watch->GiveUpNow();
  if (Running != SQL_NULL_HSTMT && Kind == Engine::Sqlite) SQLCancel(Running);
}

// A server that was restarted shows only when something is sent.  A reading can be repeated; before a writing
// on a connection that was idle this costs one short round trip.
bool Connection::Impl::AnswersProbe() {
  try {
    Statement(*this).ExecuteDirect("SELECT 1");
    return true;
  } catch (const DatabaseError&) {
    return false;
  }
}

bool Connection::Impl::FilesAreThere() const {
  return std::ranges::all_of(
      Files, [](const FileMark& mark) { return platform::IdentityOfFile(mark.Path) == mark.Identity; });
}

void Connection::Impl::NoteFailure(const DatabaseError& error) noexcept {
  if (Lost || !Link) return;
  SQLUINTEGER dead = SQL_CD_FALSE;
  Lost = TellsOfLostLink(error.SqlState()) ||
         (Kind != Engine::Sqlite &&
          odbc::Succeeded(SQLGetConnectAttr(Link.Get(), SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)) &&
          dead == SQL_CD_TRUE);
  TakenBack = TakenBack || (InTransaction && IsConflict(error));
}

Statement::Statement(Connection::Impl& link) : link_(link), session_(link.Session) {
  SQLHANDLE raw = SQL_NULL_HANDLE;
  if (!odbc::Succeeded(SQLAllocHandle(SQL_HANDLE_STMT, link.Link.Get(), &raw))) {
    const DatabaseError error = odbc::ErrorOf(SQL_HANDLE_DBC, link.Link.Get(), {});
    link.NoteFailure(error);
    throw error;
  }
  handle_ = odbc::Handle(SQL_HANDLE_STMT, raw);
  link.Statements.push_back(this);
}

Statement::~Statement() {
  if (IsCurrent()) std::erase(link_.Statements, this);
  Free();
}

void Statement::Free() noexcept {
  const WatchedCall watched(link_.Watch.get());
  handle_.Free();
}

void Statement::RequireCurrent() const {
  if (!IsCurrent()) {
    throw DatabaseError("The connection to the database was lost while rows were read.", "08007", 0, text_);
  }
}

SQLRETURN Statement::Check(SQLRETURN code) {
  if (odbc::Succeeded(code) || code == SQL_NO_DATA) return code;
  const DatabaseError error = link_.FailureOf(SQL_HANDLE_STMT, handle_.Get(), text_);
  link_.NoteFailure(error);
  throw error;
}

void Statement::ExecuteDirect(std::string_view text) {
  RequireCurrent();
  CloseCursor();
  text_ = text;
  // Some drivers would run the part before the NUL.
  if (text.find('\0') != std::string_view::npos) {
    throw DatabaseError("Syntax error: a statement can't hold a NUL character.", "42000", 0, text_);
  }
  const RunningCall running(link_, handle_.Get());
  Check(SQLExecDirect(handle_.Get(), odbc::Chars(text_), static_cast<SQLINTEGER>(text_.size())));
}

void Statement::Prepare(std::string_view text) {
  CloseCursor();
  text_ = text;
  const WatchedCall watched(link_.Watch.get());
  Check(SQLPrepare(handle_.Get(), odbc::Chars(text_), static_cast<SQLINTEGER>(text_.size())));
}

void Statement::BindText(SQLUSMALLINT number, std::string_view text) {
  // Two of the drivers would store the part before the NUL without a word.
  if (link_.Kind != Engine::MariaDb && text.find('\0') != std::string_view::npos) {
    throw DatabaseError("A text that holds a NUL character can't be stored.", "22021", 0, text_);
  }
  SQLLEN& length = lengths_.emplace_back(static_cast<SQLLEN>(text.size()));
  Check(SQLBindParameter(handle_.Get(), number, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_LONGVARCHAR,
                         std::max<SQLULEN>(text.size(), 1), 0, odbc::Chars(text), length, &length));
}

void Statement::BindInteger(SQLUSMALLINT number, const std::int32_t& value) {
  Check(SQLBindParameter(handle_.Get(), number, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0,
                         const_cast<std::int32_t*>(&value), 0, nullptr));
}

void Statement::Execute() {
  const RunningCall running(link_, handle_.Get());
  const SQLRETURN code = SQLExecute(handle_.Get());
  lengths_.clear();
  Check(code);
}

bool Statement::Fetch() {
  RequireCurrent();
  const RunningCall running(link_, handle_.Get());
  return Check(SQLFetch(handle_.Get())) != SQL_NO_DATA;
}

std::int64_t Statement::RowCount() {
  SQLLEN count = 0;
  if (!odbc::Succeeded(SQLRowCount(handle_.Get(), &count))) return 0;
  return std::max<SQLLEN>(count, 0);
}

SQLSMALLINT Statement::ColumnCount() {
  SQLSMALLINT count = 0;
  const WatchedCall watched(link_.Watch.get());
  Check(SQLNumResultCols(handle_.Get(), &count));
  return count;
}

std::string Statement::ColumnName(SQLUSMALLINT number) {
  std::array<SQLCHAR, 256> name{};
  SQLSMALLINT length = 0;
  SQLSMALLINT type = 0;
  SQLULEN size = 0;
  SQLSMALLINT digits = 0;
  SQLSMALLINT nullable = 0;
  Check(SQLDescribeCol(handle_.Get(), number, name.data(), static_cast<SQLSMALLINT>(name.size()), &length,
                       &type, &size, &digits, &nullable));
  return reinterpret_cast<const char*>(name.data());
}

bool Statement::AppendCell(SQLUSMALLINT number, std::string& text) {
  std::array<char, 4096> part;  // NOLINT(*-init-variables): filled by the driver
  for (;;) {
    SQLLEN length = 0;
    const SQLRETURN code = Check(SQLGetData(handle_.Get(), number, SQL_C_CHAR, part.data(),
                                            static_cast<SQLLEN>(part.size()), &length));
    if (code == SQL_NO_DATA) return true;
    if (length == SQL_NULL_DATA) return false;
    const bool more = length == SQL_NO_TOTAL || length >= static_cast<SQLLEN>(part.size());
    text.append(part.data(), more ? part.size() - 1 : static_cast<std::size_t>(length));
    if (!more) return true;
  }
}

void Statement::CloseCursor() noexcept {
  if (!IsCurrent()) return;
  const WatchedCall watched(link_.Watch.get());  // an open cursor is closed by the server
  SQLFreeStmt(handle_.Get(), SQL_CLOSE);
}

}  // namespace korvane::store
