// What the leak sanitizer needs to know of the database drivers.
#pragma once

#include <string>

namespace korvane::test {

// Keeps a driver in memory to the end of the process, so that a report names it; nothing without a sanitizer.
void KeepDriverLoaded(const std::string& library);

}  // namespace korvane::test
