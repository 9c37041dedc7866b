// What a failure of the database means, for an operator: one sentence part in plain words, where the driver's
// own words name layers, sockets and codes.  Those belong into the details of a box or a tool tip.
#pragma once

#include <string>
#include <string_view>

#include "store/DatabaseError.h"

namespace korvane::store {

// Begins in lower case and ends without a full stop, "the database server does not answer"; by the SQLSTATE,
// and by the engines' codes where a driver gives the same SQLSTATE to everything.
std::string FailureInWords(const DatabaseError& error);

// Line breaks, tabs and runs of blanks of a driver's text as one blank each.
std::string OnOneLine(std::string_view text);

}  // namespace korvane::store
