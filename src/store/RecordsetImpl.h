// What a recordset holds: the rows it read, whole, and the row that is being written.  The cursor is closed
// once the rows are read, so recordsets may be nested and rows written while one is open.  Private to
// src/store.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "store/Odbc.h"
#include "store/Recordset.h"

namespace korvane::store {

struct Recordset::Impl {
  struct Cell {
    std::size_t Start = 0;
    std::size_t Length = 0;
    bool Null = false;
  };
  using Value = std::variant<std::int32_t, std::string>;

  explicit Impl(Connection::Impl& link) : Link(link) {}

  void Read(const std::string& statement);
  std::size_t RowCount() const { return Columns.empty() ? 0 : Cells.size() / Columns.size(); }
  const Cell& CellAt(std::size_t place) const;
  const Cell& CellOf(std::string_view column) const;
  std::int32_t NumberIn(const Cell& cell) const;
  void SetValue(std::string_view column, Value value);

  Connection::Impl& Link;
  std::string Table;  // empty for a SELECT
  std::string Filter;
  std::vector<std::string> Columns;
  std::string Bytes;
  std::vector<Cell> Cells;
  std::size_t Row = 0;  // 1 is the first; 0 before it
  bool Adding = false;
  std::vector<std::pair<std::string, Value>> Pending;
};

}  // namespace korvane::store
