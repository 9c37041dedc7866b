// Rows of a table or SELECT, read forward only by column name (ignoring case), and the way rows are added and
// a found row is changed.  Comes from Connection::OpenRecordset, holds its rows (so recordsets may be nested
// and statements run while one is open) and lives no longer than its connection.  Meant for the small tables;
// trap rows in number are read by TrapReader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace korvane::store {

class Connection;

class Recordset {
 public:
  Recordset(Recordset&&) noexcept;
  Recordset& operator=(Recordset&&) noexcept;
  ~Recordset();

  // Moves to the next row (the first call: to the first); false at the end.
  bool Next();

  // Fields of the current row.  A NULL, and a text that is no number, read as 0; a NULL as an empty text.
  // Numbers are held at the ends of the 32-bit range.  A column that is not there throws.
  std::string Text(std::string_view column) const;
  std::int32_t Integer(std::string_view column) const;
  bool IsNull(std::string_view column) const;
  // A column by its place, from 0: each engine has a name of its own for COUNT(*).
  std::int32_t Integer(std::size_t place) const;

  // Only for a recordset opened on a table: starts a new row, or an edit of the current one when AddNew was
  // not called.  Values are bound, so they may hold any character.
  void AddNew();
  void Set(std::string_view column, std::string_view text);
  void Set(std::string_view column, std::int32_t value);
  // Writes the fields that were set, and no others.  An edit is addressed by the filter the recordset was
  // opened with, and throws without one.  The number of rows written (0: it was no longer there).
  std::int64_t Update();

  void Close();

 private:
  friend class Connection;
  struct Impl;
  explicit Recordset(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::store
