// The trap categories in memory: what the store's category tables say, as matching reads it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/Text.h"
#include "store/Connection.h"
#include "store/TrapRecord.h"

namespace korvane::params {

struct CategoryCriterion {
  std::string SourceAgent;         // empty: any
  std::string EnterpriseOid;       // empty: any
  std::int32_t GenericTrap = -1;   // -1: any
  std::int32_t SpecificTrap = 0;   // 0: any
  CaseInsensitiveNeedle VarBinds;  // empty: any
  std::int32_t Severity = 0;       // takes no part in membership
};

struct Category {
  std::string Name;
  std::vector<CategoryCriterion> Criteria;  // in stored order
};

class CategoryInformation {
 public:
  // Empties the list and reads all trap categories; false when a database call failed.
  bool ReloadCategoryInformation(store::Connection& connection);
  void Clear();

  const std::vector<Category>& Categories() const { return categories_; }
  const Category* Find(std::string_view name) const;  // ignoring case; null when there is none

 private:
  std::vector<Category> categories_;
};

bool TrapMatchesCategory(const store::IncomingTrap& trap, std::string_view categoryName,
                         const CategoryInformation& categories);
bool TrapMatchesCriterion(const store::IncomingTrap& trap, const CategoryCriterion& criterion);

}  // namespace korvane::params
