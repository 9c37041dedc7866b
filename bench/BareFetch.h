// The limit that reading traps is measured against.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "store/Connection.h"
#include "store/Odbc.h"

namespace korvane::bench {

// Nothing but the driver manager's calls: every column bound, blocks of rows, no cell looked at.
inline std::size_t BareBlockFetch(store::Connection& connection, const std::string& statement) {
  constexpr std::size_t kBlockRows = 256;
  constexpr std::size_t kTextBytes = 512;
  store::Statement reader(connection.Internals());
  SQLHSTMT const handle = reader.Get();
  SQLULEN fetched = 0;
  SQLSetStmtAttr(handle, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(kBlockRows), 0);
  SQLSetStmtAttr(handle, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
  reader.ExecuteDirect(statement);
  struct Column {
    std::array<std::array<char, kTextBytes>, kBlockRows> Values;
    std::array<SQLLEN, kBlockRows> Lengths;
  };
  const auto columns = static_cast<SQLUSMALLINT>(reader.ColumnCount());
  const auto buffers = std::make_unique<Column[]>(columns);
  for (SQLUSMALLINT place = 1; place <= columns; ++place) {
    const std::string name = reader.ColumnName(place);
    const bool number = name == "SequenceNumber" || name == "EventTime" || name == "GenericTrap" ||
                        name == "SpecificTrap" || name == "EventAck";
    Column& column = buffers[place - 1U];
    SQLBindCol(handle, place, number ? SQL_C_SLONG : SQL_C_CHAR, column.Values.data(),
               number ? sizeof(std::int32_t) : kTextBytes, column.Lengths.data());
  }
  std::size_t rows = 0;
  while (SQL_SUCCEEDED(SQLFetch(handle)) && fetched > 0) {
    rows += fetched;
  }
  reader.CloseCursor();
  return rows;
}

}  // namespace korvane::bench
