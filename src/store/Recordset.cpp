#include "store/Recordset.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include <fmt/format.h>

#include "common/Text.h"
#include "store/RecordsetImpl.h"

namespace korvane::store {

namespace {

// A filter narrows to rows; an edit or an added row needs a table, and column names that are plain words.
void RequireName(std::string_view name) {
  const bool plain = !name.empty() && std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
  if (!plain) throw DatabaseError(fmt::format("'{}' is no column.", name), "42S22", 0, {});
}

}  // namespace

void Recordset::Impl::Read(const std::string& statement) {
  Columns.clear();
  Bytes.clear();
  Cells.clear();
  Statement reader(Link);
  reader.ExecuteDirect(statement);
  const auto columns = static_cast<SQLUSMALLINT>(reader.ColumnCount());
  for (SQLUSMALLINT i = 1; i <= columns; ++i) Columns.push_back(reader.ColumnName(i));
  while (reader.Fetch()) {
    for (SQLUSMALLINT i = 1; i <= columns; ++i) {
      const std::size_t start = Bytes.size();
      const bool held = reader.AppendCell(i, Bytes);
      Cells.push_back({start, Bytes.size() - start, !held});
    }
  }
}

const Recordset::Impl::Cell& Recordset::Impl::CellAt(std::size_t place) const {
  if (Row == 0 || Row > RowCount()) throw DatabaseError("The recordset has no current row.", "24000", 0, {});
  if (place >= Columns.size()) {
    throw DatabaseError(fmt::format("The column number {} is not there.", place), "42S22", 0, {});
  }
  return Cells[(Row - 1) * Columns.size() + place];
}

// Ignoring the case of letters: one engine folds names that it is not given in quotes.
const Recordset::Impl::Cell& Recordset::Impl::CellOf(std::string_view column) const {
  const auto found =
      std::ranges::find_if(Columns, [&](const auto& name) { return EqualsIgnoreCase(name, column); });
  if (found == Columns.end()) {
    throw DatabaseError(fmt::format("The column '{}' is not there.", column), "42S22", 0, {});
  }
  return CellAt(static_cast<std::size_t>(found - Columns.begin()));
}

std::int32_t Recordset::Impl::NumberIn(const Cell& cell) const {
  const char* const start = Bytes.data() + cell.Start;
  std::int64_t value = 0;
  const auto result = std::from_chars(start, start + cell.Length, value);
  using Limits = std::numeric_limits<std::int32_t>;
  if (result.ec == std::errc::invalid_argument) return 0;
  if (result.ec == std::errc::result_out_of_range) return *start == '-' ? Limits::min() : Limits::max();
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

void Recordset::Impl::SetValue(std::string_view column, Value value) {
  RequireName(column);
  if (Table.empty()) throw DatabaseError("Only the rows of a table can be written.", "HY109", 0, {});
  const auto found =
      std::ranges::find_if(Pending, [&](const auto& field) { return EqualsIgnoreCase(field.first, column); });
  if (found == Pending.end()) {
    Pending.emplace_back(column, std::move(value));
  } else {
    found->second = std::move(value);
  }
}

Recordset::Recordset(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Recordset::Recordset(Recordset&&) noexcept = default;
Recordset& Recordset::operator=(Recordset&&) noexcept = default;
Recordset::~Recordset() = default;

bool Recordset::Next() {
  impl_->Adding = false;
  impl_->Pending.clear();
  if (impl_->Row <= impl_->RowCount()) ++impl_->Row;
  return impl_->Row <= impl_->RowCount();
}

std::string Recordset::Text(std::string_view column) const {
  const Impl::Cell& cell = impl_->CellOf(column);
  return impl_->Bytes.substr(cell.Start, cell.Length);
}

std::int32_t Recordset::Integer(std::string_view column) const {
  return impl_->NumberIn(impl_->CellOf(column));
}

std::int32_t Recordset::Integer(std::size_t place) const {
  return impl_->NumberIn(impl_->CellAt(place));
}

bool Recordset::IsNull(std::string_view column) const {
  return impl_->CellOf(column).Null;
}

void Recordset::AddNew() {
  impl_->Adding = true;
  impl_->Pending.clear();
}

void Recordset::Set(std::string_view column, std::string_view text) {
  impl_->SetValue(column, std::string(text));
}

void Recordset::Set(std::string_view column, std::int32_t value) {
  impl_->SetValue(column, value);
}

std::int64_t Recordset::Update() {
  const auto fields = std::move(impl_->Pending);
  impl_->Pending.clear();
  const bool adding = std::exchange(impl_->Adding, false);
  if (fields.empty()) return 0;
  std::string names;
  std::string places;
  for (const auto& [column, value] : fields) {
    const std::string_view separator = names.empty() ? "" : ", ";
    names += fmt::format("{}{}{}", separator, column, adding ? "" : " = ?");
    places += fmt::format("{}?", separator);
  }
  std::string text;
  if (adding) {
    text = fmt::format("INSERT INTO {} ({}) VALUES ({})", impl_->Table, names, places);
  } else {
    impl_->CellAt(0);  // there must be a current row
    // Without a filter the edit of one row would be written to every row of the table.
    if (impl_->Filter.empty()) {
      throw DatabaseError("A row can only be changed in a recordset that was opened with a filter.", "HY109",
                          0, {});
    }
    text = fmt::format("UPDATE {} SET {} WHERE {}", impl_->Table, names, impl_->Filter);
  }
  return impl_->Link.Together([&] {
    impl_->Link.MakeReady(true);
    Statement writer(impl_->Link);
    writer.Prepare(text);
    SQLUSMALLINT number = 0;
    for (const auto& field : fields) {
      ++number;
      if (const auto* value = std::get_if<std::int32_t>(&field.second)) {
        writer.BindInteger(number, *value);
      } else {
        writer.BindText(number, std::get<std::string>(field.second));
      }
    }
    writer.Execute();
    return writer.RowCount();
  });
}

void Recordset::Close() {
  impl_->Columns.clear();
  impl_->Bytes = {};
  impl_->Cells = {};
  impl_->Pending.clear();
  impl_->Row = 0;
}

}  // namespace korvane::store
