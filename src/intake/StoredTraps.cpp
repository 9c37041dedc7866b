#include "intake/StoredTraps.h"

#include <algorithm>
#include <string>

#include "intake/Intake.h"
#include "intake/Systems.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/TrapReader.h"

namespace korvane::intake {
namespace {

constexpr std::int64_t kRowsPerProgress = 4096;

}  // namespace

StoredTraps::StoredTraps(Desk& desk, store::Connection& connection, store::TrapNames& names, Systems& systems,
                         LoadBounds& bounds)
    : desk_(desk), connection_(connection), names_(names), systems_(systems), bounds_(bounds) {}

bool StoredTraps::ReadsWhole(StoredTrapsTakers takers) {
  const LoadRange range = RangeOfLoad(bounds_, desk_.State.gLastTrapTime);
  const std::string statement = range.Lower ? store::TrapsLoadStatement(range.Upper, *range.Lower)
                                            : store::TrapsLoadStatement(range.Upper);
  std::int64_t expected = 0;
  for (const StoredTrapsTaker* taker : takers) {
    expected = std::max(expected, taker->ExpectedTraps());
  }
  try {
    Read(range, statement, expected, takers);
    return true;
  } catch (const store::DatabaseError& error) {
    desk_.DebugLog.TryWriteLog(error.what());
    return false;
  }
}

void StoredTraps::Read(const LoadRange& range, std::string_view statement, std::int64_t expected,
                       StoredTrapsTakers takers) {
  store::TrapReader reader(connection_, statement);
  store::IncomingTrap trap;
  for (std::int64_t read = 1; reader.Next(trap); ++read) {
    if (read % kRowsPerProgress == 0) {
      desk_.Busy.ShowProgress(read, expected > 0 ? std::max(expected, read) : 0);
    }
    const auto mayTake = [&trap](const StoredTrapsTaker* taker) { return taker->MayTake(trap); };
    if (!range.Wants(bounds_, trap.EventTime, trap.SequenceNumber) ||
        std::none_of(takers.begin(), takers.end(), mayTake)) {
      continue;
    }
    CompleteStoredTrap(trap, systems_, names_);
    if (trap.Filtered) {
      continue;
    }
    for (StoredTrapsTaker* taker : takers) {
      taker->TakeStored(trap);
    }
  }
}

void StoredTraps::Load(StoredTrapsTakers takers) {
  if (takers.empty()) {
    return;
  }
  const BusyScope busy(desk_.Busy, "Loading Trap(s)");
  for (StoredTrapsTaker* taker : takers) {
    taker->LoadBegins();
  }
  const bool whole = ReadsWhole(takers);
  for (StoredTrapsTaker* taker : takers) {
    taker->LoadEnds(whole);
  }
}

}  // namespace korvane::intake
