#include "platform/Files.h"

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "platform/windows/SystemHandle.h"

namespace korvane::platform {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

void SetErrno(DWORD error) {
  const std::error_condition condition =
      std::system_category().default_error_condition(static_cast<int>(error));
  errno = condition.category() == std::generic_category() ? condition.value() : EIO;
}

// Null with errno.
SystemHandle Opened(const std::filesystem::path& path, DWORD rights, DWORD how,
                    SECURITY_ATTRIBUTES* security = nullptr, DWORD flags = FILE_FLAG_OPEN_REPARSE_POINT) {
  SystemHandle file(
      CreateFileW(path.c_str(), rights, kShareAll, security, how, FILE_ATTRIBUTE_NORMAL | flags, nullptr));
  if (file.get() == INVALID_HANDLE_VALUE) {
    SetErrno(GetLastError());
    file.reset();
  }
  return file;
}

// What OpenSharedToAppend promises to refuse; null with errno.
SystemHandle Plain(SystemHandle file) {
  BY_HANDLE_FILE_INFORMATION found{};
  constexpr DWORD kRefused = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
  if (file &&
      (GetFileType(file.get()) != FILE_TYPE_DISK || GetFileInformationByHandle(file.get(), &found) == 0 ||
       (found.dwFileAttributes & kRefused) != 0 || found.nNumberOfLinks != 1)) {
    errno = ENOTSUP;
    return nullptr;
  }
  return file;
}

// The stream takes the handle over.
std::FILE* Stream(SystemHandle file, int flags, const char* mode) {
  if (!file) {
    return nullptr;
  }
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(file.get()), flags | _O_BINARY);
  if (descriptor < 0) {
    return nullptr;
  }
  static_cast<void>(file.release());
  std::FILE* const stream = _fdopen(descriptor, mode);
  if (stream == nullptr) {
    _close(descriptor);
  }
  return stream;
}

// Who may do what with the file; empty where it is no regular one.
std::vector<std::byte> AccessListOf(const std::filesystem::path& path) {
  constexpr DWORD kRefused = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & kRefused) != 0) {
    return {};
  }
  DWORD bytes = 0;
  GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &bytes);
  std::vector<std::byte> list(bytes);
  if (bytes == 0 ||
      GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, list.data(), bytes, &bytes) == 0) {
    list.clear();
  }
  return list;
}

}  // namespace

// The list of who may use the file names users and groups alike, and every user may write one: no group is
// lost here.
std::FILE* CreateFileLike(const std::filesystem::path& path, const std::filesystem::path& target, LostGroup) {
  std::vector<std::byte> list = AccessListOf(target);
  SECURITY_ATTRIBUTES like{
      .nLength = sizeof like, .lpSecurityDescriptor = list.data(), .bInheritHandle = FALSE};
  return Stream(Opened(path, GENERIC_WRITE, CREATE_NEW, list.empty() ? nullptr : &like), 0, "wb");
}

std::FILE* OpenSharedToAppend(const std::filesystem::path& path) {
  return Stream(Plain(Opened(path, FILE_APPEND_DATA | SYNCHRONIZE, OPEN_ALWAYS)), _O_APPEND, "ab");
}

std::FILE* OpenSharedToRewrite(const std::filesystem::path& path) {
  SystemHandle file = Plain(Opened(path, GENERIC_WRITE, OPEN_EXISTING));
  // Emptied once it is known what it is.
  if (file && SetEndOfFile(file.get()) == 0) {
    SetErrno(GetLastError());
    return nullptr;
  }
  return Stream(std::move(file), 0, "wb");
}

std::optional<FileIdentity> IdentityOfFile(const std::filesystem::path& path) {
  const SystemHandle file =
      Opened(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, nullptr, FILE_FLAG_BACKUP_SEMANTICS);
  BY_HANDLE_FILE_INFORMATION found{};
  if (!file || GetFileInformationByHandle(file.get(), &found) == 0) {
    return std::nullopt;
  }
  return FileIdentity{.Volume = found.dwVolumeSerialNumber,
                      .Number = std::uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow};
}

bool SyncFile(std::FILE* file) {
  return _commit(_fileno(file)) == 0;
}

// The names in a folder are written by the file system's own log.
bool SyncFolder(const std::filesystem::path& folder) {
  std::error_code error;
  return std::filesystem::is_directory(folder.empty() ? "." : folder, error);
}

}  // namespace korvane::platform
