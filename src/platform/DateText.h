// A date and time as the user's locale writes them, in its general format.  Where the process has chosen no
// locale (that of the C language is none) there is nothing to ask for.
#pragma once

#include <ctime>
#include <string>

namespace korvane::platform {

// UTF-8.  The parts must be those of a real date, its weekday included.  User-interface thread only.
std::string LocaleDateTime(const std::tm& parts);

}  // namespace korvane::platform
