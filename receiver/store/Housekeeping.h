// Keeps the trap store from growing for ever: acknowledges traps older than so many hours and deletes those
// older than so many days; and watches how far its numbers are used.  A thread of its own with a connection
// of its own; every transaction is as large as fits into a short time, there is a pause after each, and a
// longer one while traps wait to be stored: so neither the storing of traps nor a console waits for it, and
// in a storm that lasts for days it still keeps up.  A store that can't be used, or is in use for too long,
// is tried again soon.
//
// How old a trap is says the wall clock, and it is not believed alone: see ClockWitness.  Where it would have
// traps go that nothing else calls old, they stay, the machine's time service is asked, and the log says once
// a day what the administrator can do.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "receiver/Configuration.h"
#include "receiver/ServiceLog.h"
#include "receiver/WriteTurns.h"
#include "receiver/clock/ClockWitness.h"
#include "receiver/clock/MachineClocks.h"
#include "receiver/store/NumberWatch.h"
#include "receiver/store/Partitions.h"
#include "receiver/store/PortionSize.h"
#include "store/Connection.h"
#include "store/TrapSelection.h"

namespace korvane::receiver {

struct HousekeepingOptions {
  std::int64_t RowsAtFirst = 500;  // of a transaction, until it is known what one takes
  std::int64_t MostRows = 20'000;
  std::chrono::milliseconds PortionTime{50};  // what a transaction should take
  std::chrono::milliseconds Breath{5};        // after each, at least; a part of what it took
  // How many traps wait to be stored.  While they are many, nothing else is done for so long at a time.
  std::function<std::uint64_t()> Waiting = {};
  std::uint64_t ManyWaiting = 10'000;
  std::chrono::milliseconds Patience{500};
  WriteTurns* Turns = nullptr;  // of an embedded store
  std::chrono::minutes Every{1};
  std::chrono::seconds AfterFailure{5};
};

struct HouseholdWork {
  std::int64_t Acknowledged = 0;
  std::int64_t Purged = 0;
};

// Rows that go, or are acknowledged, for their age.
struct OldRows {
  // Inside the transaction: what is done to those of the selection, which has their numbers and the bound of
  // their age, with its entry in the change log where it has one; how many there were.
  using Change = std::int64_t (*)(store::Connection& connection, const store::TrapSelection& rows);

  std::string Table;
  std::string_view Number;  // the columns
  std::string_view Time;
  std::string Condition = {};  // in front of that on the time; empty or with an AND behind it
  // Numbers without such a row between two of them that may count as one range with both.
  std::int32_t Gap = 0;
  Change Do = nullptr;
};

class Housekeeping {
 public:
  // folder: where the clock's memory is kept from run to run.
  Housekeeping(std::string dataSource, Intervals intervals, Clocks& clocks, std::filesystem::path folder,
               ServiceLog& log, HousekeepingOptions options = {});

  // Rounds until the stop is asked for.
  void Run(const std::stop_token& stop);

  // One round: everything that is due.  Throws DatabaseError; what was done before is committed.
  HouseholdWork Round(const std::stop_token& stop);

  // The administrator says that the wall clock is right.  Any thread; a round follows at once.
  void ConfirmClock();

 private:
  void LookAtClock();
  void RememberClock();
  // The time before which a trap is too old; nothing when none can be.
  std::optional<std::int64_t> Before(std::int64_t age) const;
  // True when the wall clock alone would have traps go.
  bool HoldsBack(std::string_view condition, std::int64_t age);
  void AskForConfirmation();
  std::int64_t ChangeOlder(const OldRows& rows, std::int64_t before, const std::stop_token& stop);
  void GiveWay(const std::stop_token& stop);
  // unlessConfirmed: ends once the administrator confirms the clock; within a round that has to wait.
  void Pause(std::chrono::milliseconds time, const std::stop_token& stop, bool unlessConfirmed = false);

  std::string dataSource_;
  const std::int64_t purgeAge_;  // seconds, 0: never
  const std::int64_t ackAge_;
  Clocks& clocks_;
  std::filesystem::path folder_;
  ServiceLog& log_;
  HousekeepingOptions options_;
  store::Connection connection_;
  PortionSize portion_;
  Partitions partitions_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  bool confirmed_ = false;  // by the administrator, not yet passed on

  // Of the running thread.
  ClockWitness witness_;
  NumberWatch numbers_;
  ClockReading clock_;                      // at the last look
  std::optional<std::int64_t> remembered_;  // elapsed time at which the clock was written down
  std::optional<std::int64_t> reminded_;    // and of the last words on what is held back
  bool memoryFails_ = false;
};

}  // namespace korvane::receiver
