#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "platform/Identity.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/LinuxPlatform.h"

namespace korvane::platform {
namespace {

// Hosts that share a home can't tell whether each other's processes live, so that each has a file of its own.
std::string LockPath(const std::string& folder) {
  std::string host = ThisProcess().Machine;
  std::ranges::replace(host, '/', '-');
  return folder + "/korvane-console." + host + ".lock";
}

// The lock is the kernel's, on the open file: it goes with the process, however that ends, and a file that
// was left behind locks nobody out.
class LinuxUserLock : public UserLock {
 public:
  explicit LinuxUserLock(const std::string& folder) : path_(LockPath(folder)) {}

  bool HeldByAnother() override {
    if (file_.IsOpen()) {
      return false;
    }
    FileDescriptor file(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file.IsOpen()) {
      return false;
    }
    if (flock(file.Number(), LOCK_EX | LOCK_NB) != 0) {
      return errno == EWOULDBLOCK;
    }
    file_ = std::move(file);
    return false;
  }

 private:
  std::string path_;
  FileDescriptor file_;
};

}  // namespace

std::unique_ptr<UserLock> MakeUserLock(const std::string& folder) {
  return std::make_unique<LinuxUserLock>(folder);
}

}  // namespace korvane::platform
