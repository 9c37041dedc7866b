// Alerts: which traps they are about, how often they act, and each kind of action against a real counterpart.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Counterparts.h"
#include "common/RegistryValues.h"
#include "receiver/alerts/ActionLane.h"
#include "receiver/alerts/AlertLimiter.h"
#include "receiver/alerts/AlertRules.h"
#include "receiver/alerts/AlertRunner.h"
#include "receiver/alerts/BeepAction.h"
#include "receiver/alerts/ChildRun.h"
#include "receiver/alerts/MailAction.h"
#include "receiver/alerts/MessageAction.h"
#include "receiver/alerts/ProgramAction.h"
#include "support/FakePlatform.h"
#include "support/Processes.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane::receiver {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TrapRow LinkDown(std::string source = "10.0.0.1") {
  return {.EventTime = 1'700'000'000,
          .Source = std::move(source),
          .EnterpriseOid = "1.3.6.1.4.1.99",
          .GenericTrap = 2,
          .SpecificTrap = 0,
          .EventDescription = "ifIndex=3; if",
          .Event_ExtDescr = "Descr=Eth0"};
}

std::shared_ptr<AlertFiring> Firing(AlertRule rule, TrapRow trap = LinkDown()) {
  rule.Description = "Line down";
  auto firing = std::make_shared<AlertFiring>();
  firing->Rule = std::make_shared<const AlertRule>(std::move(rule));
  firing->Trap = std::move(trap);
  firing->TrapName = "linkDown";
  firing->EnterpriseName = "Acme";
  return firing;
}

TEST(AlertRulesTest, EveryConditionThatIsSetMustHold) {
  struct Case {
    const char* Name;
    void (*Change)(AlertRule&);
    bool Matches;
  };
  const Case cases[] = {
      {"nothing set", [](AlertRule&) {}, true},
      {"generic", [](AlertRule& r) { r.GenericTrap = 2; }, true},
      {"another generic", [](AlertRule& r) { r.GenericTrap = 0; }, false},
      {"source in other letters", [](AlertRule& r) { r.Source = "10.0.0.1"; }, true},
      {"part of the source", [](AlertRule& r) { r.Source = "10.0.0"; }, false},
      {"enterprise", [](AlertRule& r) { r.EnterpriseOid = "1.3.6.1.4.1.99"; }, true},
      {"enterprise as some definitions have it", [](AlertRule& r) { r.EnterpriseOid = "1.3.6.1.4.1.99.0"; },
       true},
      {"its child", [](AlertRule& r) { r.EnterpriseOid = "1.3.6.1.4.1.99.1"; }, false},
      {"its parent", [](AlertRule& r) { r.EnterpriseOid = "1.3.6.1.4.1"; }, false},
      {"specific", [](AlertRule& r) { r.SpecificTrap = 7; }, false},
      {"bindings across both columns",
       [](AlertRule& r) { r.VarBinds = CaseInsensitiveNeedle("IFDESCR=eth0"); }, true},
      {"other bindings", [](AlertRule& r) { r.VarBinds = CaseInsensitiveNeedle("eth1"); }, false},
  };
  for (const Case& c : cases) {
    AlertRule rule;
    c.Change(rule);
    EXPECT_EQ(AlertMatches(rule, LinkDown()), c.Matches) << c.Name;
  }
}

TEST(AlertLimiterTest, AStormActsAFewTimesAndIsSummedUp) {
  AlertLimiter limiter({.MostInAPeriod = 3, .Period = seconds(60)});
  const AlertLimiter::Time start{};
  int acted = 0;
  for (int i = 0; i < 1000; ++i) {
    acted += limiter.Admit(1, start + milliseconds(i * 10)) ? 1 : 0;
  }
  EXPECT_EQ(acted, 3);
  EXPECT_TRUE(limiter.Admit(2, start)) << "another alert has its own count";
  EXPECT_THAT(limiter.Due(start + seconds(59)), IsEmpty());
  auto due = limiter.Due(start + seconds(60));
  ASSERT_EQ(due.size(), 1U);
  EXPECT_EQ(due[0].AlertId, 1);
  EXPECT_EQ(due[0].Suppressed, 997U);

  EXPECT_FALSE(limiter.Admit(1, start + seconds(61))) << "the storm goes on";
  due = limiter.Due(start + seconds(120));
  ASSERT_EQ(due.size(), 1U);
  EXPECT_EQ(due[0].Suppressed, 1U);
  EXPECT_THAT(limiter.Due(start + seconds(180)), IsEmpty());
  EXPECT_TRUE(limiter.Admit(1, start + seconds(181))) << "after the storm it acts at once again";
}

