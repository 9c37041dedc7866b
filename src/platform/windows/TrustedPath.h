// Whether a file can be relied on to be what this user or an administrator put there.  Asked before a program
// is started or a library loaded, and before a file that names one is read.  Any thread; never throws.
#pragma once

#include <filesystem>

namespace korvane::platform {

// True when nobody but the administrators, the system and this process's user can change the file or exchange
// it: by the access lists of the file and of every folder above it.  Making further files in a folder
// exchanges none.  False also when it can't be told.
bool OnlyTrustedHandsCanChange(const std::filesystem::path& path);

}  // namespace korvane::platform
