#include "intake/StoreAnchor.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>

#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::intake {
namespace {

constexpr std::size_t kShortBindings = 1024;
constexpr std::string_view kLastingColumns =
    "SequenceNumber, EventTime, Source, EnterpriseOid, GenericTrap, SpecificTrap";
constexpr std::string_view kBindingColumns = ", EventDescription, Event_ExtDescr";

std::string ReadIdentity(store::Connection& connection) {
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT Store_Identity FROM {}", store::kStoreInfo));
  return rows.Next() ? rows.Text("Store_Identity") : std::string();
}

bool HasNumberFrom(store::Connection& connection, std::int32_t number) {
  return connection
      .OpenRecordset(fmt::format("SELECT SequenceNumber FROM {} WHERE SequenceNumber >= {} LIMIT 1",
                                 store::kEventTrap, number))
      .Next();
}

}  // namespace

StoreAnchor::Row StoreAnchor::RowOf(const store::IncomingTrap& trap, bool isLong) {
  std::uint64_t print = 0;
  const auto add = [&print](std::uint64_t part) {
    print = (print ^ part) * 0x9E37'79B9'7F4A'7C15U;
    print ^= print >> 29U;
  };
  const std::hash<std::string_view> hash;
  add(static_cast<std::uint32_t>(trap.GenericTrap));
  add(static_cast<std::uint32_t>(trap.SpecificTrap));
  add(hash(trap.EnterpriseOid));
  add(isLong ? 0 : hash(trap.VarBinds));
  return {.Number = trap.SequenceNumber,
          .Time = trap.EventTime,
          .Source = std::string(trap.Source),
          .Long = isLong,
          .Print = print};
}

StoreAnchor StoreAnchor::Of(store::Connection& connection) {
  StoreAnchor anchor;
  anchor.identity_ = ReadIdentity(connection);
  store::TrapReader newest(connection, fmt::format("SELECT {}{} FROM {} ORDER BY SequenceNumber DESC LIMIT 1",
                                                   kLastingColumns, kBindingColumns, store::kEventTrap));
  store::IncomingTrap trap;
  if (newest.Next(trap)) {
    anchor.Note(trap);
  }
  return anchor;
}

void StoreAnchor::Note(const store::IncomingTrap& row) {
  const auto place = std::ranges::lower_bound(rows_, row.SequenceNumber, {}, &Row::Number);
  if (place != rows_.end() && place->Number == row.SequenceNumber) {
    return;
  }
  rows_.insert(place, RowOf(row, row.VarBinds.size() > kShortBindings));
  if (rows_.size() > std::size_t{kRows}) {
    rows_.pop_front();
  }
}

void StoreAnchor::Forget(const store::TrapSelection& purged) {
  std::erase_if(rows_, [&](const Row& row) { return purged.Contains(row.Number, row.Source, row.Time); });
}

StoreAnchor::Finding StoreAnchor::Check(store::Connection& connection) {
  std::string identity = ReadIdentity(connection);
  if (identity != identity_.value_or(identity)) {
    return Finding::Other;
  }
  identity_ = std::move(identity);
  missing_.clear();
  std::ranges::transform(rows_, std::back_inserter(missing_), &Row::Number);
  if (!CheckRows(connection, false) || !CheckRows(connection, true)) {
    return Finding::Other;
  }
  if (missing_.empty()) {
    return Finding::Same;
  }
  const std::int32_t newest = rows_.back().Number;
  const bool goesAsFar = missing_.back() != newest || HasNumberFrom(connection, newest);
  return goesAsFar && missing_.size() < rows_.size() ? Finding::Thinned : Finding::Gone;
}

void StoreAnchor::ForgetMissing() {
  std::erase_if(rows_, [this](const Row& row) { return std::ranges::binary_search(missing_, row.Number); });
  missing_.clear();
}

bool StoreAnchor::CheckRows(store::Connection& connection, bool isLong) {
  std::string numbers;
  for (const Row& row : rows_) {
    if (row.Long == isLong) {
      numbers += fmt::format("{}{}", numbers.empty() ? "" : ", ", row.Number);
    }
  }
  if (numbers.empty()) {
    return true;
  }
  store::TrapReader reader(connection,
                           fmt::format("SELECT {}{} FROM {} WHERE SequenceNumber IN ({})", kLastingColumns,
                                       isLong ? "" : kBindingColumns, store::kEventTrap, numbers));
  store::IncomingTrap trap;
  while (reader.Next(trap)) {
    const auto known = std::ranges::find(rows_, trap.SequenceNumber, &Row::Number);
    if (known == rows_.end() || RowOf(trap, isLong) != *known) {
      return false;
    }
    std::erase(missing_, trap.SequenceNumber);
  }
  return true;
}

}  // namespace korvane::intake
