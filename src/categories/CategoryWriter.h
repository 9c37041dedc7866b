// The one place where rows of categories and of their trap definitions are written; rows that are there
// already are used again.  Works inside the caller's transaction.  User-interface thread; every call may
// throw DatabaseError, and what it wrote before stays in that transaction.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "categories/CategoryStore.h"
#include "categories/CategoryTransaction.h"

namespace korvane::categories {

// The relation of a new category to the root was there before the category: what() says so.
class RelationExists : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class CategoryWriter {
 public:
  explicit CategoryWriter(CategoryTransaction& transaction) : transaction_(transaction) {}

  // The names in use by their folded texts: of two that differ in letter case only no file could hold both.
  std::multimap<std::string, std::string> NamesInUse();

  // The category with its group of traps, the traps, and its relation to the root; may throw RelationExists.
  // After another error the same call on the same object begins anew: what the failed one wrote goes first.
  void AddCategory(std::string_view name, std::string_view description, std::int32_t severity,
                   std::span<const TrapDetail> traps);
  void EditCategory(std::string_view name, std::string_view description, std::int32_t severity);
  void AddTrapDetails(std::string_view name, std::span<const TrapDetail> traps);
  // The membership of the old definition goes, that of the edited one is added.
  void EditTrapDetail(std::string_view name, std::int32_t oldTrapTableId, const TrapDetail& trap);

 private:
  store::Connection& Db() const { return transaction_.Connection(); }
  std::int32_t EnsureTrapKind(std::string_view group);
  void EnsureGroups(std::string_view name, std::string_view description);
  std::int32_t FindOrAdd(const TrapDetail& trap);
  void AddMembers(std::string_view group, std::span<const TrapDetail> traps);
  void RelateToRoot(std::string_view name);

  CategoryTransaction& transaction_;
  std::string begun_;  // the category whose row is written and the rest not yet
};

}  // namespace korvane::categories
