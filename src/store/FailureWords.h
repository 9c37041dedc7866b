// What a failure of the database means, for an operator: one sentence part in plain words, where the driver's
// own words name layers, sockets and codes.  Those belong into the details of a box or a tool tip.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "common/Prompts.h"
#include "store/DatabaseError.h"

namespace korvane::store {

// Begins in lower case and ends without a full stop, "the database server does not answer"; by the SQLSTATE,
// and by the engines' codes where a driver gives the same SQLSTATE to everything.
std::string FailureInWords(const DatabaseError& error);
// The same with the driver's words on one line, for where there is no room for details.
std::string FailureInAllWords(const std::exception& error);

// Of a change it is said what became of it; of one among several the caller knows that.
enum class Attempt { Reading, Changing, OneOfSeveral };
// Shows what was not done ("The filter was not removed."), why in plain words, and what stands below in lines
// of its own; what the driver said is in the details of the box.  what: whole sentences.
void ShowFailure(Prompts& prompts, std::string_view what, const std::exception& error, Attempt attempt,
                 std::string_view below = {});

// Line breaks, tabs and runs of blanks of a driver's text as one blank each.
std::string OnOneLine(std::string_view text);

}  // namespace korvane::store
