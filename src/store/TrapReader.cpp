#include "store/TrapReader.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "common/Text.h"
#include "store/Odbc.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

constexpr std::size_t kBlockRows = 256;
constexpr std::size_t kTextBytes = 512;  // longer ones are read again, whole

enum Number : std::size_t { kSequenceNumber, kEventTime, kGenericTrap, kSpecificTrap, kEventAck, kNumbers };
enum Text : std::size_t { kSource, kEnterpriseOid, kDescription, kExtDescr, kNotes, kTexts };

constexpr std::array<std::string_view, kNumbers> kNumberColumns = {"SequenceNumber", "EventTime",
                                                                   "GenericTrap", "SpecificTrap", "EventAck"};
constexpr std::array<std::string_view, kTexts> kTextColumns = {"Source", "EnterpriseOid", "EventDescription",
                                                               "Event_ExtDescr", "EventNotes"};

template <typename Names>
std::optional<std::size_t> PlaceOf(const Names& names, std::string_view column) {
  const auto found = std::ranges::find_if(names, [&](auto name) { return EqualsIgnoreCase(name, column); });
  if (found == names.end()) return std::nullopt;
  return static_cast<std::size_t>(found - names.begin());
}

struct NumberColumn {
  std::array<std::int32_t, kBlockRows> Values;
  std::array<SQLLEN, kBlockRows> Lengths;
};

struct TextColumn {
  std::array<std::array<char, kTextBytes>, kBlockRows> Values;
  std::array<SQLLEN, kBlockRows> Lengths;
};

bool DoesNotFit(SQLLEN length) {
  return length == SQL_NO_TOTAL || length >= static_cast<SQLLEN>(kTextBytes);
}

// One row of a block whose texts did not all fit.
struct LongRow {
  std::size_t Row = 0;
  std::array<std::string, kTexts> Texts;
};

}  // namespace

struct TrapReader::Impl {
  Impl(Connection::Impl& link, std::string_view statement);
  void Run(std::string_view statement);
  void Bind();
  bool FetchBlock();
  void ReadLongRows();
  void ReadCells();
  void ReadWhole(LongRow& row);
  bool HasKey() const { return NumberPlaces[kSequenceNumber] != 0; }
  std::string_view TextOf(Text column) const;
  void Fill(IncomingTrap& trap);

  Connection::Impl& Link;
  Statement Reader;
  std::optional<Statement> WholeReader;
  std::array<SQLUSMALLINT, kNumbers> NumberPlaces{};  // 0: not selected
  std::array<SQLUSMALLINT, kTexts> TextPlaces{};
  std::array<NumberColumn, kNumbers> Numbers{};
  std::array<TextColumn, kTexts> Texts{};
  std::vector<LongRow> LongRows;
  const LongRow* Long = nullptr;  // that of the current row
  std::string Joined;             // the current row's two descriptions
  SQLULEN BlockSize = 0;
  std::size_t Row = 0;
  bool Ended = false;
};

TrapReader::Impl::Impl(Connection::Impl& link, std::string_view statement) : Link(link), Reader(link) {
  Run(statement);
}

void TrapReader::Impl::Run(std::string_view statement) {
  Reader.ExecuteDirect(statement);
  const auto columns = static_cast<SQLUSMALLINT>(Reader.ColumnCount());
  for (SQLUSMALLINT place = 1; place <= columns; ++place) {
    const std::string name = Reader.ColumnName(place);
    if (const auto number = PlaceOf(kNumberColumns, name)) NumberPlaces[*number] = place;
    if (const auto text = PlaceOf(kTextColumns, name)) TextPlaces[*text] = place;
  }
  Bind();
}

// Without the key a long text could not be read again: such a statement is read row by row, its texts
// unbound.
void TrapReader::Impl::Bind() {
  const std::size_t rows = HasKey() ? kBlockRows : 1;
  // An integer that ODBC carries in a pointer.
  SQLSetStmtAttr(Reader.Get(), SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(rows), 0);  // NOLINT
  SQLSetStmtAttr(Reader.Get(), SQL_ATTR_ROWS_FETCHED_PTR, &BlockSize, 0);
  for (std::size_t i = 0; i < kNumbers; ++i) {
    if (NumberPlaces[i] == 0) continue;
    Reader.Check(SQLBindCol(Reader.Get(), NumberPlaces[i], SQL_C_SLONG, Numbers[i].Values.data(),
                            sizeof(std::int32_t), Numbers[i].Lengths.data()));
  }
  for (std::size_t i = 0; i < kTexts && HasKey(); ++i) {
    if (TextPlaces[i] == 0) continue;
    Reader.Check(SQLBindCol(Reader.Get(), TextPlaces[i], SQL_C_CHAR, Texts[i].Values.data(), kTextBytes,
                            Texts[i].Lengths.data()));
  }
}

