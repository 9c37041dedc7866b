#include "support/OdbcFaults.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace korvane::test {
namespace {

// The linker's functions have nothing but what is global.
struct Plan {
  int Left = 0;  // calls until the one that fails; 0: none fails
  Fault How = Fault::Refused;
  CountedCalls Counted = CountedCalls::All;
  SQLHANDLE Failed = nullptr;  // whose reason has not been asked for yet
};
Plan gPlan;
std::atomic<bool> gInTransaction = false;  // on the one connection of those who ask for conflicts
std::mutex gMutex;

enum class Kind {
  Local,      // prepares the statement, or looks at what came back
  Statement,  // reaches the store
  Change,     // does so, and may have changed it although nobody hears of it
};

SQLRETURN MayFail(SQLHANDLE handle, Kind kind, const std::function<SQLRETURN()>& call) {
  std::unique_lock lock(gMutex);
  const bool counted = (kind != Kind::Local || gPlan.Counted == CountedCalls::All) &&
                       (gPlan.How != Fault::Conflict || gInTransaction);
  if (gPlan.Left == 0 || !counted || --gPlan.Left > 0) {
    lock.unlock();
    return call();
  }
  gPlan.Failed = handle;
  if (kind == Kind::Change && gPlan.How == Fault::AnswerLost) {
    call();
  }
  return SQL_ERROR;
}

bool TakesReasonOf(SQLHANDLE handle) {
  const std::lock_guard lock(gMutex);
  if (handle == nullptr || gPlan.Failed != handle) {
    return false;
  }
  gPlan.Failed = nullptr;
  return true;
}

}  // namespace

void FailCall(int n, Fault fault, CountedCalls counted) {
  const std::lock_guard lock(gMutex);
  gPlan = {.Left = n, .How = fault, .Counted = counted};
}

bool EndFaults() {
  const std::lock_guard lock(gMutex);
  return std::exchange(gPlan, {}).Left == 0;
}

}  // namespace korvane::test

using korvane::test::Kind;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
#define KORVANE_MAY_FAIL(name, kind, handle, parameters, arguments)                             \
  extern "C" decltype(name) __real_##name, __wrap_##name;                                       \
  SQLRETURN __wrap_##name parameters {                                                          \
    return korvane::test::MayFail(handle, Kind::kind, [=] { return __real_##name arguments; }); \
  }

KORVANE_MAY_FAIL(SQLAllocHandle, Local, i, (SQLSMALLINT t, SQLHANDLE i, SQLHANDLE* o), (t, i, o))
KORVANE_MAY_FAIL(SQLDriverConnect, Statement, c,
                 (SQLHDBC c, SQLHWND w, SQLCHAR* i, SQLSMALLINT il, SQLCHAR* o, SQLSMALLINT om,
                  SQLSMALLINT* ol, SQLUSMALLINT d),
                 (c, w, i, il, o, om, ol, d))
KORVANE_MAY_FAIL(SQLExecDirect, Change, s, (SQLHSTMT s, SQLCHAR* t, SQLINTEGER l), (s, t, l))
KORVANE_MAY_FAIL(SQLExecute, Change, s, (SQLHSTMT s), (s))
KORVANE_MAY_FAIL(SQLPrepare, Statement, s, (SQLHSTMT s, SQLCHAR* t, SQLINTEGER l), (s, t, l))
KORVANE_MAY_FAIL(SQLFetch, Statement, s, (SQLHSTMT s), (s))
KORVANE_MAY_FAIL(SQLBindParameter, Local, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLSMALLINT io, SQLSMALLINT c, SQLSMALLINT t, SQLULEN z,
                  SQLSMALLINT d, SQLPOINTER v, SQLLEN b, SQLLEN* l),
                 (s, n, io, c, t, z, d, v, b, l))
KORVANE_MAY_FAIL(SQLNumResultCols, Local, s, (SQLHSTMT s, SQLSMALLINT* n), (s, n))
KORVANE_MAY_FAIL(SQLDescribeCol, Local, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLCHAR* t, SQLSMALLINT m, SQLSMALLINT* l, SQLSMALLINT* k,
                  SQLULEN* z, SQLSMALLINT* d, SQLSMALLINT* u),
                 (s, n, t, m, l, k, z, d, u))
KORVANE_MAY_FAIL(SQLBindCol, Local, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLSMALLINT t, SQLPOINTER v, SQLLEN b, SQLLEN* l),
                 (s, n, t, v, b, l))
KORVANE_MAY_FAIL(SQLGetData, Local, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLSMALLINT t, SQLPOINTER v, SQLLEN b, SQLLEN* l),
                 (s, n, t, v, b, l))

extern "C" decltype(SQLSetConnectAttr) __real_SQLSetConnectAttr, __wrap_SQLSetConnectAttr;
SQLRETURN __wrap_SQLSetConnectAttr(SQLHDBC c, SQLINTEGER a, SQLPOINTER v, SQLINTEGER l) {
  const SQLRETURN result =
      korvane::test::MayFail(c, Kind::Statement, [=] { return __real_SQLSetConnectAttr(c, a, v, l); });
  korvane::test::gInTransaction = result == SQL_SUCCESS && a == SQL_ATTR_AUTOCOMMIT && v == nullptr;
  return result;
}

extern "C" decltype(SQLEndTran) __real_SQLEndTran, __wrap_SQLEndTran;
SQLRETURN __wrap_SQLEndTran(SQLSMALLINT t, SQLHANDLE h, SQLSMALLINT how) {
  // A transaction is given up by whoever asks for it, whatever it collided with.
  korvane::test::gInTransaction = korvane::test::gInTransaction && how == SQL_COMMIT;
  const SQLRETURN result =
      korvane::test::MayFail(h, Kind::Change, [=] { return __real_SQLEndTran(t, h, how); });
  korvane::test::gInTransaction = korvane::test::gInTransaction && result != SQL_SUCCESS;
  return result;
}

extern "C" decltype(SQLGetDiagRec) __real_SQLGetDiagRec, __wrap_SQLGetDiagRec;
SQLRETURN __wrap_SQLGetDiagRec(SQLSMALLINT t, SQLHANDLE h, SQLSMALLINT n, SQLCHAR* s, SQLINTEGER* c,
                               SQLCHAR* m, SQLSMALLINT z, SQLSMALLINT* l) {
  if (!korvane::test::TakesReasonOf(h)) {
    return __real_SQLGetDiagRec(t, h, n, s, c, m, z, l);
  }
  const std::string text(korvane::test::kFaultText);
  using korvane::test::Fault;
  const Fault how = korvane::test::gPlan.How;
  std::memcpy(s, how == Fault::Refused ? "HY000" : how == Fault::Conflict ? "40001" : "08S01", 6);
  std::memcpy(m, text.c_str(), std::min(text.size() + 1, static_cast<std::size_t>(z)));
  *c = 0;
  *l = static_cast<SQLSMALLINT>(text.size());
  return SQL_SUCCESS;
}
// NOLINTEND(bugprone-reserved-identifier)
