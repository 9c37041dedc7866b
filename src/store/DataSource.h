// Where the trap store is and how it is reached, in the words that the driver manager is given.  Any thread;
// never throws, but for memory.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace korvane::store {

// Where korvane-setup writes the data source.  It names the library that is loaded for the store, so it
// counts only when nobody but root and this user can change it; the folder of the registry file is open to
// others.  On Windows the driver manager's own data sources are the administrator's.
#ifdef _WIN32
inline constexpr const char* kDataSourceFile = "";
#else
inline constexpr const char* kDataSourceFile = "/etc/korvane-store/odbc.ini";
#endif

// The begin of a connection string.  "DSN=" and the name leave the search to the driver manager: when the
// environment names data sources (ODBCINI, ODBCSYSINI), or the file has no section of this name.  Otherwise
// the values of that section, but those that also stand in asked (";KEY=VALUE..."), which come after them.
// The driver manager is not told of the file: it passes over one that its user may not write.
std::string ConnectionWords(std::string_view name, std::string_view asked,
                            const std::filesystem::path& file = kDataSourceFile);

// A value that may hold anything, as it stands in a connection string.
std::string Braced(std::string_view value);

}  // namespace korvane::store
