// Finds the rows of categories that accept a kind of trap (OID, specific, generic) without looking at the
// others: rows are looked up by what they ask of a kind, so a category of ten thousand rows costs a trap that
// none of them is about as little as an empty one.  User-interface thread only.
#pragma once

#include <bitset>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "params/CategoryInformation.h"

namespace korvane::params {

class CriteriaIndex {
 public:
  CriteriaIndex() = default;
  // The rows are pointed to: the categories must stay as they are while the index is used.
  explicit CriteriaIndex(std::span<const Category> categories);

  // In stored order, whatever they ask of source and bindings.
  std::vector<const CategoryCriterion*> RowsOfKind(std::string_view enterpriseOid, std::int32_t specificTrap,
                                                   std::int32_t genericTrap) const;
  // True when some row accepts the trap.
  bool TrapMatchesCategory(const store::IncomingTrap& trap) const;

 private:
  struct Entry {
    std::uint64_t Hash;  // of what the row asks of a kind
    std::uint32_t Order;
    const CategoryCriterion* Row;
  };
  template <typename Take>
  bool AnyOfKind(std::string_view enterpriseOid, std::int32_t specificTrap, std::int32_t genericTrap,
                 Take take) const;

  std::vector<Entry> entries_;  // by hash, then order
  std::bitset<8> conditions_;   // which combinations of conditions there are
};

}  // namespace korvane::params
