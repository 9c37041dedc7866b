#include "intake/StoreChanges.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "common/Text.h"
#include "common/Translation.h"
#include "store/DatabaseError.h"
#include "store/Statements.h"
#include "store/Tables.h"
#include "store/TrapReader.h"

namespace korvane::intake {
namespace {

// More than these are quicker loaded with everything else, and stand in their place then.
constexpr std::int64_t kMostReadmitted = 500;
// Between two entries of one work; milliseconds.
constexpr std::int64_t kSameWork = 4000;

std::string TrapsText(const Desk& desk, std::int64_t count, std::string_view ofSystem) {
  std::string text = fmt::format("{} trap{}", desk.WriteNumber(count), count == 1 ? "" : "s");
  return ofSystem.empty() ? text : fmt::format("{} of {}", text, VisibleText(ofSystem));
}

std::string WhatChanged(const Desk& desk, const store::Change& change) {
  using store::ChangeKind;
  const std::int64_t rows = change.Rows.value_or(0);
  switch (change.Kind) {
    case ChangeKind::Acknowledged:
      return rows > 0 ? Phrase("{} acknowledged", TrapsText(desk, rows, {})) : std::string();
    case ChangeKind::Unacknowledged:
      return rows > 0 ? Phrase("{} made new again", TrapsText(desk, rows, {})) : std::string();
    case ChangeKind::Filters:
      return Translated("Trap filters changed");
    case ChangeKind::Categories:
      return Translated("Categories changed");
    case ChangeKind::Alerts:
      return Translated("Alerts changed");
    case ChangeKind::TrapNames:
      return Translated("Names of traps changed");
    case ChangeKind::Notes:
    case ChangeKind::Purged:
    case ChangeKind::Unknown:
      break;
  }
  return {};
}

}  // namespace

StoreChanges::StoreChanges(Desk& desk, store::Connection& connection, store::TrapNames& names,
                           Systems& systems, LoadBounds& bounds, params::TrapFilters& filters,
                           params::CategoryInformation& categories)
    : desk_(desk),
      connection_(connection),
      names_(names),
      systems_(systems),
      bounds_(bounds),
      filters_(filters),
      categories_(categories) {}

void StoreChanges::Attach(ViewWindows& windows, SystemCounts& counts, TrapsWindows& traps) {
  windows_ = &windows;
  counts_ = &counts;
  traps_ = &traps;
}

void StoreChanges::Acknowledged(const store::Acknowledgement& done, std::string_view ofSystem) {
  bounds_.Own.Add(done);
  windows_->TrapsAcknowledged(done.Leaving);
  const std::int64_t changed = done.ChangedCount();
  std::string gone;
  if (done.Gone > 0) {
    gone = Phrase("{} no longer stored", TrapsText(desk_, done.Gone, {}));
  }
  if (changed == 0) {
    if (!gone.empty()) {
      desk_.Strip.Tell(gone);
    }
    return;
  }
  TellOwn(store::ChangeKind::Acknowledged, done.Portions.back().ChangeId, done.Changed());
  std::string text = Phrase("{} acknowledged", TrapsText(desk_, changed, ofSystem));
  if (!gone.empty()) {
    text = fmt::format("{}; {}", text, gone);
  }
  OfferUndo(text, std::make_shared<store::Acknowledgement>(done), std::string(ofSystem));
}

void StoreChanges::OfferUndo(const std::string& text, const Done& done, const std::string& ofSystem) {
  desk_.Strip.Tell(text, Translated("Undo"), [this, done, ofSystem] { TakeBack(done, ofSystem); });
}

void StoreChanges::TellOwn(store::ChangeKind kind, std::int32_t changeId, const store::TrapSelection& traps) {
  windows_->Changed({.ChangeId = changeId,
                     .Time = static_cast<std::int32_t>(desk_.Clock.UtcSeconds()),
                     .Kind = kind,
                     .Author = connection_.Author(),
                     .Traps = traps,
                     .Rows = {}});
}

void StoreChanges::TakeBack(const Done& done, const std::string& ofSystem) {
  std::optional<store::DatabaseError> failure;
  try {
    const BusyScope busy(desk_.Busy, Translated("Making Trap(s) New Again"));
    const std::int64_t asked = done->ChangedCount();
    const store::TakenBack taken = store::TakeBack(
        connection_, *done, [&](std::int64_t some) { return StepDone(desk_.Busy, some, asked); });
    failure = taken.Failure;
    const store::TrapSelection& back = taken.Traps;
    bounds_.Own.Withdraw(back);
    TellOwn(store::ChangeKind::Unacknowledged, 0, back);
    const std::int64_t count = store::CountOf(back.Numbers);
    const bool broken = taken.Stopped || taken.Failure;
    const std::string text =
        Phrase("{} {} new again{}", TrapsText(desk_, count, ofSystem), count == 1 ? "is" : "are",
               broken          ? Translated("; the rest stays acknowledged")
               : count < asked ? Translated("; others were changed by somebody else since")
                               : "");
    if (broken) {
      auto rest = std::make_shared<store::Acknowledgement>(*done);
      for (store::AcknowledgedPortion& portion : rest->Portions) {
        std::erase_if(portion.Changed,
                      [&](const store::TrapKey& trap) { return back.HasNumber(trap.Number); });
      }
      OfferUndo(text, rest, ofSystem);
    } else {
      desk_.Strip.Tell(text);
    }
    ReadmitOrReload(back);
  } catch (const store::DatabaseError& error) {
    failure = error;
  }
  if (failure) {
    desk_.Prompt.ShowFailure(Translated("The acknowledgement could not be taken back."), failure->what());
  }
  EndTick();
  counts_->RefreshStatus();
  for (TrapsWindow* window : traps_->InCreationOrder()) {
    window->UpdateStatusBar();
  }
}

void StoreChanges::TakeNews(StoreNews news) {
  if (news.Unexplained) {
    // Nobody knows what was changed, so all of it is read again.
    left_.clear();
    rereadFilters_ = rereadCategories_ = reload_ = true;
    desk_.Strip.Set(
        StripKind::Elsewhere,
        {.Text = Translated("Another program has changed the trap store; everything was read again"),
         .Until = desk_.Clock.MonotonicMilliseconds() + StripLines::kToldFor});
  }
  left_.insert(left_.end(), std::make_move_iterator(news.Changes.begin()),
               std::make_move_iterator(news.Changes.end()));
  while (!left_.empty()) {
    try {
      Apply(left_.front());
    } catch (const std::exception& error) {
      if (!std::exchange(failed_, true)) {
        throw;
      }
      desk_.DebugLog.TryWriteLog(error.what());
      reload_ = true;
    }
    failed_ = false;
    left_.pop_front();
  }
}

void StoreChanges::StoreReplaced() {
  left_.clear();
  failed_ = false;
  desk_.Strip.Clear(StripKind::Told);  // what can't be taken back any more
  desk_.Strip.Clear(StripKind::Elsewhere);
  windows_->StoreReplaced();
  reread_.Succeeded();
  rereadFilters_ = rereadCategories_ = reload_ = true;
}

void StoreChanges::Apply(const store::Change& change) {
  using store::ChangeKind;
  if (change.Author.Writer == connection_.Author().Writer) {
    bounds_.Own.NoteFollowed(change.ChangeId);
    return;
  }
  switch (change.Kind) {
    case ChangeKind::Acknowledged:
    case ChangeKind::Purged:
      windows_->TrapsAcknowledged(std::span(&change.Traps, 1));
      break;
    case ChangeKind::Unacknowledged:
      bounds_.Own.Withdraw(change.Traps);
      Readmit(change.Traps);
      break;
    case ChangeKind::Notes:
      ReadNotes(change);
      break;
    case ChangeKind::Filters:
      rereadFilters_ = reload_ = true;
      break;
    case ChangeKind::Categories:
      rereadCategories_ = reload_ = true;
      break;
    case ChangeKind::TrapNames:
      reload_ = true;
      break;
    case ChangeKind::Alerts:
    case ChangeKind::Unknown:
      break;
  }
  TellOfOthers(change);
  windows_->Changed(change);
}

void StoreChanges::TellOfOthers(const store::Change& change) {
  // Portions of one work are told as one.
  store::Change told = change;
  const std::int64_t now = desk_.Clock.MonotonicMilliseconds();
  const bool goesOn = now < toldUntil_ && change.Kind == told_.Kind && change.Rows && told_.Rows &&
                      change.Author.Writer == told_.Author.Writer;
  if (goesOn) {
    *told.Rows += *told_.Rows;
  }
  const std::string what = change.Author.Operator.empty() ? std::string() : WhatChanged(desk_, told);
  if (!what.empty()) {
    told.Traps = {};
    told_ = std::move(told);
    toldUntil_ = now + kSameWork;
    desk_.Strip.Set(StripKind::Elsewhere,
                    {.Text = Phrase("{} by {} on {}", what, VisibleText(change.Author.Operator),
                                    VisibleText(change.Author.Machine)),
                     .Until = desk_.Clock.MonotonicMilliseconds() + StripLines::kToldFor});
  }
}

void StoreChanges::Readmit(const store::TrapSelection& traps) {
  if (traps.Numbers.empty()) {
    return;
  }
  if (store::CountOf(traps.Numbers) > kMostReadmitted) {
    reload_ = true;
    return;
  }
  // With plain columns an engine may walk all unacknowledged traps, in this order.
  store::TrapReader reader(
      connection_,
      fmt::format("SELECT * FROM {} WHERE +EventAck = 0 AND {} ORDER BY +EventTime, SequenceNumber",
                  store::kEventTrap, store::NumbersCondition(traps.Numbers)));
  const LoadRange range = RangeOfLoad(bounds_, desk_.State.gLastTrapTime);
  store::IncomingTrap trap;
  while (reader.Next(trap)) {
    // What a load would pass over was not shown before either.
    const bool below = range.Lower && trap.EventTime <= *range.Lower;
    if (!below && range.Wants(bounds_, trap.EventTime, trap.SequenceNumber)) {
      Admit(trap);
    }
  }
}

// They are new again whether or not they could be read.
void StoreChanges::ReadmitOrReload(const store::TrapSelection& traps) {
  try {
    Readmit(traps);
  } catch (const store::DatabaseError& error) {
    desk_.DebugLog.TryWriteLog(error.what());
    reload_ = true;
  }
}

void StoreChanges::Admit(store::IncomingTrap& trap) {
  desk_.State.gLastTrapTime = std::max(desk_.State.gLastTrapTime, trap.EventTime);
  CompleteStoredTrap(trap, systems_, names_);
  counts_->NoteDelivered(trap);
  if (trap.Filtered) {
    return;
  }
  counts_->UpdateSystemCounts(trap, Arrival::Stored);
  for (TrapsWindow* window : traps_->InCreationOrder()) {
    window->PublicAddTraps(trap);
  }
}

void StoreChanges::ReadNotes(const store::Change& change) {
  store::Recordset rows =
      connection_.OpenRecordset(fmt::format("SELECT SequenceNumber, EventNotes FROM {}", store::kEventTrap),
                                store::NumbersCondition(change.Traps.Numbers));
  while (rows.Next()) {
    windows_->NotesChanged(rows.Integer("SequenceNumber"), rows.Text("EventNotes"), store::StampOf(change));
  }
}

bool StoreChanges::RulesAreRead() {
  rereadFilters_ = rereadFilters_ && !filters_.LoadFilters(connection_);
  if (!rereadFilters_) {
    rereadCategories_ = rereadCategories_ && !categories_.ReloadCategoryInformation(connection_);
  }
  return !rereadFilters_ && !rereadCategories_;
}

void StoreChanges::EndTick() {
  const std::int64_t now = desk_.Clock.MonotonicMilliseconds();
  if (!reload_ || (reread_.NextTry() && !reread_.TakeDue(now))) {
    return;
  }
  if (!RulesAreRead()) {
    reread_.Failed(now);
    return;
  }
  reread_.Succeeded();
  reload_ = false;
  names_.ClearCache();
  windows_->ReloadTraps();
}

}  // namespace korvane::intake
