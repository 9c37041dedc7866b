// The compiler's side of EventStructure.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "Definition.h"
#include "store/Connection.h"

namespace korvane::mibc {

struct StoredCounts {
  std::size_t Added = 0;
  std::size_t Updated = 0;
  std::size_t Unchanged = 0;
  std::size_t Doubled = 0;  // left out, since an earlier one of the module has the same enterprise and code

  friend bool operator==(const StoredCounts&, const StoredCounts&) = default;
};

class TrapDefinitionTable {
 public:
  // Must be open and outlive this object.
  explicit TrapDefinitionTable(store::Connection& connection) : connection_(connection) {}

  // All modules of a file in one transaction, the counts in their order: a trap that is known (same
  // enterprise and code) is brought up to date, others are added.  The enterprise's name becomes that of all
  // its rows, since dialogs list traps by it; a name that another enterprise has already is written as
  // MODULE::name. Throws DatabaseError; the table is then as it was.
  std::vector<StoredCounts> Store(std::span<const Module> modules);

 private:
  store::Connection& connection_;
};

}  // namespace korvane::mibc
