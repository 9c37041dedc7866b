// Who of the receivers that get the same traps stores them, as the store has it: a row of Receiver_Duty for
// each group.  A transaction that adds traps begins with a claim, a change of that row on a condition: so the
// transactions of a group come one after the other, on every engine, and whoever has lost the duty is fenced
// off by the store, whatever its clock says and however long it stood still.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "store/Connection.h"
#include "store/DatabaseError.h"

namespace korvane::receiver {

struct DutyRow {
  std::string Holder;  // a spool's identity; empty: handed over, nobody has it
  std::string Machine;
  std::int32_t Term = 0;           // one more with each holder
  std::int32_t Beat = 0;           // moves with whatever the holder does
  std::int32_t Additions = 0;      // transactions in which anybody had to look at what the group has stored
  std::int32_t StoredThrough = 0;  // UTC seconds, of the holder's clock: what it captured before is stored
  std::int32_t StoredNumber = 0;   // no trap of the group has a larger SequenceNumber
};

// What a transaction wants of the row, and what it leaves there.
struct DutyClaim {
  std::string Group;
  std::string Holder;  // empty: whoever has it
  std::int32_t Term = 0;
  std::optional<std::int32_t> Additions;  // as they were last seen; then there is one more
  std::optional<std::int32_t> Through;    // the new StoredThrough
};

// The row was not as the claim wants it; nothing was changed.
class DutyLost : public store::DatabaseError {
 public:
  explicit DutyLost(const std::string& statement);
};

// The first statement of a transaction: changes one row, or none when the claim does not hold.
std::string ClaimStatement(const DutyClaim& claim);
// The last one.  newest: an expression for the largest SequenceNumber there is.
std::string NoteStatement(const DutyClaim& claim, std::string_view newest);

// For the claim of a transaction on a server: whoever stands still in the midst of it would keep the row
// locked, and everybody from taking over.  The server takes the transaction back instead.
void LimitStandstill(store::Connection& connection);

// A transaction without traps.  Throws DutyLost.
void RenewDuty(store::Connection& connection, const DutyClaim& claim);

// Nothing: the group has no row yet.
std::optional<DutyRow> ReadDuty(store::Connection& connection, std::string_view group);
// Of several who try it at once one succeeds: seen is the row as it was read last, nothing: to be made.
bool TakeDuty(store::Connection& connection, std::string_view group, const std::optional<DutyRow>& seen,
              std::string_view holder, std::string_view machine);
// Nobody has it then.  Nothing happens when it was lost meanwhile.
void LeaveDuty(store::Connection& connection, std::string_view group, std::string_view holder,
               std::int32_t term);

}  // namespace korvane::receiver
