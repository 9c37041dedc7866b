// The one road on which a change of the store reaches lists, counts and dialogs, made here or elsewhere: the
// windows report what their operator did, the intake hands over what the change log says.  Also takes an
// acknowledgement back.  User-interface thread only.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "common/Desk.h"
#include "intake/Intake.h"
#include "intake/LoadBounds.h"
#include "intake/RetryPause.h"
#include "intake/StoreNews.h"
#include "intake/Systems.h"
#include "intake/ViewWindows.h"
#include "params/CategoryInformation.h"
#include "params/TrapFilters.h"
#include "store/Acknowledge.h"
#include "store/ChangeLog.h"
#include "store/Connection.h"
#include "store/TrapNames.h"

namespace korvane::intake {

class StoreChanges : public NewsTaker {
 public:
  // All of it outlives this object.
  StoreChanges(Desk& desk, store::Connection& connection, store::TrapNames& names, Systems& systems,
               LoadBounds& bounds, params::TrapFilters& filters, params::CategoryInformation& categories);

  // Before anything is changed; the windows are made after this object.
  void Attach(ViewWindows& windows, SystemCounts& counts, TrapsWindows& traps);

  // The operator acknowledged traps here: they leave every list and count, and for a while it can be taken
  // back.  ofSystem: the one system whose traps they are; empty where there are several.
  void Acknowledged(const store::Acknowledgement& done, std::string_view ofSystem);

  // In a tick, between two traps: applies them, after those that are left from an earlier call.  Throws when
  // one can't be applied; it is left for the next call.  One that fails again is passed over, and everything
  // is loaded anew instead.
  void TakeNews(StoreNews news) override;
  // At the end of a tick: what filters, categories and names of traps ask for, all of it by one load.  What
  // can't be read is tried again after a growing pause.
  void EndTick() override;
  void StoreReplaced() override;

 private:
  void Apply(const store::Change& change);
  bool RulesAreRead();
  using Done = std::shared_ptr<const store::Acknowledgement>;
  void OfferUndo(const std::string& text, const Done& done, const std::string& ofSystem);
  void TakeBack(const Done& done, const std::string& ofSystem);
  // Reads what is unacknowledged among them and has everybody take it like a trap that arrives.
  void Readmit(const store::TrapSelection& traps);
  void ReadmitOrReload(const store::TrapSelection& traps);
  void Admit(store::IncomingTrap& trap);
  void ReadNotes(const store::Change& change);
  void TellOwn(store::ChangeKind kind, std::int32_t changeId, const store::TrapSelection& traps);
  void TellOfOthers(const store::Change& change);

  Desk& desk_;
  store::Connection& connection_;
  store::TrapNames& names_;
  Systems& systems_;
  LoadBounds& bounds_;
  params::TrapFilters& filters_;
  params::CategoryInformation& categories_;
  ViewWindows* windows_ = nullptr;
  SystemCounts* counts_ = nullptr;
  TrapsWindows* traps_ = nullptr;
  std::deque<store::Change> left_;
  bool failed_ = false;   // the first of them, once
  store::Change told_{};  // of others, the last that the strip has told
  std::int64_t toldUntil_ = 0;
  RetryPause reread_;
  bool rereadFilters_ = false;
  bool rereadCategories_ = false;
  bool reload_ = false;  // names, counts and lists
};

}  // namespace korvane::intake
