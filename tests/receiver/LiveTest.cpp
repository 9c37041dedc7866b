// The whole receiver as a process, as far as no part of it can show it: real senders, a real store, signals
// and bad weather.

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "Running.h"
#include "support/TestStore.h"

namespace korvane::receiver {
namespace {

using std::chrono::seconds;
// How something is sent, without and with users: "both" for any engine, "bound" for one.
const std::string kV2 = "-v 2c -c public";
const std::string kOpen = "-v 3 -l noAuthNoPriv -u open";
const std::string kBoth = "-v 3 -l authPriv -u both -a SHA-256 -A authpass1 -x AES -X privpass1";
const std::string kWrong = "-v 3 -l authPriv -u both -a SHA-256 -A authpass2 -x AES -X privpass1";
const std::string kBound = "-v 3 -l authPriv -u bound -a MD5 -A authpass1 -x DES -X privpass1";
const std::string kFrom = " -e 0x80000000010203";  // and the last octet of the engine; else it is asked for

class LiveTest : public testing::Test {
 protected:
  ~LiveTest() override {
    receiver_.End(SIGTERM);
    EXPECT_FALSE(receiver_.OwnLeaks()) << receiver_.Log();
  }

  std::int32_t Rows(const std::string& condition = "1 = 1") {
    return store_.Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
  bool RowsBecome(std::int32_t count) {
    return test::WaitUntil([&] { return Rows() == count; });
  }
  bool Counts(const char* name, std::uint64_t figure) {
    return test::WaitUntil([&] { return receiver_.Counters()[name] == figure; }, seconds(60));
  }
  // By snmptrap or snmpinform; 0 when it was sent, and an inform answered.
  int Send(const std::string& program, const std::string& options, const std::string& text,
           std::string to = "") {
    if (to.empty()) to = receiver_.Address();
    std::istringstream words(fmt::format("{} -Ln -r 1 -t 1 {} {}", program, options, to));
    std::vector<std::string> command{std::istream_iterator<std::string>(words), {}};
    command.insert(command.end(), {"", "1.3.6.1.4.1.99.0.7", "1.3.6.1.4.1.99.1", "s", text});
    return RunCommand(command);
  }

  test::SqliteStore store_;
  RunningReceiver receiver_{
      "createUser both SHA-256 authpass1 AES privpass1\ncreateUser open\n"
      "createUser -e 0x8000000001020399 bound MD5 authpass1 DES privpass1\n",
      "\"KVPurgeFreqDays\"=dword:00000001\n\"KVCaptureMiB\"=dword:00000001\n"};
};

TEST_F(LiveTest, EveryVersionArrivesAndWhatMayNotIsCounted) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  EXPECT_EQ(RunCommand({"snmptrap", "-Ln", "-v", "1", "-c", "public", receiver_.Address(), "1.3.6.1.4.1.99",
                        "10.9.8.7", "6", "7", "", "1.3.6.1.4.1.99.1", "s", "1"}),
            0);
  EXPECT_EQ(Send("snmptrap", kV2, "2"), 0);
  EXPECT_EQ(Send("snmpinform", kV2, "3", receiver_.Address6()), 0);
  EXPECT_EQ(Send("snmpinform", kBoth, "4"), 0);
  EXPECT_EQ(Send("snmptrap", kBoth + kFrom + "AA", "5"), 0) << "a user for any engine";
  EXPECT_EQ(Send("snmptrap", kBound + kFrom + "99", "6"), 0);
  EXPECT_EQ(Send("snmptrap", kOpen + kFrom + "BB", "7"), 0);
  ASSERT_TRUE(RowsBecome(7)) << receiver_.Log();
  EXPECT_EQ(
      Rows("EventDescription = '1.3.6.1.4.1.99.1 = ' || SequenceNumber AND SpecificTrap = 7 AND "
           "EnterpriseOid = '1.3.6.1.4.1.99' AND GenericTrap = 6 AND "
           "Source = CASE SequenceNumber WHEN 1 THEN '10.9.8.7' WHEN 3 THEN '::1' ELSE '127.0.0.1' END"),
      7);

