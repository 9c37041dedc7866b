#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/Configuration.h"

#include <fmt/format.h>

#include <array>
#include <charconv>

#include "platform/Identity.h"
#include "store/Heartbeats.h"
#include "store/Recordset.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::receiver {
namespace {

// One row per spool that stores here: Spool_ID, Last_Number.
constexpr std::string_view kReceiverState = "Receiver_State";

constexpr std::array<std::string_view, 9> kColumns = {"EventTime",      "Source",       "EnterpriseOid",
                                                      "GenericTrap",    "SpecificTrap", "EventDescription",
                                                      "Event_ExtDescr", "EventNotes",   "EventAck"};

}  // namespace

std::uint64_t DatabaseTrapStore::Open(std::string_view spoolId, std::uint64_t highestPossible,
                                      std::uint64_t remembered) {
  Close();
  spoolId_ = spoolId;
  connection_.Open(dataSource_, {}, {}, kStoreOptions);
  machine_ = platform::ThisProcess().Machine;
  const std::string condition = "Spool_ID = " + store::Quoted(spoolId_);
  std::string text;
  {
    store::Recordset rows = connection_.OpenRecordset(kReceiverState, condition);
    if (!rows.Next()) {
      connection_.Execute(fmt::format("INSERT INTO {} (Spool_ID, Last_Number) VALUES ('{}', {})",
                                      kReceiverState, spoolId_, remembered));
      text = fmt::to_string(remembered);
    } else {
      text = rows.Text("Last_Number");
    }
  }
  std::uint64_t stored = 0;
  std::from_chars(text.data(), text.data() + text.size(), stored);
  if (stored > highestPossible) {
    MoveStoredNumber(stored, remembered);
    stored = remembered;
  }
  batch_.emplace(connection_, store::kEventTrap, kColumns);
  return stored;
}

void DatabaseTrapStore::Insert(const TrapRow& row) {
  const std::array<store::BatchInsert::Value, kColumns.size()> values = {
      row.EventTime,      row.Source,         row.EnterpriseOid,
      row.GenericTrap,    row.SpecificTrap,   row.EventDescription,
      row.Event_ExtDescr, std::string_view(), 0};
  batch_->Add(values);
}

// Conditional on where it stands, so that a second receiver with a copy of this spool is noticed instead of
// both moving it.
void DatabaseTrapStore::MoveStoredNumber(std::uint64_t from, std::uint64_t to) {
  const std::string statement =
      fmt::format("UPDATE {} SET Last_Number = {} WHERE Spool_ID = '{}' AND Last_Number = {}", kReceiverState,
                  to, spoolId_, from);
  if (connection_.Execute(statement) != 1) {
    throw store::DatabaseError("The number of the last stored trap was changed by another receiver.", "55000",
                               0, statement);
  }
}

void DatabaseTrapStore::Store(std::span<const SpooledTrap> traps, std::uint64_t previous) {
  store::Transaction transaction(connection_);
  for (const SpooledTrap& trap : traps) {
    Insert(trap.Row);
  }
  batch_->Flush();
  MoveStoredNumber(previous, traps.back().Number);
  Beat(false);
  transaction.Commit();
}

void DatabaseTrapStore::Skip(std::uint64_t number, std::uint64_t previous) {
  store::Transaction transaction(connection_);
  MoveStoredNumber(previous, number);
  transaction.Commit();
}

void DatabaseTrapStore::Probe() {
  store::Transaction transaction(connection_);
  Insert(TrapRow{});
  batch_->Flush();
}

void DatabaseTrapStore::Beat(bool stopped) {
  store::Beat(connection_, spoolId_, machine_, {}, stopped);
}

void DatabaseTrapStore::Close() noexcept {
  batch_.reset();
  connection_.Close();
}

}  // namespace korvane::receiver
