// What the trap detail dialog does without its widgets: which texts it shows of a trap, where Previous and
// Next lead, the notes that were edited on the way, saving them, and what others change meanwhile.  A trap is
// shown from its row alone; only Ok and Acknowledge ask the store.  Made for one run of the dialog;
// user-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "common/Prompts.h"
#include "intake/ViewWindows.h"
#include "store/ChangeLog.h"
#include "store/ChangeStamp.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "traplist/ShownTraps.h"
#include "traps/Acknowledging.h"
#include "traps/FollowedTrap.h"

namespace korvane::traps {

// Copied from the row, so that it stays when the row goes.  Texts as they were received: what shows them
// makes visible what could mislead.
struct TrapDetail {
  store::TrapKey Key() const { return {SequenceNumber, EventTime}; }

  std::int32_t SequenceNumber = 0;
  std::int32_t EventTime = 0;
  std::int32_t SeverityCode = 0;
  std::string StoredSource;
  std::string SystemName;
  std::string DateTime;
  std::string Source;
  std::string IPAddress;
  std::string Severity;
  std::string Enterprise;
  std::string Generic;
  std::string TrapID;
  bool IsAcknowledged = false;
  bool IsGone = false;  // no longer stored
  std::string Acknowledged;
  std::string VarBinds;
  std::string MoreInformation;
  std::string StoredNotes;
};

TrapDetail DetailOf(const traplist::ShownTraps& list, std::size_t position);

// Two operators wrote notes on one trap, from what both have read.
struct NotesConflict {
  const TrapDetail& Trap;
  std::string_view Theirs;  // stored
  std::string_view Mine;
  store::ChangeStamp TheirStamp;  // as far as it is known
};
enum class NotesChoice { Theirs, Mine, Both };

// Theirs, and below a line what mine add to it: lines with which both begin stand there once.
std::string BothNotes(std::string_view theirs, std::string_view mine);

class TrapDetailForm {
 public:
  // The text that the notes' editor gives back when nobody edits it: an editor has line ends of its own and
  // no room for broken bytes.  Stored notes are replaced only by a text that differs from this one.
  using Unedited = std::function<std::string(std::string_view stored)>;
  // Asks the operator; nothing: neither, for now.  Events may be dealt with meanwhile.
  using AskChoice = std::function<std::optional<NotesChoice>(const NotesConflict&)>;
  // Acknowledges a trap of this system; what comes of it reaches the form like any other change.
  using AcknowledgeTrap =
      std::function<AcknowledgeOutcome(const store::TrapKey& trap, std::string_view ofSystem)>;

  // acknowledge: none where traps are only looked at.
  TrapDetailForm(store::Connection& connection, intake::ViewWindows& windows, Prompts& prompts,
                 Unedited unedited, AskChoice askChoice, AcknowledgeTrap acknowledge = {});

  // The list must hold the position.
  void Show(const traplist::ShownTraps& list, std::size_t position);
  void ListChanged(const traplist::ShownTraps& list) { shown_.Place.ListChanged(list); }

  const TrapDetail& Trap() const { return shown_.Trap; }
  const FollowedTrap& Place() const { return shown_.Place; }

  // What the notes' editor is to hold: what was typed before, else what is stored.
  std::string_view Notes() const;
  // What it holds now.  To be called before another trap is shown, before Ok and before NotesChanged; kept
  // until then.  Nothing while Ok asks.
  void EditNotes(std::string text);

  // Somebody else stored other notes on a trap.  They take the place of those that nobody edits here, and
  // leave what is edited alone.  True: the editor is to show Notes() anew.
  bool NotesChanged(std::int32_t sequenceNumber, std::string_view notes, const store::ChangeStamp& stamp);
  // What is to be said of such notes of the trap that is shown; empty when there is nothing.
  std::string NotesNews(std::int32_t timeZoneBias) const;

  // Traps were acknowledged, made new again, or deleted; other kinds are passed over.  True: the trap that is
  // shown is one of them.
  bool ApplyChange(const store::Change& change, std::int32_t timeZoneBias);

  // The store is in another state: the trap that is shown is gone, whatever has its number now, and notes
  // that were not written can't be.  Traps that are shown later are of the new state, but in a report.
  void StoreReplaced();
  bool Replaced() const { return replaced_; }

  // Writes the notes that were edited, of every trap; one that is no longer stored is passed over.  Where the
  // store holds other notes than those that were seen, it asks which are to be kept, and asks again when
  // these have changed meanwhile as well.  False: some were not written and are kept, since the store refused
  // them, which has been reported, or the operator was not sure; the first of their traps is shown now.
  bool Ok(const traplist::ShownTraps& list);

  bool MayAcknowledge() const { return acknowledge_ && !shown_.Trap.IsAcknowledged && !shown_.Trap.IsGone; }
  // Acknowledges the trap that is shown, wherever the list has it.  Notes on it that were edited are written
  // first, as Ok does: who acknowledges has done with it, and would look for it in vain to write them later.
  // True: it is acknowledged, whoever did it.  False: it is not, which has been reported, or its notes could
  // not be written.
  bool Acknowledge(const traplist::ShownTraps& list);

 private:
  struct Viewed {
    TrapDetail Trap;
    FollowedTrap Place;
  };
  struct Draft {
    Viewed Of;
    std::string Text;
  };
  struct News {
    std::string Notes;
    store::ChangeStamp Stamp;
  };

  enum class Saved { Yes, Refused, Undecided };

  using Drafts = std::map<std::int32_t, Draft>;  // by SequenceNumber

  bool SaveDrafts(Drafts::iterator at, Drafts::iterator end, const traplist::ShownTraps& list);
  Saved Save(Draft& draft, std::optional<store::DatabaseError>& refusal);
  std::optional<NotesChoice> Choose(const Draft& draft, const std::string& stored);
  bool TakeNews();  // where the notes that are shown are not edited

  store::Connection& connection_;
  intake::ViewWindows& windows_;
  Prompts& prompts_;
  Unedited unedited_;
  AskChoice askChoice_;
  AcknowledgeTrap acknowledge_;
  Viewed shown_;
  bool inOk_ = false;
  bool replaced_ = false;  // the store, under the trap that is shown
  bool lostNotes_ = false;
  bool lossTold_ = false;
  bool asking_ = true;  // no conflict was left undecided in this Ok
  Drafts drafts_;
  std::map<std::int32_t, News> news_;  // by SequenceNumber
};

}  // namespace korvane::traps
