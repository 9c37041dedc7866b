// The category tables as "Manage Categories" reads and clears them: which categories there are, the traps of
// one, and their removal.  Works inside the transaction it is given; what the wizard adds is
// CategoryWriter's. User-interface thread; every call may throw DatabaseError.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "categories/CategoryTransaction.h"

namespace korvane::categories {

inline constexpr std::string_view kRootCategory = "All Categories";

// The name of the group of the category's traps.
std::string TrapGroupName(std::string_view categoryName);

// One trap definition of a category; equal ones are one stored row that categories share.
struct TrapDetail {
  std::int32_t TrapTableId = 0;    // 0: not stored yet
  std::string Source = {};         // empty: any
  std::int32_t GenericTrap = -1;   // -1: any
  std::string EnterpriseOid = {};  // empty: any
  std::string SpecificTrap = "0";  // a number as text; "0": any
  std::string VarBinds = {};       // empty: any
  std::int32_t Severity = 0;
  bool operator==(const TrapDetail&) const = default;
};

enum class Side { Before, Behind };

struct CategoryDetails {
  std::string Description;
  std::int32_t Severity = 0;
  std::vector<TrapDetail> Traps;  // in stored order
  bool operator==(const CategoryDetails&) const = default;
};

// The definition in the current row of Trap_Group_Detail.
TrapDetail ReadTrapDetail(const store::Recordset& rows);

class CategoryStore {
 public:
  explicit CategoryStore(CategoryTransaction& transaction) : transaction_(transaction) {}

  // The names of the categories with a group of traps, in stored order.
  std::vector<std::string> LoadCategoryTree();
  CategoryDetails LoadTrapDetails(std::string_view categoryName);

  // Of the trap kind only; trap definitions stay, since other categories may share them.
  void DeleteCategory(std::string_view categoryName);
  void RemoveTrapDetail(std::string_view categoryName, std::int32_t trapTableId);
  // Puts the category, or the trap of a category, directly before or behind another one: the first that
  // accepts a trap decides.  False, and nothing is changed, when one of the two is no longer there.
  bool MoveCategory(std::string_view name, Side side, std::string_view other);
  bool MoveTrapDetail(std::string_view categoryName, std::int32_t trapTableId, Side side, std::int32_t other);
  // All four kinds and every relation: for a category that is replaced whole.
  void DeleteCategoryAllKinds(std::string_view categoryName);

 private:
  store::Connection& Db() const { return transaction_.Connection(); }
  void Delete(std::string_view table, std::string_view column, std::string_view text);

  CategoryTransaction& transaction_;
};

}  // namespace korvane::categories
