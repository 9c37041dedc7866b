// The whole receiver as a process: real senders, a real store, signals and bad weather.

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Counterparts.h"
#include "Running.h"
#include "support/TestStore.h"

namespace korvane::receiver {
namespace {

using std::chrono::milliseconds;
using Words = std::vector<std::string>;

constexpr std::string_view kUsers =
    "createUser both SHA-256 authpass1 AES privpass1\n"
    "createUser open\n"
    "createUser -e 0x8000000001020399 bound MD5 authpass1 DES privpass1\n";

class Live : public testing::Test {
 protected:
  ~Live() override {
    receiver_.End(SIGTERM);
    EXPECT_FALSE(receiver_.OwnLeaks()) << receiver_.Log();
  }

  std::int32_t Rows(const std::string& condition = "1 = 1") {
    return store_.Number("SELECT COUNT(*) FROM EventTrap WHERE " + condition);
  }
  bool RowsBecome(std::int32_t count, const std::string& condition = "1 = 1") {
    return test::WaitUntil([&] { return Rows(condition) >= count; }) && Rows(condition) == count;
  }
  static Words Joined(Words a, const Words& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
  }
  // snmptrap or snmpinform with v3 options and a coldStart-like trap whose one text is given.
  int SendV3(const char* program, const Words& security, const std::string& text) {
    Words command = {program, "-Ln", "-v", "3", "-r", "1", "-t", "1"};
    command = Joined(command, security);
    return RunCommand(
        Joined(command, {receiver_.Address(), "", "1.3.6.1.4.1.99.0.7", "1.3.6.1.4.1.99.1", "s", text}));
  }
  int SendV2(const char* program, const std::string& to, const std::string& text) {
    return RunCommand({program, "-Ln", "-v", "2c", "-c", "public", "-r", "1", "-t", "1", to, "",
                       "1.3.6.1.4.1.99.0.7", "1.3.6.1.4.1.99.1", "s", text});
  }

  test::SqliteStore store_;
  RunningReceiver receiver_{kUsers};
};

const Words kBoth = {"-l", "authPriv",  "-u", "both", "-a", "SHA-256",
                     "-A", "authpass1", "-x", "AES",  "-X", "privpass1"};

TEST_F(Live, EveryVersionArrivesAndWhatMayNotIsCounted) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  EXPECT_EQ(RunCommand({"snmptrap", "-Ln", "-v", "1", "-c", "public", receiver_.Address(), "1.3.6.1.4.1.99",
                        "10.9.8.7", "6", "7", "", "1.3.6.1.4.1.99.1", "s", "one"}),
            0);
  EXPECT_EQ(SendV2("snmptrap", receiver_.Address(), "two"), 0);
  EXPECT_EQ(SendV2("snmpinform", receiver_.Address6(), "three"), 0);
  EXPECT_EQ(SendV3("snmpinform", kBoth, "four"), 0);
  Words trap = kBoth;
  trap.insert(trap.end(), {"-e", "0x80000000010203AA"});
  EXPECT_EQ(SendV3("snmptrap", trap, "five"), 0) << "a user for any engine";
  EXPECT_EQ(SendV3("snmptrap", trap, "six"), 0);
  const Words bound = {"-l",        "authPriv", "-u",  "bound", "-a",        "MD5", "-A",
                       "authpass1", "-x",       "DES", "-X",    "privpass1", "-e",  "0x8000000001020399"};
  EXPECT_EQ(SendV3("snmptrap", bound, "seven"), 0);
  EXPECT_EQ(SendV3("snmptrap", {"-l", "noAuthNoPriv", "-u", "open", "-e", "0x80000000010203BB"}, "eight"), 0);
  ASSERT_TRUE(RowsBecome(8)) << receiver_.Log();
  int number = 0;
  for (const char* text : {"one", "two", "three", "four", "five", "six", "seven", "eight"}) {
    EXPECT_EQ(Rows(fmt::format("SequenceNumber = {} AND EventDescription = '1.3.6.1.4.1.99.1 = {}' AND "
                               "EnterpriseOid = '1.3.6.1.4.1.99' AND GenericTrap = 6 AND SpecificTrap = 7",
                               ++number, text)),
              1)
        << text;
  }
  EXPECT_EQ(Rows("Source = '10.9.8.7'"), 1);
  EXPECT_EQ(Rows("Source = '::1'"), 1);
  EXPECT_EQ(Rows("Source = '127.0.0.1'"), 6);

