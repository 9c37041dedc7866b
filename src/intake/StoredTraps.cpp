#include "intake/StoredTraps.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <set>
#include <string>
#include <utility>

#include "common/Translation.h"
#include "intake/Intake.h"
#include "intake/Systems.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"
#include "store/Statements.h"
#include "store/TrapReader.h"

namespace korvane::intake {
namespace {

constexpr std::int64_t kRowsPerProgress = 1024;
constexpr std::chrono::seconds kLasts{1};  // what can be stopped
// Of more source texts everything is read: each takes a reader of its own.
constexpr std::size_t kMostSources = 8;

std::string StatementOf(const LoadRange& range) {
  return range.Lower ? store::TrapsLoadStatement(range.Upper, *range.Lower)
                     : store::TrapsLoadStatement(range.Upper);
}

// True for the length of a scope.
class WhileReading {
 public:
  explicit WhileReading(bool& reading) : reading_(reading) { reading_ = true; }
  ~WhileReading() { reading_ = false; }
  WhileReading(const WhileReading&) = delete;
  WhileReading& operator=(const WhileReading&) = delete;

 private:
  bool& reading_;
};

// What the takers need of it: all of it, or the traps of a few source texts, each by a statement of its own,
// since not every engine finds several of them by its index.
std::vector<std::string> StatementsFor(const std::string& statement, StoredTrapsTakers takers,
                                       store::Engine engine) {
  std::set<std::string> sources;
  for (const StoredTrapsTaker* taker : takers) {
    const std::optional<std::vector<std::string>> some = taker->OnlySources();
    if (!some) {
      return {statement};
    }
    sources.insert(some->begin(), some->end());
  }
  if (sources.empty() || sources.size() > kMostSources) {
    return {statement};
  }
  std::vector<std::string> statements;
  try {
    for (const std::string& source : sources) {
      statements.push_back(store::OfSource(statement, source, engine));
    }
  } catch (const store::DatabaseError&) {
    return {statement};  // a text that can't stand in one
  }
  return statements;
}

// The rows of several statements as one statement would bring them, by time and number.
class MergedReader {
 public:
  MergedReader(store::Connection& connection, std::span<const std::string> statements) {
    for (const std::string& statement : statements) {
      parts_.emplace_back(connection, statement);
      Step(parts_.size() - 1);
    }
  }

  // Null at the end.  Holds until the next call.
  store::IncomingTrap* Next() {
    if (current_) {
      Step(*current_);
    }
    current_.reset();
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      if (parts_[i].Trap && (!current_ || Key(i) < Key(*current_))) {
        current_ = i;
      }
    }
    return current_ ? &*parts_[*current_].Trap : nullptr;
  }

 private:
  struct Part {
    Part(store::Connection& connection, const std::string& statement) : Reader(connection, statement) {}
    store::TrapReader Reader;
    std::optional<store::IncomingTrap> Trap{std::in_place};
  };

  void Step(std::size_t part) {
    if (!parts_[part].Reader.Next(*parts_[part].Trap)) {
      parts_[part].Trap.reset();
    }
  }
  std::pair<std::int32_t, std::int32_t> Key(std::size_t part) const {
    return {parts_[part].Trap->EventTime, parts_[part].Trap->SequenceNumber};
  }

  std::deque<Part> parts_;
  std::optional<std::size_t> current_;
};

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
  const std::vector<std::string> statements = StatementsFor(StatementOf(range), takers, connection_.Kind());
  std::int64_t expected = 0;
  for (const StoredTrapsTaker* taker : takers) {
    expected = std::max(expected, taker->ExpectedTraps());
  }
  const bool mayBeStopped = std::ranges::all_of(takers, &StoredTrapsTaker::MayBeStopped);
  try {
    outcome.Unacknowledged =
        Read(range, statements, expected, takers, mayBeStopped ? &outcome.Stopped : nullptr);
    if (outcome.Unacknowledged == 0 && statements.front() != StatementOf(range) && AnyStored(range)) {
      outcome.Unacknowledged = 1;  // of others: that is why a window has none
    }
  } catch (const store::DatabaseError& error) {
    desk_.DebugLog.TryWriteLog(error.what());
    outcome.Failure = store::FailureInAllWords(error);
    failed_ = {.Error = error, .Since = desk_.Clock.MonotonicMilliseconds()};
  }
}

