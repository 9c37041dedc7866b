#include "store/NotesWrite.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "store/ChangeLog.h"
#include "store/Retry.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

constexpr std::string_view kNotesColumn = "EventNotes";

// Why the notes are not to be written over what the row holds; nothing when they are.
std::optional<NotesResult> Objection(Recordset& rows, const TrapKey& trap, std::string_view expected,
                                     std::string_view notes) {
  if (!rows.Next() || rows.Integer("EventTime") != trap.Time) {
    return NotesResult{NotesOutcome::NoSuchTrap, {}};
  }
  std::string stored = rows.Text(kNotesColumn);
  if (stored == notes) return NotesResult{NotesOutcome::Written, {}};
  if (stored != expected) return NotesResult{NotesOutcome::ChangedMeanwhile, std::move(stored)};
  return std::nullopt;
}

}  // namespace

NotesResult WriteNotes(Connection& connection, const TrapKey& trap, std::string_view expected,
                       std::string_view notes) {
  const std::string filter = fmt::format("SequenceNumber = {}", trap.Number);
  {
    // Outside of the transaction a connection that was lost is opened again.
    Recordset rows = connection.OpenRecordset(kEventTrap, filter);
    if (auto objection = Objection(rows, trap, expected, notes)) return *std::move(objection);
  }
  return RetriedOnce(connection, [&]() -> NotesResult {
    Transaction transaction(connection);
    // Keeps everybody else from the row until the end.  Comes first, since SQLite refuses to write in a
    // transaction that has read, once somebody else has written.
    connection.Execute(fmt::format("UPDATE {} SET EventAck = EventAck WHERE {}", kEventTrap, filter));
    Recordset rows = connection.OpenRecordset(kEventTrap, filter);
    if (auto objection = Objection(rows, trap, expected, notes)) return *std::move(objection);
    rows.Set(kNotesColumn, notes);
    rows.Update();
    NoteChange(connection, ChangeKind::Notes, SelectionOf({trap.Number}));
    transaction.Commit();
    return {NotesOutcome::Written, {}};
  });
}

}  // namespace korvane::store