  // Wrong key, unknown user, no key where there must be one, another engine: counted, not stored.
  Words wrong = trap;
  wrong[7] = "authpass2";
  SendV3("snmptrap", wrong, "bad");
  wrong.back() = "0x80000000010203CC";
  SendV3("snmptrap", wrong, "bad");
  SendV3("snmptrap", {"-l", "noAuthNoPriv", "-u", "nobody", "-e", "0x80000000010203BB"}, "bad");
  SendV3("snmptrap", {"-l", "noAuthNoPriv", "-u", "both", "-e", "0x80000000010203AA"}, "bad");
  Words elsewhere = bound;
  elsewhere.back() = "0x80000000010203DD";
  SendV3("snmptrap", elsewhere, "bad");
  ASSERT_TRUE(test::WaitUntil([&] { return receiver_.Counters()["malformed"] >= 5; })) << receiver_.Log();
  EXPECT_NE(SendV3("snmpinform", {"-l", "noAuthNoPriv", "-u", "nobody"}, "bad"), 0) << "must not be answered";
  // The engine whose first message was forged is still learnt from an honest one.
  trap.back() = "0x80000000010203CC";
  EXPECT_EQ(SendV3("snmptrap", trap, "nine"), 0);
  ASSERT_TRUE(RowsBecome(9));
  EXPECT_EQ(receiver_.End(SIGTERM), 0);
  auto counters = receiver_.LastCounters();
  EXPECT_EQ(counters["received"], 9u);
  EXPECT_EQ(counters["stored"], 9u);
  EXPECT_EQ(counters["informs answered"], 2u);
  EXPECT_EQ(counters["waiting"], 0u);

