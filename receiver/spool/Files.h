// The few file operations the receiver needs, made whole: a short write is continued, an interrupted call
// repeated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/linux/FileDescriptor.h"

namespace korvane::receiver {

using platform::FileDescriptor;

// flags as of open(2), with O_CLOEXEC; a new file is readable by its owner and group.  Not open, with errno,
// when it can't be opened.
FileDescriptor OpenFile(const std::filesystem::path& file, int flags);

// Throws std::system_error.
FileDescriptor OpenFileOrThrow(const std::filesystem::path& file, int flags);

// 0, or the errno of the failure; what was written before it is undetermined.
int WriteAt(const FileDescriptor& file, std::string_view bytes, std::uint64_t offset);

// Makes the content last.  0, or the errno of the failure.
int SyncData(const FileDescriptor& file);

// The number of bytes read, 0 at the end; negative with errno.
std::ptrdiff_t ReadAt(const FileDescriptor& file, char* bytes, std::size_t count, std::uint64_t offset);

// Throws std::system_error.
std::string ReadWholeFile(const std::filesystem::path& file);

// Replaces a file by another content, so that a crash leaves the old or the new one.  Throws
// std::system_error.
void ReplaceFile(const std::filesystem::path& file, std::string_view content);

// Makes a change of the folder's entries last.  Throws std::system_error.
void SyncFolder(const std::filesystem::path& folder);

}  // namespace korvane::receiver