// --- the runner over a real store

// The machine's registry may be used from any thread, the fake one may not.
class LockedRegistry : public platform::RegistryStore {
 public:
  LockedRegistry() { registry_.AddKey(kManagerKey); }
  std::optional<platform::RegistryData> QueryValue(platform::RegistryHive hive, std::string_view keyPath,
                                                   std::string_view valueName, std::uint32_t accessMask,
                                                   std::size_t maxBytes) override {
    const std::lock_guard lock(mutex_);
    return registry_.QueryValue(hive, keyPath, valueName, accessMask, maxBytes);
  }
  bool SetDword(platform::RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                std::uint32_t value, std::uint32_t accessMask) override {
    const std::lock_guard lock(mutex_);
    return registry_.SetDword(hive, keyPath, valueName, value, accessMask);
  }
  std::optional<std::uint32_t> ActionUpdate() {
    const std::lock_guard lock(mutex_);
    return registry_.Dword(kManagerKey, kActionUpdateValue);
  }

 private:
  std::mutex mutex_;
  test::FakeRegistry registry_;
};

struct AlertRunnerTest : testing::Test {
  ~AlertRunnerTest() override {
    stop_.request_stop();
    if (thread_.joinable()) {
      thread_.join();
    }
  }
  void AddAlert(const std::string& name, std::int32_t generic, const std::string& actions = "1, 1, 2, 1") {
    Store.Execute(fmt::format("INSERT INTO Trap_Detail (GenericTrap) VALUES ({})", generic));
    Store.Execute(fmt::format("INSERT INTO Trap_Action_Group (Description, Trap_ID) VALUES ('{}', {})", name,
                              Store.Number("SELECT MAX(Trap_Table_ID) FROM Trap_Detail")));
    Store.Execute(fmt::format(
        "INSERT INTO Trap_Notification_Master (Trap_Group_ID, Beep_ID, Email_ID, Message_ID, Custom_ID) "
        "VALUES ({}, {})",
        Store.Number("SELECT MAX(Trap_Group_ID) FROM Trap_Action_Group"), actions));
  }
  void Run(LimiterOptions limits = {}, std::size_t queueBytes = 1 << 20, std::size_t summaryBytes = 1 << 20) {
    runner_ = std::make_unique<AlertRunner>(
        Store.DataSource(), Registry, Log,
        [this](const std::shared_ptr<const AlertFiring>& firing) {
          const std::lock_guard lock(mutex_);
          fired_.push_back(AlertLine(*firing));
          lastBytes_ = BytesOf(*firing);
        },
        AlertRunnerOptions{.Limits = limits,
                           .QueueBytes = queueBytes,
                           .SummaryBytes = summaryBytes,
                           .AskRegistryEvery = milliseconds(20)});
    thread_ = std::thread([this] { runner_->Run(stop_.get_token()); });
  }
  void Offer(int count, std::size_t bindings = 10) {
    std::vector<SpooledTrap> traps(static_cast<std::size_t>(count));
    for (SpooledTrap& trap : traps) {
      trap.Row = LinkDown();
      trap.Row.Event_ExtDescr.assign(bindings, 'x');
    }
    runner_->Offer(traps);
  }
  std::vector<std::string> Fired() {
    const std::lock_guard lock(mutex_);
    return fired_;
  }
  std::size_t LastBytes() {
    const std::lock_guard lock(mutex_);
    return lastBytes_;
  }
  bool LogHolds(const std::string& words) {
    const std::lock_guard lock(mutex_);
    return std::ranges::any_of(logged_,
                               [&](const std::string& line) { return line.find(words) != line.npos; });
  }

  test::SqliteStore Store;
  LockedRegistry Registry;
  ServiceLog Log{[this](LogLevel, std::string_view line) {
    const std::lock_guard lock(mutex_);
    logged_.emplace_back(line);
  }};

 private:
  std::mutex mutex_;
  std::vector<std::string> fired_;
  std::size_t lastBytes_ = 0;
  std::vector<std::string> logged_;
  std::stop_source stop_;
  std::unique_ptr<AlertRunner> runner_;
  std::thread thread_;
};

