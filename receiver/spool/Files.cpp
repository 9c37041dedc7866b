#include "receiver/spool/Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

namespace korvane::receiver {

FileDescriptor OpenFile(const std::filesystem::path& file, int flags) {
  return FileDescriptor(open(file.c_str(), flags | O_CLOEXEC, 0640));
}

FileDescriptor OpenFileOrThrow(const std::filesystem::path& file, int flags) {
  FileDescriptor handle = OpenFile(file, flags);
  if (!handle.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), file.string());
  }
  return handle;
}

int WriteAt(const FileDescriptor& file, std::string_view bytes, std::uint64_t offset) {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(file.Number(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return written < 0 ? errno : EIO;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return 0;
}

int SyncData(const FileDescriptor& file) {
  return fdatasync(file.Number()) == 0 ? 0 : errno;
}

std::ptrdiff_t ReadAt(const FileDescriptor& file, char* bytes, std::size_t count, std::uint64_t offset) {
  for (;;) {
    const ssize_t got = pread(file.Number(), bytes, count, static_cast<off_t>(offset));
    if (got >= 0 || errno != EINTR) {
      return got;
    }
  }
}

std::string ReadWholeFile(const std::filesystem::path& file) {
  const FileDescriptor handle = OpenFileOrThrow(file, O_RDONLY);
  std::string content;
  std::array<char, 65536> part{};
  for (;;) {
    const std::ptrdiff_t got = ReadAt(handle, part.data(), part.size(), content.size());
    if (got < 0) {
      throw std::system_error(errno, std::generic_category(), file.string());
    }
    if (got == 0) {
      return content;
    }
    content.append(part.data(), static_cast<std::size_t>(got));
  }
}

void SyncFolder(const std::filesystem::path& folder) {
  const FileDescriptor handle = OpenFileOrThrow(folder, O_RDONLY | O_DIRECTORY);
  if (fsync(handle.Number()) != 0) {
    throw std::system_error(errno, std::generic_category(), folder.string());
  }
}

void ReplaceFile(const std::filesystem::path& file, std::string_view content) {
  const std::filesystem::path fresh = file.string() + ".new";
  const FileDescriptor handle = OpenFileOrThrow(fresh, O_WRONLY | O_CREAT | O_TRUNC);
  if (const int error = WriteAt(handle, content, 0); error != 0) {
    throw std::system_error(error, std::generic_category(), fresh.string());
  }
  if (fsync(handle.Number()) != 0) {
    throw std::system_error(errno, std::generic_category(), fresh.string());
  }
  std::filesystem::rename(fresh, file);
  SyncFolder(file.parent_path());
}

}  // namespace korvane::receiver
