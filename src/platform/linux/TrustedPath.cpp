#include "platform/TrustedPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

namespace korvane::platform {
namespace {

constexpr int kMostLinks = 40;  // as many as the kernel follows

// The group's bits hold the limit of an access list too.
bool ClosedToOthers(const struct stat& status) {
  const bool open = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  return !open || (S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0);
}

bool Trusted(const std::filesystem::path& absolute, int& links) {
  std::filesystem::path walked;
  for (const std::filesystem::path& part : absolute) {
    walked /= part;
    struct stat status {};
    if (lstat(walked.c_str(), &status) != 0 || (status.st_uid != 0 && status.st_uid != geteuid())) {
      return false;
    }
    if (!S_ISLNK(status.st_mode)) {
      if (!ClosedToOthers(status)) {
        return false;
      }
      continue;
    }
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(walked, error);
    if (error || ++links > kMostLinks || !Trusted(walked.parent_path() / target, links)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool OnlyTrustedHandsCanChange(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  int links = 0;
  return !error && Trusted(absolute, links);
}

}  // namespace korvane::platform
