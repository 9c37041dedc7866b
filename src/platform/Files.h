// What replacing a file asks of the machine beyond the standard library.  linux/ implements it.
// Safe from any thread; never throws, errno says why something failed.
#pragma once

#include <cstdio>
#include <filesystem>

namespace korvane::platform {

// Creates a file for writing, in binary.  It must not exist yet, not even as a link.  Where target is a
// regular file, whoever may use that one may use the new one and nobody else, from its first moment on;
// otherwise it gets the rights of any new file.  Null: not created.
std::FILE* CreateFileLike(const std::filesystem::path& path, const std::filesystem::path& target);

// On disk when the call returns: a file's flushed contents, the names in a folder.
bool SyncFile(std::FILE* file);
bool SyncFolder(const std::filesystem::path& folder);

}  // namespace korvane::platform
