#include "store/StoredOrder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

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

constexpr std::size_t kNamedKeys = 500;

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

// The numbers that are there for the rows in their new order, so that a move touches only what lies between;
// numbers that leave two rows equal are replaced by 1, 2, 3.
std::vector<std::int32_t> NumbersFor(const auto& rows) {
  std::vector<std::int32_t> numbers;
  numbers.reserve(rows.size());
  for (const auto& row : rows) {
    numbers.push_back(row.Number);
  }
  std::ranges::sort(numbers);
  if (!NumbersAreSound(numbers)) {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      numbers[i] = static_cast<std::int32_t>(i + 1);
    }
  }
  return numbers;
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

// For these keys, or all rows when they are very many.
std::string StoredOrder::Update(const std::string& change, const std::vector<std::string>& keys) const {
  std::string condition = filter_;
  if (keys.size() <= kNamedKeys) {
    std::vector<std::string> values;
    values.reserve(keys.size());
    for (const std::string& key : keys) {
      values.push_back(keyIsText_ ? Quoted(key) : key);
    }
    condition += fmt::format("{}{} IN ({})", filter_.empty() ? "" : " AND ", key_, fmt::join(values, ", "));
  }
  return fmt::format("UPDATE {} SET {} = {}{}", table_, kSortOrder, change, WhereOf(condition));
}

bool StoredOrder::Change(const Reorder& reorder) {
  for (std::vector<Row> before = Read();;) {
    std::vector<Row> rows = before;
    if (!reorder(rows)) {
      return false;
    }
    const std::vector<std::int32_t> numbers = NumbersFor(rows);
    std::vector<std::size_t> changed;
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].Number != numbers[i]) {
        changed.push_back(i);
        keys.push_back(rows[i].Key);
      }
    }
    if (changed.empty()) {
      return true;
    }
    // Holds the rows.  Whoever held them before may have moved them.
    connection_.Execute(Update(std::string(kSortOrder), keys));
    std::vector<Row> now = Read();
    if (now == before) {
      for (const std::size_t i : changed) {
        connection_.Execute(Update(fmt::to_string(numbers[i]), {rows[i].Key}));
      }
      return true;
    }
    before = std::move(now);
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
  Change([](std::vector<Row>&) { return true; });
  const std::vector<Row> all = Read();
  return all.empty() ? 1 : all.back().Number + 1;
}

std::int32_t StoredOrder::NumberOf(std::string_view key) {
  const auto found = [&](const std::vector<Row>& rows) { return std::ranges::find(rows, key, &Row::Key); };
  if (!Change([&](std::vector<Row>& rows) { return found(rows) != rows.end(); })) {
    return NumberAtEnd();
  }
  const std::vector<Row> rows = Read();
  return found(rows)->Number;
}

bool StoredOrder::Move(std::string_view key, std::string_view other, std::ptrdiff_t behind) {
  return key != other && Change([&](std::vector<Row>& rows) {
           const auto moved = std::ranges::find(rows, key, &Row::Key);
           if (moved == rows.end()) {
             return false;
           }
           Row row = std::move(*moved);
           rows.erase(moved);
           const auto neighbour = std::ranges::find(rows, other, &Row::Key);
           if (neighbour == rows.end()) {
             return false;
           }
           rows.insert(neighbour + behind, std::move(row));
           return true;
         });
}

void StoredOrder::Arrange(const std::vector<std::string>& keys) {
  std::unordered_map<std::string_view, std::size_t> places;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    places.try_emplace(keys[i], i);
  }
  Change([&](std::vector<Row>& rows) {
    std::ranges::stable_sort(rows, {}, [&](const Row& row) {
      const auto found = places.find(row.Key);
      return found == places.end() ? keys.size() : found->second;
    });
    return true;
  });
}

}  // namespace korvane::store
