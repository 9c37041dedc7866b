#include "receiver/store/StoreWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

namespace korvane::receiver {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto kReminder = std::chrono::minutes(1);
constexpr auto kIdleWait = milliseconds(200);
constexpr auto kStandByWait = milliseconds(200);

std::int64_t NowMilliseconds() {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

std::string Describe(const store::DatabaseError& error) {
  return fmt::format("{} [{}, {}]", error.what(), error.SqlState(), error.NativeCode());
}

}  // namespace

StoreWriter::StoreWriter(Spool& spool, TrapStore& store, Quarantine quarantine, Counters& counters,
                         ServiceLog& log, WriterOptions options)
    : spool_(spool),
      quarantine_(std::move(quarantine)),
      counters_(counters),
      log_(log),
      options_(std::move(options)),
      limit_(options_.BatchRows),
      disks_(spool.Folder(), log, options_.UsedOfDisk),
      store_(store, options_.LongestCall,
             [this](std::chrono::seconds underWay) {
               NoteUnavailable(fmt::format("it has not answered for {} seconds", underWay.count()));
             }),
      duty_(spool, store_, log, options_.Duty) {
  // What an earlier run left behind had to wait.
  spooledBefore_ = spool_.Waiting();
  countedUpTo_ = spool_.RunStart();
}

void StoreWriter::Run() {
  while (!Ended()) {
    bool went = false;
    try {
      went = Turn();
    } catch (const std::system_error& error) {
      log_.Error(fmt::format("the spool can't be read: {}", error.what()));
    }
    LookAtDisks();
    if (went) {
      pause_ = milliseconds(0);
    } else if (!Ended()) {
      Pause();
    }
  }
  SayThatItEnds();
  store_.Close();
}

void StoreWriter::Stop(milliseconds longest) {
  stopAt_ = NowMilliseconds() + longest.count();
  stopping_ = true;
  spool_.Wake();
}

bool StoreWriter::Ended() const {
  return stopping_ && (!available_ || NowMilliseconds() >= stopAt_ || spool_.Waiting() == 0);
}

bool StoreWriter::Turn() {
  if (!connected_ && !Connect()) {
    return false;
  }
  try {
    duty_.Look();
  } catch (const store::DatabaseError& error) {
    return GiveUp(error);
  }
  const bool waited = Fill();
  if (waited && !StoreBatch()) {
    return false;
  }
  // A batch has perhaps found the store gone and its traps stored.
  if (connected_ && steady_clock::now() - lastBeat_ >= options_.BeatEvery && !ShowAlive()) {
    return false;
  }
  if (!waited) {
    NoteAvailable();
  }
  return true;
}

// Also while the store is away: then the spool grows.
void StoreWriter::LookAtDisks() {
  const auto now = steady_clock::now();
  if (now - lastLookAtDisks_ >= options_.BeatEvery) {
    lastLookAtDisks_ = now;
    diskUsed_ = disks_.Look(connected_ ? store_.Folder() : std::filesystem::path());
  }
}

store::ReceiverCondition StoreWriter::Condition() {
  LookAtDisks();
  store::ReceiverCondition condition = options_.Condition ? options_.Condition() : store::ReceiverCondition();
  condition.DiskUsed = diskUsed_;
  return condition;
}

bool StoreWriter::ShowAlive() {
  try {
    store_.Beat(Condition(), false);
  } catch (const store::DatabaseError& error) {
    return GiveUp(error);
  }
  lastBeat_ = steady_clock::now();
  return true;
}

// So that nobody takes it for dead.  Nothing is lost when it can't be said.
void StoreWriter::SayThatItEnds() {
  if (!connected_) {
    return;
  }
  try {
    duty_.HandOver();
    store_.Beat(Condition(), true);
  } catch (const store::DatabaseError& error) {
    log_.Warning(fmt::format("the trap store could not be told that the receiver ends: {}", Describe(error)));
  }
}

bool StoreWriter::Connect() {
  const std::uint64_t highest = everConnected_ ? spool_.LastNumber() : spool_.RunStart();
  std::uint64_t stored = 0;
  try {
    stored =
        store_.Open(spool_.State().SpoolId, highest, everConnected_ ? stored_ : spool_.RememberedStored());
  } catch (const store::DatabaseError& error) {
    return GiveUp(error);
  }
  if (everConnected_ && stored < stored_) {
    log_.Warning(
        "the trap store went back to an earlier state; traps that the spool still holds are stored again");
  }
  connected_ = true;
  everConnected_ = true;
  lastLookAtDisks_ = {};
  duty_.Connected(stored);
  // A commit whose outcome was unknown shows here.
  SettleQuarantine(stored);
  const auto stays =
      std::ranges::find_if(Batch(), [stored](const SpooledTrap& trap) { return trap.Number > stored; });
  const std::span<const SpooledTrap> gone(Batch().begin(), stays);
  TellDone(gone);
  if (stored != stored_) {
    if (stored < stored_) {
      batch_.clear();
      batchStart_ = 0;
    }
    failures_ = 0;
    stored_ = stored;
    spool_.MarkStored(stored_);
  }
  return true;
}

// True when there is something to store.
bool StoreWriter::Fill() {
  if (Batch().empty()) {
    if (!stopping_) {
      spool_.WaitForMore(stored_, 1, kIdleWait);
      spool_.WaitForMore(stored_, options_.BatchRows, options_.BatchTime);
    }
    batch_ = spool_.Read(stored_, options_.BatchRows, options_.BatchBytes);
    batchStart_ = 0;
  }
  return !batch_.empty();
}

bool StoreWriter::StoreBatch() {
  DutyVerdict verdict;
  try {
    verdict = duty_.Judge(Batch().first(std::min(Batch().size(), limit_)));
  } catch (const store::DatabaseError& error) {
    return GiveUp(error);
  }
  if (verdict.Do == DutyVerdict::Action::Wait) {
    NoteAvailable();
    spool_.WaitForWake(stopping_ ? kStandByWait / 10 : kStandByWait);
    return true;
  }
  const std::span<const SpooledTrap> traps = Batch().first(verdict.Count);
  passes_ = verdict.Do == DutyVerdict::Action::PassOver;
  try {
    if (passes_) {
      store_.Skip(traps.back().Number, stored_);
    } else {
      store_.Store(traps, stored_);
    }
  } catch (const DutyLost&) {
    duty_.Doubt();
    return true;
  } catch (const store::DatabaseError& error) {
    return passes_ ? GiveUp(error) : AfterFailure(error, traps.size());
  }
  duty_.Done(verdict, traps);
  const std::uint64_t last = traps.back().Number;
  TellDone(traps);  // before the spool says so too: what was passed over is no stored trap
  Advance(last);
  limit_ = std::min(limit_ * 2, options_.BatchRows);
  return true;
}

// The first ones of the batch, which go.
void StoreWriter::TellDone(std::span<const SpooledTrap> traps) {
  const auto& tell = passes_ ? options_.PassedOver : options_.Stored;
  if (tell) {
    tell(traps);
  }
  (passes_ ? counters_.PassedOver : counters_.Stored) += traps.size();
  DropFromBatch(traps.size());
}

void StoreWriter::DropFromBatch(std::size_t rows) {
  batchStart_ += rows;
  if (batchStart_ == batch_.size()) {
    batch_.clear();
    batchStart_ = 0;
  }
}

void StoreWriter::Advance(std::uint64_t number) {
  stored_ = number;
  duty_.Reached(number);
  failures_ = 0;
  troubles_ = 0;
  spool_.MarkStored(number);
  NoteAvailable();
}

bool StoreWriter::GiveUp(const store::DatabaseError& error) {
  store_.Close();
  connected_ = false;
  NoteUnavailable(Describe(error));
  return false;
}

// Tells three cases apart: the commit went through after all, the store takes nothing, or it takes others and
// refuses something of this batch.
bool StoreWriter::AfterFailure(const store::DatabaseError& error, std::size_t rows) {
  const std::uint64_t before = stored_;
  connected_ = false;
  if (!Connect()) {
    return false;
  }
  if (stored_ != before) {
    return true;
  }
  if (TakesNoRows(error)) {
    return GiveUp(error);
  }
  try {
    store_.Probe();
  } catch (const store::DatabaseError& probeError) {
    return GiveUp(probeError);
  }
  // The trial row was not committed, so it does not prove that the store is well.
  if (IsStoreTrouble(error) && ++troubles_ > 1) {
    NoteUnavailable(Describe(error));
  }
  limit_ = std::max<std::size_t>(1, rows / 2);
  if (rows > 1) {
    return !IsStoreTrouble(error);
  }
  ++failures_;
  if (failures_ < (IsStoreTrouble(error) ? options_.RowTroubles : options_.RowFailures)) {
    return false;
  }
  return PutIntoQuarantine(Describe(error));
}

bool StoreWriter::PutIntoQuarantine(const std::string& reason) {
  const SpooledTrap& trap = Batch().front();
  try {
    const bool kept = quarantine_.Add(trap, reason);
    aside_ = fmt::format("the trap store refuses trap {} from {}, {} {}: {}", trap.Number, trap.Row.Source,
                         kept ? "put aside in" : "not kept, there is no room in", quarantine_.File().string(),
                         reason);
    store_.Skip(trap.Number, stored_);
  } catch (const std::system_error& error) {
    log_.Error(fmt::format("a trap that the store refuses can't be put aside: {}", error.what()));
    return false;
  } catch (const store::DatabaseError& error) {
    return GiveUp(error);
  }
  const std::uint64_t number = trap.Number;
  SettleQuarantine(number);
  Advance(number);
  return true;
}

// The line is written before the store skips the trap, so that a crash between loses no trap without a trace.
// When the store did not skip it, the line goes again: the next try may store it.
void StoreWriter::SettleQuarantine(std::uint64_t stored) {
  if (aside_.empty()) {
    return;
  }
  const std::string line = std::exchange(aside_, {});
  if (Batch().front().Number > stored) {
    quarantine_.TakeBack();
    return;
  }
  DropFromBatch(1);
  ++counters_.Quarantined;
  log_.Error(line);
}

void StoreWriter::Pause() {
  pause_ = std::clamp(pause_ * 2, options_.FirstPause, options_.LongestPause);
  const auto until = steady_clock::now() + pause_;
  while (!Ended() && steady_clock::now() < until) {
    spool_.WaitForWake(std::chrono::ceil<milliseconds>(until - steady_clock::now()));
  }
}

void StoreWriter::NoteUnavailable(const std::string& reason) {
  if (available_) {
    outageFrom_ = std::max(spool_.StoredNumber(), countedUpTo_);
    available_ = false;
    lastReminder_ = steady_clock::now();
    log_.Error(fmt::format("the trap store can't be used, traps wait in the spool: {}", reason));
  } else if (steady_clock::now() - lastReminder_ >= kReminder) {
    lastReminder_ = steady_clock::now();
    log_.Warning(fmt::format("the trap store still can't be used, {} traps wait in the spool: {}",
                             spool_.Waiting(), reason));
  }
}

void StoreWriter::NoteAvailable() {
  if (available_) {
    return;
  }
  countedUpTo_ = spool_.LastNumber();
  spooledBefore_ += countedUpTo_ - outageFrom_;
  available_ = true;
  log_.Info(
      fmt::format("the trap store can be used again, {} traps are still to be stored", spool_.Waiting()));
}

std::uint64_t StoreWriter::SpooledCount() const {
  // Within one run numbers are consecutive.
  return spooledBefore_ + (available_ ? 0 : spool_.LastNumber() - outageFrom_);
}

}  // namespace korvane::receiver
