// Writing an operator's notes on a stored trap, unless somebody else has written others meanwhile.  What is
// written is noted in the change log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/Connection.h"
#include "store/TrapSelection.h"

namespace korvane::store {

enum class NotesOutcome {
  Written,           // the store holds the text now
  NoSuchTrap,        // the trap is no longer stored, or another one under its number
  ChangedMeanwhile,  // nothing was written
};

struct NotesResult {
  NotesOutcome Outcome;
  std::string Stored;  // ChangedMeanwhile: what the store holds
};

// expected: the notes that the writer has seen.  Compared byte by byte, since an engine may take texts for
// equal that are not, and in the transaction that writes, so that no change comes between.  Throws
// DatabaseError; nothing is written then.  Not inside a transaction.
NotesResult WriteNotes(Connection& connection, const TrapKey& trap, std::string_view expected,
                       std::string_view notes);

}  // namespace korvane::store
