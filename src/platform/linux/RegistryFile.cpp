#include "platform/linux/RegistryFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/Files.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/FileRights.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/RegistryText.h"

namespace korvane::platform {
namespace {

// The registry's access rights as far as a file can tell them apart.
constexpr std::uint32_t kQueryValue = 0x01;
constexpr std::uint32_t kSetValue = 0x02;
constexpr std::uint32_t kReadRights = kQueryValue | 0x08 | 0x10;  // enumerate, notify
constexpr std::uint32_t kWriteRights = kSetValue | 0x04 | 0x20;   // create subkey, create link
constexpr std::size_t kLargestFile = 16U * 1024 * 1024;

std::string_view HiveName(RegistryHive hive) {
  switch (hive) {
    case RegistryHive::LocalMachine:
      break;
  }
  return "HKEY_LOCAL_MACHINE";
}

std::string FullPath(RegistryHive hive, std::string_view keyPath) {
  return std::string(HiveName(hive)).append("\\").append(keyPath);
}

FileDescriptor Open(const std::string& path, int flags, mode_t mode = 0) {
  return FileDescriptor(open(path.c_str(), flags | O_CLOEXEC, mode));
}

// The file that the path leads to; nothing when there is none.  The folder of a registry is open to others: a
// link that neither root nor this user made there may lead to anything, so it is not followed.
std::optional<std::string> FileOf(const std::string& path) {
  const FileDescriptor entry = Open(path, O_PATH | O_NOFOLLOW);
  struct stat status {};
  if (!entry.IsOpen() || fstat(entry.Number(), &status) != 0) {
    return std::nullopt;
  }
  std::filesystem::path file = path;
  std::error_code error;
  if (S_ISLNK(status.st_mode)) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlinkat(entry.Number(), "", target.data(), target.size());
    if ((status.st_uid != 0 && status.st_uid != geteuid()) || length <= 0) {
      return std::nullopt;
    }
    file = file.parent_path() / std::string_view(target.data(), static_cast<std::size_t>(length));
    file = std::filesystem::canonical(file, error);
  } else {
    file = std::filesystem::absolute(file, error);
  }
  return error ? std::nullopt : std::optional(file.string());
}

bool MayUse(const std::string& path, std::uint32_t accessMask) {
  const bool reads = (accessMask & kReadRights) != 0;
  const bool writes = (accessMask & kWriteRights) != 0;
  const int flags = reads && writes ? O_RDWR : (writes ? O_WRONLY : O_RDONLY);
  return Open(path, flags | O_NONBLOCK | O_NOFOLLOW).IsOpen();
}

std::optional<std::string> ReadAll(const FileDescriptor& file) {
  std::string bytes;
  std::array<char, 16384> block{};
  for (;;) {
    const ssize_t got = read(file.Number(), block.data(), block.size());
    if (got == 0) {
      return bytes;
    }
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0 || bytes.size() + static_cast<std::size_t>(got) > kLargestFile) {
      return std::nullopt;
    }
    bytes.append(block.data(), static_cast<std::size_t>(got));
  }
}

std::optional<RegistryText> ReadRegistry(const FileDescriptor& file) {
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Number(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  const std::optional<std::string> bytes = ReadAll(file);
  return bytes ? RegistryText::Parse(*bytes) : std::nullopt;
}

// The lock of the file's writers; not open when it was not to be had in time.
FileDescriptor LockWriters(const std::string& path, const struct stat& registry, int waitMilliseconds) {
  const std::string lockPath = path + ".lock";
  FileDescriptor lock = Open(lockPath, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (lock.IsOpen()) {
    TakeOverRights(lock.Number(), registry, LostGroup::Refuses);
  } else {
    lock = Open(lockPath, O_RDWR | O_NOFOLLOW);
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMilliseconds);
  while (lock.IsOpen() && flock(lock.Number(), LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= deadline) {
      lock.Close();
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return lock;
}

// Under the writers' lock only: the name of the new file is fixed, so that a crash leaves one at most.
bool Replace(const std::string& path, std::string_view text) {
  const std::string newPath = path + ".new";
  unlink(newPath.c_str());
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      CreateFileLike(newPath, path, LostGroup::Refuses), std::fclose);
  if (file == nullptr) {
    return false;
  }
  if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() || std::fflush(file.get()) != 0 ||
      !SyncFile(file.get()) || rename(newPath.c_str(), path.c_str()) != 0) {
    unlink(newPath.c_str());
    return false;
  }
  return SyncFolder(std::filesystem::path(path).parent_path());
}

}  // namespace

RegistryFile::RegistryFile(std::string path, int lockWaitMilliseconds)
    : path_(std::move(path)), lockWaitMilliseconds_(lockWaitMilliseconds) {}

std::optional<RegistryData> RegistryFile::QueryValue(RegistryHive hive, std::string_view keyPath,
                                                     std::string_view valueName, std::uint32_t accessMask,
                                                     std::size_t maxBytes) {
  const std::optional<std::string> path = FileOf(path_);
  if ((accessMask & kQueryValue) == 0 || !path || !MayUse(*path, accessMask)) {
    return std::nullopt;
  }
  const std::optional<RegistryText> registry = ReadRegistry(Open(*path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW));
  if (!registry) {
    return std::nullopt;
  }
  std::optional<RegistryData> data = registry->Value(FullPath(hive, keyPath), valueName);
  if (data && data->Bytes.size() > maxBytes) {
    data.reset();
  }
  return data;
}

bool RegistryFile::SetDword(RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                            std::uint32_t value, std::uint32_t accessMask) {
  // The file itself, not a link to it, is what is replaced.
  const std::optional<std::string> found = FileOf(path_);
  struct stat old {};
  if ((accessMask & kSetValue) == 0 || !found || lstat(found->c_str(), &old) != 0 || !S_ISREG(old.st_mode) ||
      !MayUse(*found, accessMask)) {
    return false;
  }
  const std::string& path = *found;
  const FileDescriptor lock = LockWriters(path, old, lockWaitMilliseconds_);
  if (!lock.IsOpen()) {
    return false;
  }
  const std::optional<RegistryText> registry = ReadRegistry(Open(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW));
  const std::optional<std::string> text =
      registry ? registry->WithDword(FullPath(hive, keyPath), valueName, value) : std::nullopt;
  return text && Replace(path, *text);
}

std::string DefaultRegistryPath() {
  const char* named = std::getenv("KORVANE_REGISTRY");
  return named != nullptr && *named != '\0' ? named : "/etc/korvane/registry.reg";
}

std::unique_ptr<RegistryStore> MakeRegistryFile(std::string path, int lockWaitMilliseconds) {
  return std::make_unique<RegistryFile>(std::move(path), lockWaitMilliseconds);
}

}  // namespace korvane::platform
