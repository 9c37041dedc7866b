// Whether a file can be relied on to be what this user or an administrator put there.  Asked before a program
// is started or a library loaded, and before a file that names one is read.  linux/ and windows/ implement
// it. Any thread; never throws.
#pragma once

#include <filesystem>

namespace korvane::platform {

// True when nobody but administrators, the system and this process's user can change or exchange the file. On
// Linux: it, every folder above it and every link on the way belong to root or the user and are closed to
// other writers; a sticky folder of theirs may be open to others, since what is theirs in it stays.  On
// Windows: by the access lists and owners of the file and of every folder above it; making further files in a
// folder exchanges none.  False also when it can't be told.
bool OnlyTrustedHandsCanChange(const std::filesystem::path& path);

}  // namespace korvane::platform