  Send("snmptrap", kWrong + kFrom + "CC", "wrong key");
  Send("snmptrap", "-v 3 -l noAuthNoPriv -u nobody" + kFrom + "BB", "unknown user");
  Send("snmptrap", "-v 3 -l noAuthNoPriv -u both" + kFrom + "AA", "no key where there must be one");
  Send("snmptrap", kBound + kFrom + "DD", "another engine");
  ASSERT_TRUE(Counts("malformed", 4)) << receiver_.Log();
  EXPECT_NE(Send("snmpinform", std::string("-v 3 -l noAuthNoPriv -u nobody"), "bad"), 0)
      << "must not be answered";
  EXPECT_EQ(Send("snmptrap", kBoth + kFrom + "CC", "8"), 0) << "its first message was forged";
  ASSERT_TRUE(RowsBecome(8));
  EXPECT_EQ(receiver_.End(SIGTERM), 0);
  auto counters = receiver_.LastCounters();
  EXPECT_EQ(counters["received"], 8u);
  EXPECT_EQ(counters["stored"], 8u);
  EXPECT_EQ(counters["informs answered"], 2u);

  // A later run is the same engine with more boots: an inform is answered again.
  ASSERT_TRUE(receiver_.Start());
  EXPECT_EQ(Send("snmpinform", kBoth, "9"), 0);
  EXPECT_TRUE(RowsBecome(9));
}

TEST_F(LiveTest, EqualInformsOfOneSenderAreOneAndAStoreThatHangsHoldsUpNoAnswer) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  const std::uint16_t port = test::FreePort(AF_INET);
  PacketSender sender(receiver_.Port(), port);
  PacketSender sameAddress(receiver_.Port());
  PacketSender samePort(receiver_.Port(), port, INADDR_LOOPBACK + 1);
  const std::string inform = V2Message(NotificationPdu(kInform, 7, SmallestBindings(1)));
  for (PacketSender* each : {&sender, &sameAddress, &samePort, &sender}) {
    ASSERT_TRUE(each->Send(inform));
    EXPECT_TRUE(test::WaitUntil([&] { return !each->Next().empty(); })) << receiver_.Log();
  }
  EXPECT_TRUE(Counts("informs repeated", 1));
  // One whose last binding has no value, and a length all the same.
  const std::string odd = Ber(0x30, Ber(0x06, "\x2B\x06\x01\x04\x01\x63\x01") + "\x05\x01\x41");
  ASSERT_TRUE(sender.Send(V2Message(NotificationPdu(kInform, 8, odd))));
  EXPECT_TRUE(Counts("informs answered", 5)) << receiver_.Log();
  ASSERT_TRUE(RowsBecome(4));

  // A store that hangs holds up neither answers nor the stop.
  store_.Db().BeginTransaction();
  store_.Execute("UPDATE EventTrap SET EventNotes = 'locked'");
  EXPECT_EQ(Send("snmpinform", kV2, "behind the lock"), 0);
  // In the writer's hands for as long as the engine waits for a lock.
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(receiver_.End(SIGTERM), 0) << receiver_.Log();
  EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(8)) << "the engine waits longer";
  EXPECT_EQ(receiver_.LastCounters()["waiting"], 1u);
  store_.Db().Commit();
  ASSERT_TRUE(receiver_.Start());
  EXPECT_TRUE(RowsBecome(5));
  ASSERT_TRUE(samePort.Send(inform));  // stored by the run before
  EXPECT_TRUE(test::WaitUntil([&] { return !samePort.Next().empty(); }));
  EXPECT_EQ(receiver_.Counters()["received"], 0u);
}

