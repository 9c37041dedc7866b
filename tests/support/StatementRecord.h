// Keeps the statements that reach the driver manager from any thread of a program that links
// korvane_statement_record: the linker leads SQLExecDirect and SQLPrepare through StatementRecord.cpp.
#pragma once

#include <set>
#include <string>

namespace korvane::test {

// From its construction on; one at a time.
class StatementRecord {
 public:
  StatementRecord();
  ~StatementRecord();
  StatementRecord(const StatementRecord&) = delete;
  StatementRecord& operator=(const StatementRecord&) = delete;

  // Each text once.
  std::set<std::string> Taken() const;
};

// While it lives, what its thread sends is its own and not kept.
class OffTheRecord {
 public:
  OffTheRecord();
  ~OffTheRecord();
  OffTheRecord(const OffTheRecord&) = delete;
  OffTheRecord& operator=(const OffTheRecord&) = delete;
};

}  // namespace korvane::test
