#include "store/TrapNumbers.h"

#include <fmt/format.h>

#include <charconv>
#include <string>

#include "store/Recordset.h"
#include "store/Tables.h"

namespace korvane::store {
namespace {

// PostgreSQL's: the sequence is at its end.
constexpr std::string_view kSequenceEnded = "2200H";
// MariaDB's: no next number; the next one does not fit into the column.
constexpr std::int32_t kNoNextNumber = 1467;
constexpr std::int32_t kOutOfRange = 167;
constexpr std::int32_t kOutOfRangeValue = 1264;

}  // namespace

std::int64_t NewestTrapNumber(Connection& connection) {
  Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT MAX(SequenceNumber) AS Newest FROM {}", kEventTrap));
  std::int64_t newest = 0;
  if (rows.Next()) {
    // As text: it may be longer than 32 bits.
    const std::string text = rows.Text("Newest");
    std::from_chars(text.data(), text.data() + text.size(), newest);
  }
  return newest;
}

void RequireTrapNumber(std::int64_t last) {
  if (last > kLastTrapNumber) {
    throw DatabaseError(fmt::format("The number {} is above {}", last, kLastTrapNumber),
                        std::string(kSequenceEnded), 0, {});
  }
}

bool TellsOfUsedUpNumbers(const DatabaseError& error) {
  const std::int32_t native = error.NativeCode();
  return error.SqlState() == kSequenceEnded || native == kNoNextNumber ||
         ((native == kOutOfRange || native == kOutOfRangeValue) &&
          std::string_view(error.what()).find("SequenceNumber") != std::string_view::npos);
}

DatabaseError UsedUpNumbers(const DatabaseError& error) {
  return {fmt::format(
              "the numbers of the trap store are used up. Run korvane-renumber, which has most of them free "
              "again; nothing is lost until then. ({})",
              error.what()),
          error.SqlState(), error.NativeCode(), error.Statement()};
}

}  // namespace korvane::store