  // A later run is the same engine with more boots: an inform is answered again.
  ASSERT_TRUE(receiver_.Start());
  EXPECT_EQ(SendV3("snmpinform", kBoth, "ten"), 0);
  EXPECT_TRUE(RowsBecome(10));
}

TEST_F(Live, GarbageCostsACounterAndNeverTheProcess) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  PacketSender sender(receiver_.Port());
  std::mt19937 random(20240229);  // NOLINT(bugprone-random-generator-seed): the same packets every time
  const std::string good = V2Trap("a text of some length, so that there is something to break");
  constexpr int kPackets = 3000;
  for (int i = 0; i < kPackets; ++i) {
    std::string packet = good;
    switch (i % 4) {
      case 0:  // noise
        packet.assign(random() % 200, '\0');
        for (char& c : packet) c = static_cast<char>(random());
        break;
      case 1:  // cut off
        packet.resize(random() % packet.size());
        break;
      default:  // some bytes changed
        for (unsigned changes = 1 + random() % 4; changes > 0; --changes) {
          packet[random() % packet.size()] = static_cast<char>(random());
        }
    }
    ASSERT_TRUE(sender.Send(packet));
  }
  ASSERT_TRUE(sender.Send(V2Trap(std::string(65'300, 'y'))));  // the largest a packet can be, about
  // Informs whose last binding has no value, and a length all the same.
  for (const char type : {'\x05', '\x80', '\x81', '\x82'}) {
    const std::string value = {type, '\x01', '\x41'};
    const std::string binding = Ber(0x30, Ber(0x06, "\x2B\x06\x01\x04\x01\x63\x01") + value);
    ASSERT_TRUE(sender.Send(V2Message(NotificationPdu(kInform, 1, binding))));
  }
  ASSERT_TRUE(sender.Send(V2Trap("still here")));
  ASSERT_TRUE(test::WaitUntil([&] { return Rows("EventDescription LIKE '%still here'") == 1; }))
      << receiver_.Log();
  auto counters = receiver_.Counters();
  EXPECT_EQ(counters["received"] + counters["malformed"] + counters["informs repeated"], kPackets + 6u);
  EXPECT_EQ(Rows("LENGTH(EventDescription) + LENGTH(Event_ExtDescr) > 65300"), 1);
  EXPECT_GT(counters["malformed"], kPackets / 2u);
  const std::string log = receiver_.Log();
  EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 30) << log;
  EXPECT_EQ(receiver_.End(SIGTERM), 0);
  EXPECT_EQ(receiver_.LastCounters()["stored"], receiver_.LastCounters()["received"]);
}

TEST_F(Live, InformsWithThousandsOfBindingsTakeLittleMemory) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  PacketSender sender(receiver_.Port());
  const std::string bindings = SmallestBindings(9300);
  constexpr std::uint32_t kInforms = 100;
  for (std::uint32_t id = 1; id <= kInforms; ++id) {
    ASSERT_TRUE(sender.Send(V2Message(NotificationPdu(kInform, id, bindings))));
  }
  EXPECT_TRUE(test::WaitUntil(
      [&] {
        auto counters = receiver_.Counters();
        return counters["informs answered"] + counters["dropped by the kernel"] == kInforms;
      },
      std::chrono::seconds(60)))
      << receiver_.Log();
  while (!sender.Answer().empty()) {
  }
  ASSERT_TRUE(sender.Send(V2Message(NotificationPdu(kInform, 1234, bindings))));
  std::string answer;
  EXPECT_TRUE(test::WaitUntil([&] { return !(answer = sender.Answer()).empty(); }));
  EXPECT_TRUE(answer == V2Message(NotificationPdu(0xA2, 1234, bindings))) << "the same bindings";
  // Eleven megabytes for each as the library holds it, and some hundred for a sanitizer.
  EXPECT_LT(HighestMemory(receiver_.Process()), std::size_t{600} << 20);
}

TEST_F(Live, InventedEnginesDoNotLockOutHonestSenders) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  PacketSender sender(receiver_.Port());
  constexpr int kEngines = 10'100;  // more than are remembered
  for (int i = 0; i < kEngines; ++i) {
    ASSERT_TRUE(sender.Send(
        V3Message("open", fmt::format("\x80{:08}", i), NotificationPdu(kTrap2, 1, SmallestBindings(1)))));
    if (i % 100 == 0) receiver_.Counters();  // at the receiver's pace
  }
  ASSERT_TRUE(test::WaitUntil([&] { return receiver_.Counters()["received"] == kEngines; }))
      << receiver_.Log();
  Words trap = kBoth;
  trap.insert(trap.end(), {"-e", "0x80000000010203AA"});
  EXPECT_EQ(SendV3("snmptrap", trap, "honest"), 0);
  EXPECT_TRUE(test::WaitUntil([&] { return Rows("EventDescription LIKE '%honest'") == 1; }))
      << receiver_.Log();
}

TEST_F(Live, AStoreThatVanishesAndReturnsGetsEveryTrapOnceInOrder) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  constexpr int kTraps = 3000;
  std::thread stream([&] {
    PacketSender sender(receiver_.Port());
    for (int i = 0; i < kTraps; ++i) {
      sender.Send(V2Trap(fmt::format("{:05}", i)));
      if (i % 10 == 0) std::this_thread::sleep_for(milliseconds(5));
    }
  });
  EXPECT_TRUE(test::WaitUntil([&] { return Rows() > 300; }));
  store_.Execute("ALTER TABLE EventTrap RENAME TO Vanished");
  EXPECT_TRUE(test::WaitUntil([&] { return receiver_.Log().find("can't be used") != std::string::npos; }));
  EXPECT_EQ(SendV2("snmpinform", receiver_.Address(), "during"), 0) << "answered from the spool";
  // Also across its own restart.
  receiver_.End(SIGTERM);
  ASSERT_TRUE(receiver_.Start());
  EXPECT_EQ(SendV2("snmpinform", receiver_.Address(), "after"), 0);
  stream.join();
  store_.Execute("ALTER TABLE Vanished RENAME TO EventTrap");
  ASSERT_TRUE(test::WaitUntil([&] { return Rows("EventDescription LIKE '%after'") == 1; }))
      << receiver_.Log();
  ASSERT_TRUE(test::WaitUntil([&] { return receiver_.Counters()["waiting"] == 0; }));
  EXPECT_GT(receiver_.Counters()["spooled"], 0u);
  EXPECT_EQ(Rows("EventDescription LIKE '%during'"), 1);
  // While no receiver ran, packets had nowhere to go; all others are there once, in order.
  EXPECT_EQ(Rows(), store_.Number("SELECT COUNT(DISTINCT EventDescription) FROM EventTrap"));
  EXPECT_GT(Rows(), kTraps / 2);
  EXPECT_EQ(store_.Number("SELECT COUNT(*) FROM EventTrap a WHERE EventDescription LIKE '% = 0%' AND EXISTS "
                          "(SELECT 1 FROM EventTrap b WHERE b.SequenceNumber = a.SequenceNumber + 1 AND "
                          "b.EventDescription LIKE '% = 0%' AND b.EventDescription < a.EventDescription)"),
            0);
}

