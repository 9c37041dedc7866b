// The windows that are open, as one window needs the others.  The frame window implements it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "store/ChangeLog.h"
#include "store/ChangeStamp.h"
#include "store/TrapSelection.h"

namespace korvane::intake {

struct System;

class ViewWindows {
 public:
  virtual ~ViewWindows() = default;
  // A per-system Traps window, or raises the open one.
  virtual void OpenSystemTraps(const System& system) = 0;
  // Traps were acknowledged in the store, or are gone from it: they leave every Traps window and the Systems
  // window's counts.
  virtual void TrapsAcknowledged(std::span<const store::TrapSelection> traps) = 0;
  // The notes on a trap were stored: every list that holds the trap shows them.
  virtual void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) = 0;
  // Counts and lists once more, after what hides, grades or names traps was changed.
  virtual void ReloadTraps() = 0;
  // Somebody else stored them: an open dialog is told as well.
  virtual void NotesChanged(std::int32_t sequenceNumber, std::string_view notes,
                            const store::ChangeStamp& stamp) = 0;
  // What else follows a change, made here or elsewhere: reports, and dialogs that are open on the same thing.
  // Live lists and counts have it already.
  virtual void Changed(const store::Change& change) = 0;
  // The store is in another state: what dialogs and reports know of a trap's number is void.
  virtual void StoreReplaced() = 0;
};

}  // namespace korvane::intake
