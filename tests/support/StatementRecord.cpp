#include "support/StatementRecord.h"

#include <sql.h>
#include <sqlext.h>

#include <mutex>

namespace korvane::test {
namespace {

// The linker's functions have nothing but what is global.
std::mutex gRecordMutex;
bool gRecording = false;
std::set<std::string> gStatements;
thread_local bool gOffTheRecord = false;

void Keep(const SQLCHAR* text, SQLINTEGER length) {
  const std::lock_guard lock(gRecordMutex);
  if (gRecording && !gOffTheRecord) {
    gStatements.emplace(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
  }
}

}  // namespace

StatementRecord::StatementRecord() {
  const std::lock_guard lock(gRecordMutex);
  gStatements.clear();
  gRecording = true;
}

StatementRecord::~StatementRecord() {
  const std::lock_guard lock(gRecordMutex);
  gRecording = false;
}

std::set<std::string> StatementRecord::Taken() const {
  const std::lock_guard lock(gRecordMutex);
  return gStatements;
}

OffTheRecord::OffTheRecord() {
  gOffTheRecord = true;
}

OffTheRecord::~OffTheRecord() {
  gOffTheRecord = false;
}

}  // namespace korvane::test

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" decltype(SQLExecDirect) __real_SQLExecDirect, __wrap_SQLExecDirect;
extern "C" decltype(SQLPrepare) __real_SQLPrepare, __wrap_SQLPrepare;

SQLRETURN __wrap_SQLExecDirect(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
  korvane::test::Keep(text, length);
  return __real_SQLExecDirect(statement, text, length);
}

SQLRETURN __wrap_SQLPrepare(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
  korvane::test::Keep(text, length);
  return __real_SQLPrepare(statement, text, length);
}
// NOLINTEND(bugprone-reserved-identifier)
