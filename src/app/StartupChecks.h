// What start-up finds out before any window but the splash exists.  None of these shows anything.
#pragma once

#include <string_view>

#include "platform/Platform.h"

namespace korvane::app {

// True when one of the process's groups has the name of the local administrators' group.  Names are compared
// exactly, not identities: any group of that name counts.  Looks at no more than 501 groups; an answer that
// is not found among them, or can't be had at all, is no.
bool IsUserAdministrator(platform::AccountGroups& groups);

// Brings the running copy's frame window to the front, maximised.  True when all of it succeeded.
bool ActivatePreviousInstance(platform::RunningInstance& instance);

// The word "Debug" anywhere in the arguments, in any letter case.
bool AsksForDebugMode(std::string_view commandLine);

}  // namespace korvane::app
