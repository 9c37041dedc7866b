#include "support/OdbcFaults.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

namespace korvane::test {
namespace {

// The linker's functions have nothing but what is global.
struct Plan {
  std::mutex Mutex;
  int Left = 0;  // calls until the one that fails; 0: none fails
  Fault How = Fault::Refused;
  CountedCalls Counted = CountedCalls::All;
  SQLHANDLE Failed = nullptr;  // whose reason has not been asked for yet
};
Plan gPlan;

bool FailsNow(SQLHANDLE handle, CountedCalls kind) {
  const std::lock_guard lock(gPlan.Mutex);
  if (gPlan.Left == 0 || (kind == CountedCalls::All && gPlan.Counted == CountedCalls::Statements) ||
      --gPlan.Left > 0) {
    return false;
  }
  gPlan.Failed = handle;
  return true;
}

bool IsCarriedOut() {
  const std::lock_guard lock(gPlan.Mutex);
  return gPlan.How == Fault::AnswerLost;
}

bool TakesReasonOf(SQLHANDLE handle) {
  const std::lock_guard lock(gPlan.Mutex);
  if (handle == nullptr || gPlan.Failed != handle) {
    return false;
  }
  gPlan.Failed = nullptr;
  return true;
}

}  // namespace

void FailCall(int n, Fault fault, CountedCalls counted) {
  const std::lock_guard lock(gPlan.Mutex);
  gPlan.Left = n;
  gPlan.How = fault;
  gPlan.Counted = counted;
  gPlan.Failed = nullptr;
}

bool EndFaults() {
  const std::lock_guard lock(gPlan.Mutex);
  gPlan.Failed = nullptr;
  return std::exchange(gPlan.Left, 0) == 0;
}

}  // namespace korvane::test

using korvane::test::CountedCalls;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
#define KORVANE_MAY_FAIL(name, counted, handle, parameters, arguments)                     \
  extern "C" SQLRETURN __real_##name parameters;                                           \
  extern "C" SQLRETURN __wrap_##name parameters;                                           \
  extern "C" SQLRETURN __wrap_##name parameters {                                          \
    return korvane::test::FailsNow(handle, counted) ? SQL_ERROR : __real_##name arguments; \
  }

// One that changes the store, and may have done so although nobody hears of it.
#define KORVANE_MAY_LOSE_ITS_ANSWER(name, handle, parameters, arguments) \
  extern "C" SQLRETURN __real_##name parameters;                         \
  extern "C" SQLRETURN __wrap_##name parameters;                         \
  extern "C" SQLRETURN __wrap_##name parameters {                        \
    if (!korvane::test::FailsNow(handle, CountedCalls::Statements)) {    \
      return __real_##name arguments;                                    \
    }                                                                    \
    if (korvane::test::IsCarriedOut()) {                                 \
      __real_##name arguments;                                           \
    }                                                                    \
    return SQL_ERROR;                                                    \
  }

KORVANE_MAY_FAIL(SQLAllocHandle, CountedCalls::All, i, (SQLSMALLINT t, SQLHANDLE i, SQLHANDLE* o), (t, i, o))
KORVANE_MAY_FAIL(SQLDriverConnect, CountedCalls::Statements, c,
                 (SQLHDBC c, SQLHWND w, SQLCHAR* i, SQLSMALLINT il, SQLCHAR* o, SQLSMALLINT om,
                  SQLSMALLINT* ol, SQLUSMALLINT d),
                 (c, w, i, il, o, om, ol, d))
KORVANE_MAY_FAIL(SQLSetConnectAttr, CountedCalls::Statements, c,
                 (SQLHDBC c, SQLINTEGER a, SQLPOINTER v, SQLINTEGER l), (c, a, v, l))
KORVANE_MAY_LOSE_ITS_ANSWER(SQLEndTran, h, (SQLSMALLINT t, SQLHANDLE h, SQLSMALLINT c), (t, h, c))
KORVANE_MAY_LOSE_ITS_ANSWER(SQLExecDirect, s, (SQLHSTMT s, SQLCHAR* t, SQLINTEGER l), (s, t, l))
KORVANE_MAY_LOSE_ITS_ANSWER(SQLExecute, s, (SQLHSTMT s), (s))
KORVANE_MAY_FAIL(SQLPrepare, CountedCalls::Statements, s, (SQLHSTMT s, SQLCHAR* t, SQLINTEGER l), (s, t, l))
KORVANE_MAY_FAIL(SQLFetch, CountedCalls::Statements, s, (SQLHSTMT s), (s))
KORVANE_MAY_FAIL(SQLBindParameter, CountedCalls::All, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLSMALLINT io, SQLSMALLINT c, SQLSMALLINT t, SQLULEN z,
                  SQLSMALLINT d, SQLPOINTER v, SQLLEN b, SQLLEN* l),
                 (s, n, io, c, t, z, d, v, b, l))
KORVANE_MAY_FAIL(SQLNumResultCols, CountedCalls::All, s, (SQLHSTMT s, SQLSMALLINT* n), (s, n))
KORVANE_MAY_FAIL(SQLDescribeCol, CountedCalls::All, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLCHAR* t, SQLSMALLINT m, SQLSMALLINT* l, SQLSMALLINT* k,
                  SQLULEN* z, SQLSMALLINT* d, SQLSMALLINT* u),
                 (s, n, t, m, l, k, z, d, u))
KORVANE_MAY_FAIL(SQLBindCol, CountedCalls::All, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLSMALLINT t, SQLPOINTER v, SQLLEN b, SQLLEN* l),
                 (s, n, t, v, b, l))
KORVANE_MAY_FAIL(SQLGetData, CountedCalls::All, s,
                 (SQLHSTMT s, SQLUSMALLINT n, SQLSMALLINT t, SQLPOINTER v, SQLLEN b, SQLLEN* l),
                 (s, n, t, v, b, l))

extern "C" SQLRETURN __real_SQLGetDiagRec(SQLSMALLINT t, SQLHANDLE h, SQLSMALLINT n, SQLCHAR* s,
                                          SQLINTEGER* c, SQLCHAR* m, SQLSMALLINT z, SQLSMALLINT* l);
extern "C" SQLRETURN __wrap_SQLGetDiagRec(SQLSMALLINT t, SQLHANDLE h, SQLSMALLINT n, SQLCHAR* s,
                                          SQLINTEGER* c, SQLCHAR* m, SQLSMALLINT z, SQLSMALLINT* l);
extern "C" SQLRETURN __wrap_SQLGetDiagRec(SQLSMALLINT t, SQLHANDLE h, SQLSMALLINT n, SQLCHAR* s,
                                          SQLINTEGER* c, SQLCHAR* m, SQLSMALLINT z, SQLSMALLINT* l) {
  if (!korvane::test::TakesReasonOf(h)) {
    return __real_SQLGetDiagRec(t, h, n, s, c, m, z, l);
  }
  const std::string text(korvane::test::kFaultText);
  std::memcpy(s, korvane::test::gPlan.How == korvane::test::Fault::Refused ? "HY000" : "08S01", 6);
  std::memcpy(m, text.c_str(), std::min(text.size() + 1, static_cast<std::size_t>(z)));
  *c = 0;
  *l = static_cast<SQLSMALLINT>(text.size());
  return SQL_SUCCESS;
}
// NOLINTEND(bugprone-reserved-identifier)
