#include "intake/StoreChanges.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <iterator>
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
  const std::int64_t changed = store::CountOf(done.Changed.Numbers);
  if (changed == 0) {
    return;
  }
  TellOwn(store::ChangeKind::Acknowledged, done.ChangeId, done.Changed);
  desk_.Strip.Tell(Phrase("{} acknowledged", TrapsText(desk_, changed, ofSystem)), Translated("Undo"),
                   [this, done, system = std::string(ofSystem)] { TakeBack(done, system); });
}

void StoreChanges::TellOwn(store::ChangeKind kind, std::int32_t changeId, const store::TrapSelection& traps) {
  windows_->Changed({.ChangeId = changeId,
                     .Time = static_cast<std::int32_t>(desk_.Clock.UtcSeconds()),
                     .Kind = kind,
                     .Author = connection_.Author(),
                     .Traps = traps,
                     .Rows = {}});
}

void StoreChanges::TakeBack(const store::Acknowledgement& done, const std::string& ofSystem) {
  try {
    const BusyScope busy(desk_.Busy, Translated("Making Trap(s) New Again"));
    const store::TrapSelection back = store::TakeBack(connection_, done);
    bounds_.Own.Withdraw(back);
    TellOwn(store::ChangeKind::Unacknowledged, 0, back);
    const std::int64_t asked = store::CountOf(done.Changed.Numbers);
    const std::int64_t count = store::CountOf(back.Numbers);
    desk_.Strip.Tell(Phrase("{} {} new again{}", TrapsText(desk_, count, ofSystem), count == 1 ? "is" : "are",
                            count < asked ? Translated("; others were changed by somebody else since") : ""));
    Readmit(back);
  } catch (const store::DatabaseError& error) {
    desk_.Prompt.ShowFailure(Translated("The acknowledgement could not be taken back."), error.what());
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
  const std::string what = change.Author.Operator.empty() ? std::string() : WhatChanged(desk_, change);
  if (!what.empty()) {
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
  store::TrapReader reader(
      connection_,
      fmt::format("SELECT * FROM {} WHERE EventAck = 0 AND {} ORDER BY EventTime, SequenceNumber",
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