TEST_F(Live, KilledAtAnyMomentItKeepsEveryAnsweredInformOnce) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  std::atomic<bool> ended = false;
  std::atomic<int> sent = 0;
  std::mutex mutex;
  std::vector<std::string> answered;
  std::vector<std::thread> streams;
  for (int i = 0; i < 4; ++i) {
    streams.emplace_back([&] {
      while (!ended) {
        const std::string text = fmt::format("inform {:04}", ++sent);
        // Repeated over a restart: the copy must not be stored again.
        const int status =
            RunCommand({"snmpinform", "-Ln", "-v", "2c", "-c", "public", "-r", "50", "-t", "0.2",
                        receiver_.Address(), "", "1.3.6.1.4.1.99.0.7", "1.3.6.1.4.1.99.1", "s", text});
        const std::lock_guard lock(mutex);
        if (status == 0) answered.push_back(text);
      }
    });
  }
  std::mt19937 random(7);  // NOLINT(bugprone-random-generator-seed)
  for (int kills = 0; kills < 8; ++kills) {
    std::this_thread::sleep_for(milliseconds(100 + random() % 300));
    EXPECT_EQ(receiver_.End(SIGKILL), -1);
    ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  }
  ended = true;
  for (std::thread& stream : streams) stream.join();
  EXPECT_TRUE(test::WaitUntil([&] { return receiver_.Counters()["waiting"] == 0; }));
  EXPECT_GT(answered.size(), 20u);
  EXPECT_EQ(static_cast<int>(answered.size()), sent) << "every inform gets its answer in the end";
  for (const std::string& text : answered)
    EXPECT_EQ(Rows("EventDescription LIKE '%" + text + "'"), 1) << text;
  EXPECT_EQ(Rows(), static_cast<std::int32_t>(answered.size()));
}

TEST_F(Live, NoCoreDumpHoldsItsPassphrases) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  EXPECT_EQ(receiver_.End(SIGQUIT), -1);
  EXPECT_FALSE(receiver_.DumpedCore());
}

