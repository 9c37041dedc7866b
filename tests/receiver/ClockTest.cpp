// Whom the receiver believes what time it is, before it lets old traps go.

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "receiver/clock/ClockWitness.h"
#include "receiver/clock/MachineClocks.h"
#include "receiver/spool/StateFile.h"
#include "support/PrivateBus.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

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
  void Confirm() { witness_.Confirm(); }

  std::int64_t True = kNow;
  std::int64_t Off = 0;

 private:
  std::int64_t boot_ = kNow - kDay;
  ClockWitness witness_{std::chrono::seconds(kAge)};
};

TEST(ClockWitness, AClockThatIsAheadTakesNothingThatARightOneWouldKeep) {
  constexpr std::int64_t kYear = 365 * kDay;
  struct Case {
    const char* Name;
    void (*Happens)(Machine&);
  };
  const Case cases[] = {
      {"first start on a clock that is ahead",
       [](Machine& m) {
         m.Off = kYear;
         m.Look();
         EXPECT_EQ(m.Bound(), std::nullopt);
         m.Run(kAge - kHour);
       }},
      {"ahead for so long that its own traps are the newest, and started again",
       [](Machine& m) {
         m.Off = kYear;
         m.Look();
         m.Run(3 * kDay);
         m.Restart(kMinute);
         m.Restart(kDay);
         m.Run(3 * kDay);
       }},
      {"set forward while running",
       [](Machine& m) {
         m.Look();
         m.Confirm();
         m.Off = kYear;
         EXPECT_NEAR(static_cast<double>(m.Run(kHour)), kYear, kMinute);
       }},
      {"set forward while stopped",
       [](Machine& m) {
         m.Look();
         m.Confirm();
         m.Off = 6 * kDay;  // less than the age: part of the history is at stake
         m.Restart(kMinute);
         m.Run(kDay);
       }},
      {"set forward by a little at each start",
       [](Machine& m) {
         m.Look();
         m.Confirm();
         for (int start = 0; start < 5; ++start) {
           m.Off += kDay;
           m.Restart(kMinute);
         }
       }},
      {"ahead once and believed, set right, ahead again",
       [](Machine& m) {
         m.Off = 2 * kYear;
         m.Look();
         m.Confirm();
         m.Off = 0;
         EXPECT_LT(m.Run(kMinute), 0);
         m.Off = kYear;
         m.Restart(kDay);
         m.Run(kDay);
       }},
      {"the memory is lost",
       [](Machine& m) {
         m.Look();
         m.Confirm();
         m.Off = kYear;
         m.Restart(kMinute, false);
       }},
  };
  for (const Case& c : cases) {
    Machine machine;
    c.Happens(machine);
    EXPECT_LE(machine.Bound().value_or(0), machine.True - kAge) << c.Name;
  }
}

TEST(ClockWitness, ARightClockIsBelievedInTime) {
  Machine machine;
  machine.Look();
  EXPECT_EQ(machine.Bound(), std::nullopt);
  machine.Run(12 * kHour);
  EXPECT_EQ(machine.Bound(12 * kHour), machine.True - 12 * kHour) << "for a shorter age";
  EXPECT_EQ(machine.Bound(), std::nullopt);
  machine.Run(kAge);
  EXPECT_EQ(machine.Bound(), machine.True - kAge) << "without anybody's word";
  machine.Restart(5 * kMinute);
  EXPECT_EQ(machine.Bound(), machine.True - kAge) << "a restart changes nothing";
  EXPECT_EQ(machine.Restart(30 * kDay), 0) << "a long stop is no clock that was set";
  EXPECT_EQ(machine.Bound(), machine.True - kAge - 30 * kDay) << "but nobody knows how long it was";
  machine.Run(kDay);
  EXPECT_EQ(machine.Bound(), machine.True - kAge - 30 * kDay);
  machine.Confirm();
  EXPECT_EQ(machine.Bound(), machine.True - kAge);
  machine.True += 20 * kDay;  // suspended: the elapsed time counts on
  EXPECT_EQ(machine.Look(), 0);
  EXPECT_EQ(machine.Bound(), machine.True - kAge);
  machine.Off = -kDay;
  EXPECT_EQ(machine.Look(), -kDay);
  machine.Off = -2 * kDay;
  EXPECT_EQ(machine.Restart(kMinute), kMinute - kDay) << "seen by what the run before remembers";
}

TEST(ClockWitness, WhatItRemembersComesBackUnlessTheFileIsDamaged) {
  const test::TempFolder folder;
  EXPECT_EQ(ReadClockMemory(folder.Path()), std::nullopt);
  for (const ClockMemory memory : {ClockMemory{.Vouched = kNow, .Wall = kNow + 1, .Even = 7},
                                   ClockMemory{.Vouched = std::nullopt, .Wall = kNow, .Even = 0}}) {
    WriteClockMemory(folder.Path(), memory);
    EXPECT_EQ(ReadClockMemory(folder.Path()), memory);
  }
  for (const char* damaged :
       {"", "wall = 1\n", "wall = x\neven = 1\n", "wall = 9223372036854775807\neven = 1\n",
        "wall = -9223372036854775808\neven = 1\n"}) {
    test::WriteFile(folder / "clock", damaged);
    EXPECT_EQ(ReadClockMemory(folder.Path()), std::nullopt) << damaged;
  }
}

TEST(MachineClocks, TheTimeServiceIsAskedAndNobodyMeansNo) {
  const test::PrivateBus bus;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
  MachineClocks clocks;
  EXPECT_FALSE(clocks.Synchronized()) << "no time service";
  {
    const test::Companion service({"/usr/bin/python3", "-m", "dbusmock", "--template", "timedated"});
    EXPECT_TRUE(test::WaitUntil([&] { return clocks.Synchronized(); }, std::chrono::seconds(60)));
  }
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  EXPECT_FALSE(clocks.Synchronized()) << "no bus";
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

}  // namespace
}  // namespace korvane::receiver
