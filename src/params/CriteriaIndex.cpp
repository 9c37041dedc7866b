#include "params/CriteriaIndex.h"

#include <algorithm>
#include <functional>
#include <tuple>

namespace korvane::params {

namespace {

// Which of the three a row asks for.
constexpr unsigned kAsksOid = 1;
constexpr unsigned kAsksGeneric = 2;
constexpr unsigned kAsksSpecific = 4;

unsigned ConditionsOf(const CategoryCriterion& row) {
  return (row.EnterpriseOid.empty() ? 0U : kAsksOid) | (row.GenericTrap == -1 ? 0U : kAsksGeneric) |
         (row.SpecificTrap == 0 ? 0U : kAsksSpecific);
}

std::uint64_t Mixed(std::uint64_t seed, std::uint64_t value) {
  return (seed ^ value) * 0x9e3779b97f4a7c15U + (seed >> 31U);
}

std::uint64_t HashOf(unsigned conditions, std::uint64_t oidHash, std::int32_t specific,
                     std::int32_t generic) {
  std::uint64_t hash = Mixed(conditions, (conditions & kAsksOid) != 0 ? oidHash : 0);
  hash = Mixed(hash, (conditions & kAsksGeneric) != 0 ? static_cast<std::uint32_t>(generic) : 0);
  return Mixed(hash, (conditions & kAsksSpecific) != 0 ? static_cast<std::uint32_t>(specific) : 0);
}

}  // namespace

CriteriaIndex::CriteriaIndex(std::span<const Category> categories) {
  std::size_t rows = 0;
  for (const Category& category : categories) {
    rows += category.Criteria.size();
  }
  entries_.reserve(rows);
  for (const Category& category : categories) {
    for (const CategoryCriterion& row : category.Criteria) {
      const unsigned conditions = ConditionsOf(row);
      conditions_.set(conditions);
      entries_.push_back({.Hash = HashOf(conditions, std::hash<std::string_view>()(row.EnterpriseOid),
                                         row.SpecificTrap, row.GenericTrap),
                          .Order = static_cast<std::uint32_t>(entries_.size()),
                          .Row = &row});
    }
  }
  std::ranges::sort(entries_, {}, [](const Entry& entry) { return std::tuple(entry.Hash, entry.Order); });
}

// Calls take with each entry of the kind until one is taken.
template <typename Take>
bool CriteriaIndex::AnyOfKind(std::string_view enterpriseOid, std::int32_t specificTrap,
                              std::int32_t genericTrap, Take take) const {
  const std::uint64_t oidHash = std::hash<std::string_view>()(enterpriseOid);
  for (unsigned conditions = 0; conditions < conditions_.size(); ++conditions) {
    if (!conditions_.test(conditions)) {
      continue;
    }
    const std::uint64_t hash = HashOf(conditions, oidHash, specificTrap, genericTrap);
    for (auto entry = std::ranges::lower_bound(entries_, hash, {}, &Entry::Hash);
         entry != entries_.end() && entry->Hash == hash; ++entry) {
      // Another kind may have the same hash.
      if (ConditionsOf(*entry->Row) == conditions &&
          KindMatchesCriterion(enterpriseOid, specificTrap, genericTrap, *entry->Row) && take(*entry)) {
        return true;
      }
    }
  }
  return false;
}

std::vector<const CategoryCriterion*> CriteriaIndex::RowsOfKind(std::string_view enterpriseOid,
                                                                std::int32_t specificTrap,
                                                                std::int32_t genericTrap) const {
  std::vector<Entry> found;
  AnyOfKind(enterpriseOid, specificTrap, genericTrap, [&](const Entry& entry) {
    found.push_back(entry);
    return false;
  });
  std::ranges::sort(found, {}, &Entry::Order);
  std::vector<const CategoryCriterion*> rows;
  rows.reserve(found.size());
  for (const Entry& entry : found) {
    rows.push_back(entry.Row);
  }
  return rows;
}

bool CriteriaIndex::TrapMatchesCategory(const store::IncomingTrap& trap) const {
  return AnyOfKind(trap.EnterpriseOid, trap.SpecificTrap, trap.GenericTrap,
                   [&](const Entry& entry) { return TrapMatchesCriterion(trap, *entry.Row); });
}

}  // namespace korvane::params
