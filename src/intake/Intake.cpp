#include "intake/Intake.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "common/Text.h"
#include "common/Translation.h"

namespace korvane::intake {

namespace {

constexpr std::int16_t kTicksOfRatePeriod = 31;

// Everything the record itself says; the texts of the trap are views into the record and varBinds.
void FillFromRecord(const ReceivedTrap& received, std::string& varBinds, store::IncomingTrap& trap) {
  varBinds = TrimAtNul(received.EventDescription);
  const std::size_t descriptionLength = varBinds.size();
  varBinds += TrimAtNul(received.VarBindsFirst);
  varBinds += TrimAtNul(received.VarBindsSecond);
  trap = {.Source = TrimAtNul(received.Source),
          .SystemName = TrimAtNul(received.Source),
          .SystemAddress = TrimAtNul(received.Source),
          .EnterpriseOid = TrimAtNul(received.EnterpriseOid),
          .VarBinds = varBinds,
          .DescriptionLength = descriptionLength,
          .EventNotes = {},
          .Definition = nullptr,
          .OwnName = {},
          .SpecificTrap = received.SpecificTrap,
          .GenericTrap = received.GenericTrap,
          .Severity = 0,
          .EventTime = received.EventTime,
          .SequenceNumber = received.SequenceNumber,
          .EventAck = 0,
          .Filtered = false};
}

}  // namespace

void CompleteStoredTrap(store::IncomingTrap& trap, SystemDirectory& directory, store::TrapNames& names) {
  directory.NameSystem(trap);
  names.GetTrapName(trap);
}

void CompleteTrap(const ReceivedTrap& received, std::string& varBinds, store::IncomingTrap& trap,
                  SystemDirectory& directory, store::TrapNames& names) {
  FillFromRecord(received, varBinds, trap);
  CompleteStoredTrap(trap, directory, names);
}

Intake::Intake(ReceiverLibrary& library, store::TrapNames& names, SystemDirectory& directory,
               SystemCounts& systems, TrapsWindows& windows, NewsTaker& news, ProcessState& state,
               Prompts& prompts, Log& log)
    : library_(library),
      names_(names),
      directory_(directory),
      systems_(systems),
      windows_(windows),
      news_(news),
      state_(state),
      prompts_(prompts),
      log_(log) {}

void Intake::StartIntake(std::int32_t highWaterMark) {
  state_.gLastTrapTime = highWaterMark;
  if (library_.StartRecvEvents(highWaterMark) != kReceiverThreadOk) {
    prompts_.Show(
        Translated(
            "Could not start thread to receive new traps. You may not be able to view new incoming traps. ") +
            SupportSentence(),
        PromptIcon::Critical);
  }
}

bool Intake::CheckTraps() {
  if (state_.gShuttingDown) {
    return false;
  }
  BeginTick();
  return TakeMore();
}

bool Intake::TakeMore() {
  if (state_.gShuttingDown) {
    return false;
  }
  bool more = false;
  try {
    Drain();
    more = library_.MoreFollows();
  } catch (const std::exception& error) {
    log_.TryWriteLog(error.what());
    ++hand_.Failures;
  }
  Show();
  return more;
}

void Intake::BeginTick() {
  if (counters_.Ticks < kTicksOfRatePeriod) {
    ++counters_.Ticks;
  } else {
    counters_.Ticks = 1;
    counters_.PeriodTraps = 0;
  }
}

void Intake::Drain() {
  // No window opens or closes during a tick, so they are asked for once and not for every trap.
  const std::vector<TrapsWindow*> windows = windows_.InCreationOrder();
  news_.TakeNews({});  // what an earlier tick had to leave
  do {
    while (hand_.Held || TakeNext()) {
      Admit(windows);
    }
  } while (TakeNews());
}

void Intake::StoreReplaced() {
  hand_ = {};
  for (TrapsWindow* window : windows_.InCreationOrder()) {
    window->StoreReplaced();
  }
  news_.StoreReplaced();
}

void Intake::LoadAnew() {
  Show();
}

bool Intake::TakeNews() {
  StoreNews news = library_.TakeNews();
  if (news.Empty()) {
    return false;
  }
  news_.TakeNews(std::move(news));
  return true;
}

void Intake::Show() {
  const auto guarded = [this](const auto& step) {
    try {
      step();
    } catch (const std::exception& error) {
      log_.TryWriteLog(error.what());
    }
  };
  guarded([this] { news_.EndTick(); });
  guarded([this] { systems_.RefreshStatus(); });
  for (TrapsWindow* window : windows_.InCreationOrder()) {
    guarded([window] { window->UpdateStatusBar(); });
  }
}

bool Intake::TakeNext() {
  hand_.Failures = 0;
  if (library_.GetEventFromList(hand_.Received) == 0) {
    return false;
  }
  hand_.Held = true;
  hand_.Notes = library_.NotesOfTrap();
  hand_.New = library_.TrapIsNew();
  hand_.Counted = false;
  hand_.Offered.clear();
  state_.gLastTrapTime = std::max(state_.gLastTrapTime, hand_.Received.TimeKey);
  return true;
}

void Intake::Admit(const std::vector<TrapsWindow*>& windows) {
  store::IncomingTrap trap;
  Complete(trap);
  trap.EventNotes = hand_.Notes;
  Succeeds([&] { systems_.NoteDelivered(trap); });
  if (!trap.Filtered) {
    Route(trap, windows);
  }
  counters_.PeriodTraps += hand_.New ? 1 : 0;
  hand_.Held = false;
}

void Intake::Complete(store::IncomingTrap& trap) {
  if (Succeeds([&] { CompleteTrap(hand_.Received, varBinds_, trap, directory_, names_); })) {
    return;
  }
  FillFromRecord(hand_.Received, varBinds_, trap);
  Succeeds([&] { directory_.NameSystem(trap); });
  names_.NameWithoutDefinition(trap);
}

void Intake::Route(const store::IncomingTrap& trap, const std::vector<TrapsWindow*>& windows) {
  if (!hand_.Counted) {
    Succeeds([&] { systems_.UpdateSystemCounts(trap, hand_.New ? Arrival::Live : Arrival::Stored); });
    hand_.Counted = true;
  }
  for (TrapsWindow* window : windows) {
    if (LastTry() && std::find(hand_.Offered.begin(), hand_.Offered.end(), window) != hand_.Offered.end()) {
      continue;
    }
    Succeeds([&] { window->PublicAddTraps(trap); });
    hand_.Offered.push_back(window);
  }
}

// One step of a trap's way.  The first failure ends the tick; on the last try it is logged, and the trap goes
// on without that step.
template <typename Step>
bool Intake::Succeeds(Step step) {
  if (!LastTry()) {
    step();
    return true;
  }
  try {
    step();
    return true;
  } catch (const std::exception& error) {
    log_.TryWriteLog(error.what());
    return false;
  }
}

}  // namespace korvane::intake
