// Acknowledging single traps from a window: their statements, what lists, counts and the operator are told of
// it.  One road for the rows that are selected in a list and for the trap that a dialog shows.
// User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

#include "traps/TrapsServices.h"

namespace korvane::traps {

// One statement for each number, all in one transaction, which is committed also when one of them fails: that
// one is reported and ends the work.  What was done leaves every window.  ofSystem: the one system whose
// traps they are; empty where there are several.  done: told how many statements have run.  False: at least
// one was refused.
bool AcknowledgeNumbers(TrapsServices& services, std::span<const std::int32_t> numbers,
                        std::string_view ofSystem, const std::function<void(std::size_t done)>& done);

enum class AcknowledgeOutcome {
  Done,  // it is acknowledged now, whoever did it
  Gone,  // the store has it no more
  Refused,
};

AcknowledgeOutcome AcknowledgeOne(TrapsServices& services, std::int32_t number, std::string_view ofSystem);

}  // namespace korvane::traps
