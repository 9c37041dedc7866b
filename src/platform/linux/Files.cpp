#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/FileRights.h"

namespace korvane::platform {
namespace {

// The file, or -1 with errno.  Nothing waits: a pipe without a reader is refused like one that has one.
int OpenPlain(const std::filesystem::path& path, int flags) {
  const int file = open(path.c_str(), flags | O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  struct stat status {};
  if (file >= 0 && (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1)) {
    close(file);
    errno = ENOTSUP;
    return -1;
  }
  return file;
}

std::FILE* Stream(int file, const char* mode) {
  std::FILE* stream = file < 0 ? nullptr : fdopen(file, mode);
  if (stream == nullptr && file >= 0) {
    const int reason = errno;
    close(file);
    errno = reason;
  }
  return stream;
}

// Some file systems can't sync, and that is no reason to give up what was written.
bool Synced(int result) {
  return result == 0 || errno == EINVAL || errno == ENOTSUP;
}

}  // namespace

bool TakeOverRights(int file, const struct stat& old, LostGroup lostGroup) {
  mode_t mode = old.st_mode & 0777;
  if (fchown(file, old.st_uid, old.st_gid) != 0 && fchown(file, static_cast<uid_t>(-1), old.st_gid) != 0) {
    const mode_t everyones = (mode & ~mode_t{070}) | ((mode & 07) << 3);
    if (lostGroup == LostGroup::Refuses && everyones != mode) {
      errno = EPERM;
      return false;
    }
    mode = everyones;
  }
  return fchmod(file, mode) == 0;
}

std::FILE* CreateFileLike(const std::filesystem::path& path, const std::filesystem::path& target,
                          LostGroup lostGroup) {
  struct stat old {};
  const bool replaces = lstat(target.c_str(), &old) == 0 && S_ISREG(old.st_mode);
  const int file =
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, replaces ? 0600 : 0666);
  if (file < 0) {
    return nullptr;
  }
  std::FILE* stream = replaces && !TakeOverRights(file, old, lostGroup) ? nullptr : fdopen(file, "wb");
  if (stream == nullptr) {
    const int reason = errno;
    unlink(path.c_str());
    close(file);
    errno = reason;
  }
  return stream;
}

std::FILE* OpenSharedToAppend(const std::filesystem::path& path) {
  constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  // Creating comes second and apart: in a sticky folder the kernel refuses to open another user's file for
  // whoever asks to have it created (fs.protected_regular).
  int file = OpenPlain(path, O_APPEND);
  if (file < 0 && errno == ENOENT) {
    file = open(path.c_str(), kNew | O_APPEND, 0660);
    if (file < 0 && errno == EEXIST) {
      file = OpenPlain(path, O_APPEND);  // another process was faster
    }
  }
  return Stream(file, "ab");
}

std::FILE* OpenSharedToRewrite(const std::filesystem::path& path) {
  // Emptied once it is known what it is.
  const int file = OpenPlain(path, 0);
  if (file >= 0 && ftruncate(file, 0) != 0) {
    const int reason = errno;
    close(file);
    errno = reason;
    return nullptr;
  }
  return Stream(file, "wb");
}

std::optional<FileIdentity> IdentityOfFile(const std::filesystem::path& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) {
    return std::nullopt;
  }
  return FileIdentity{.Volume = found.st_dev, .Number = found.st_ino};
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
