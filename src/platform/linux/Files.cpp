#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/FileDescriptor.h"

namespace korvane::platform {
namespace {

constexpr mode_t kRights = 0777;

// A group that this user can't give the file to would hand its rights to a group of strangers: then the
// group gets what everyone has.
bool TakeOverRights(int file, const struct stat& old) {
  mode_t mode = old.st_mode & kRights;
  if (fchown(file, old.st_uid, old.st_gid) != 0 && fchown(file, static_cast<uid_t>(-1), old.st_gid) != 0) {
    mode = (mode & ~mode_t{070}) | ((mode & 07) << 3);
  }
  return fchmod(file, mode) == 0;
}

// Some file systems can't sync, and that is no reason to give up what was written.
bool Synced(int result) {
  return result == 0 || errno == EINVAL || errno == ENOTSUP;
}

}  // namespace

std::FILE* CreateFileLike(const std::filesystem::path& path, const std::filesystem::path& target) {
  struct stat old {};
  const bool replaces = lstat(target.c_str(), &old) == 0 && S_ISREG(old.st_mode);
  const int file =
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, replaces ? 0600 : 0666);
  if (file < 0) {
    return nullptr;
  }
  std::FILE* stream = replaces && !TakeOverRights(file, old) ? nullptr : fdopen(file, "wb");
  if (stream == nullptr) {
    const int reason = errno;
    unlink(path.c_str());
    close(file);
    errno = reason;
  }
  return stream;
}

bool SyncFile(std::FILE* file) {
  return Synced(fsync(fileno(file)));
}

bool SyncFolder(const std::filesystem::path& folder) {
  const FileDescriptor opened(
      open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return opened.IsOpen() && Synced(fsync(opened.Number()));
}

}  // namespace korvane::platform
