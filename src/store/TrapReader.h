// Reads trap rows in number: bound columns, blocks of rows, no allocation per cell.  The one road by which
// stored traps come in, for the Systems window, Traps windows, reports and the store feeder.
#pragma once

#include <memory>
#include <string_view>

#include "store/Connection.h"
#include "store/TrapRecord.h"

namespace korvane::store {

class TrapReader {
 public:
  // statement: a SELECT of EventTrap's columns, by any case and in any order; columns that are not selected
  // read as empty and 0.  Small reads may run on the connection meanwhile; writes wait until the reader is
  // gone.
  TrapReader(Connection& connection, std::string_view statement);
  ~TrapReader();
  TrapReader(const TrapReader&) = delete;
  TrapReader& operator=(const TrapReader&) = delete;

  // Fills the stored fields of the trap (the others keep what they held); false at the end.
  // Texts of any length come whole.  The views hold until the next call.
  bool Next(IncomingTrap& trap);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::store