TEST_F(Live, WhatTheKernelDropsIsCounted) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  const std::string packet = V2Trap(std::string(8000, 'x'));
  PacketSender sender(receiver_.Port());
  receiver_.Signal(SIGSTOP);
  std::uint64_t sent = 0;
  // Beyond the largest buffer a socket can have here; two packets of this size take some 20 KiB of it.
  for (; sent < 12'000; ++sent) ASSERT_TRUE(sender.Send(packet));
  receiver_.Signal(SIGCONT);
  ASSERT_TRUE(test::WaitUntil(
      [&] {
        auto counters = receiver_.Counters();
        return counters["received"] + counters["dropped by the kernel"] == sent && counters["waiting"] == 0;
      },
      std::chrono::seconds(60)))
      << receiver_.Log();
  EXPECT_GT(receiver_.LastCounters()["dropped by the kernel"], 0u);
  EXPECT_EQ(receiver_.LastCounters()["received"], static_cast<std::uint64_t>(Rows()));
}

TEST_F(Live, AStoreThatHangsDoesNotHoldUpTheStop) {
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  EXPECT_EQ(SendV2("snmpinform", receiver_.Address(), "before"), 0);
  ASSERT_TRUE(RowsBecome(1));
  store_.Db().BeginTransaction();
  store_.Execute("UPDATE EventTrap SET EventNotes = 'locked'");
  EXPECT_EQ(SendV2("snmpinform", receiver_.Address(), "behind the lock"), 0);
  // In the writer's hands for as long as the engine waits for a lock.
  std::this_thread::sleep_for(milliseconds(400));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(receiver_.End(SIGTERM), 0) << receiver_.Log();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_EQ(receiver_.LastCounters()["waiting"], 1u);
  store_.Db().Commit();
  ASSERT_TRUE(receiver_.Start());
  EXPECT_TRUE(RowsBecome(2));
}

TEST_F(Live, UsersAreReadAgainWhenAllLinesAreGoodAndCheckNamesWhatIsWrong) {
  const std::filesystem::path users = receiver_.Folder() / "users";
  const auto reload = [&](std::string_view words) {
    const std::size_t before = receiver_.Log().size();
    receiver_.Signal(SIGHUP);
    return test::WaitUntil([&] { return receiver_.Log().find(words, before) != std::string::npos; });
  };
  const auto sendAs = [&](const char* user, const char* text) {
    SendV3("snmptrap", {"-l", "noAuthNoPriv", "-u", user, "-e", "0x80000000010203BB"}, text);
  };
  test::WriteFile(users, "createUser open\ncommunity secret\n");
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  EXPECT_TRUE(reload("1 SNMPv3 users, 1 communities"));
  // Whatever is wrong with the file, the old access stays.
  test::WriteFile(users, "createUser later\nnonsense\n");
  EXPECT_TRUE(reload("line 2: unknown word nonsense"));
  EXPECT_TRUE(reload("these stay: 1 SNMPv3 users, 1 communities"));
  std::filesystem::remove(users);
  EXPECT_TRUE(reload("No such file"));
  SendV2("snmptrap", receiver_.Address(), "not of this community");
  sendAs("later", "not yet");
  ASSERT_TRUE(test::WaitUntil([&] { return receiver_.Counters()["malformed"] == 2; })) << receiver_.Log();
  sendAs("open", "x");
  EXPECT_TRUE(RowsBecome(1));

  test::WriteFile(users, "createUser later\n");
  EXPECT_TRUE(reload("1 SNMPv3 users, any community"));
  sendAs("later", "y");
  EXPECT_TRUE(RowsBecome(2));
  sendAs("open", "z");
  EXPECT_TRUE(test::WaitUntil([&] { return receiver_.Counters()["malformed"] == 3; }));
  EXPECT_EQ(Rows(), 2);
  test::WriteFile(users, "createUser later\nnonsense\n");

  // A second one on the same spool gives up, and --check tells what is wrong.
  setenv("KORVANE_REGISTRY", receiver_.RegistryFile().c_str(), 1);
  setenv("LSAN_OPTIONS", "exitcode=0", 1);
  EXPECT_EQ(RunCommand({KVRECEIVER}), 1);
  EXPECT_EQ(RunCommand({KVRECEIVER, "--check"}), 1);
  test::WriteFile(receiver_.Folder() / "users", "createUser later\n");
  EXPECT_EQ(RunCommand({KVRECEIVER, "--check"}), 0);
  EXPECT_EQ(RunCommand({KVRECEIVER, "--unknown"}), 2);
  unsetenv("KORVANE_REGISTRY");
}

