#include "intake/StoredTraps.h"

#include <algorithm>
#include <string>

#include "common/Translation.h"
#include "intake/Intake.h"
#include "intake/Systems.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"
#include "store/Statements.h"
#include "store/TrapReader.h"

namespace korvane::intake {
namespace {

constexpr std::int64_t kRowsPerProgress = 4096;

}  // namespace

StoredTraps::StoredTraps(Desk& desk, store::Connection& connection, store::TrapNames& names, Systems& systems,
                         LoadBounds& bounds)
    : desk_(desk), connection_(connection), names_(names), systems_(systems), bounds_(bounds) {}

void StoredTraps::ReadAll(StoredTrapsTakers takers, LoadOutcome& outcome) {
  if (!bounds_.Settled) {
    outcome.Failure = Translated("The store could not be read when the console started.");
    return;
  }
  const LoadRange range = RangeOfLoad(bounds_, desk_.State.gLastTrapTime);
  const std::string statement = range.Lower ? store::TrapsLoadStatement(range.Upper, *range.Lower)
                                            : store::TrapsLoadStatement(range.Upper);
  std::int64_t expected = 0;
  for (const StoredTrapsTaker* taker : takers) {
    expected = std::max(expected, taker->ExpectedTraps());
  }
  try {
    outcome.Unacknowledged = Read(range, statement, expected, takers);
  } catch (const store::DatabaseError& error) {
    desk_.DebugLog.TryWriteLog(error.what());
    outcome.Failure = store::FailureInAllWords(error);
    failed_ = {.Error = error, .Since = desk_.Clock.MonotonicMilliseconds()};
  }
}

std::int64_t StoredTraps::Read(const LoadRange& range, std::string_view statement, std::int64_t expected,
                               StoredTrapsTakers takers) {
  store::TrapReader reader(connection_, statement);
  store::IncomingTrap trap;
  std::int64_t wanted = 0;
  for (std::int64_t read = 1; reader.Next(trap); ++read) {
    if (read % kRowsPerProgress == 0) {
      desk_.Busy.ShowProgress(read, expected > 0 ? std::max(expected, read) : 0);
    }
    if (!range.Wants(bounds_, trap.EventTime, trap.SequenceNumber)) {
      continue;
    }
    ++wanted;
    const auto mayTake = [&trap](const StoredTrapsTaker* taker) { return taker->MayTake(trap); };
    if (std::none_of(takers.begin(), takers.end(), mayTake)) {
      continue;
    }
    CompleteStoredTrap(trap, systems_, names_);
    for (StoredTrapsTaker* taker : takers) {
      trap.Filtered ? taker->TakeHidden(trap) : taker->TakeStored(trap);
    }
  }
  return wanted;
}

void StoredTraps::Load(StoredTrapsTakers takers) {
  if (takers.empty()) {
    return;
  }
  const BusyScope busy(desk_.Busy, Translated("Loading Trap(s)"));
  for (StoredTrapsTaker* taker : takers) {
    Forget(*taker);
    taker->LoadBegins();
  }
  LoadOutcome outcome;
  ReadAll(takers, outcome);
  if (!outcome.Whole()) {
    again_.insert(again_.end(), takers.begin(), takers.end());
    retry_.Failed(desk_.Clock.MonotonicMilliseconds());
    if (failed_) {
      failed_->NextTry = retry_.NextTry().value_or(0);
    }
  } else if (again_.empty()) {
    retry_.Succeeded();
    failed_.reset();
  }
  for (StoredTrapsTaker* taker : takers) {
    taker->LoadEnds(outcome);
  }
}

void StoredTraps::LoadAgain() {
  if (bounds_.Settled && retry_.TakeDue(desk_.Clock.MonotonicMilliseconds())) {
    LoadAllAgain();
  }
}

void StoredTraps::LoadAllAgain() {
  Load(std::vector<StoredTrapsTaker*>(again_));
}

void StoredTraps::Forget(const StoredTrapsTaker& taker) {
  std::erase(again_, &taker);
  if (again_.empty()) {
    failed_.reset();  // it stands again where the load that begins fails too
  }
}

}  // namespace korvane::intake
