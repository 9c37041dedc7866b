// Who may send: the file of users and communities; which informs are copies of one another; what reaches the
// log.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Packets.h"
#include "receiver/Configuration.h"
#include "receiver/ServiceLog.h"
#include "receiver/snmp/InformTable.h"
#include "receiver/snmp/LearntEngines.h"
#include "receiver/snmp/Listener.h"
#include "receiver/snmp/MessageHeader.h"
#include "receiver/snmp/SnmpAccess.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

#include "common/RegistryValues.h"

namespace korvane::receiver {
namespace {

TEST(SnmpAccess, GoodLinesAreTakenAndEachBadOneIsNamed) {
  const SnmpAccess access = ParseSnmpAccess(
      "# users\n"
      "createUser plain\n"
      "createUser auth SHA-256 \"a pass phrase\"   # with a comment\r\n"
      "  createUser\tboth MD5 authpass1 AES privpass1\n"
      "createUser -e 0x8000000001020304 both SHA authpass1 DES privpass1\n"
      "community public\n"
      "community \"with blank\"\n"
      "createUser\n"
      "createUser short SHA 1234567\n"
      "createUser odd SHA authpass1 AES\n"
      "createUser other ROT13 authpass1\n"
      "createUser other SHA authpass1 3DES privpass1\n"
      "createUser -e 80000000 other\n"
      "createUser -e 0x80000 other\n"
      "createUser \"quo\\te\"\n"
      "createUser \"open\n"
      "authUser log both\n"
      "community\n"
      "createUser last");
  ASSERT_EQ(access.Users.size(), 5u);
  EXPECT_EQ(access.Users[0].Level(), SecurityLevel::NoAuthNoPriv);
  EXPECT_EQ(access.Users[1].AuthPassphrase, "a pass phrase");
  EXPECT_EQ(access.Users[1].Level(), SecurityLevel::AuthNoPriv);
  EXPECT_EQ(access.Users[4].Name, "last");
  ASSERT_EQ(access.Problems.size(), 11u);
  for (std::size_t i = 0; i < access.Problems.size(); ++i) {
    EXPECT_TRUE(access.Problems[i].starts_with("line " + std::to_string(i + 8) + ": ")) << access.Problems[i];
    EXPECT_EQ(access.Problems[i].find("authpass1"), std::string::npos);
  }
  // An entry for one engine goes before one for any.
  const std::string engine("\x80\0\0\0\1\2\3\4", 8);
  EXPECT_EQ(access.FindUser("both", engine)->PrivProtocol, "DES");
  EXPECT_EQ(access.FindUser("both", "other engine")->PrivProtocol, "AES");
  EXPECT_EQ(access.FindUser("nobody", engine), nullptr);
  EXPECT_TRUE(access.AcceptsCommunity("with blank"));
  EXPECT_FALSE(access.AcceptsCommunity("private"));
  EXPECT_TRUE(ParseSnmpAccess("").AcceptsCommunity("anything"));
}

TEST(SnmpAccess, AFileThatIsNotWhollyReadAdmitsWhatItListsAndNothingElse) {
  const test::TempFolder folder;
  std::filesystem::create_directory(folder / "folder");
  std::filesystem::create_symlink("nowhere", folder / "link");
  test::WriteFile(folder / "empty", "# nobody\n");
  test::WriteFile(folder / "misspelt", "comunity secret\ncreateUser plain\n");
  test::WriteFile(folder / "good", "community secret\n");
  test::WriteFile(folder / "long", std::string(2 << 20, '\n'));
  struct Case {
    const char* File;
    const char* Default;
    std::size_t Problems;
    const char* Summary;
  };
  const Case cases[] = {{"none", "none", 0, "0 SNMPv3 users, any community"},
                        {"none", "other", 1, "0 SNMPv3 users, no community"},
                        {"link", "link", 1, "0 SNMPv3 users, no community"},
                        {"folder", "folder", 1, "0 SNMPv3 users, no community"},
                        {"long", "long", 1, "0 SNMPv3 users, no community"},
                        {"misspelt", "misspelt", 1, "1 SNMPv3 users, no community"},
                        {"good", "other", 0, "0 SNMPv3 users, 1 communities"},
                        {"empty", "other", 0, "0 SNMPv3 users, any community"}};
  for (const Case& c : cases) {
    const SnmpAccess access = ReadSnmpAccess(folder / c.File, folder / c.Default);
    EXPECT_EQ(access.Problems.size(), c.Problems) << c.File;
    EXPECT_EQ(access.Summary(), c.Summary) << c.File;
    EXPECT_EQ(access.AcceptsCommunity("public"), access.Summary().ends_with("any community")) << c.File;
  }
}

TEST(SnmpAccess, PassphrasesThatOthersMayReadAreAWarning) {
  const test::TempFolder folder;
  test::WriteFile(folder / "users", "createUser auth SHA authpass1\n");
  for (const auto& [mode, warnings] : {std::pair(0600, 0u), {0640, 1u}, {0604, 1u}}) {
    std::filesystem::permissions(folder / "users", std::filesystem::perms(mode));
    EXPECT_EQ(ReadSnmpAccess(folder / "users").Warnings.size(), warnings) << mode;
    EXPECT_EQ(ReadSnmpAccess(folder / "users").Users.size(), 1u) << "it is used all the same";
  }
}

TEST(Configuration, AbsentValuesHaveDefaultsAndListsAreSplit) {
  test::FakeRegistry registry;
  EXPECT_EQ(ReadConfiguration(registry).ListenAddresses, (std::vector<std::string>{"udp:162", "udp6:162"}));
  registry.PutText(kManagerKey, kListenAddressesValue, " udp:127.0.0.1:1162,udp6:[::1]:1162  udp:1163");
  registry.PutText(kManagerKey, kSpoolFolderValue, "/somewhere");
  registry.PutDword(kManagerKey, kSnmpFileValue, 7);
  const Configuration configuration = ReadConfiguration(registry);
  EXPECT_EQ(configuration.ListenAddresses,
            (std::vector<std::string>{"udp:127.0.0.1:1162", "udp6:[::1]:1162", "udp:1163"}));
  EXPECT_EQ(configuration.SpoolFolder, "/somewhere");
  EXPECT_EQ(configuration.SnmpFile, Configuration().SnmpFile);

  for (const char* good : {"udp:162", "udp6:1", "udp:0.0.0.0:65535", "udp6:[::]:162", "udp6:[fe80::1]:162"}) {
    EXPECT_EQ(ListenAddressProblem(good), "") << good;
  }
  for (const char* bad : {"", "162", "tcp:162", "udp:", "udp:0", "udp:65536", "udp:host:162", "udp:1.2.3:162",
                          "udp6:::1:162", "udp6:[::1]", "udp:1.2.3.4:", "udp:162x"}) {
    EXPECT_NE(ListenAddressProblem(bad), "") << bad;
  }
}

TEST(InformTable, OneIsStoredAndTheNewestCopyIsAnsweredOnce) {
  InformTable table({.Memory = std::chrono::seconds(60), .Answered = 2});
  const auto start = std::chrono::steady_clock::now();
  const auto arrive = [&](std::uint64_t key, const char* packet, std::chrono::steady_clock::time_point when) {
    Answer answer = {.Socket = 0, .Peer = "peer", .Packet = packet};
    const auto result = table.Arrived(key, answer, when);
    EXPECT_EQ(!answer.Packet.empty(), result.What == InformTable::Arrival::Answered);
    return result;
  };
  const auto first = arrive(1, "old", start);
  EXPECT_EQ(first.What, InformTable::Arrival::New);
  EXPECT_EQ(arrive(1, "new", start).What, InformTable::Arrival::Waiting);
  EXPECT_EQ(arrive(2, "other", start).What, InformTable::Arrival::New);
  EXPECT_EQ(table.Safe(first.Token, start).value_or(Answer()).Packet, "new");
  EXPECT_FALSE(table.Safe(first.Token, start));
  EXPECT_EQ(arrive(1, "again", start).What, InformTable::Arrival::Answered);
  table.Remember(3, start);
  EXPECT_EQ(arrive(3, "again", start).What, InformTable::Arrival::Answered) << "of an earlier run";
  EXPECT_EQ(arrive(1, "late", start + std::chrono::seconds(61)).What, InformTable::Arrival::New);
}

TEST(InformTable, AnswersAreBoundedInBytesAndWhoWaitsInNumber) {
  InformTable table({.AnswerBytes = 1 << 20, .Waiting = 100});
  const auto now = std::chrono::steady_clock::now();
  const auto arrive = [&](std::uint64_t key) {
    Answer answer = {.Socket = 0, .Peer = {}, .Packet = std::string(50'000, 'x')};
    return table.Arrived(key, answer, now);
  };
  for (std::uint64_t key = 1; key <= 99; ++key) {
    for (int copy = 0; copy < 16; ++copy) arrive(key);
    ASSERT_LE(table.AnswerBytes(), 1u << 20);
    ASSERT_TRUE(table.HasRoom());
  }
  EXPECT_EQ(arrive(1).What, InformTable::Arrival::Waiting) << "let go, but known";
  arrive(100);
  EXPECT_FALSE(table.HasRoom());
  EXPECT_GE(table.LetGo(), 79u);
  EXPECT_FALSE(table.Safe(2, now)) << "its answer was the oldest";
  EXPECT_TRUE(table.Safe(100, now));
  EXPECT_EQ(arrive(2).What, InformTable::Arrival::Answered) << "its sender's next copy is";
  EXPECT_TRUE(table.HasRoom());
  for (std::uint64_t token = 1; token <= 99; ++token) table.Safe(token, now);
  EXPECT_LT(table.AnswerBytes(), 100u);
}

TEST(LearntEngines, TheOneHeardLeastLatelyOfAUserIsForgotten) {
  LearntEngines engines(2);
  EXPECT_FALSE(engines.Add("one", "A", {}));
  EXPECT_FALSE(engines.Add("one", "B", {}));
  EXPECT_FALSE(engines.Add("two", "A", {}));
  engines.Renew("one", "A");
  EXPECT_TRUE(engines.Add("one", "C", {.Keys = nullptr, .Clock = {.Boots = 7}}));
  EXPECT_NE(engines.Find("one", "A"), nullptr);
  EXPECT_EQ(engines.Find("one", "B"), nullptr);
  EXPECT_EQ(engines.Find("one", "C")->Clock.Boots, 7u);
  EXPECT_NE(engines.Find("two", "A"), nullptr) << "each user has room of its own";
}

TEST(MessageHeader, NamesTheSenderAndMakesTheResponse) {
  using namespace std::string_literals;
  const std::string trap = NotificationPdu(kTrap2, 1, "");
  const std::string whole = V3Message("user", "engine", trap);
  const auto header = ReadUsmHeader(whole);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->User, "user");
  EXPECT_EQ(header->EngineId, "engine");
  EXPECT_FALSE(ReadUsmHeader(V2Message(trap)));

  const std::string inform = V2Message(NotificationPdu(kInform, 70'000, SmallestBindings(3)));
  const std::string response = V2Message(NotificationPdu(0xA2, 70'000, SmallestBindings(3)));
  EXPECT_EQ(ResponseTo(inform), response);
  EXPECT_EQ(ResponseTo(inform + "more"), response);
  EXPECT_EQ(ResponseTo(V2Message(Ber(kInform, BerNumber(9) + BerNumber(5) + BerNumber(300) + Ber(0x30, "")))),
            V2Message(Ber(0xA2, BerNumber(9) + BerNumber(0) + Ber(0x02, "\0\0"s) + Ber(0x30, ""))));
  EXPECT_EQ(ResponseTo(V2Message(trap)), "");
  // Cut anywhere, whatever the length of the buffer behind it is.
  for (std::size_t length = 0; length < inform.size(); ++length) {
    const std::string cut = inform.substr(0, length);
    EXPECT_EQ(ResponseTo(cut), "");
    const std::string message = whole.substr(0, length);
    ReadUsmHeader(message);
  }
}

TEST(PacedLog, ALineInAWhileSaysHowManyWereLeftOut) {
  std::vector<std::string> written;
  ServiceLog log([&](LogLevel, std::string_view line) { written.emplace_back(line); });
  PacedLog paced(log, std::chrono::seconds(10));
  const auto start = PacedLog::Clock::now();
  const auto warn = [&](int second) {
    paced.Warning([] { return std::string("packet"); }, start + std::chrono::seconds(second));
  };
  for (int i = 0; i < 20'000; ++i) warn(i / 2'000);
  ASSERT_EQ(written.size(), 1u);
  warn(10);
  EXPECT_EQ(written.back(), "packet (19999 more such lines left out before)");
  paced.TellLeftOut();
  warn(11);
  paced.TellLeftOut();
  paced.TellLeftOut();
  ASSERT_EQ(written.size(), 3u);
  EXPECT_EQ(written.back(), "1 more lines about packets left out");
}

TEST(ServiceLog, TextFromTheNetworkCannotForgeALineOrReachATerminal) {
  std::string written;
  ServiceLog log([&](LogLevel, std::string_view line) { written = line; });
  log.Warning("user \x1B[2J\r\nerror: forged\x07 \xC2\x9B \xFF");
  for (const char c : written) EXPECT_GE(static_cast<unsigned char>(c), 0x20) << written;
  EXPECT_EQ(written.find("\xC2\x9B"), std::string::npos);
  EXPECT_EQ(written.find('\xFF'), std::string::npos);
  EXPECT_NE(written.find("error: forged"), std::string::npos);
}

}  // namespace
}  // namespace korvane::receiver
