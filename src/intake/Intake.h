// The console's side of the receiver link: start, the three-second tick, and the completion of every trap,
// stored or just delivered.  The Systems window's timer calls CheckTraps.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/Log.h"
#include "common/ProcessState.h"
#include "common/Prompts.h"
#include "intake/ReceiverLibrary.h"
#include "store/TrapNames.h"
#include "store/TrapRecord.h"

namespace korvane::intake {

// The systems as the completion needs them.
class SystemDirectory {
 public:
  virtual ~SystemDirectory() = default;
  // Fills SystemName and SystemAddress from Source (both views into storage that outlives the trap's use).
  virtual void NameSystem(store::IncomingTrap& trap) = 0;
};

// Whether a trap that is counted has just arrived, or was stored before: at the start, or until its
// acknowledgement was taken back.  Only what arrives is news.
enum class Arrival : std::uint8_t { Stored, Live };

// The Systems window as the intake needs it.
class SystemCounts {
 public:
  virtual ~SystemCounts() = default;
  // Every trap of the link comes here first, filtered or not, and once more when its tick failed: a filter
  // may go later, and a load must then know what was delivered.
  virtual void NoteDelivered(const store::IncomingTrap& trap) = 0;
  virtual void UpdateSystemCounts(const store::IncomingTrap& trap, Arrival arrival) = 0;
  virtual void RefreshStatus() = 0;
};

// A Traps window as the intake needs it.
class TrapsWindow {
 public:
  virtual ~TrapsWindow() = default;
  // One trap whose fields stand in the fixed order trap name, enterprise name, further description,
  // Event_ExtDescr, EventDescription, Source, system address, EnterpriseOid, SpecificTrap, GenericTrap,
  // severity, EventTime, SequenceNumber.  The window decides by itself whether it keeps it.
  virtual void PublicAddTraps(const store::IncomingTrap& trap) = 0;
  virtual void UpdateStatusBar() = 0;
  // The store is in another state: all that is held is void and goes, and is loaded anew before long.
  virtual void StoreReplaced() = 0;
};

class TrapsWindows {
 public:
  virtual ~TrapsWindows() = default;
  virtual std::vector<TrapsWindow*> InCreationOrder() = 0;  // "frmTraps" forms only
};

// What was changed in the store, as the intake hands it on.
class NewsTaker {
 public:
  virtual ~NewsTaker() = default;
  virtual void TakeNews(StoreNews news) = 0;  // throws: what is left is applied by the next call
  virtual void EndTick() = 0;
  // The store is in another state: what is left is void, and EndTick is to load everything anew.
  virtual void StoreReplaced() = 0;
};

// Ticks and traps of the current rate period of 31 ticks, as the Systems window's status bar reads them.
struct IntakeCounters {
  std::int16_t Ticks = 0;  // 1 to 31 once the timer ran
  std::int32_t PeriodTraps = 0;
};

class Intake {
 public:
  Intake(ReceiverLibrary& library, store::TrapNames& names, SystemDirectory& directory, SystemCounts& systems,
         TrapsWindows& windows, NewsTaker& news, ProcessState& state, Prompts& prompts, Log& log);

  // Starts the library's thread; a failure is shown, and the console carries on.
  void StartIntake(std::int32_t highWaterMark);

  // One tick; nothing once the program shuts down.  Never throws: an error ends the tick, is logged, and the
  // next tick begins with the trap in hand, for those that have not taken it yet.  When that fails again the
  // trap is admitted without a definition, whoever still fails goes without it, and the list goes on.
  // What was admitted is shown, however the tick ends.
  // True when the list goes on at once: TakeMore takes that, best as soon as the windows have been painted.
  bool CheckTraps();
  // The list once more, without a tick of the rate; answers as CheckTraps does.
  bool TakeMore();

  // The store is in another state, and the library stopped: every window and everything that waits lets go of
  // its traps.
  void StoreReplaced();
  // After it, once the bounds of the loads stand: loads rules, counts and lists.
  void LoadAnew();

  const IntakeCounters& Counters() const { return counters_; }

 private:
  // The trap that was taken from the library last, and how far it has come.
  struct TrapInHand {
    ReceivedTrap Received;
    std::string Notes;
    bool New = true;    // it arrived, and was not there at the start
    bool Held = false;  // taken, and not yet handed to everyone
    int Failures = 0;
    bool Counted = false;               // by the Systems window
    std::vector<TrapsWindow*> Offered;  // windows that have had it
  };

  void BeginTick();
  void Drain();
  bool TakeNews();
  void Show();  // what was admitted, also by a tick that failed
  bool TakeNext();
  void Admit(const std::vector<TrapsWindow*>& windows);
  void Complete(store::IncomingTrap& trap);
  void Route(const store::IncomingTrap& trap, const std::vector<TrapsWindow*>& windows);
  template <typename Step>
  bool Succeeds(Step step);
  bool LastTry() const { return hand_.Failures > 0; }

  ReceiverLibrary& library_;
  store::TrapNames& names_;
  SystemDirectory& directory_;
  SystemCounts& systems_;
  TrapsWindows& windows_;
  NewsTaker& news_;
  ProcessState& state_;
  Prompts& prompts_;
  Log& log_;
  IntakeCounters counters_;
  TrapInHand hand_;
  std::string varBinds_;
};

// The one completion of a trap, for stored and delivered traps alike: system, names, severity, verdict.
void CompleteStoredTrap(store::IncomingTrap& trap, SystemDirectory& directory, store::TrapNames& names);

// From a delivered record: NUL cut of every text, the two parts of the bindings joined without a separator
// (into varBinds, which the trap's view then refers to), no notes, then the completion above.
void CompleteTrap(const ReceivedTrap& received, std::string& varBinds, store::IncomingTrap& trap,
                  SystemDirectory& directory, store::TrapNames& names);

}  // namespace korvane::intake
