#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/linux/LinuxPlatform.h"

namespace korvane::platform {
namespace {

constexpr int kMostGroups = 501;
constexpr std::size_t kLargestEntry = 1U << 20;

// Calls get(buffer) with a growing buffer until the entry fits.
template <typename Get>
bool WithGrowingBuffer(Get get) {
  for (std::vector<char> buffer(1024); buffer.size() <= kLargestEntry; buffer.resize(buffer.size() * 2)) {
    if (const int error = get(buffer); error != ERANGE) {
      return error == 0;
    }
  }
  return false;
}

std::optional<std::string> GroupName(gid_t id) {
  std::optional<std::string> name;
  WithGrowingBuffer([&](std::vector<char>& buffer) {
    group entry{};
    group* found = nullptr;
    const int error = getgrgid_r(id, &entry, buffer.data(), buffer.size(), &found);
    if (error == 0 && found != nullptr) {
      name = found->gr_name;
    }
    return error;
  });
  return name;
}

bool GroupExists(const char* name) {
  bool exists = false;
  WithGrowingBuffer([&](std::vector<char>& buffer) {
    group entry{};
    group* found = nullptr;
    const int error = getgrnam_r(name, &entry, buffer.data(), buffer.size(), &found);
    exists = error == 0 && found != nullptr;
    return error;
  });
  return exists;
}

// The groups that the account database gives the user.  Those of the process may be others: it keeps what it
// was started with, which from a service manager is often the first group alone.
std::vector<gid_t> GroupsOfUser() {
  std::vector<gid_t> groups;
  WithGrowingBuffer([&](std::vector<char>& buffer) {
    passwd entry{};
    passwd* found = nullptr;
    const int error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    if (error == 0 && found != nullptr) {
      int count = kMostGroups;
      groups.resize(kMostGroups);
      if (getgrouplist(found->pw_name, found->pw_gid, groups.data(), &count) < 0) {
        count = kMostGroups;  // there are more; the first ones were filled in
      }
      groups.resize(static_cast<std::size_t>(std::min(count, kMostGroups)));
    }
    return error;
  });
  return groups;
}

std::vector<gid_t> GroupsOfProcess() {
  std::vector<gid_t> groups = {getegid()};
  const int count = getgroups(0, nullptr);
  if (count > 0) {
    groups.resize(static_cast<std::size_t>(count));
    groups.resize(static_cast<std::size_t>(std::max(0, getgroups(count, groups.data()))));
  }
  groups.resize(std::min<std::size_t>(groups.size(), kMostGroups));
  return groups;
}

class LinuxAccountGroups : public AccountGroups {
 public:
  std::optional<std::vector<std::string>> GroupNames() override {
    std::vector<std::string> names;
    if (const std::optional<std::string> administrators = AdministratorsName();
        geteuid() == 0 && administrators) {
      names.push_back(*administrators);
    }
    std::vector<gid_t> groups = GroupsOfUser();
    if (groups.empty()) {  // a user without an account entry, as containers have them
      groups = GroupsOfProcess();
    }
    for (const gid_t id : groups) {
      if (std::optional<std::string> name = GroupName(id)) {
        names.push_back(std::move(*name));
      }
    }
    return names;
  }

  std::optional<std::string> AdministratorsName() override {
    for (const char* name : {"sudo", "wheel", "root"}) {
      if (GroupExists(name)) {
        return name;
      }
    }
    return std::nullopt;
  }
};

}  // namespace

std::unique_ptr<AccountGroups> MakeAccountGroups() {
  return std::make_unique<LinuxAccountGroups>();
}

}  // namespace korvane::platform
