// The trap categories in memory: what the store's category tables say, as matching reads it.
// Read at start-up and after every saved change of the categories; user-interface thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "common/Text.h"
#include "store/Connection.h"
#include "store/ReadOutcome.h"
#include "store/TrapRecord.h"

namespace korvane::params {

// How the category tables say that a group belongs to traps, and what that group is called: the category's
// name and this.
inline constexpr std::int32_t kTrapGroupType = 4;
inline constexpr std::string_view kTrapGroupSuffix = "_Trap";

struct CategoryCriterion {
  std::string SourceAgent = {};                        // empty: any
  std::string EnterpriseOid = {};                      // empty: any
  std::int32_t GenericTrap = -1;                       // -1: any
  std::int32_t SpecificTrap = 0;                       // 0: any
  CaseInsensitiveNeedle VarBinds{std::string_view{}};  // empty: any
  std::int32_t Severity = 0;                           // takes no part in membership
};

struct Category {
  std::string Name;
  std::vector<CategoryCriterion> Criteria;  // in stored order
};

class CategoryInformation {
 public:
  // Reads all trap categories anew, each table once.  When a database call fails the categories that were
  // there stay in force.
  store::ReadOutcome ReloadCategoryInformation(store::Connection& connection);
  void Clear();

  const std::vector<Category>& Categories() const { return categories_; }
  // Ignoring case, the first in stored order; null when there is none.
  const Category* Find(std::string_view name) const;
  // Grows with every change of the list: what was derived from the list holds while this stays the same.
  std::uint64_t Revision() const { return revision_; }

  // Takes the place of the list; for stores and callers that keep categories elsewhere.
  void Assign(std::vector<Category> categories);

 private:
  std::vector<Category> categories_;
  std::unordered_map<std::string, std::size_t> byFoldedName_;
  std::uint64_t revision_ = 0;
};

// The names of the categories that have a group of traps, in table order.  Throws DatabaseError.
std::vector<std::string> TrapCategoryNames(store::Connection& connection);

// True when all conditions of the row hold.  Sources compare ignoring case, with the system's name and with
// the trap's source text.
bool TrapMatchesCriterion(const store::IncomingTrap& trap, const CategoryCriterion& criterion);

// What every trap of a kind (OID, specific, generic) has in common: no trap of a kind that fails here
// matches.
bool KindMatchesCriterion(std::string_view enterpriseOid, std::int32_t specificTrap, std::int32_t genericTrap,
                          const CategoryCriterion& criterion);

}  // namespace korvane::params
