#include "store/ChangeLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <span>

#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::store {
namespace {

// Some twenty bytes each at most.
constexpr std::size_t kRangesOfAnEntry = 2000;

std::int32_t TimeOfChange() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::int32_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count());
}

ChangeKind KindOf(std::int32_t number) {
  constexpr auto kFirst = static_cast<std::int32_t>(ChangeKind::Acknowledged);
  constexpr auto kLast = static_cast<std::int32_t>(ChangeKind::TrapNames);
  return number >= kFirst && number <= kLast ? static_cast<ChangeKind>(number) : ChangeKind::Unknown;
}

void AddEntry(Recordset& log, const ChangeAuthor& author, ChangeKind kind, const TrapSelection& traps,
              std::span<const NumberRange> numbers, std::optional<std::int64_t> rows) {
  log.AddNew();
  log.Set("Change_Time", TimeOfChange());
  log.Set("Kind", static_cast<std::int32_t>(kind));
  log.Set("Operator", author.Operator);
  log.Set("Machine", author.Machine);
  log.Set("Writer", author.Writer);
  log.Set("Numbers", NumbersText(numbers));
  if (traps.Source) log.Set("Source", *traps.Source);
  if (traps.BeforeTime) log.Set("Upper_Time", *traps.BeforeTime);
  if (rows) {
    log.Set("Row_Count", static_cast<std::int32_t>(
                             std::min<std::int64_t>(*rows, std::numeric_limits<std::int32_t>::max())));
  }
  log.Update();
}

}  // namespace

std::int32_t NoteChange(Connection& connection, ChangeKind kind, const TrapSelection& traps,
                        std::optional<std::int64_t> rows) {
  // What comes next reads: of an embedded store the log lies in a file that the change may not have touched.
  TakeRightToWrite(connection, kChangeLog);
  const ChangeAuthor& author = connection.Author();
  Recordset log = connection.OpenRecordset(kChangeLog, "1 = 0");
  std::span<const NumberRange> numbers = traps.Numbers;
  do {
    const auto some = numbers.first(std::min(numbers.size(), kRangesOfAnEntry));
    AddEntry(log, author, kind, traps, some, rows);
    numbers = numbers.subspan(some.size());
    if (rows) rows = 0;
  } while (!numbers.empty());
  Recordset last = connection.OpenRecordset(
      fmt::format("SELECT Change_ID FROM {} WHERE Writer = {} ORDER BY Change_ID DESC LIMIT 1", kChangeLog,
                  Quoted(author.Writer)));
  return last.Next() ? last.Integer(std::size_t{0}) : 0;
}

std::vector<Change> ReadChanges(Connection& connection, std::string_view condition, std::size_t most) {
  Recordset rows = connection.OpenRecordset(
      fmt::format("SELECT * FROM {} WHERE {} ORDER BY Change_ID ASC LIMIT {}", kChangeLog, condition, most));
  std::vector<Change> changes;
  while (rows.Next()) {
    Change& change = changes.emplace_back();
    change.ChangeId = rows.Integer("Change_ID");
    change.Time = rows.Integer("Change_Time");
    change.Kind = KindOf(rows.Integer("Kind"));
    change.Author = {rows.Text("Operator"), rows.Text("Machine"), rows.Text("Writer")};
    change.Traps.Numbers = NumbersOf(rows.Text("Numbers"));
    if (!rows.IsNull("Source")) change.Traps.Source = rows.Text("Source");
    if (!rows.IsNull("Upper_Time")) change.Traps.BeforeTime = rows.Integer("Upper_Time");
    if (!rows.IsNull("Row_Count")) change.Rows = rows.Integer("Row_Count");
  }
  return changes;
}

}  // namespace korvane::store