TEST_F(AlertRunnerTest, ReadsAlertsAtItsStartAndWhenTheConsoleSaysSo) {
  Store.Execute("INSERT INTO Message_Detail (Destination) VALUES ('pc1')");
  AddAlert("Line down", 2);
  AddAlert("No action", 2, "1, 1, 1, 1");
  AddAlert("Lost action", 2, "9, 1, 2, 1");
  Store.Execute("INSERT INTO Trap_Action_Group (Description, Trap_ID) VALUES ('Lost criteria', 999)");
  Store.Execute(
      "INSERT INTO Trap_Notification_Master (Trap_Group_ID, Message_ID) SELECT MAX(Trap_Group_ID), 2 FROM "
      "Trap_Action_Group");
  Run();
  Offer(1);
  ASSERT_TRUE(test::WaitUntil([&] { return Fired().size() == 2; }));
  EXPECT_THAT(Fired(), ElementsAre("Alert 'Line down': linkDown from 10.0.0.1",
                                   "Alert 'Lost action': linkDown from 10.0.0.1"));
  EXPECT_TRUE(LogHolds("'Lost action' names an action that is not there"));
  EXPECT_TRUE(LogHolds("criteria of the alert 'Lost criteria'"));

  Store.Execute("DELETE FROM Trap_Action_Group");
  AddAlert("New", 2);
  Registry.SetDword(platform::RegistryHive::LocalMachine, kManagerKey, kActionUpdateValue, 1, 0);
  ASSERT_TRUE(test::WaitUntil([&] { return LogHolds("1 alerts are watched"); }));
  EXPECT_EQ(Registry.ActionUpdate(), 0U);
  Offer(1);
  ASSERT_TRUE(test::WaitUntil([&] { return Fired().size() == 3; }));
  EXPECT_EQ(Fired().back(), "Alert 'New': linkDown from 10.0.0.1");
}

TEST_F(AlertRunnerTest, AStoreThatIsAwayAtTheStartOnlyDelaysTheAlerts) {
  Store.Execute("INSERT INTO Message_Detail (Destination) VALUES ('pc1')");
  AddAlert("Line down", 2);
  Store.TakeAway();
  Run({.MostInAPeriod = 2, .Period = seconds(1)});
  Offer(100);
  ASSERT_TRUE(test::WaitUntil([&] { return LogHolds("the alerts can't be read now"); }));
  EXPECT_THAT(Fired(), IsEmpty());
  Store.BringBack();
  ASSERT_TRUE(test::WaitUntil([&] { return Fired().size() == 3; }));
  EXPECT_THAT(Fired().back(), HasSubstr("and 98 more traps"));
}

