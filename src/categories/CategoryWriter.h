// The one place where rows of categories and of their trap definitions are written; rows that are there
// already are used again.  Works inside the caller's transaction.  User-interface thread; every call may
// throw DatabaseError, and what it wrote before stays in that transaction.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "categories/CategoryStore.h"
#include "categories/CategoryTransaction.h"
#include "categories/TrapDefinitions.h"
#include "store/BatchInsert.h"

namespace korvane::categories {

// The relation of a new category to the root was there before the category: what() says so.
class RelationExists : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class CategoryWriter {
 public:
  explicit CategoryWriter(CategoryTransaction& transaction)
      : transaction_(transaction), definitions_(transaction.Connection()) {}

  // So many categories, with these traps in all, are going to be added by AddCategory: writes the definitions
  // at once and collects the rest, which Finish writes.
  void Expect(std::size_t categories, std::span<const TrapDetail> traps);
  void Finish();
  // How many traps all calls so far have written, and who is told so every thousand and after the last of a
  // call.
  std::size_t Written() const { return steps_ / 2; }
  void ReportTo(std::function<void(std::size_t written)> progress) { progress_ = std::move(progress); }

  // The names in use by their folded texts: of two that differ in letter case only no file could hold both.
  std::multimap<std::string, std::string> NamesInUse();

  // The category, behind all others, with its group of traps, the traps in their order, and its relation to
  // the root; may throw RelationExists.
  // After another error the same call on the same object begins anew: what the failed one wrote goes first.
  void AddCategory(std::string_view name, std::string_view description, std::int32_t severity,
                   std::span<const TrapDetail> traps);
  void EditCategory(std::string_view name, std::string_view description, std::int32_t severity);
  // Behind those that are there.
  void AddTrapDetails(std::string_view name, std::span<const TrapDetail> traps);
  // The membership of the old definition goes, that of the edited one takes its place, also in a second try
  // on the same object.
  void EditTrapDetail(std::string_view name, std::int32_t oldTrapTableId, const TrapDetail& trap);

 private:
  store::Connection& Db() const { return transaction_.Connection(); }
  std::int32_t EnsureTrapKind(std::string_view group);
  void EnsureGroups(std::string_view name, std::string_view description);
  std::int32_t NewNumber();
  void AddMembers(std::string_view group, std::span<const TrapDetail> traps);
  void Report(std::size_t steps);
  void RelateToRoot(std::string_view name);

  CategoryTransaction& transaction_;
  TrapDefinitions definitions_;
  std::optional<store::BatchInsert> members_;  // prepared once
  std::int32_t nextNumber_ = 0;                // of the numbers that are reserved
  std::int32_t numbersLeft_ = 0;
  bool expected_ = false;
  std::size_t steps_ = 0;  // two of each trap: its definition, its membership
  std::function<void(std::size_t)> progress_;
  std::string begun_;  // the category whose row is written and the rest not yet
  std::int32_t begunNumber_ = 0;
  std::int32_t editedId_ = 0;  // of the trap whose editing is begun, with its place
  std::int32_t editedNumber_ = 0;
};

}  // namespace korvane::categories
