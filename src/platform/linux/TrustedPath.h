// Whether a file can be relied on to be what this user or the administrator put there.  Asked before a
// program is started from a folder that several users share.  Any thread; never throws.
#pragma once

#include <filesystem>

namespace korvane::platform {

// True when nobody but root and this process's user can change or exchange the file: it, every folder above
// it and every link on the way belong to one of the two and are closed to other writers.  A sticky folder of
// theirs may be open to others, since what is theirs in it stays.  False also when it can't be told.
bool OnlyTrustedHandsCanChange(const std::filesystem::path& path);

}  // namespace korvane::platform
