// What a statement costs where it runs: it is carried out and taken back, and the engine itself tells how
// much it looked at.  For the store of a test, on each engine.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "support/TestStore.h"

namespace korvane::store {

struct StatementCost {
  std::int64_t Looked = 0;  // at rows or entries of indices; SQLite: in its steps, some ten of them a row
  std::int64_t Rows = 0;    // of the result, or changed
  std::string Plan;
};

class CostMeter {
 public:
  virtual ~CostMeter() = default;
  // A place for a value ("?") may stand in it wherever '1' does for a number and for a text.
  virtual StatementCost Measure(const std::string& statement) = 0;
  // No statement may look at more than that.
  virtual std::int64_t MostFor(std::int64_t rows) const { return 60 + 3 * rows; }
};

// To be made after the rows: the planners get to know them.  The store must outlive it.
std::unique_ptr<CostMeter> MakeCostMeter(test::TestStore& store, Engine engine);

}  // namespace korvane::store
