// The order that is stored with rows where it decides something: the first row of a category that accepts a
// trap gives its severity, the first filter hides it.  Every read of such a table asks for InStoredOrder, and
// whoever adds or moves a row asks StoredOrder for its number.  On the connection's thread; every call throws
// DatabaseError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/Connection.h"

namespace korvane::store {

// Small numbers first; equal ones by the key.
inline constexpr std::string_view kSortOrder = "Sort_Order";

// The SELECT that reads a table, or the rows of a filter, in the order that decides.
std::string InStoredOrder(std::string_view table, std::string_view filter = {});

// The order of a whole table, or of the rows that a filter names.  Rows are told by their key as text.
// Changes are meant for a transaction that has the right to write; on a server they wait for whoever is just
// moving one of the same rows, and take what that one has done for their beginning.
class StoredOrder {
 public:
  // Category_Group_Master by its names; Trap_Group of one group, and Trap_Filter_Group, by Trap_ID.
  StoredOrder(Connection& connection, std::string_view table, std::string filter = {});

  // But for those whose key no statement can hold: they stay where they are.
  std::vector<std::string> Keys();
  // The number for a row that is added behind all others, or the first of so many in a row.
  std::int32_t NumberAtEnd(std::int32_t rows = 1);
  // That of a row, made different from every other's: a row that takes it over stands just there.  Behind all
  // when there is no such row.
  std::int32_t NumberOf(std::string_view key);
  // False, and nothing is changed, when one of the two is not there.
  bool PutBefore(std::string_view key, std::string_view other) { return Move(key, other, 0); }
  bool PutBehind(std::string_view key, std::string_view other) { return Move(key, other, 1); }
  // The rows of these keys in this order; the keys are those of Keys().
  void Arrange(const std::vector<std::string>& keys);

 private:
  struct Row {
    std::string Key;
    std::int32_t Number = 0;
    bool operator==(const Row&) const = default;
  };

  std::vector<Row> Read();
  // Puts the rows into another order; false: they stay as they are.
  using Reorder = std::function<bool(std::vector<Row>&)>;
  bool Change(const Reorder& reorder);
  std::string Update(const std::string& change, const std::vector<std::string>& keys) const;
  bool Move(std::string_view key, std::string_view other, std::ptrdiff_t behind);

  Connection& connection_;
  std::string table_;
  std::string filter_;
  std::string_view key_;
  bool keyIsText_;
};

}  // namespace korvane::store
