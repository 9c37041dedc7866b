// What this console has acknowledged and the change log has not brought back yet.  A trap may be acknowledged
// in the store before it is delivered, alone or with its whole system: its delivery must not bring it back.
// User-interface thread only.
#pragma once

#include <cstdint>
#include <deque>

#include "store/Acknowledge.h"
#include "store/TrapSelection.h"

namespace korvane::intake {

class OwnAcknowledgements {
 public:
  void Add(const store::Acknowledgement& done);
  bool Contains(std::int32_t sequenceNumber) const;
  // The log was followed up to this entry: what was read before it has been delivered.
  void NoteFollowed(std::int32_t changeId);
  // These are new again.
  void Withdraw(const store::TrapSelection& traps);

 private:
  struct Entry {
    std::int32_t ChangeId;
    store::TrapSelection Traps;
  };
  std::deque<Entry> entries_;  // ascending
};

}  // namespace korvane::intake
