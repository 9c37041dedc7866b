// What the receiver is told by its configuration, what reaches its log, and whom it believes what time it is
// before it lets old traps go.

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

#include "KeptLog.h"
#include "common/RegistryValues.h"
#include "receiver/Configuration.h"
#include "receiver/clock/ClockWitness.h"
#include "receiver/clock/MachineClocks.h"
#include "receiver/snmp/Listener.h"
#include "receiver/spool/StateFile.h"
#include "support/FakePlatform.h"
#include "support/PrivateBus.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

TEST(ConfigurationTest, AbsentValuesHaveDefaultsAndListsAreSplit) {
  using Addresses = std::vector<std::string>;
  test::FakeRegistry registry;
  EXPECT_EQ(ReadConfiguration(registry).ListenAddresses, (Addresses{"udp:162", "udp6:162"}));
  registry.PutText(kManagerKey, kListenAddressesValue, " udp:127.0.0.1:1162,udp6:[::1]:1162  udp:1163");
  registry.PutText(kManagerKey, kSpoolFolderValue, "/somewhere");
  registry.PutDword(kManagerKey, kSnmpFileValue, 7);
  const Configuration read = ReadConfiguration(registry);
  EXPECT_EQ(read.ListenAddresses, (Addresses{"udp:127.0.0.1:1162", "udp6:[::1]:1162", "udp:1163"}));
  EXPECT_EQ(read.SpoolFolder, "/somewhere");
  EXPECT_EQ(read.SnmpFile, Configuration().SnmpFile);
  for (const char* good : {"udp:162", "udp:0.0.0.0:65535", "udp6:[fe80::1]:162"}) {
    EXPECT_EQ(ListenAddressProblem(good), "") << good;
  }
  for (const char* bad : {"", "162", "tcp:162", "udp:0", "udp:65536", "udp:host:162", "udp:1.2.3:162",
                          "udp6:::1:162", "udp6:[::1]", "udp:162x"}) {
    EXPECT_NE(ListenAddressProblem(bad), "") << bad;
  }
}

TEST(ServiceLogTest, NeitherNumberNorTextOfPacketsHarmsIt) {
  KeptLog log;
  PacedLog paced(log, std::chrono::seconds(10));
  const auto start = PacedLog::Clock::now();
  const auto warn = [&](int second) {
    paced.Warning([] { return std::string("packet"); }, start + std::chrono::seconds(second));
  };
  for (int i = 0; i < 20'000; ++i) warn(i / 2'000);
  EXPECT_EQ(log.Lines().size(), 1u);
  warn(10);
  paced.TellLeftOut();
  warn(11);
  paced.TellLeftOut();
  paced.TellLeftOut();
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{"packet", "packet (19999 more such lines left out before)",
                                                   "1 more lines about packets left out"}));
  log.Warning("user \x1B[2J\r\nerror: forged\x07 \xC2\x9B \xFF");
  const std::string written = log.Lines().back();
  for (const char c : written) EXPECT_GE(static_cast<unsigned char>(c), 0x20) << written;
  EXPECT_EQ(written.find("\xC2\x9B"), written.npos);
  EXPECT_EQ(written.find('\xFF'), written.npos);
}

constexpr std::int64_t kNow = 1'700'000'000;
constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kAge = 7 * kDay;

// One machine: its true time, how far its clock is off, and receivers that run on it one after the other.
class Machine {
 public:
  // Of the history, what would be the oldest trap to stay; nothing: all of it stays.
  std::optional<std::int64_t> Bound(std::int64_t age = kAge) const {
    const auto present = witness_.Present(age);
    return present ? std::optional(*present - age) : std::nullopt;
  }
  std::int64_t Run(std::int64_t seconds) {
    std::int64_t set = 0;
    for (; seconds > 0; seconds -= kMinute) {
      True += kMinute;
      set += Look();
    }
    return set;
  }
  std::int64_t Look() { return witness_.Look({.Wall = True + Off, .Elapsed = True - boot_}); }
  std::int64_t Restart(std::int64_t stopped, bool keepMemory = true) {
    const ClockMemory memory = witness_.Memory();
    True += stopped;
    boot_ = True - 30;
    witness_ = ClockWitness(std::chrono::seconds(kAge), keepMemory ? std::optional(memory) : std::nullopt);
    return Look();
  }
  void Confirm() {
    Look();
    witness_.Confirm();
  }

