#include "store/BatchInsert.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/Odbc.h"

namespace korvane::store {

namespace {

// Rows of one statement.  A remainder is sent in smaller ones, so that at most these are ever prepared.
constexpr std::array<std::size_t, 3> kSteps = {64, 8, 1};

}  // namespace

struct BatchInsert::Impl {
  struct Cell {
    std::size_t Start = 0;  // of a text in Bytes
    std::size_t Length = 0;
    std::int32_t Number = 0;
    bool IsText = false;
  };

  Impl(Connection::Impl& link, std::string_view table, std::span<const std::string_view> columns)
      : Link(link), Columns(columns.size()) {
    Head = fmt::format("INSERT INTO {} ({}) VALUES ", table, fmt::join(columns, ", "));
    OneRow = "(?";
    for (std::size_t i = 1; i < Columns; ++i) OneRow += ", ?";
    OneRow += ")";
  }

  std::size_t Rows() const { return Cells.size() / Columns; }
  void Send(std::size_t first, std::size_t step);
  void SendAll();
  void Empty() {
    Cells.clear();
    Bytes.clear();
  }

  Connection::Impl& Link;
  std::size_t Columns;
  std::string Head, OneRow;
  std::array<std::optional<Statement>, kSteps.size()> Prepared;
  std::string Bytes;
  std::vector<Cell> Cells;
};

void BatchInsert::Impl::Send(std::size_t first, std::size_t step) {
  std::optional<Statement>& statement = Prepared[step];
  if (!statement || !statement->IsCurrent()) {
    std::string text = Head + OneRow;
    for (std::size_t i = 1; i < kSteps[step]; ++i) text += ", " + OneRow;
    statement.emplace(Link);
    statement->Prepare(text);
  }
  SQLUSMALLINT number = 0;
  const std::span cells(Cells.data() + first * Columns, kSteps[step] * Columns);
  for (const Cell& cell : cells) {
    ++number;
    if (cell.IsText) {
      statement->BindText(number, std::string_view(Bytes).substr(cell.Start, cell.Length));
    } else {
      statement->BindInteger(number, cell.Number);
    }
  }
  statement->Execute();
}

void BatchInsert::Impl::SendAll() {
  try {
    Link.MakeReady(true);
    std::size_t sent = 0;
    for (std::size_t step = 0; step < kSteps.size(); ++step) {
      for (; Rows() - sent >= kSteps[step]; sent += kSteps[step]) Send(sent, step);
    }
  } catch (const DatabaseError&) {
    // A statement that has failed may refuse to be run again.
    for (std::optional<Statement>& statement : Prepared) statement.reset();
    Empty();
    throw;
  }
  Empty();
}

BatchInsert::BatchInsert(Connection& connection, std::string_view table,
                         std::span<const std::string_view> columns)
    : impl_(std::make_unique<Impl>(connection.Internals(), table, columns)) {}

BatchInsert::~BatchInsert() = default;

void BatchInsert::Add(std::span<const Value> row) {
  if (row.size() != impl_->Columns) {
    throw DatabaseError("A row must have a value for each of its columns.", "21S01", 0, impl_->Head);
  }
  for (const Value& value : row) {
    Impl::Cell& cell = impl_->Cells.emplace_back();
    if (const auto* text = std::get_if<std::string_view>(&value)) {
      cell = {.Start = impl_->Bytes.size(), .Length = text->size(), .Number = 0, .IsText = true};
      impl_->Bytes += *text;
    } else {
      cell.Number = std::get<std::int32_t>(value);
    }
  }
  if (impl_->Rows() >= kSteps[0]) impl_->SendAll();
}

void BatchInsert::Flush() {
  impl_->SendAll();
}

}  // namespace korvane::store
