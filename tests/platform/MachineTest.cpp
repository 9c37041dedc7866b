// Accounts, sockets, host names, clock and directories of the machine that the tests run on.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
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

using namespace std::string_literals;

TEST(AccountGroupsTest, NamesAreTheAccountsOwnAndOrdinaryUsersAreNoAdministrators) {
  const auto groups = MakeAccountGroups();
  const std::string administrators = groups->AdministratorsName().value_or("");
  EXPECT_TRUE(administrators == "sudo" || administrators == "wheel" || administrators == "root");
  std::istringstream words(RunAndRead("/usr/bin/id", {"-Gn"}, 10000).value_or(""));
  std::set<std::string> expected{std::istream_iterator<std::string>(words), {}};
  ASSERT_FALSE(expected.empty());
  if (geteuid() == 0) {
    expected.insert(administrators);
  }
  const auto names = groups->GroupNames();
  ASSERT_TRUE(names.has_value());
  EXPECT_EQ(std::set<std::string>(names->begin(), names->end()), expected);
  if (geteuid() != 0 && expected.contains(administrators)) {
    GTEST_SKIP() << "this user is an administrator and can't become another user";
  }
  EXPECT_TRUE(test::AsUnprivilegedUser([&] {
    const auto ordinary = groups->GroupNames();
    return ordinary && !ordinary->empty() && std::ranges::count(*ordinary, administrators) == 0;
  }));
}

TEST(SocketsTest, GrantsTheLowerVersionAndCountsWhatTheSystemAllows) {
  const auto sockets = MakeSockets();
  using Versions = std::pair<std::uint16_t, std::uint16_t>;
  for (const auto& [requested, granted] :
       {Versions{0x0101, 0x0101}, {0x0001, 0x0001}, {0x0202, 0x0202}, {0x0103, 0x0202}}) {
    const SocketStartup startup = sockets->Start(requested);
    EXPECT_TRUE(startup.Started && startup.MaxSockets >= 1);
    EXPECT_EQ(startup.Version, granted) << std::hex << requested;
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

TEST(HostNamesTest, TellsAddressesFromNamesAndResolvesLoopbackBothWays) {
  for (const char* address :
       {"192.0.2.7", "0.0.0.0", "::1", "2001:db8::7", "fe80::1%eth0", "::ffff:10.0.0.1"}) {
    EXPECT_TRUE(IsAddressText(address)) << address;
  }
  for (const std::string& text : {""s, "router"s, "192.0.2"s, "192.0.2.256"s, "192.0.2.7 "s, "10.0.0.1%eth0"s,
                                  "fe80::1%"s, "10.0.0.1\0x"s, "1.2.3.4.5"s, "%"s, ":::"s}) {
    EXPECT_FALSE(IsAddressText(text)) << text;
  }
  const auto names = MakeHostNames();
  EXPECT_EQ(names->AddressOfName("localhost"), "127.0.0.1");
  EXPECT_TRUE(names->NameOfAddress("127.0.0.1").has_value());
  EXPECT_FALSE(names->NameOfAddress("localhost").has_value());
  EXPECT_FALSE(names->NameOfAddress("127.0.0.1\0"s).has_value());
  EXPECT_FALSE(names->AddressOfName("").has_value());
}

TEST(ClockTest, BiasIsWhatLocalTimeLacksToUtc) {
  // Daylight time holds all year round in the last zone.
  for (const auto& [zone, bias] : {std::pair{"EAST-5:30", -330}, std::pair{"WEST8", 480},
                                   std::pair{"UTC0", 0}, std::pair{"STD5DST4,0/0,J365/23", 240}}) {
    EXPECT_TRUE(test::EndedWell(test::InChild([&] {
      setenv("TZ", zone, 1);
      return MakeClock()->TimeZoneBiasMinutes() == bias;
    }))) << zone;
  }
}

TEST(DirectoriesTest, ChangesOnlyToADirectory) {
  const test::TempFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  const auto directories = MakeDirectories();
  const std::string path = folder.Path().string();
  for (const std::string& wrong : {path + "/missing", path + "\0/x"s, ""s}) {
    EXPECT_FALSE(directories->SetCurrentDirectory(wrong));
  }
  EXPECT_EQ(std::filesystem::current_path(), before);
  EXPECT_TRUE(directories->SetCurrentDirectory(path));
  EXPECT_EQ(std::filesystem::current_path(), std::filesystem::canonical(folder.Path()));
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace korvane::platform