bool TrapReader::Impl::FetchBlock() {
  if (Ended) return false;
  BlockSize = 0;  // one driver writes only its lower half
  Row = 0;
  LongRows.clear();
  if (!Reader.Fetch() || BlockSize == 0) {
    Ended = true;
    Reader.CloseCursor();
    return false;
  }
  if (HasKey()) {
    ReadLongRows();
  } else {
    ReadCells();
  }
  return true;
}

void TrapReader::Impl::ReadCells() {
  LongRow& row = LongRows.emplace_back();
  // In the order of their places: a driver need not go back.
  std::array<std::size_t, kTexts> order{};
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [this](std::size_t i) { return TextPlaces[i]; });
  for (const std::size_t i : order) {
    if (TextPlaces[i] != 0) Reader.AppendCell(TextPlaces[i], row.Texts[i]);
  }
}

void TrapReader::Impl::ReadLongRows() {
  for (std::size_t row = 0; row < BlockSize; ++row) {
    for (std::size_t i = 0; i < kTexts; ++i) {
      if (TextPlaces[i] == 0 || !DoesNotFit(Texts[i].Lengths[row])) continue;
      ReadWhole(LongRows.emplace_back(LongRow{.Row = row, .Texts = {}}));
      break;
    }
  }
}

// Positioning inside a block is not every driver's to do, so the row is read again by its key.  One that was
// purged meanwhile keeps what the block held of it.
void TrapReader::Impl::ReadWhole(LongRow& row) {
  for (std::size_t i = 0; i < kTexts; ++i) {
    if (TextPlaces[i] == 0) continue;
    const SQLLEN length = Texts[i].Lengths[row.Row];
    if (length == SQL_NULL_DATA) continue;
    row.Texts[i].assign(Texts[i].Values[row.Row].data(),
                        DoesNotFit(length) ? kTextBytes - 1 : static_cast<std::size_t>(length));
  }
  if (!WholeReader) WholeReader.emplace(Link);
  WholeReader->ExecuteDirect(
      fmt::format("SELECT Source, EnterpriseOid, EventDescription, Event_ExtDescr, EventNotes "
                  "FROM {} WHERE SequenceNumber = {}",
                  kEventTrap, Numbers[kSequenceNumber].Values[row.Row]));
  if (WholeReader->Fetch()) {
    for (std::size_t i = 0; i < kTexts; ++i) {
      std::string whole;
      WholeReader->AppendCell(static_cast<SQLUSMALLINT>(i + 1), whole);
      if (TextPlaces[i] != 0 && DoesNotFit(Texts[i].Lengths[row.Row])) row.Texts[i] = std::move(whole);
    }
  }
  WholeReader->CloseCursor();
}

std::string_view TrapReader::Impl::TextOf(Text column) const {
  if (Long != nullptr) return Long->Texts[column];
  const SQLLEN length = Texts[column].Lengths[Row];
  if (TextPlaces[column] == 0 || length <= 0) return {};
  return {Texts[column].Values[Row].data(), static_cast<std::size_t>(length)};
}

void TrapReader::Impl::Fill(IncomingTrap& trap) {
  const auto number = [this](Number column) {
    const bool held = NumberPlaces[column] != 0 && Numbers[column].Lengths[Row] != SQL_NULL_DATA;
    return held ? Numbers[column].Values[Row] : 0;
  };
  const auto found = std::ranges::find(LongRows, Row, &LongRow::Row);
  Long = found == LongRows.end() ? nullptr : &*found;
  trap.SequenceNumber = number(kSequenceNumber);
  trap.EventTime = number(kEventTime);
  trap.GenericTrap = number(kGenericTrap);
  trap.SpecificTrap = number(kSpecificTrap);
  trap.EventAck = number(kEventAck);
  trap.Source = TextOf(kSource);
  trap.EnterpriseOid = TextOf(kEnterpriseOid);
  trap.EventNotes = TextOf(kNotes);
  const std::string_view description = TextOf(kDescription);
  const std::string_view extended = TextOf(kExtDescr);
  trap.DescriptionLength = description.size();
  if (extended.empty()) {
    trap.VarBinds = description;
  } else {
    Joined.assign(description).append(extended);
    trap.VarBinds = Joined;
  }
  ++Row;
}

TrapReader::TrapReader(Connection& connection, std::string_view statement) {
  Connection::Impl& link = connection.Internals();
  link.Together([&] {
    link.MakeReady(false);
    try {
      impl_ = std::make_unique<Impl>(link, statement);
    } catch (const DatabaseError&) {
      // Reading changes nothing, so it may be done again on a fresh connection.
      if (!link.Lost || link.InTransaction) throw;
      link.MakeReady(false);
      impl_ = std::make_unique<Impl>(link, statement);
    }
  });
}

// An open cursor is closed by the server.
TrapReader::~TrapReader() {
  impl_->Link.Wait([this] { impl_.reset(); });
}

bool TrapReader::Next(IncomingTrap& trap) {
  if (impl_->Row >= impl_->BlockSize && !impl_->Link.Together([this] { return impl_->FetchBlock(); })) {
    return false;
  }
  impl_->Fill(trap);
  return true;
}

}  // namespace korvane::store
