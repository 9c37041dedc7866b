#include "receiver/store/DatabaseTrapStore.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "platform/Identity.h"
#include "receiver/Configuration.h"
#include "receiver/spool/StateFile.h"
#include "receiver/store/Partitions.h"
#include "store/Heartbeats.h"
#include "store/Recordset.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapNumbers.h"

namespace korvane::receiver {
namespace {

// One row per spool that stores here: Spool_ID, Last_Number.
constexpr std::string_view kReceiverState = "Receiver_State";

// What is not named has its default: no notes, not acknowledged.
constexpr std::array<std::string_view, 7> kColumns = {"EventTime",     "Source",       "EnterpriseOid",
                                                      "GenericTrap",   "SpecificTrap", "EventDescription",
                                                      "Event_ExtDescr"};

constexpr std::size_t kIdentityOctets = 16;

std::string NewIdentityStatement() {
  return fmt::format("UPDATE {} SET Store_Identity = '{}'", store::kStoreInfo,
                     HexDigits(RandomOctets(kIdentityOctets)));
}

void RequireMoved(const std::optional<std::string>& failed) {
  if (failed) {
    throw store::DatabaseError("The number of the last stored trap was changed by another receiver.", "55000",
                               0, *failed);
  }
}

}  // namespace

std::uint64_t DatabaseTrapStore::Open(std::string_view spoolId, std::uint64_t highestPossible,
                                      std::uint64_t remembered) {
  Close();
  if (std::exchange(spoolId_, spoolId) != spoolId) {
    confirmed_ = 0;
  }
  connection_.Open(dataSource_, {}, {}, kStoreOptions);
  machine_ = platform::ThisProcess().Machine;
  std::optional<std::uint64_t> known;
  {
    store::Recordset rows =
        connection_.OpenRecordset(kReceiverState, "Spool_ID = " + store::Quoted(spoolId_));
    if (rows.Next()) {
      const std::string text = rows.Text("Last_Number");
      std::from_chars(text.data(), text.data() + text.size(), known.emplace(0));
    }
  }
  wentBack_ = false;
  if (!known) {
    Introduce(remembered);
  } else if (*known > highestPossible) {
    Move(*known, remembered);
    confirmed_ = remembered;
  } else {
    // By all that was ever confirmed, until an identity is written: whoever remembers has been told the lower
    // number meanwhile.  And anew each time: a node of a cluster that is behind answers a lower one too.
    confirmed_ = std::max(confirmed_, remembered);
    wentBack_ = *known < confirmed_;
  }
  if (connection_.Kind() == store::Engine::Sqlite) {
    embedded_.emplace(connection_, warn_, turns_);
  } else {
    batch_.emplace(connection_, store::kEventTrap, kColumns);
  }
  return known && *known <= highestPossible ? *known : remembered;
}

// A spool that this store does not know: new, without its old identity, or of a receiver that stored
// elsewhere before.  No number of a trap is void for that.  Only a store that has lost what this run stored
// there went back.
void DatabaseTrapStore::Introduce(std::uint64_t remembered) {
  const WriteTurns::Turn turn(TurnsHere());
  store::RetriedOnce(connection_, [&] {
    store::Transaction transaction(connection_);
    connection_.Execute(fmt::format("INSERT INTO {} (Spool_ID, Last_Number) VALUES ('{}', {})",
                                    kReceiverState, spoolId_, remembered));
    if (confirmed_ > 0) {
      connection_.Execute(NewIdentityStatement());
    }
    transaction.Commit();
  });
  confirmed_ = remembered;
}

void DatabaseTrapStore::Insert(const TrapRow& row) {
  const std::array<store::BatchInsert::Value, kColumns.size()> values = {
      row.EventTime,    row.Source,           row.EnterpriseOid, row.GenericTrap,
      row.SpecificTrap, row.EventDescription, row.Event_ExtDescr};
  batch_->Add(values);
}

// Before the rows: so no number is given to a trap of the group that is smaller than one of an earlier
// transaction, and whoever reads up to the number that the row names has read all.
void DatabaseTrapStore::BeginClaim() {
  if (!claim_) {
    return;
  }
  LimitStandstill(connection_);
  if (const std::string statement = ClaimStatement(*claim_); connection_.Execute(statement) != 1) {
    throw DutyLost(statement);
  }
}

void DatabaseTrapStore::EndClaim() {
  if (claim_) {
    connection_.Execute(NoteStatement(*claim_, std::to_string(store::NewestTrapNumber(connection_))));
  }
}

// Each changes one row.  Conditional on where the number stands, so that a second receiver with a copy of
// this spool is noticed instead of both moving it.
std::vector<std::string> DatabaseTrapStore::MoveStatements(std::uint64_t from, std::uint64_t to) const {
  std::vector<std::string> statements = {
      fmt::format("UPDATE {} SET Last_Number = {} WHERE Spool_ID = '{}' AND Last_Number = {}", kReceiverState,
                  to, spoolId_, from)};
  if (wentBack_) {
    statements.push_back(NewIdentityStatement());
  }
  return statements;
}

void DatabaseTrapStore::Move(std::uint64_t from, std::uint64_t to) {
  for (const std::string& statement : MoveStatements(from, to)) {
    RequireMoved(connection_.Execute(statement) == 1 ? std::nullopt : std::optional(statement));
  }
}

void DatabaseTrapStore::Store(std::span<const SpooledTrap> traps, std::uint64_t previous) {
  try {
    StoreAll(traps, previous);
  } catch (const store::DatabaseError& error) {
    if (store::TellsOfUsedUpNumbers(error)) {
      throw store::UsedUpNumbers(error);
    }
    if (!LacksPartition(error)) {
      throw;
    }
    // The numbers went further than anybody could foresee.  Or a check of the administrator's refuses a row,
    // which has the same code, and words in the server's language: then it does so again.
    MakePartitions(connection_);
    StoreAll(traps, previous);
  }
}

void DatabaseTrapStore::StoreAll(std::span<const SpooledTrap> traps, std::uint64_t previous) {
  const std::uint64_t last = traps.back().Number;
  if (embedded_) {
    StoreEmbedded(traps, MoveStatements(previous, last));
  } else {
    store::RetriedOnce(connection_, [&] {
      store::Transaction transaction(connection_);
      BeginClaim();
      for (const SpooledTrap& trap : traps) {
        Insert(trap.Row);
      }
      batch_->Flush();
      Move(previous, last);
      EndClaim();
      transaction.Commit();
    });
  }
  NoteConfirmed(last);
}

// It has one writer at a time, so the claim may as well come last.
void DatabaseTrapStore::StoreEmbedded(std::span<const SpooledTrap> traps,
                                      std::vector<std::string> statements) {
  std::string claim;
  if (claim_) {
    claim = ClaimStatement(*claim_);
    statements.push_back(claim);
    statements.push_back(
        NoteStatement(*claim_, fmt::format("(SELECT MAX(SequenceNumber) FROM {})", store::kEventTrap)));
  }
  const std::optional<std::string> failed = embedded_->Store(traps, statements);
  if (failed && failed == claim) {
    throw DutyLost(claim);
  }
  RequireMoved(failed);
}

void DatabaseTrapStore::NoteConfirmed(std::uint64_t number) {
  confirmed_ = number;
  wentBack_ = false;
}

void DatabaseTrapStore::Skip(std::uint64_t number, std::uint64_t previous) {
  const WriteTurns::Turn turn(TurnsHere());
  store::RetriedOnce(connection_, [&] {
    store::Transaction transaction(connection_);
    BeginClaim();
    Move(previous, number);
    EndClaim();
    transaction.Commit();
  });
  NoteConfirmed(number);
}

void DatabaseTrapStore::With(const std::function<void(store::Connection&)>& work) {
  const WriteTurns::Turn turn(TurnsHere());
  work(connection_);
}

void DatabaseTrapStore::Probe() {
  if (embedded_) {
    embedded_->Probe();
    return;
  }
  store::Transaction transaction(connection_);
  Insert(TrapRow{});
  batch_->Flush();
}

void DatabaseTrapStore::Beat(const store::ReceiverCondition& condition, bool stopped) {
  const WriteTurns::Turn turn(TurnsHere());
  store::RetriedOnce(connection_, [&] { store::Beat(connection_, spoolId_, machine_, condition, stopped); });
}

WriteTurns* DatabaseTrapStore::TurnsHere() const {
  return connection_.Kind() == store::Engine::Sqlite ? turns_ : nullptr;
}

std::filesystem::path DatabaseTrapStore::Folder() const {
  return embedded_ ? embedded_->Folder() : std::filesystem::path();
}

void DatabaseTrapStore::Close() noexcept {
  batch_.reset();
  embedded_.reset();
  connection_.Close();
}

}  // namespace korvane::receiver
