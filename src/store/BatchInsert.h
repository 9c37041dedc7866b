// Adds many rows of one shape with as few round trips as the engine allows.  Used inside a transaction.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "store/Connection.h"

namespace korvane::store {

class BatchInsert {
 public:
  using Value = std::variant<std::int32_t, std::string_view>;

  BatchInsert(Connection& connection, std::string_view table, std::span<const std::string_view> columns);
  ~BatchInsert();
  BatchInsert(const BatchInsert&) = delete;
  BatchInsert& operator=(const BatchInsert&) = delete;

  // One row, in the order of the columns.  May send rows that were added before.
  void Add(std::span<const Value> row);
  // Sends what is left.  Rows not flushed are not in the database.  After a failure of either the batch is
  // empty and the caller rolls back; the object may be used again.
  void Flush();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::store