  std::int64_t True = kNow;
  std::int64_t Off = 0;

 private:
  std::int64_t boot_ = kNow - kDay;
  ClockWitness witness_{std::chrono::seconds(kAge)};
};

// Days that the clock is ahead or behind, that pass, or that the receiver is stopped or the machine
// suspended.
Machine Play(const char* all) {
  Machine machine;
  std::istringstream steps(all);
  std::int64_t days = 0;
  for (std::string does; steps >> does >> days;) {
    if (does == "ahead") machine.Off = days * kDay;
    if (does == "confirm") machine.Confirm();
    if (does == "run") machine.Run(days * kDay);
    if (does == "restart" || does == "forget") machine.Restart(days * kDay + kMinute, does == "restart");
    if (does == "suspend") machine.True += days * kDay;
  }
  machine.Look();
  return machine;
}

TEST(ClockWitnessTest, AClockThatIsAheadTakesNothingThatARightOneWouldKeep) {
  for (const char* steps :
       {"ahead 365 run 3 restart 0 restart 1 run 3",  // so long that its own traps are the newest
        "confirm 0 run 6 ahead 365 run 2", "confirm 0 ahead 6 restart 0 run 1",
        "confirm 0 ahead 1 restart 0 ahead 2 restart 0 ahead 3 restart 0",
        "ahead 730 confirm 0 ahead 0 run 1 ahead 365 restart 1 run 1", "confirm 0 ahead 365 forget 0"}) {
    const Machine machine = Play(steps);
    EXPECT_LE(machine.Bound().value_or(0), machine.True - kAge) << steps;
  }
  Machine machine = Play("run 1 ahead -2");
  EXPECT_EQ(machine.Restart(kMinute), 0) << "seen by then";
  machine.Off = -3 * kDay;
  EXPECT_EQ(machine.Restart(kMinute), kMinute - kDay) << "seen by what the run before remembers";
  machine.Off += 400 * kDay;
  EXPECT_EQ(machine.Run(kHour), 400 * kDay);
}

TEST(ClockWitnessTest, ARightClockIsBelievedInTime) {
  EXPECT_EQ(Play("run 6").Bound(), std::nullopt);
  const Machine young = Play("run 1");
  EXPECT_EQ(young.Bound(12 * kHour), young.True - 12 * kHour) << "for a shorter age";
  for (const char* steps :
       {"run 8", "run 8 restart 0", "run 8 restart 30 confirm 0", "confirm 0 suspend 20"}) {
    const Machine machine = Play(steps);
    EXPECT_EQ(machine.Bound(), machine.True - kAge) << steps;
  }
  const Machine stopped = Play("run 8 restart 30 run 1");
  EXPECT_EQ(stopped.Bound(), stopped.True - kAge - 30 * kDay - kMinute) << "nobody knows how long it was";
}

TEST(ClockWitnessTest, WhatItRemembersComesBackUnlessTheFileIsDamaged) {
  const test::TempFolder folder;
  const ClockMemory memory{.Vouched = std::nullopt, .Wall = kNow, .Even = 7};
  WriteClockMemory(folder.Path(), memory);
  EXPECT_EQ(ReadClockMemory(folder.Path()), memory);
  for (const char* damaged :
       {"", "wall = 1\n", "wall = x\neven = 1\n", "wall = 9223372036854775807\neven = 1\n",
        "wall = -9223372036854775808\neven = 1\n"}) {
    test::WriteFile(folder / "clock", damaged);
    EXPECT_EQ(ReadClockMemory(folder.Path()), std::nullopt) << damaged;
  }
}

TEST(MachineClocksTest, TheTimeServiceIsAskedAndNobodyMeansNo) {
  const test::PrivateBus bus;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
  MachineClocks clocks;
  EXPECT_FALSE(clocks.Synchronized()) << "no time service";
  {
    const test::Companion service({"/usr/bin/python3", "-m", "dbusmock", "--template", "timedated"});
    EXPECT_TRUE(test::WaitUntil([&] { return clocks.Synchronized(); }, std::chrono::seconds(60)));
  }
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

}  // namespace
}  // namespace korvane::receiver