TEST_F(LiveTest, SignalsHaveUsersReadAgainAndTheClockBelievedAndCheckNamesWhatIsWrong) {
  const std::filesystem::path users = receiver_.Folder() / "users";
  const auto reload = [&](std::string_view lines, std::string_view words) {
    test::WriteFile(users, lines);
    const std::size_t before = receiver_.Log().size();
    receiver_.Signal(SIGHUP);
    return test::WaitUntil([&] { return receiver_.Log().find(words, before) != std::string::npos; });
  };
  store_.AddTrap({.EventTime = 1000});
  const rlimit unlimited{.rlim_cur = RLIM_INFINITY, .rlim_max = RLIM_INFINITY};
  setrlimit(RLIMIT_CORE, &unlimited);
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  EXPECT_EQ(Rows(), 1) << "the clock may be ahead";
  receiver_.Signal(SIGUSR2);
  EXPECT_TRUE(RowsBecome(0)) << "of 1970" << receiver_.Log();

  EXPECT_TRUE(reload("createUser open\ncommunity secret\n", "1 SNMPv3 users, 1 communities"));
  // Whatever is wrong with the file, the old access stays.
  EXPECT_TRUE(reload("createUser later\nnonsense\n", "these stay: 1 SNMPv3 users, 1 communities"));
  Send("snmptrap", kV2, "not of this community");
  ASSERT_TRUE(Counts("malformed", 1)) << receiver_.Log();
  Send("snmptrap", kOpen + kFrom + "BB", "x");
  EXPECT_TRUE(RowsBecome(1));
  EXPECT_TRUE(reload("createUser later\n", "1 SNMPv3 users, any community"));
  Send("snmptrap", "-v 3 -l noAuthNoPriv -u later" + kFrom + "BB", "y");
  EXPECT_TRUE(RowsBecome(2));
  Send("snmptrap", kOpen + kFrom + "BB", "z");
  EXPECT_TRUE(Counts("malformed", 2));

  const auto status = [&](const char* option) {
    std::vector<std::string> command = receiver_.Command();
    command.emplace_back(option);
    return RunCommand(command);
  };
  EXPECT_EQ(status("--foreground"), 1) << "a second one on the same spool";
  EXPECT_EQ(status("--check"), 0);
  test::WriteFile(users, "createUser later\nnonsense\n");
  EXPECT_EQ(status("--check"), 1);
  EXPECT_EQ(receiver_.End(SIGQUIT), -1) << "a core dump would hold passphrases";
}

TEST_F(LiveTest, WhatTheRingHasNoRoomForIsCountedAndToldAndStoringGoesOn) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  PacketSender sender(receiver_.Port());
  const std::string text = Ber(0x06, "\x2B\x06\x01\x04\x01\x63\x01") + Ber(0x04, std::string(60'000, 'x'));
  receiver_.Signal(SIGSTOP);
  const std::time_t before = std::time(nullptr);
  for (std::uint32_t i = 0; i < 100; ++i) {
    ASSERT_TRUE(sender.Send(V2Message(NotificationPdu(kTrap2, i, Ber(0x30, text)))));
  }
  std::this_thread::sleep_until(std::chrono::system_clock::from_time_t(before + 2));
  receiver_.Signal(SIGCONT);
  std::map<std::string, std::uint64_t> counters;
  const auto dropped = [&] { return counters["dropped by a full ring"] + counters["dropped by the kernel"]; };
  ASSERT_TRUE(test::WaitUntil([&] {
    counters = receiver_.Counters();
    return counters["stored"] + dropped() == 100;
  })) << receiver_.Log();
  EXPECT_GT(counters["dropped by a full ring"], 30u);
  EXPECT_EQ(Rows(fmt::format("EventTime <= {}", before + 1)), Rows())
      << "when they came, not when they were read";
  EXPECT_EQ(Send("snmpinform", kV2, "after"), 0);
  EXPECT_EQ(receiver_.End(SIGTERM), 0);
  EXPECT_EQ(Rows(), static_cast<std::int32_t>(101 - dropped()));
  EXPECT_EQ(store_.Number("SELECT Dropped FROM Receiver_Heartbeat"), static_cast<std::int32_t>(dropped()));
  EXPECT_GE(store_.Number("SELECT Dropped_Since FROM Receiver_Heartbeat"), before);
}

}  // namespace
}  // namespace korvane::receiver
