// What the writer asks of the trap store.  One implementation goes to the database, tests put faults in front
// of it.  Used from the writer's thread alone; a call that fails throws store::DatabaseError.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

#include "receiver/spool/SpoolRecord.h"
#include "receiver/store/DutyRow.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/Heartbeats.h"

namespace korvane::receiver {

class TrapStore {
 public:
  virtual ~TrapStore() = default;

  // Connects afresh and answers the number of the last trap of this spool that is stored.  A store that knows
  // nothing of the spool, or claims more than highestPossible (it was moved here, or the spool was put back
  // to an earlier state), is told the remembered number.
  virtual std::uint64_t Open(std::string_view spoolId, std::uint64_t highestPossible,
                             std::uint64_t remembered) = 0;
  // Adds the rows and moves the stored number from the previous one to the last of theirs, in one
  // transaction. After an error it is unknown whether it was committed: Open tells.
  virtual void Store(std::span<const SpooledTrap> traps, std::uint64_t previous) = 0;
  // Moves the stored number past a trap without storing it.
  virtual void Skip(std::uint64_t number, std::uint64_t previous) = 0;
  // What each transaction of Store and Skip claims from now on; nothing: nothing.  Where the claim does not
  // hold they throw DutyLost, and nothing is changed.
  virtual void Claim(std::optional<DutyClaim> claim) = 0;
  // Does something else with the open store.
  virtual void With(const std::function<void(store::Connection&)>& work) = 0;
  // Adds a harmless row and takes it back: succeeds when the store can take rows at all.
  virtual void Probe() = 0;
  // Shows that this receiver is alive and how it fares, or that it ends in order.
  virtual void Beat(const store::ReceiverCondition& condition, bool stopped) = 0;
  // Where the files of the open store are on this machine; empty for a server's.
  virtual std::filesystem::path Folder() const { return {}; }
  virtual void Close() noexcept = 0;
};

// True for an error that says something about the store rather than about the row: it is busy, full, gone,
// stopping, or asks for another try.  It counts against a row only when it comes again and again.
bool IsStoreTrouble(const store::DatabaseError& error);
// True for an error that no row can cause: the disk is full, the numbers that the store gives to its rows are
// used up or given twice, or there is no partition for them.  A trial row that is taken back need not meet
// it, so it is told by its code.
bool TakesNoRows(const store::DatabaseError& error);

}  // namespace korvane::receiver
