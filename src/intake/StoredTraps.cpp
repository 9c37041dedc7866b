#include "intake/StoredTraps.h"

#include <algorithm>
#include <string>

#include "intake/Intake.h"
#include "intake/Systems.h"
#include "intake/ViewServices.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/TrapReader.h"

namespace korvane::intake {
namespace {

constexpr std::int64_t kRowsPerProgress = 4096;

bool ReadsWhole(ViewServices& services, StoredTrapsTakers takers) {
  const LoadRange range = RangeOfLoad(services.Bounds, services.State.gLastTrapTime);
  const std::string statement = range.Lower ? store::TrapsLoadStatement(range.Upper, *range.Lower)
                                            : store::TrapsLoadStatement(range.Upper);
  std::int64_t expected = 0;
  for (const StoredTrapsTaker* taker : takers) {
    expected = std::max(expected, taker->ExpectedTraps());
  }
  try {
    ReadStoredTraps(services, range, statement, expected, takers);
    return true;
  } catch (const store::DatabaseError& error) {
    services.DebugLog.TryWriteLog(error.what());
    return false;
  }
}

}  // namespace

void ReadStoredTraps(ViewServices& services, const LoadRange& range, std::string_view statement,
                     std::int64_t expected, StoredTrapsTakers takers) {
  store::TrapReader reader(services.Connection, statement);
  store::IncomingTrap trap;
  for (std::int64_t read = 1; reader.Next(trap); ++read) {
    if (read % kRowsPerProgress == 0) {
      services.Busy.ShowProgress(read, expected > 0 ? std::max(expected, read) : 0);
    }
    const auto mayTake = [&trap](const StoredTrapsTaker* taker) { return taker->MayTake(trap); };
    if (!range.Wants(services.Bounds, trap.EventTime, trap.SequenceNumber) ||
        std::none_of(takers.begin(), takers.end(), mayTake)) {
      continue;
    }
    intake::CompleteStoredTrap(trap, services.SystemList, services.Names);
    if (trap.Filtered) {
      continue;
    }
    for (StoredTrapsTaker* taker : takers) {
      taker->TakeStored(trap);
    }
  }
}

void LoadStoredTraps(ViewServices& services, StoredTrapsTakers takers) {
  if (takers.empty()) {
    return;
  }
  const BusyScope busy(services.Busy, "Loading Trap(s)");
  for (StoredTrapsTaker* taker : takers) {
    taker->LoadBegins();
  }
  const bool whole = ReadsWhole(services, takers);
  for (StoredTrapsTaker* taker : takers) {
    taker->LoadEnds(whole);
  }
}

}  // namespace korvane::intake
