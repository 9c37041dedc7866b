// What the trap detail dialog does without its widgets: which texts it shows of a trap, where Previous and
// Next lead, the notes that were edited on the way, and saving them.  A trap is shown from its row alone;
// only Ok asks the store.  Made for one run of the dialog; user-interface thread only.
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
#include "store/Connection.h"
#include "traplist/ShownTraps.h"
#include "traps/FollowedTrap.h"

namespace korvane::traps {

// Copied from the row, so that it stays when the row goes.  Texts as they were received: what shows them
// makes visible what could mislead.
struct TrapDetail {
  std::int32_t SequenceNumber = 0;
  std::int32_t SeverityCode = 0;
  std::string DateTime;
  std::string Source;
  std::string IPAddress;
  std::string Severity;
  std::string Enterprise;
  std::string Generic;
  std::string TrapID;
  std::string VarBinds;
  std::string MoreInformation;
  std::string StoredNotes;
};

TrapDetail DetailOf(const traplist::ShownTraps& list, std::size_t position);

class TrapDetailForm {
 public:
  // The text that the notes' editor gives back when nobody edits it: an editor has line ends of its own and
  // no room for broken bytes.  Stored notes are replaced only by a text that differs from this one.
  using Unedited = std::function<std::string(std::string_view stored)>;

  TrapDetailForm(store::Connection& connection, intake::ViewWindows& windows, Prompts& prompts,
                 Unedited unedited);

  // The list must hold the position.
  void Show(const traplist::ShownTraps& list, std::size_t position);
  void ListChanged(const traplist::ShownTraps& list) { shown_.Place.ListChanged(list); }

  const TrapDetail& Trap() const { return shown_.Trap; }
  const FollowedTrap& Place() const { return shown_.Place; }

  // What the notes' editor is to hold: what was typed before, else what is stored.
  std::string_view Notes() const;
  // What it holds now.  To be called before another trap is shown and before Ok; kept until then.
  void EditNotes(std::string text);

  // Writes the notes that were edited, of every trap; one that is no longer stored is passed over.  False:
  // some were not written and are kept; the first of their traps is the one shown now, and why has been
  // reported.  Either the store refused them, or it holds other notes than those that were seen: the text
  // then is both of them, for the operator to settle, and the next Ok writes it.
  bool Ok(const traplist::ShownTraps& list);

 private:
  struct Viewed {
    TrapDetail Trap;
    FollowedTrap Place;
  };
  struct Draft {
    Viewed Of;
    std::string Text;
  };

  struct Refusal {
    std::string Text;
    PromptIcon Icon = PromptIcon::Critical;
    std::optional<std::string> Stored;  // the notes that somebody else has written
  };

  std::optional<Refusal> Save(std::int32_t sequenceNumber, const Draft& draft);

  store::Connection& connection_;
  intake::ViewWindows& windows_;
  Prompts& prompts_;
  Unedited unedited_;
  Viewed shown_;
  std::map<std::int32_t, Draft> drafts_;  // by SequenceNumber
};

}  // namespace korvane::traps
