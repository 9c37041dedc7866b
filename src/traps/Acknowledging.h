// Acknowledging single traps from a window: their statements, what lists, counts and the operator are told of
// it.  One road for the rows that are selected in a list and for the trap that a dialog shows.
// User-interface thread only.
#pragma once

#include <span>
#include <string_view>

#include "store/TrapSelection.h"
#include "traps/TrapsServices.h"

namespace korvane::traps {

// One statement for each trap, in portions between which it can be stopped; a statement that fails is
// reported and ends the work.  What was done leaves every window.  ofSystem: the one system whose traps they
// are; empty where there are several.  False: at least one was refused.
bool AcknowledgeRows(TrapsServices& services, std::span<const store::TrapKey> traps,
                     std::string_view ofSystem);

enum class AcknowledgeOutcome {
  Done,  // it is acknowledged now, whoever did it
  Gone,  // the store has it no more
  Refused,
};

AcknowledgeOutcome AcknowledgeOne(TrapsServices& services, const store::TrapKey& trap,
                                  std::string_view ofSystem);

}  // namespace korvane::traps
