// The duty to store, in a group of receivers that get the same traps: one of them holds it, the others stand
// by.  Of the writing thread; StoreWriter asks it what to do with each batch.
//
// The holder stores as a receiver does that is alone, each transaction with a claim of its duty.  Whoever
// stands by looks about once a second.  It passes over what the holder has stored too (TwinFilter), and what
// the holder had stored if it had got it, it stores itself.  When the holder's beat has not moved for a while
// it takes over; of several one succeeds.  What it captured before that may be stored already and goes
// through the filter, what comes after does not.  Time is this machine's steady clock, and only while the
// store answers; the wall clocks of the receivers must agree to TwinFilter::kMargin.
//
// Wherever a process dies or stands still: what it has not stored stays in its spool and goes through the
// filter once it is back.  What remains: a trap is stored twice when its twin can't be told (clocks that are
// further apart, a sender that shows each receiver another address, an inform that was repeated for longer
// than TwinFilter::kRepeated, a storm of more traps than the filter holds).  Of identical traps one may be
// taken for another one that came within the margin while this receiver was away; it is lost only when no
// other receiver heard it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "receiver/ServiceLog.h"
#include "receiver/spool/Spool.h"
#include "receiver/store/DutyRow.h"
#include "receiver/store/TrapStore.h"
#include "receiver/store/TwinFilter.h"

namespace korvane::receiver {

struct DutyOptions {
  std::string Group = {};  // empty: alone, there is no duty
  std::chrono::milliseconds LookEvery{1000};
  std::chrono::milliseconds Silence{5000};  // of the holder, before another one takes over
  // Nothing that was captured is still on its way to the spool.  Any thread.
  std::function<bool()> AllSpooled = {};
  std::function<std::int64_t()> Clock = {};  // UTC seconds; the machine's when there is none
};

// What to do with the first so many traps of a batch.
struct DutyVerdict {
  enum class Action { Store, PassOver, Wait };
  Action Do = Action::Store;
  std::size_t Count = 0;
};

class Duty {
 public:
  // All outlive it.
  Duty(Spool& spool, TrapStore& store, ServiceLog& log, DutyOptions options);

  bool Alone() const { return options_.Group.empty(); }

  // The functions below throw DatabaseError; the store is then opened anew, and Connected called.

  // The store was opened; up to this number everything of the spool is stored or passed over.
  void Connected(std::uint64_t stored);
  // In every turn of the writer: beats, looks, takes over, when it is time.
  void Look();
  // For the first traps that are not stored; makes the claim that Store and Skip are to be done with.
  DutyVerdict Judge(std::span<const SpooledTrap> traps);
  // It was done with these.
  void Done(const DutyVerdict& verdict, std::span<const SpooledTrap> traps);
  // Stored, passed over or put aside up to this number.
  void Reached(std::uint64_t stored) { stored_ = stored; }
  // The claim did not hold: the row has changed.
  void Doubt() { doubted_ = true; }
  // At an ordered end.
  void HandOver();

 private:
  using Clock = std::chrono::steady_clock;

  std::int32_t UtcNow() const;
  std::string_view Self() const { return spool_.State().SpoolId; }
  DutyClaim MyClaim(std::optional<std::int32_t> through) const;
  void Beat();
  void See(const DutyRow& row);
  void Watch(const std::optional<DutyRow>& row, Clock::duration sinceLook);
  void TakeOver(const std::optional<DutyRow>& seen);
  void TellStandingBy();

  bool MustFilter(const SpooledTrap& trap) const;
  void EndFilter();
  void BeginFilter(std::int32_t firstTime);
  void AddOwnTraps();
  TwinFilter::Trap TwinOf(const SpooledTrap& trap) const;
  std::size_t TakeTwins(std::span<const SpooledTrap> traps);
  bool ReadRows(const SpooledTrap* waiting);
  bool AllIsRead(std::int32_t time) const;
  void NoteDifference(std::int32_t seconds);
  void TellDifference(std::int32_t seconds);
  bool IsToBeTold();
  std::string DutyWords() const;
  void TellDuty();
  // True once in a minute.
  static bool IsTime(Clock::time_point& last);

  Spool& spool_;
  TrapStore& store_;
  ServiceLog& log_;
  const DutyOptions options_;
  const std::string machine_;
  const std::int32_t start_;  // UTC seconds: nothing of this run was captured before

  bool holds_ = false;
  bool doubted_ = false;
  bool everConnected_ = false;
  bool fails_ = false;   // opened anew, and nothing was stored or passed over since
  bool untold_ = false;  // who has the duty has changed meanwhile, and the log does not say so
  DutyRow seen_;
  Clock::time_point lastLook_;
  Clock::duration silent_{0};  // for which the beat was seen to stand still
  std::uint64_t stored_ = 0;   // of the spool

  bool filters_ = true;
  bool filterBegun_ = false;
  bool tooMany_ = false;            // rows between the first trap that waits and its twin
  std::uint64_t filterNumber_ = 0;  // once it holds the duty: captured before that, by number of the spool
  std::int32_t filterTime_ = 0;     // and by the clock
  std::int32_t filterFrom_ = 0;     // older rows are none of this run's twins
  std::int32_t readNumber_ = 0;     // rows up to this one are in the filter
  TwinFilter filter_;

  std::string toldHolder_;   // for whom it stands by
  int farApart_ = 0;         // twins in a row whose times differ much
  std::uint64_t alone_ = 0;  // traps that the holder did not get, since that was told
  Clock::time_point toldAlone_;
  Clock::time_point toldDifference_;
  Clock::time_point toldWaiting_;
  Clock::time_point toldFailing_;
};

}  // namespace korvane::receiver