bool StoredTraps::AnyStored(const LoadRange& range) {
  store::TrapReader reader(connection_, fmt::format("{} LIMIT 1", StatementOf(range)));
  store::IncomingTrap trap;
  return reader.Next(trap);
}

std::int64_t StoredTraps::Read(const LoadRange& range, std::span<const std::string> statements,
                               std::int64_t expected, StoredTrapsTakers takers, bool* stopped) {
  const WhileReading whileReading(reading_);
  const auto begun = std::chrono::steady_clock::now();
  MergedReader reader(connection_, statements);
  std::int64_t wanted = 0;
  std::int64_t read = 1;
  for (store::IncomingTrap* next = reader.Next(); next != nullptr; next = reader.Next(), ++read) {
    store::IncomingTrap& trap = *next;
    if (read % kRowsPerProgress == 0) {
      if (stopped != nullptr && std::chrono::steady_clock::now() - begun >= kLasts) {
        desk_.Busy.OfferStop();
      }
      desk_.Busy.ShowProgress(read, expected > 0 ? std::max(expected, read) : 0);
      if (!desk_.Busy.GoOn() && stopped != nullptr) {
        *stopped = true;
        break;
      }
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

std::int64_t StoredTraps::ReadFirst(std::string_view statement, std::int64_t expected,
                                    StoredTrapsTaker& counts) {
  Forget(counts);  // which a load before this one may have left to be loaded again
  std::vector<StoredTrapsTaker*> takers{&counts};
  takers.insert(takers.end(), again_.begin(), again_.end());
  const LoadRange range = RangeOfLoad(bounds_, desk_.State.gLastTrapTime);
  for (StoredTrapsTaker* taker : takers) {
    taker->LoadBegins();
  }
  const std::string read = again_.empty() ? std::string(statement) : StatementOf(range);
  return Read(range, std::span(&read, 1), expected, takers, nullptr);
}

void StoredTraps::Await(StoredTrapsTaker& taker) {
  again_.push_back(&taker);
}

void StoredTraps::FirstLoadEnds(std::int64_t unacknowledged) {
  const LoadOutcome outcome{.Unacknowledged = unacknowledged, .Failure = {}, .Stopped = false};
  for (StoredTrapsTaker* taker : std::exchange(again_, {})) {
    taker->LoadEnds(outcome);
  }
  retry_.Succeeded();
  failed_.reset();
  LoadQueued();
}

void StoredTraps::FirstLoadFailed(const store::DatabaseError& error) {
  const LoadOutcome outcome{
      .Unacknowledged = 0, .Failure = store::FailureInAllWords(error), .Stopped = false};
  for (StoredTrapsTaker* taker : std::vector<StoredTrapsTaker*>(again_)) {
    taker->LoadEnds(outcome);
  }
  LoadQueued();
}

// A load within a load would empty what the outer one has gathered so far.
void StoredTraps::Load(StoredTrapsTakers takers) {
  if (reading_) {
    for (StoredTrapsTaker* taker : takers) {
      std::erase(queued_, taker);
      queued_.push_back(taker);
    }
    return;
  }
  LoadNow(takers);
  LoadQueued();
}

void StoredTraps::LoadQueued() {
  while (!queued_.empty()) {
    LoadNow(std::exchange(queued_, {}));
  }
}

void StoredTraps::LoadNow(StoredTrapsTakers takers) {
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
  if (outcome.Stopped) {
    stopped_.insert(stopped_.end(), takers.begin(), takers.end());
  } else if (!outcome.Whole()) {
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

void StoredTraps::LoadStopped() {
  Load(std::vector<StoredTrapsTaker*>(stopped_));
}

void StoredTraps::Forget(const StoredTrapsTaker& taker) {
  std::erase(again_, &taker);
  std::erase(stopped_, &taker);
  std::erase(queued_, &taker);
  if (again_.empty()) {
    failed_.reset();  // it stands again where the load that begins fails too
  }
}

}  // namespace korvane::intake