TEST_F(AlertRunnerTest, LargeTrapsThatWaitAreBoundedInBytes) {
  Store.Execute("INSERT INTO Message_Detail (Destination) VALUES ('pc1')");
  AddAlert("Line down", 2);
  Store.TakeAway();
  Run({.MostInAPeriod = 2, .Period = seconds(1)}, 1 << 20, 16 << 10);
  Offer(100, 100'000);
  Store.BringBack();
  ASSERT_TRUE(test::WaitUntil([&] { return Fired().size() == 3; }));
  EXPECT_TRUE(LogHolds("90 traps came too fast"));
  EXPECT_THAT(Fired().back(), HasSubstr("and 8 more traps"));
  EXPECT_LT(LastBytes(), 17U << 10) << "the newest of a summary is kept in part";
  // What was looked at makes room for others.
  Offer(10, 90'000);
  ASSERT_TRUE(test::WaitUntil([&] { return Fired().size() == 4; }));
  EXPECT_THAT(Fired().back(), HasSubstr("and 10 more traps"));
}

// --- actions

// Does nothing until it is let go.
struct SlowAction : AlertAction {
  SlowAction(std::atomic<bool>& begun, std::promise<void>& go) : Begun(begun), Go(go.get_future().share()) {}
  std::string_view Name() const override { return "slow"; }
  bool Wanted(const AlertRule&) const override { return true; }
  std::string Carry(const AlertFiring&, const std::stop_token&) override {
    Begun = true;
    Go.wait();
    return "done";
  }
  std::atomic<bool>& Begun;
  std::shared_future<void> Go;
};

TEST(ActionLaneTest, WhatWaitsForASlowActionIsBoundedInBytes) {
  std::mutex mutex;
  std::vector<std::string> lines;
  ServiceLog log([&](LogLevel, std::string_view line) {
    const std::lock_guard lock(mutex);
    lines.emplace_back(line);
  });
  const auto done = [&] {
    const std::lock_guard lock(mutex);
    return std::ranges::count_if(lines, [](const std::string& line) { return line.ends_with("done"); });
  };
  std::atomic<bool> begun = false;
  std::promise<void> go;
  ActionLane lane(std::make_unique<SlowAction>(begun, go), log, {.Firings = 200, .Bytes = 1 << 20});
  std::stop_source stop;
  std::thread thread([&] { lane.Run(stop.get_token()); });
  TrapRow large = LinkDown();
  large.Event_ExtDescr.assign(100'000, 'x');
  TrapRow huge = LinkDown();
  huge.Event_ExtDescr.assign(2 << 20, 'x');
  lane.Add(Firing({}, huge));  // alone, so it fits
  ASSERT_TRUE(test::WaitUntil([&] { return begun.load(); }));
  for (int i = 0; i < 50; ++i) lane.Add(Firing({}, large));
  go.set_value();
  ASSERT_TRUE(test::WaitUntil([&] { return done() == 1; }));
  lane.Add(Firing({}, large));  // there is room again
  EXPECT_TRUE(test::WaitUntil([&] { return done() == 2; }));
  stop.request_stop();
  thread.join();
  EXPECT_THAT(lines, testing::Contains(HasSubstr("50 times slow was asked for")));
}

TEST(AlertActionsTest, AProgramGetsTheTrapAsArgumentsAndNothingIsRunByAShell) {
  const test::TempFolder folder;
  const std::string script = (folder / "my tool").string();
  test::WriteFile(script,
                  fmt::format("#!/bin/sh\nfor a in \"$@\"; do printf '[%s]\\n' \"$a\"; done > {}/out\n",
                              folder.Path().string()));
  std::filesystem::permissions(script, std::filesystem::perms(0700));
  AlertRule rule;
  rule.Program = script;
  TrapRow trap = LinkDown("$(reboot); \"x\"");
  ProgramAction action(seconds(10));
  EXPECT_EQ(action.Carry(*Firing(rule, trap), {}), "");
  EXPECT_EQ(test::ReadFile(folder / "out"), "[$(reboot); \"x\"]\n[1.3.6.1.4.1.99]\n[]\n[2]\n[linkDown]\n");

  rule.Program = "/no/such/program";
  EXPECT_THAT(action.Carry(*Firing(rule), {}), HasSubstr("can't be started"));
}

TEST(AlertActionsTest, AProgramThatHangsOrNeverStopsTalkingIsEndedWithItsChildren) {
  const test::TempFolder folder;
  const std::string script = (folder / "hang").string();
  test::WriteFile(script,
                  fmt::format("#!/bin/sh\nsleep 600 &\necho $! > {}/child\nyes\n", folder.Path().string()));
  std::filesystem::permissions(script, std::filesystem::perms(0700));
  EXPECT_THAT(RunChild({.File = script, .Longest = milliseconds(300)}, {}),
              HasSubstr("was not done in 300 ms"));
  const pid_t child = std::stoi(test::ReadFile(folder / "child"));
  EXPECT_TRUE(test::WaitUntil([&] {
    const std::string status = test::ReadFile(fmt::format("/proc/{}/stat", child));
    return status.empty() || status.find(") Z") != status.npos;
  }));
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THAT(RunChild({.File = script, .Longest = seconds(600)}, stop.get_token()),
              HasSubstr("receiver stops"));
}

TEST(AlertActionsTest, TheBeepIsASoundOfTheRightLength) {
  const std::string sound = BeepSound({.Count = 3, .Duration = 1, .Delay = 2, .Frequency = 440});
  EXPECT_THAT(sound, StartsWith("RIFF"));
  EXPECT_EQ(sound.size(), 44U + (3 * 1 + 2 * 2) * 16'000 * 2);
  EXPECT_LE(
      BeepSound({.Count = 2'000'000'000, .Duration = 2'000'000'000, .Delay = -5, .Frequency = -1}).size(),
      44U + 60 * 16'000 * 2);
}

TEST(AlertActionsTest, AMessageIsOneSyslogLine) {
  MessageSink sink;
  AlertRule rule;
  rule.MessageTo = sink.Address();
  TrapRow trap = LinkDown();
  trap.EventDescription = "line\nforged " + std::string(5000, 'x');
  EXPECT_EQ(MessageAction().Carry(*Firing(rule, trap), {}), "");
  const std::string line = sink.Next();
  EXPECT_THAT(line, StartsWith("<132>1 "));
  EXPECT_THAT(line, HasSubstr("Alert 'Line down': linkDown from 10.0.0.1"));
  EXPECT_EQ(line.find('\n'), line.npos);
  EXPECT_LE(line.size(), 2048U);
  rule.MessageTo = "no such machine.invalid";
  EXPECT_THAT(MessageAction().Carry(*Firing(rule), {}), Not(IsEmpty()));
}

AlertRule MailRule(const std::string& server) {
  AlertRule rule;
  rule.Mail = AlertMail{.Server = server,
                        .To = "ops@example.net; night@example.net",
                        .From = "Korvane@example.net",
                        .Subject = "Über\r\nBcc: all@example.net"};
  return rule;
}

TEST(MailActionTest, NoTextOfATrapOrAnOperatorReachesAHeader) {
  TrapRow trap = LinkDown("10.0.0.1\r\nX-Forged: yes\r\n\r\n.");
  trap.EventDescription = "☃\r\n.\r\nMAIL FROM:<x>";
  const std::string message = MailMessage(*Firing(MailRule("mail"), trap), 1'700'000'000);
  EXPECT_THAT(message, HasSubstr("Date: Tue, 14 Nov 2023 22:13:20 +0000\r\n"));
  EXPECT_THAT(message, HasSubstr("To: ops@example.net,\r\n night@example.net\r\n"));
  const std::string headers = message.substr(0, message.find("\r\n\r\n"));
  EXPECT_THAT(headers, Not(HasSubstr("Forged")));
  EXPECT_THAT(headers, Not(HasSubstr("\nBcc")));
  for (std::size_t at = 0; at < message.size();) {
    const std::size_t end = message.find("\r\n", at);
    ASSERT_NE(end, message.npos);
    EXPECT_LE(end - at, 78U);
    EXPECT_NE(message[at], '.');
    at = end + 2;
  }
  EXPECT_THAT(MailAddresses("a@b, <c@d> e@f\r\nRCPT"), ElementsAre("a@b", "e@f", "RCPT"));
  EXPECT_EQ(SmtpUrl("mail.example.net"), "smtp://mail.example.net:25");
  EXPECT_EQ(SmtpUrl("[::1]:2525"), "smtp://[::1]:2525");
  EXPECT_EQ(SmtpUrl("evil/../x@y"), std::nullopt);
}

// A server that takes a connection, gives one of its replies to each command, and then closes or is silent.
class OddServer {
 public:
  explicit OddServer(std::vector<std::string> replies, bool thenClose) {
    listening_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listening_, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listening_, 1) != 0) {
      throw std::runtime_error("no port for the server");
    }
    getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &length);
    Name = fmt::format("127.0.0.1:{}", ntohs(address.sin_port));
    thread_ = std::thread([this, replies = std::move(replies), thenClose] {
      const int talking = accept(listening_, nullptr, nullptr);
      char command[1024];
      for (std::size_t i = 0; i < replies.size(); ++i) {
        if (i > 0 && recv(talking, command, sizeof command, 0) <= 0) break;
        [[maybe_unused]] const ssize_t sent =
            send(talking, replies[i].data(), replies[i].size(), MSG_NOSIGNAL);
      }
      while (!thenClose && recv(talking, command, sizeof command, 0) > 0) {
      }
      close(talking);
    });
  }
  ~OddServer() {
    shutdown(listening_, SHUT_RDWR);
    close(listening_);
    thread_.join();
  }
  std::string Name;

 private:
  int listening_ = -1;
  std::thread thread_;
};

TEST(MailActionTest, AServerThatHangsRefusesOrClosesIsAFailureInTime) {
  MailAction action({.Connect = seconds(1), .Whole = seconds(1)});
  EXPECT_THAT(action.Carry(*Firing(MailRule("127.0.0.1:1")), {}), HasSubstr("smtp://127.0.0.1:1"));
  const std::vector<std::string> toTheMail = {"220 mail\r\n", "250 mail\r\n", "250 from\r\n",
                                              "250 to\r\n",   "250 to\r\n",   "354 go on\r\n"};
  struct Case {
    const char* Name;
    std::vector<std::string> Replies;
    bool ThenClose;
  };
  const Case cases[] = {{"hangs", {}, false},
                        {"refuses", {"554 go away\r\n"}, true},
                        {"closes within its greeting", {"220 "}, true},
                        {"refuses the sender", {"220 mail\r\n", "250 mail\r\n", "550 who?\r\n"}, false},
                        {"closes in the middle of the mail", toTheMail, true},
                        {"never says that it has the mail", toTheMail, false}};
  for (const Case& c : cases) {
    const OddServer server(c.Replies, c.ThenClose);
    EXPECT_THAT(action.Carry(*Firing(MailRule(server.Name)), {}), HasSubstr(server.Name)) << c.Name;
  }
  AlertRule rule = MailRule("127.0.0.1:25");
  rule.Mail->From = "";
  EXPECT_THAT(action.Carry(*Firing(rule), {}), HasSubstr("no addresses"));
  const OddServer mute({}, false);
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THAT(MailAction().Carry(*Firing(MailRule(mute.Name)), stop.get_token()), Not(IsEmpty()));
}

}  // namespace
}  // namespace korvane::receiver
