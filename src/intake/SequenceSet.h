// A set of SequenceNumbers, kept as runs: numbers come in nearly ascending and without gaps, so a million of
// them usually take a few bytes (eight bytes a number at worst).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/TrapSelection.h"

namespace korvane::intake {

class SequenceSet {
 public:
  // False when it was there already.  Fast at the end, slower the further from it.
  bool Insert(std::int32_t number);
  // In any order, those of them that are there; linear.
  void Erase(std::vector<std::int32_t> numbers);
  // Replaces all of it; the numbers in any order.
  void Assign(std::vector<std::int32_t> numbers);
  bool Contains(std::int32_t number) const;
  void Clear() { runs_.clear(); }
  bool Empty() const { return runs_.empty(); }
  std::size_t Runs() const { return runs_.size(); }

 private:
  using Run = store::NumberRange;
  // The first run that ends at the number or behind it.
  std::vector<Run>::const_iterator RunFor(std::int32_t number) const;

  std::vector<Run> runs_;  // ascending, never touching each other
};

}  // namespace korvane::intake
