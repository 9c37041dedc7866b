#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/linux/ChildProcess.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::platform {
namespace {

std::set<std::string> GroupsOfId() {
  const std::string names = RunAndRead("/usr/bin/id", {"-Gn"}, 10000).value_or("");
  std::istringstream words(names);
  return {std::istream_iterator<std::string>(words), {}};
}

TEST(AccountGroupsTest, NamesAreTheAccountsOwn) {
  const auto groups = MakeAccountGroups();
  const auto administrators = groups->AdministratorsName();
  ASSERT_TRUE(administrators.has_value());
  EXPECT_TRUE(*administrators == "sudo" || *administrators == "wheel" || *administrators == "root");
  const auto names = groups->GroupNames();
  ASSERT_TRUE(names.has_value());
  std::set<std::string> expected = GroupsOfId();
  ASSERT_FALSE(expected.empty());
  if (geteuid() == 0) {
    expected.insert(*administrators);
  }
  EXPECT_EQ(std::set<std::string>(names->begin(), names->end()), expected);
}

TEST(AccountGroupsTest, OrdinaryUserIsNoAdministrator) {
  if (geteuid() != 0 && GroupsOfId().contains(*MakeAccountGroups()->AdministratorsName())) {
    GTEST_SKIP() << "this user is an administrator and can't become another user";
  }
  EXPECT_TRUE(test::AsUnprivilegedUser([] {
    const auto groups = MakeAccountGroups();
    const auto names = groups->GroupNames();
    return names && !names->empty() &&
           std::ranges::find(*names, groups->AdministratorsName().value_or("")) == names->end();
  }));
}

TEST(SocketsTest, GrantsTheLowerVersionAndCountsWhatTheSystemAllows) {
  const auto sockets = MakeSockets();
  struct Row {
    std::uint16_t Requested, Granted;
  };
  for (const Row& row :
       std::vector<Row>{{0x0101, 0x0101}, {0x0001, 0x0001}, {0x0202, 0x0202}, {0x0103, 0x0202}}) {
    const SocketStartup startup = sockets->Start(row.Requested);
    EXPECT_TRUE(startup.Started);
    EXPECT_EQ(startup.Version, row.Granted) << std::hex << row.Requested;
    EXPECT_GE(startup.MaxSockets, 1);
    EXPECT_EQ(sockets->Cleanup(), 0);
  }
  EXPECT_NE(sockets->Cleanup(), 0);
  EXPECT_TRUE(test::EndedWell(test::InChild([] {
    const rlimit none{.rlim_cur = 0, .rlim_max = 0};
    setrlimit(RLIMIT_NOFILE, &none);
    const SocketStartup startup = MakeSockets()->Start(0x0101);
    return startup.Started && startup.MaxSockets == 0;
  })));
}

TEST(HostNamesTest, TellsAddressesFromNames) {
  for (const char* address :
       {"192.0.2.7", "0.0.0.0", "::1", "2001:db8::7", "fe80::1%eth0", "::ffff:10.0.0.1"}) {
    EXPECT_TRUE(IsAddressText(address)) << address;
  }
  using namespace std::string_view_literals;
  for (const std::string_view text :
       {""sv, "router"sv, "192.0.2"sv, "192.0.2.256"sv, "192.0.2.7 "sv, "10.0.0.1%eth0"sv, "fe80::1%"sv,
        "10.0.0.1\0x"sv, "1.2.3.4.5"sv, "%"sv, ":::"sv}) {
    EXPECT_FALSE(IsAddressText(text)) << text;
  }
}

TEST(HostNamesTest, ResolvesLoopbackBothWays) {
  const auto names = MakeHostNames();
  EXPECT_EQ(names->AddressOfName("localhost"), "127.0.0.1");
  EXPECT_TRUE(names->NameOfAddress("127.0.0.1").has_value());
  EXPECT_FALSE(names->NameOfAddress("localhost").has_value());
  EXPECT_FALSE(names->NameOfAddress(std::string_view("127.0.0.1\0", 10)).has_value());
  EXPECT_FALSE(names->AddressOfName("").has_value());
}

TEST(ClockTest, BiasIsWhatLocalTimeLacksToUtc) {
  const auto bias = [](const char* zone, int expected) {
    return test::EndedWell(test::InChild([zone, expected] {
      setenv("TZ", zone, 1);
      return MakeClock()->TimeZoneBiasMinutes() == expected;
    }));
  };
  EXPECT_TRUE(bias("EAST-5:30", -330));
  EXPECT_TRUE(bias("WEST8", 480));
  EXPECT_TRUE(bias("UTC0", 0));
  // Daylight time holds all year round here.
  EXPECT_TRUE(bias("STD5DST4,0/0,J365/23", 240));
}

TEST(DirectoriesTest, ChangesOnlyToADirectory) {
  const test::TempFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  const auto directories = MakeDirectories();
  const std::string path = folder.Path().string();
  EXPECT_FALSE(directories->SetCurrentDirectory(path + "/missing"));
  EXPECT_FALSE(directories->SetCurrentDirectory(path + std::string("\0/x", 3)));
  EXPECT_FALSE(directories->SetCurrentDirectory(""));
  EXPECT_EQ(std::filesystem::current_path(), before);
  EXPECT_TRUE(directories->SetCurrentDirectory(path));
  EXPECT_EQ(std::filesystem::current_path(), std::filesystem::canonical(folder.Path()));
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace korvane::platform
