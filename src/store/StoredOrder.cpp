#include "store/StoredOrder.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

#include "store/DatabaseError.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

// What the tables give a row whose writer does not know the column: behind all that were placed.
constexpr std::int32_t kUnplaced = std::numeric_limits<std::int32_t>::max();

struct TableOrder {
  std::string_view Table;
  std::string_view By;
};

// Each ends with a key of its table, so that no two rows are left to the engine.
constexpr TableOrder kOrders[] = {
    {kCategoryGroupMaster, "Sort_Order, Category_Name"},
    {kCategoryGroup, "Category_Name, Category_ID"},
    {kCategoryGroupDetail, "Category_ID, Category_Type, Group_Name"},
    {kTrapGroup, "Trap_Group_Name, Sort_Order, Trap_ID"},
    {kTrapFilterGroup, "Sort_Order, Trap_ID"},
    {kTrapActionGroup, "Trap_Group_ID"},
};

std::string WhereOf(std::string_view filter) {
  return filter.empty() ? std::string() : fmt::format(" WHERE {}", filter);
}

// Ascending without equal ones, and with room for one more before the unplaced.
bool NumbersAreSound(const std::vector<std::int32_t>& numbers) {
  return numbers.empty() || (numbers.back() < kUnplaced - 1 &&
                             std::ranges::adjacent_find(numbers, std::greater_equal<>()) == numbers.end());
}

}  // namespace

std::string InStoredOrder(std::string_view table, std::string_view filter) {
  const auto* const order = std::ranges::find(kOrders, table, &TableOrder::Table);
  if (order == std::end(kOrders)) {
    throw DatabaseError(fmt::format("The table '{}' has no order.", table), "42S22", 0, {});
  }
  return fmt::format("SELECT * FROM {}{} ORDER BY {}", table, WhereOf(filter), order->By);
}

StoredOrder::StoredOrder(Connection& connection, std::string_view table, std::string filter)
    : connection_(connection),
      table_(table),
      filter_(std::move(filter)),
      key_(table == kCategoryGroupMaster ? "Category_Name" : "Trap_ID"),
      keyIsText_(table == kCategoryGroupMaster) {}

std::vector<StoredOrder::Row> StoredOrder::Read() {
  std::vector<Row> rows;
  Recordset read = connection_.OpenRecordset(InStoredOrder(table_, filter_));
  while (read.Next()) {
    std::string key = read.Text(key_);
    if (key.find_first_of(std::string_view("'\0", 2)) == std::string::npos) {
      rows.push_back({std::move(key), read.Integer(kSortOrder)});
    }
  }
  return rows;
}

// Gives the numbers that are there to the rows in their new order, so that a move touches only what lies
// between; numbers that leave two rows equal are replaced by 1, 2, 3.
void StoredOrder::Write(std::vector<Row>& inOrder) {
  std::vector<std::int32_t> numbers;
  numbers.reserve(inOrder.size());
  for (const Row& row : inOrder) {
    numbers.push_back(row.Number);
  }
  std::ranges::sort(numbers);
  if (!NumbersAreSound(numbers)) {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      numbers[i] = static_cast<std::int32_t>(i + 1);
    }
  }
  for (std::size_t i = 0; i < inOrder.size(); ++i) {
    Row& row = inOrder[i];
    if (row.Number != numbers[i]) {
      connection_.Execute(fmt::format("UPDATE {} SET {} = {} WHERE {}{}{} = {}", table_, kSortOrder,
                                      numbers[i], filter_, filter_.empty() ? "" : " AND ", key_,
                                      keyIsText_ ? Quoted(row.Key) : row.Key));
      row.Number = numbers[i];
    }
  }
}

std::vector<std::string> StoredOrder::Keys() {
  std::vector<std::string> keys;
  for (Row& row : Read()) {
    keys.push_back(std::move(row.Key));
  }
  return keys;
}

std::int32_t StoredOrder::NumberAtEnd(std::int32_t rows) {
  Recordset largest = connection_.OpenRecordset(
      fmt::format("SELECT MAX({}) FROM {}{}", kSortOrder, table_, WhereOf(filter_)));
  const std::int32_t last = largest.Next() ? largest.Integer(std::size_t{0}) : 0;
  if (last < kUnplaced - rows) {
    return last + 1;
  }
  std::vector<Row> all = Read();
  Write(all);
  return all.empty() ? 1 : all.back().Number + 1;
}

std::int32_t StoredOrder::NumberOf(std::string_view key) {
  std::vector<Row> rows = Read();
  const auto found = std::ranges::find(rows, key, &Row::Key);
  if (found == rows.end()) {
    return NumberAtEnd();
  }
  Write(rows);
  return found->Number;
}

bool StoredOrder::Move(std::string_view key, std::string_view other, std::ptrdiff_t behind) {
  std::vector<Row> rows = Read();
  const auto moved = std::ranges::find(rows, key, &Row::Key);
  if (moved == rows.end() || key == other) {
    return false;
  }
  Row row = std::move(*moved);
  rows.erase(moved);
  const auto neighbour = std::ranges::find(rows, other, &Row::Key);
  if (neighbour == rows.end()) {
    return false;
  }
  rows.insert(neighbour + behind, std::move(row));
  Write(rows);
  return true;
}

void StoredOrder::Arrange(const std::vector<std::string>& keys) {
  std::unordered_map<std::string_view, std::size_t> places;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    places.try_emplace(keys[i], i);
  }
  const auto placeOf = [&](const Row& row) {
    const auto found = places.find(row.Key);
    return found == places.end() ? keys.size() : found->second;
  };
  std::vector<Row> rows = Read();
  std::ranges::stable_sort(rows, {}, placeOf);
  Write(rows);
}

}  // namespace korvane::store