TEST(LiveAlerts, ATrapSendsAMailAndStartsAProgramAndOldTrapsGo) {
  test::SqliteStore store;
  const test::TempFolder folder;
  const MailSink sink(folder / "mails");
  ASSERT_TRUE(test::WaitUntil([&] { return sink.Listens(); }));
  test::WriteFile(folder / "note",
                  fmt::format("#!/bin/sh\necho \"$1 $2 $4 $5\" >> {}/noted\n", folder.Path().string()));
  std::filesystem::permissions(folder / "note", std::filesystem::perms(0700));
  store.AddTrap({.EventTime = 1000});
  const std::vector<std::string> statements = {
      "INSERT INTO Trap_Detail (GenericTrap, EventDescription) VALUES (6, 'DISK full')",
      fmt::format("INSERT INTO Email_Detail (Smtp_Server, Email_To, Email_From, Subject) VALUES ('{}', "
                  "'ops@example.net', 'Korvane@example.net', 'Korvane')",
                  sink.Address()),
      fmt::format("INSERT INTO Custom_Action_Detail (Custom_Action_File) VALUES ('{}')",
                  (folder / "note").string()),
      "INSERT INTO Trap_Action_Group (Description, Trap_ID) VALUES ('Disks', 1)",
      "INSERT INTO Trap_Notification_Master (Trap_Group_ID, Email_ID, Custom_ID) VALUES (1, 2, 2)"};
  for (const std::string& statement : statements) {
    store.Execute(statement);
  }

  RunningReceiver receiver("", "\"KVPurgeFreqDays\"=dword:00000001\n\"KVActionUpdate\"=dword:00000001\n");
  ASSERT_TRUE(receiver.Start()) << receiver.Log();
  EXPECT_TRUE(
      test::WaitUntil([&] { return receiver.Log().find("nothing confirms it") != std::string::npos; }));
  EXPECT_EQ(store.Number("SELECT COUNT(*) FROM EventTrap"), 1) << "the clock may be ahead";
  receiver.Signal(SIGUSR2);
  EXPECT_TRUE(test::WaitUntil([&] { return store.Number("SELECT COUNT(*) FROM EventTrap") == 0; }))
      << "a trap of 1970 is older than a day\n"
      << receiver.Log();
  const auto send = [&](const char* text) {
    return RunCommand({"snmptrap", "-Ln", "-v", "2c", "-c", "public", receiver.Address(), "",
                       "1.3.6.1.4.1.99.0.7", "1.3.6.1.4.1.99.1", "s", text});
  };
  EXPECT_EQ(send("all is well"), 0);
  EXPECT_EQ(send("the disk FULL of ☃"), 0);
  EXPECT_TRUE(test::WaitUntil([&] { return !test::ReadFile(folder / "noted").empty(); })) << receiver.Log();
  EXPECT_EQ(test::ReadFile(folder / "noted"), "127.0.0.1 1.3.6.1.4.1.99 6 1.3.6.1.4.1.99.0.7\n");
  EXPECT_TRUE(test::WaitUntil([&] { return sink.Mails().find("END MESSAGE") != std::string::npos; }))
      << receiver.Log();
  EXPECT_NE(sink.Mails().find("To: ops@example.net"), std::string::npos);
  EXPECT_EQ(store.Number("SELECT COUNT(*) FROM EventTrap"), 2);
  EXPECT_NE(test::ReadFile(receiver.RegistryFile()).find("\"KVActionUpdate\"=dword:00000000"),
            std::string::npos);
  EXPECT_EQ(receiver.End(SIGTERM), 0);
  EXPECT_FALSE(receiver.OwnLeaks()) << receiver.Log();
}

}  // namespace
}  // namespace korvane::receiver
