// Configuration, log, clock and access of the receiver, and the way from a message to a row (RFC 3584).

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <sstream>
#include <tuple>

#include <fmt/format.h>

#include "Counterparts.h"
#include "KeptLog.h"
#include "common/RegistryValues.h"
#include "receiver/Configuration.h"
#include "receiver/clock/ClockWitness.h"
#include "receiver/clock/MachineClocks.h"
#include "receiver/snmp/InformTable.h"
#include "receiver/snmp/LearntEngines.h"
#include "receiver/snmp/Listener.h"
#include "receiver/snmp/MessageHeader.h"
#include "receiver/snmp/NetSnmp.h"
#include "receiver/snmp/ObjectNames.h"
#include "receiver/snmp/SnmpLibrary.h"
#include "receiver/snmp/TrapMapping.h"
#include "receiver/snmp/ValueText.h"
#include "receiver/spool/StateFile.h"
#include "support/FakePlatform.h"
#include "support/PrivateBus.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

using namespace std::string_literals;
using std::chrono::seconds;

TEST(ConfigurationTest, AbsentValuesHaveDefaultsAndListsAreSplit) {
  using Addresses = std::vector<std::string>;
  test::FakeRegistry registry;
  EXPECT_EQ(ReadConfiguration(registry).ListenAddresses, (Addresses{"udp:162", "udp6:162"}));
  registry.PutText(kManagerKey, kListenAddressesValue, " udp:127.0.0.1:1162,udp6:[::1]:1162  udp:1163");
  EXPECT_EQ(ReadConfiguration(registry).ListenAddresses,
            (Addresses{"udp:127.0.0.1:1162", "udp6:[::1]:1162", "udp:1163"}));
  EXPECT_EQ(ListenAddressProblem("udp6:[fe80::1]:162"), "");
  for (const char* bad : {"", "tcp:162", "udp:0", "udp:65536", "udp:host:162", "udp6:::1:162", "udp:162x"}) {
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
  EXPECT_TRUE(std::ranges::none_of(written, [](unsigned char c) { return c < 0x20 || c == 0xFF; }))
      << written;
  EXPECT_EQ(written.find("\xC2\x9B"), written.npos);
}

constexpr std::int64_t kNow = 1'700'000'000;
constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kAge = 7 * kDay;

// One machine: its true time, how far its clock is off, and receivers that run on it one after the other.
struct Machine {
  // Days that the clock is ahead or behind, that pass, or that the receiver is stopped or the machine
  // suspended.  By how much the clock was seen to be set.
  std::int64_t Play(const char* all) {
    std::istringstream steps(all);
    std::int64_t days = 0;
    std::int64_t set = 0;
    for (std::string does; steps >> does >> days; set += Look()) {
      if (does == "ahead") Off = days * kDay;
      for (std::int64_t minute = does == "run" ? days * kDay / kMinute : 0; minute > 0; --minute) {
        True += kMinute;
        set += Look();
      }
      if (does == "restart" || does == "forget") {
        const ClockMemory memory = Witness.Memory();
        True += days * kDay + kMinute;
        Boot = True - 30;
        Witness = ClockWitness(seconds(kAge), does == "restart" ? std::optional(memory) : std::nullopt);
      }
      if (does == "suspend") True += days * kDay;
      if (does == "confirm") Witness.Confirm();
    }
    return set;
  }
  std::int64_t Look() { return Witness.Look({.Wall = True + Off, .Elapsed = True - Boot}); }

  std::int64_t True = kNow;
  std::int64_t Off = 0;
  std::int64_t Boot = kNow - kDay;
  ClockWitness Witness{seconds(kAge)};
};

TEST(ClockWitnessTest, AClockThatIsAheadTakesNothingThatARightOneWouldKeep) {
  for (const char* steps :
       {"ahead 365 run 3 restart 0 restart 1 run 3",  // so long that its own traps are the newest
        "confirm 0 run 6 ahead 365 run 2", "confirm 0 ahead 6 restart 0 run 1",
        "confirm 0 ahead 1 restart 0 ahead 2 restart 0 ahead 3 restart 0",
        "ahead 730 confirm 0 ahead 0 run 1 ahead 365 restart 1 run 1", "confirm 0 ahead 365 forget 0"}) {
    Machine machine;
    machine.Play(steps);
    EXPECT_LE(machine.Witness.Present(kAge).value_or(0), machine.True) << steps;
  }
  Machine machine;
  EXPECT_EQ(machine.Play("run 1 ahead -1"), -kDay);
  machine.Off = -2 * kDay;
  EXPECT_EQ(machine.Play("restart 0"), kMinute - kDay) << "seen by what the run before remembers";
  EXPECT_EQ(machine.Play("ahead 398"), 400 * kDay);
}

TEST(ClockWitnessTest, ARightClockIsBelievedInTime) {
  for (const char* steps :
       {"run 8", "run 8 restart 0", "run 8 restart 30 confirm 0", "confirm 0 suspend 20"}) {
    Machine machine;
    machine.Play(steps);
    EXPECT_EQ(machine.Witness.Present(kAge), machine.True) << steps;
  }
  Machine young;
  young.Play("run 6");
  EXPECT_EQ(young.Witness.Present(kAge), std::nullopt);
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
  const test::Companion service({"/usr/bin/python3", "-m", "dbusmock", "--template", "timedated"});
  EXPECT_TRUE(test::WaitUntil([&] { return clocks.Synchronized(); }, seconds(60)));
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

TEST(SnmpAccessTest, GoodLinesAreTakenAndEachBadOneIsNamed) {
  const SnmpAccess access = ParseSnmpAccess(
      "createUser auth SHA-256 \"a pass phrase\"   # with a comment\r\n"
      "  createUser\tboth MD5 authpass1 AES privpass1\n"
      "createUser -e 0x8000000001020304 both SHA authpass1 DES privpass1\n"
      "community \"with blank\"\n"
      "createUser\n"
      "createUser short SHA 1234567\n"
      "createUser -e 0x80000 other\n"
      "createUser \"open\n"
      "community\n"
      "createUser last");
  ASSERT_EQ(access.Users.size(), 4u);
  EXPECT_EQ(access.Users[0].AuthPassphrase, "a pass phrase");
  EXPECT_EQ(access.Users[0].Level(), SecurityLevel::AuthNoPriv);
  EXPECT_EQ(access.Users[3].Name, "last");
  ASSERT_EQ(access.Problems.size(), 5u);
  for (std::size_t i = 0; i < access.Problems.size(); ++i) {
    EXPECT_TRUE(access.Problems[i].starts_with("line " + std::to_string(i + 5) + ": ")) << access.Problems[i];
    EXPECT_EQ(access.Problems[i].find("authpass1"), std::string::npos);
  }
  // An entry for one engine goes before one for any.
  EXPECT_EQ(access.FindUser("both", "\x80\0\0\0\1\2\3\4"s)->PrivProtocol, "DES");
  EXPECT_EQ(access.FindUser("both", "other engine")->PrivProtocol, "AES");
  EXPECT_TRUE(access.AcceptsCommunity("with blank"));
  EXPECT_FALSE(access.AcceptsCommunity("private"));
}

TEST(SnmpAccessTest, AFileThatIsNotWhollyReadAdmitsWhatItListsAndNothingElse) {
  const test::TempFolder folder;
  std::filesystem::create_symlink("nowhere", folder / "link");
  test::WriteFile(folder / "misspelt", "comunity secret\ncreateUser plain\n");
  test::WriteFile(folder / "good", "community secret\n");
  for (const auto& [file, standard, summary] : {std::tuple("none", "none", "0 SNMPv3 users, any community"),
                                                {"none", "other", "0 SNMPv3 users, no community"},
                                                {"link", "link", "0 SNMPv3 users, no community"},
                                                {"misspelt", "misspelt", "1 SNMPv3 users, no community"},
                                                {"good", "other", "0 SNMPv3 users, 1 communities"}}) {
    const SnmpAccess access = ReadSnmpAccess(folder / file, folder / standard);
    EXPECT_EQ(access.Summary(), summary) << file;
    EXPECT_EQ(access.Problems.size(), access.Summary().ends_with("no community") ? 1u : 0u) << file;
    EXPECT_EQ(access.AcceptsCommunity("public"), access.Summary().ends_with("any community")) << file;
  }
  test::WriteFile(folder / "keys", "createUser auth SHA authpass1\n");
  for (const auto& [mode, warnings] : {std::pair(0600, 0u), {0640, 1u}, {0604, 1u}}) {
    std::filesystem::permissions(folder / "keys", std::filesystem::perms(mode));
    EXPECT_EQ(ReadSnmpAccess(folder / "keys").Warnings.size(), warnings) << mode;
  }
}

class InformTableTest : public testing::Test {
 protected:
  // The kind of arrival; the answer is kept by the table unless it is to be sent at once.
  InformTable::Result Arrive(std::uint64_t key, std::string packet, int second = 0) {
    Answer answer = {.Socket = 0, .Peer = "peer", .Packet = std::move(packet)};
    const auto result = Table.Arrived(key, answer, Start + seconds(second));
    EXPECT_EQ(!answer.Packet.empty(), result.What == Kind::Answered);
    return result;
  }
  std::string Safe(std::uint64_t token) { return Table.Safe(token, Start).value_or(Answer()).Packet; }

  using Kind = InformTable::Arrival;
  const std::chrono::steady_clock::time_point Start = std::chrono::steady_clock::now();
  InformTable Table{{.Memory = seconds(60), .Answered = 200, .AnswerBytes = 1 << 20, .Waiting = 100}};
};

TEST_F(InformTableTest, OneIsStoredAndTheNewestCopyIsAnsweredOnce) {
  const auto first = Arrive(1, "old");
  EXPECT_EQ(first.What, Kind::New);
  EXPECT_EQ(Arrive(1, "new").What, Kind::Waiting);
  EXPECT_EQ(Arrive(2, "other").What, Kind::New);
  EXPECT_EQ(Safe(first.Token), "new");
  EXPECT_EQ(Safe(first.Token), "");
  EXPECT_EQ(Arrive(1, "again").What, Kind::Answered);
  EXPECT_EQ(Arrive(1, "late", 61).What, Kind::New);
  for (std::uint64_t key = 10; key < 211; ++key) Table.Remember(key, Start);  // of an earlier run
  EXPECT_EQ(Arrive(11, "again").What, Kind::Answered);
  EXPECT_EQ(Arrive(10, "too many since").What, Kind::New);
}

TEST_F(InformTableTest, AnswersAreBoundedInBytesAndWhoWaitsInNumber) {
  const std::string packet(50'000, 'x');
  for (std::uint64_t key = 1; key <= 100; ++key) {
    ASSERT_TRUE(Table.HasRoom());
    for (int copy = 0; copy < 16; ++copy) Arrive(key, packet);
    ASSERT_EQ(Table.LetGo(), key < 20 ? 0 : key - 20) << "as many as there is room for are kept";
  }
  EXPECT_FALSE(Table.HasRoom());
  EXPECT_EQ(Arrive(1, packet).What, Kind::Waiting) << "let go, but known";
  EXPECT_EQ(Safe(2), "") << "its answer was the oldest";
  EXPECT_EQ(Arrive(2, packet).What, Kind::Answered) << "its sender's next copy is";
  EXPECT_TRUE(Table.HasRoom());
  for (std::uint64_t token = 1; token <= 100; ++token) Safe(token);
  const std::uint64_t letGo = Table.LetGo();
  for (std::uint64_t key = 201; key <= 220; ++key) Arrive(key, packet);
  EXPECT_EQ(Table.LetGo(), letGo) << "what was sent made room";
}

TEST(LearntEnginesTest, TheOneHeardLeastLatelyOfAUserIsForgotten) {
  LearntEngines engines(2);
  for (const auto& [user, engine] : {std::pair("one", "A"), {"one", "B"}, {"two", "A"}}) {
    EXPECT_FALSE(engines.Add(user, engine, {}));
  }
  engines.Renew("one", "A");
  EXPECT_TRUE(engines.Add("one", "C", {}));
  EXPECT_TRUE(engines.Find("one", "A") && !engines.Find("one", "B") && engines.Find("two", "A"));
}

TEST(MessageHeaderTest, MakesTheResponse) {
  const std::string inform = V2Message(NotificationPdu(kInform, 70'000, SmallestBindings(9300)));
  EXPECT_TRUE(ResponseTo(inform + "more") ==
              V2Message(NotificationPdu(0xA2, 70'000, SmallestBindings(9300))));
  EXPECT_EQ(ResponseTo(V2Message(Ber(kInform, BerNumber(9) + BerNumber(5) + BerNumber(300) + Ber(0x30, "")))),
            V2Message(Ber(0xA2, BerNumber(9) + BerNumber(0) + Ber(0x02, "\0\0"s) + Ber(0x30, ""))));
  EXPECT_EQ(ResponseTo(V2Message(NotificationPdu(kTrap2, 1, ""))), "");
  // Cut anywhere, whatever the length of the buffer behind it is.
  for (std::size_t length = 0; length < 100; ++length) {
    EXPECT_EQ(ResponseTo(std::string(inform, 0, length)), "");
    EXPECT_FALSE(ReadUsmHeader(std::string(inform, 0, length)));
  }
}

const u_char* Octets(const std::string& id) {
  return reinterpret_cast<const u_char*>(id.data());
}
// What the SNMP library has noted, which it never clears itself.
bool HasClock(const std::string& id) {
  return search_enginetime_list(Octets(id), static_cast<u_int>(id.size())) != nullptr;
}

// As the library reads a message: it notes the engine first and its clock last.  boots: 0 when it is forged.
// The boots that it knew of the engine before.
unsigned Read(SnmpLibrary& library, const std::string& user, const std::string& id, unsigned boots) {
  const auto size = static_cast<u_int>(id.size());
  unsigned known = 0;
  unsigned time = 0;
  library.BeginMessage();
  library.ExpectSender(user, id);
  get_enginetime(Octets(id), size, &known, &time, TRUE);
  set_enginetime(Octets(id), size, 0, 0, FALSE);
  EXPECT_EQ(usm_get_user(Octets(id), size, user.c_str()) != nullptr, user != "nobody");
  if (boots != 0) set_enginetime(Octets(id), size, boots, 1000, TRUE);
  library.EndMessage(user, id, boots != 0);
  return known;
}

TEST(SnmpLibraryTest, KeepsClocksOfHonestEnginesAndNothingOfInventedOnes) {
  const test::TempFolder folder;
  KeptLog log;
  const std::string own = "\x80this engine";
  SnmpLibrary library(folder.Path(), {.SpoolId = "", .EngineId = own, .Starts = 1}, log);
  library.SetAccess(
      ParseSnmpAccess("createUser both SHA-256 authpass1 AES privpass1\ncreateUser open\n"
                      "createUser -e 0x8001020304 bound MD5 authpass1\n"));
  // Enough of them that every chain of the library's table has several.
  for (unsigned round = 1; round <= 3; ++round) {
    for (int i = 0; i < 100; ++i) {
      const std::string engine = fmt::format("engine{:04}", i);
      EXPECT_EQ(Read(library, "both", engine, round), round - 1) << "an old message is known as old";
      EXPECT_EQ(Read(library, "both", engine, 0), round) << "what was learnt stays";
      for (const char* user : {"both", "open", "nobody"}) {
        const std::string invented = "invented " + engine;
        Read(library, user, invented, 0);
        ASSERT_FALSE(HasClock(invented)) << user;
        ASSERT_EQ(usm_get_user(Octets(invented), invented.size(), user), nullptr);
      }
      ASSERT_TRUE(HasClock(own) && HasClock("\x80\x01\x02\x03\x04"));
    }
  }
  library.SetAccess({});
  EXPECT_EQ(usm_get_userList(), nullptr);
  EXPECT_TRUE(log.Lines().empty()) << log.Lines().front();
}

const Oid kTrapOidName = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const Oid kEnterpriseName = {1, 3, 6, 1, 6, 3, 1, 1, 4, 3, 0};
const Oid kAddressName = {1, 3, 6, 1, 6, 3, 18, 1, 3, 0};
const Oid kCommunityName = {1, 3, 6, 1, 6, 3, 18, 1, 4, 0};
const Oid kUpTimeName = {1, 3, 6, 1, 2, 1, 1, 3, 0};

Value OidValue(Oid oid) {
  return {.Type = ValueType::ObjectId, .ObjectId = std::move(oid)};
}
Value Number(std::int64_t number) {
  return {.Type = ValueType::Integer, .Number = number};
}
Value Bytes(ValueType type, std::string bytes) {
  return {.Type = type, .Bytes = std::move(bytes)};
}
Value Count(ValueType type, std::uint64_t count) {
  return {.Type = type, .Count = count};
}

Notification V2(const Oid& trapOid, const std::vector<Binding>& more = {}) {
  Notification notification{
      .PeerAddress = "192.0.2.7",
      .ReceivedSeconds = 1'700'000'000,
      .Enterprise = {},
      .Bindings = {{kUpTimeName, Count(ValueType::TimeTicks, 100)}, {kTrapOidName, OidValue(trapOid)}}};
  notification.Bindings.insert(notification.Bindings.end(), more.begin(), more.end());
  return notification;
}

TEST(TrapMappingTest, Snmpv2IdentityFollowsRfc3584) {
  const std::pair<Oid, const char*> cases[] = {
      // with enterprise, generic and specific code
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 6}, "1.3.6.1.6.3.1.1.5 5 0"},
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 7}, "1.3.6.1.6.3.1.1.5 6 7"},
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 3, 1}, "1.3.6.1.6.3.1.1.5.3 6 1"},
      // The 0 between enterprise and number belongs to neither; only one is taken.
      {{1, 3, 6, 1, 4, 1, 9, 0, 12}, "1.3.6.1.4.1.9 6 12"},
      {{1, 3, 6, 1, 4, 1, 9, 12}, "1.3.6.1.4.1.9 6 12"},
      {{1, 3, 6, 1, 4, 1, 9, 0, 0, 5}, "1.3.6.1.4.1.9.0 6 5"},
      {{1, 3, 6, 1, 4, 1, 9, 0, 4294967295}, "1.3.6.1.4.1.9 6 -1"},
      {{}, "0.0 6 0"},
  };
  for (const auto& [trapOid, identity] : cases) {
    const TrapRow row = MapNotification(V2(trapOid)).value();
    EXPECT_EQ(fmt::format("{} {} {}", row.EnterpriseOid, row.GenericTrap, row.SpecificTrap), identity);
  }
}

TEST(TrapMappingTest, TheSameEventGivesTheSameRowInEveryVersion) {
  const Binding index = {{1, 3, 6, 1, 2, 1, 2, 2, 1, 1, 3}, Number(3)};
  Notification v1{.Version = SnmpVersion::V1,
                  .PeerAddress = "192.0.2.7",
                  .ReceivedSeconds = 1'700'000'000,
                  .Enterprise = {1, 3, 6, 1, 4, 1, 99},
                  .Generic = 2,
                  .AgentAddress = {10, 0, 0, 1},
                  .Bindings = {index}};
  // As a forwarder translates it (RFC 3584, 3.1).
  Notification v2 =
      V2({1, 3, 6, 1, 6, 3, 1, 1, 5, 3}, {index,
                                          {kAddressName, Bytes(ValueType::IpAddress, {10, 0, 0, 1})},
                                          {kCommunityName, Bytes(ValueType::OctetString, "secret")},
                                          {kEnterpriseName, OidValue({1, 3, 6, 1, 4, 1, 99})}});
  const auto row = MapNotification(v1);
  ASSERT_TRUE(row);
  EXPECT_EQ(row->EventTime, 1'700'000'000);
  EXPECT_EQ(row->EventDescription, "ifIndex.3 = 3");
  EXPECT_EQ(row->Source, "10.0.0.1");
  EXPECT_EQ(MapNotification(v2), row);
  v2.Version = SnmpVersion::V3;
  EXPECT_EQ(MapNotification(v2), row);
  v1.AgentAddress = {};
  EXPECT_EQ(MapNotification(v1)->Source, "192.0.2.7") << "else the sender";
  // Values that are no address of an agent are kept in the list and change nothing.
  for (const Value& value : {Bytes(ValueType::IpAddress, "abc"), Bytes(ValueType::OctetString, "abcd")}) {
    const auto odd = MapNotification(V2({1, 3, 6, 1, 4, 1, 9, 0, 1}, {{kAddressName, value}}));
    EXPECT_EQ(odd->Source, "192.0.2.7");
    EXPECT_EQ(odd->EventDescription, "snmpTrapAddress.0 = " + ValueText(value));
  }
  // Without a trap's OID there is no trap.
  v2.Bindings[1].Content = Bytes(ValueType::OctetString, "1.2.3");
  EXPECT_FALSE(MapNotification(v2));
}

TEST(TrapMappingTest, ALongListIsCutBetweenCharactersAndNothingOfItIsLost) {
  const Oid trap = {1, 3, 6, 1, 4, 1, 9, 0, 1};
  for (std::size_t offset = 0; offset < 4; ++offset) {
    std::string text(offset, 'x');
    while (text.size() < 65'000) text += "\xF0\x9F\x94\xA5";
    const auto longRow = MapNotification(V2(trap, {{{1, 3}, Bytes(ValueType::OctetString, text)}}));
    EXPECT_EQ(longRow->EventDescription + longRow->Event_ExtDescr, "1.3 = " + text);
    EXPECT_LE(longRow->EventDescription.size(), kDescriptionBytes);
    EXPECT_NE(static_cast<unsigned char>(longRow->Event_ExtDescr[0]) & 0xC0, 0x80);
  }
}

TEST(ValueTextTest, ValuesAndNamesAreReadableAndOctetsAreTextOnlyWhenTheyCanBePrinted) {
  const std::pair<Value, const char*> values[] = {
      {Count(ValueType::Counter64, std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {Count(ValueType::TimeTicks, 4294967295), "497d 02:27:52.95"},
      {Bytes(ValueType::IpAddress, {10, 0, 0, static_cast<char>(255)}), "10.0.0.255"},
      {Bytes(ValueType::IpAddress, "xyz"), "hex 78 79 7A"},
      {{}, "null"},
  };
  for (const auto& [value, text] : values) EXPECT_EQ(ValueText(value), text);
  for (const std::string& text :
       {""s, "it's \"quoted\" <b>%s</b> $(x)\r\n\tand a tab"s, "Größe \xE2\x9D\x84 \xF0\x9F\x94\xA5"s}) {
    EXPECT_EQ(ValueText(Bytes(ValueType::OctetString, text)), text);
    EXPECT_EQ(ValueText(Bytes(ValueType::OctetString, "in C's way" + text + "\0\0"s)), "in C's way" + text);
  }
  // Controls of one and two bytes, NULs, no UTF-8, cut off, overlong, a surrogate, beyond Unicode.
  for (const char* hex : {"1B 5B 32 4A", "7F", "C2 9B", "00", "61 00 62", "FF", "C3", "C0 AF", "E0 80 80",
                          "F0 8F BF BF", "ED A0 80", "F4 90 80 80"}) {
    std::istringstream words(hex);
    std::string bytes;
    for (int byte = 0; words >> std::hex >> byte;) bytes += static_cast<char>(byte);
    EXPECT_EQ(ValueText(Bytes(ValueType::OctetString, bytes)), std::string("hex ") + hex);
  }
  const std::pair<Oid, const char*> names[] = {
      {{1, 3, 6, 1, 2, 1, 15, 3, 1, 7, 192, 0, 2, 1}, "bgpPeerRemoteAddr.192.0.2.1"},
      {{1, 3, 6, 1, 2, 1, 2, 2, 1, 2}, "ifDescr"},
      {{1, 3, 6, 1, 2, 1, 2, 2, 1, 99, 1}, "1.3.6.1.2.1.2.2.1.99.1"},
  };
  for (const auto& [oid, text] : names) EXPECT_EQ(ObjectText(oid), text);
}

}  // namespace
}  // namespace korvane::receiver
