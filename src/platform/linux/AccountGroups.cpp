#include <grp.h>
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

// What the session was given, which is what the process may do: the account database may know of less (a
// directory service's groups, newgrp's) and of more (what was added after the log-in, or given up since).
std::vector<gid_t> GroupsOfProcess() {
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(0, getgroups(0, nullptr))));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  groups.resize(static_cast<std::size_t>(std::max(0, count)));
  groups.insert(groups.begin(), getegid());  // newgrp's, which need not be among them
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
    for (const gid_t id : GroupsOfProcess()) {
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
