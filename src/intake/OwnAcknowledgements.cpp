#include "intake/OwnAcknowledgements.h"

#include <algorithm>

namespace korvane::intake {

void OwnAcknowledgements::Add(const store::Acknowledgement& done) {
  for (const store::AcknowledgedPortion& portion : done.Portions) {
    entries_.push_back({portion.ChangeId, store::SelectionOf(portion.Changed)});
  }
}

bool OwnAcknowledgements::Contains(std::int32_t sequenceNumber) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [sequenceNumber](const Entry& entry) { return entry.Traps.HasNumber(sequenceNumber); });
}

void OwnAcknowledgements::NoteFollowed(std::int32_t changeId) {
  std::erase_if(entries_, [changeId](const Entry& entry) { return entry.ChangeId <= changeId; });
}

void OwnAcknowledgements::Withdraw(const store::TrapSelection& traps) {
  for (Entry& entry : entries_) {
    entry.Traps.Numbers = store::Without(entry.Traps.Numbers, traps.Numbers);
  }
}

}  // namespace korvane::intake
