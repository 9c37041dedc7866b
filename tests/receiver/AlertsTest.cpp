// Alerts: which traps they are about, how often they act, and each kind of action against a real counterpart.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "Counterparts.h"
#include "KeptLog.h"
#include "common/RegistryValues.h"
#include "platform/linux/LinuxPlatform.h"
#include "receiver/alerts/ActionLane.h"
#include "receiver/alerts/AlertRunner.h"
#include "receiver/alerts/BeepAction.h"
#include "receiver/alerts/ChildRun.h"
#include "receiver/alerts/MailAction.h"
#include "receiver/alerts/MessageAction.h"
#include "receiver/alerts/ProgramAction.h"
#include "store/ChangeLog.h"
#include "support/TempFolder.h"
#include "support/TestStore.h"

namespace korvane::receiver {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TrapRow LinkDown(std::string source = "10.0.0.1", std::string moreBindings = "Descr=Eth0") {
  return {.EventTime = 1'700'000'000,
          .Source = std::move(source),
          .EnterpriseOid = "1.3.6.1.4.1.99",
          .GenericTrap = 2,
          .SpecificTrap = 0,
          .EventDescription = "ifIndex=3; if",
          .Event_ExtDescr = std::move(moreBindings)};
}

std::shared_ptr<AlertFiring> Firing(AlertRule rule, TrapRow trap = LinkDown()) {
  rule.Description = "Line down";
  return std::make_shared<AlertFiring>(AlertFiring{.Rule = std::make_shared<const AlertRule>(std::move(rule)),
                                                   .Trap = {.Number = 1, .Row = std::move(trap)},
                                                   .TrapName = "linkDown",
                                                   .EnterpriseName = "Acme"});
}

AlertRule Rule(std::string AlertRule::*what, const std::string& text) {
  AlertRule rule;
  rule.*what = text;
  return rule;
}

// A registry file that nobody can replace: its folder takes no other file.
class LockedRegistry {
 public:
  explicit LockedRegistry(const std::filesystem::path& file) : lock_(file.string() + ".lock") {
    std::filesystem::remove(lock_);
    std::filesystem::create_directory(lock_);
  }
  ~LockedRegistry() { std::filesystem::remove(lock_); }

 private:
  const std::filesystem::path lock_;
};

class AlertRunnerTest : public testing::Test {
 protected:
  AlertRunnerTest() {
    Store.Execute("INSERT INTO Message_Detail (Destination) VALUES ('pc1')");
    AskToReadAgain(0);
  }
  // criteria: generic and specific trap, source, OID and bindings; actions: the keys of beep, mail, message
  // and program.
  void AddAlert(const std::string& name, const std::string& criteria = "2, 0, '', '', ''",
                const std::string& actions = "1, 1, 2, 1") {
    const auto insert = [this](const char* into, const std::string& values) {
      Store.Execute(fmt::format("INSERT INTO {} {}", into, values));
    };
    insert("Trap_Detail (GenericTrap, SpecificTrap, Source_Agent, EnterpriseOid, EventDescription)",
           "VALUES (" + criteria + ")");
    insert("Trap_Action_Group (Description, Trap_ID)",
           "SELECT '" + name + "', MAX(Trap_Table_ID) FROM Trap_Detail");
    insert("Trap_Notification_Master (Trap_Group_ID, Beep_ID, Email_ID, Message_ID, Custom_ID)",
           "SELECT MAX(Trap_Group_ID), " + actions + " FROM Trap_Action_Group");
  }
  void AskToReadAgain(int value) {
    test::WriteFile(RegistryFile,
                    fmt::format("Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\{}]"
                                "\n\"{}\"=dword:0000000{}\n",
                                kManagerKey, kActionUpdateValue, value));
  }
  void Run(AlertRunnerOptions options = {}) {
    options.FollowEvery = options.RememberEvery = milliseconds(20);
    spool_ = std::make_unique<Spool>(Folder / "spool", SpoolOptions{.SegmentBytes = 1 << 20});
    runner_ = std::make_unique<AlertRunner>(
        Store.DataSource(), *registry_, *spool_, Outcomes, Log,
        AlertRunner::Lanes{.Act =
                               [this](const AlertRunner::Firing& firing) {
                                 LastBytes = BytesOf(*firing);
                                 LastText = AlertText(*firing);
                                 Fired.Info(AlertLine(*firing));
                                 Outcomes.Note(*firing, "a message", firing->Test.Id == 0 ? "no route" : "");
                               },
                           .Waiting = [this] { return Waiting; }},
        options);
    thread_ = std::jthread([this](const std::stop_token& stop) { runner_->Run(stop); });
  }
  void StopLooking() { thread_ = {}; }
  void End() {
    StopLooking();
    runner_->RememberForNextRun();
    runner_.reset();
    spool_.reset();
  }
  // As the storing thread does; what is stored while the receiver stops is not offered any more.
  void StoreTraps(std::size_t count, const std::string& source = "machine1",
                  const std::string& bindings = "Descr=Eth0",
                  void (AlertRunner::*tell)(std::span<const SpooledTrap>) = &AlertRunner::Offer) {
    const std::uint64_t before = spool_->LastNumber();
    spool_->Append(std::vector(count, LinkDown(source, bindings)));
    const std::vector<SpooledTrap> traps = spool_->Read(before, count, 1U << 30);
    if (tell != nullptr) (*runner_.*tell)(traps);
    spool_->MarkStored(spool_->LastNumber());
  }
  bool FiredBecome(std::size_t count) {
    return test::WaitUntil([&] { return Fired.Lines().size() == count; });
  }

  const test::TempFolder Folder;
  const std::filesystem::path RegistryFile = Folder / "registry.reg";
  test::SqliteStore Store;
  KeptLog Log, Fired;
  AlertOutcomes Outcomes;
  std::atomic<std::size_t> LastBytes = 0;
  std::string LastText;
  std::vector<std::pair<AlertRunner::Firing, ActionSet>> Waiting;

 private:
  std::unique_ptr<platform::RegistryStore> registry_ = platform::MakeRegistryFile(RegistryFile);
  std::unique_ptr<Spool> spool_;
  std::unique_ptr<AlertRunner> runner_;
  std::jthread thread_;
};

TEST_F(AlertRunnerTest, ReadsAlertsAtItsStartAndWhenTheConsoleSaysSoAndEachConditionMustHold) {
  std::vector<std::string> expected;
  for (const auto& [name, criteria] : {std::pair("Line down", "2, 0, '', '', ''"),
                                       {"Any", "4, 0, '', '', ''"},
                                       {"Source", "-1, 0, 'MACHINE1', '', ''"},
                                       {"As in some definitions", "-1, 0, '', '1.3.6.1.4.1.99.0', ''"},
                                       {"Bindings in both columns", "-1, 0, '', '', 'IFDESCR=eth0'"}}) {
    AddAlert(name, criteria);
    expected.push_back(fmt::format("Alert '{}': linkDown from machine1 (Major)", name));
  }
  for (int number = 0;
       const char* other : {"0, 0, '', '', ''", "-1, 7, '', '', ''", "-1, 0, 'machine', '', ''",
                            "-1, 0, '', '1.3.6.1.4.1.99.1', ''", "-1, 0, '', '', 'eth1'"}) {
    AddAlert(std::to_string(++number), other);
  }
  AddAlert("No action", "2, 0, '', '', ''", "1, 1, 1, 1");
  AddAlert("Lost action", "2, 0, '', '', ''", "9, 1, 2, 1");
  expected.emplace_back("Alert 'Lost action': linkDown from machine1 (Major)");
  AddAlert("Lost criteria");
  Store.Execute("UPDATE Trap_Action_Group SET Trap_ID = 999 WHERE Description = 'Lost criteria'");
  // As another program's table may hold it.
  for (const char* statement : {"CREATE TABLE Loose AS SELECT * FROM Trap_Detail", "DROP TABLE Trap_Detail",
                                "ALTER TABLE Loose RENAME TO Trap_Detail",
                                "UPDATE Trap_Detail SET GenericTrap = NULL, SpecificTrap = NULL, "
                                "Source_Agent = NULL WHERE GenericTrap = 4"}) {
    Store.Execute(statement);
  }
  AddAlert("Off");
  Store.Execute("INSERT INTO Alert_Off SELECT MAX(Trap_Group_ID) FROM Trap_Action_Group");
  Store.AddCategory("Links", std::vector{test::StoredCriterion{.GenericTrap = 2, .Severity = 3}});
  Run();
  StoreTraps(1);
  ASSERT_TRUE(FiredBecome(expected.size()));
  EXPECT_EQ(Fired.Lines(), expected);
  EXPECT_TRUE(Log.Holds("'Lost action' names an action that is not there"));
  EXPECT_TRUE(Log.Holds("criteria of the alert 'Lost criteria'"));

  // By the signal, by the change log, and once only where the signal can't be reset.
  Store.Execute("DELETE FROM Trap_Action_Group");
  AddAlert("New");
  AskToReadAgain(1);
  ASSERT_TRUE(test::WaitUntil(
      [&] { return test::ReadFile(RegistryFile).find("Update\"=dword:00000000\n") != std::string::npos; }));
  StoreTraps(1);
  ASSERT_TRUE(FiredBecome(expected.size() + 1));
  EXPECT_EQ(Fired.Lines().back(), "Alert 'New': linkDown from machine1 (Major)");
  Store.Execute("UPDATE Trap_Action_Group SET Description = 'Newer'");
  store::NoteChange(Store.Db(), store::ChangeKind::Alerts);
  const auto reads = [&] {
    return std::ranges::count_if(Log.Lines(),
                                 [](const auto& line) { return line.find("watched") != line.npos; });
  };
  ASSERT_TRUE(test::WaitUntil([&] { return reads() == 3; }));
  // A test is taken and answered, of an alert that is switched off too.
  Store.Execute("INSERT INTO Alert_Off SELECT Trap_Group_ID FROM Trap_Action_Group");
  store::NoteChange(Store.Db(), store::ChangeKind::Alerts);
  ASSERT_TRUE(test::WaitUntil([&] { return reads() == 4; }));
  Store.Execute(
      "INSERT INTO Alert_Test (Trap_Group_ID, Operator, Machine) SELECT Trap_Group_ID, 'ann', 'pc7' FROM "
      "Trap_Action_Group UNION SELECT 999, 'ann', 'pc7'");
  ASSERT_TRUE(test::WaitUntil([&] {
    return Store.Number(
               "SELECT COUNT(*) FROM Alert_Test WHERE Done = 1 AND Taken_By <> '' AND Result IN "
               "('a message: done\n', 'the alert has no action\n')") == 2;
  }));
  EXPECT_EQ(Fired.Lines().back(), "Test of alert 'Newer', asked for by ann at pc7");
  EXPECT_EQ(Store.Text("SELECT Reason FROM Alert_State", "Reason"), "a message: no route");
  const LockedRegistry locked(RegistryFile);
  AskToReadAgain(1);
  ASSERT_TRUE(test::WaitUntil([&] { return Log.Holds("can't be reset"); }));
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_EQ(reads(), 5) << "not again and again";
}

TEST_F(AlertRunnerTest, EveryStoredTrapIsLookedAtOnceAndTheSpoolHoldsWhatFindsNoRoom) {
  AddAlert("Line down");
  Store.TakeAway();
  const AlertRunnerOptions options{.Limits = {.PerSource = 2, .PerAlert = 3, .Period = seconds(1)},
                                   .QueueBytes = 1 << 20,
                                   .SummaryBytes = 16 << 10};
  Run(options);
  StoreTraps(100, "noisy", std::string(100'000, 'x'));
  StoreTraps(2, "another receiver's", "x", &AlertRunner::PassOver);
  StoreTraps(5, "quiet");
  ASSERT_TRUE(test::WaitUntil([&] { return Log.Holds("the alerts can't be read now"); }));
  EXPECT_TRUE(Fired.Lines().empty());
  Store.BringBack();
  ASSERT_TRUE(FiredBecome(4));
  EXPECT_EQ(Fired.Lines()[2], "Alert 'Line down': linkDown from quiet");
  EXPECT_THAT(Fired.Lines().back(), HasSubstr("and 102 more traps"));
  EXPECT_THAT(LastText, HasSubstr("\n98 from noisy\n4 from quiet\n"));
  EXPECT_LT(LastBytes, 17U << 10) << "the newest of a summary is kept in part";

  // Read again, the rules keep what an alert has counted, and its summary names a real trap.
  StoreTraps(7, "noisy");
  StoreTraps(2, "another receiver's", "x", &AlertRunner::PassOver);
  AskToReadAgain(1);
  ASSERT_TRUE(FiredBecome(5));
  EXPECT_THAT(Fired.Lines().back(), HasSubstr("linkDown from noisy and 7 more traps"));
  // What was stored while it stopped, what was counted and what was still to be done are the next run's.
  StoreTraps(3, "noisy");
  ASSERT_TRUE(test::WaitUntil(
      [&] { return test::ReadFile(Folder / "spool/alerts").find("ing 1 7 3") != std::string::npos; }));
  StopLooking();
  AlertRule rule = Rule(&AlertRule::MessageTo, "pc1");
  rule.Id = 1;
  Waiting = {{Firing(rule, LinkDown("waiting")), kMessageAction}};
  StoreTraps(1, "late", "x", nullptr);
  End();
  Waiting.clear();
  for (const std::size_t fired : {8U, 8U}) {
    Run(options);
    ASSERT_TRUE(FiredBecome(fired)) << fmt::format("{}", fmt::join(Fired.Lines(), "\n"));
    std::this_thread::sleep_for(milliseconds(200));
    End();
  }
  const std::vector<std::string> lines = Fired.Lines();
  EXPECT_THAT(std::vector(lines.begin() + 5, lines.end()),
              ElementsAre(HasSubstr("from noisy and 3 more traps"), HasSubstr("from waiting"),
                          HasSubstr("from late")));
  EXPECT_FALSE(Log.Holds("could not be looked at"));
}

TEST(AlertLimiterTest, InventedSourcesNeitherFillTheTableNorBecomeAStormOfMails) {
  using Time = AlertLimiter::Time;
  const Time start{};
  AlertLimiter limiter(
      {.PerSource = 2, .PerAlert = 20, .Period = seconds(60), .Bytes = 10'000, .SourcesTold = 2});
  int acted = 0;
  for (int i = 0; i < 1000; ++i)
    acted += limiter.Admit(1, fmt::format("10.0.{}.{}", i / 256, i % 256), start);
  EXPECT_EQ(acted, 20);
  EXPECT_TRUE(limiter.Admit(2, "10.9.9.9", start)) << "another alert has a limit of its own";
  for (int i = 0; i < 5; ++i) limiter.Admit(1, "10.0.0.7", start);
  const auto due = limiter.Due(start + seconds(60));
  ASSERT_EQ(due.size(), 1U);
  const AlertSummary& summary = due[0].second;
  EXPECT_EQ(summary.Suppressed, 985U);
  ASSERT_EQ(summary.Sources.size(), 2U);
  EXPECT_EQ(summary.Sources[0], (SourceCount{"10.0.0.7", 5}));
  EXPECT_EQ(summary.OtherTraps, 979U);
  EXPECT_FALSE(limiter.Admit(1, "10.0.0.7", start + seconds(61))) << "a lasting storm: one summary a period";
  EXPECT_TRUE(limiter.Admit(2, "10.9.9.9", start + seconds(61)));
}

class AlertActionsTest : public testing::Test {
 protected:
  AlertRule Script(const std::string& commands) {
    const std::filesystem::path file = folder_ / "my tool";
    test::WriteFile(file, fmt::format("#!/bin/sh\ncd {}\n{}\n", folder_.Path().string(), commands));
    std::filesystem::permissions(file, std::filesystem::perms(0700));
    return Rule(&AlertRule::Program, file);
  }
  const test::TempFolder folder_;
};

TEST_F(AlertActionsTest, WhatWaitsForASlowOneIsBoundedInBytes) {
  KeptLog log;
  const auto done = [&](std::ptrdiff_t count) {
    const auto failed = [](const std::string& line) { return line.ends_with("status 3"); };
    return test::WaitUntil([&] { return count == std::ranges::count_if(log.Lines(), failed); });
  };
  const AlertRule rule = Script("touch begun\nwhile ! test -e go; do sleep 0.05; done\nexit 3");
  AlertOutcomes outcomes;
  const auto report = [&](const AlertFiring& firing, std::string_view action, const std::string& failure) {
    outcomes.Note(firing, action, failure);
  };
  ActionLane lane(std::make_unique<ProgramAction>(), log, report, {.Firings = 200, .Bytes = 1 << 20});
  std::jthread thread([&](const std::stop_token& stop) { lane.Run(stop); });
  lane.Add(Firing(rule, LinkDown("10.0.0.1", std::string(2 << 20, 'x'))));  // alone, so it fits
  ASSERT_TRUE(test::WaitUntil([&] { return std::filesystem::exists(folder_ / "begun"); }));
  const auto large = Firing(rule, LinkDown("10.0.0.1", std::string(100'000, 'x')));
  for (int i = 0; i < 50; ++i) lane.Add(large);
  test::WriteFile(folder_ / "go", "");
  ASSERT_TRUE(done(1));
  lane.Add(large);  // there is room again
  EXPECT_TRUE(done(2));
  EXPECT_TRUE(log.Holds("50 times a program was asked for"));
  EXPECT_TRUE(outcomes.Take().Alerts.at(0).Reason.ends_with("status 3"));
  // What is not done when the receiver stops is left for its next run.
  std::filesystem::remove(folder_ / "go");
  lane.Add(large);
  lane.Add(large);
  thread = {};
  EXPECT_EQ(lane.Waiting().size(), 2U);
}

TEST_F(AlertActionsTest, AProgramGetsTheTrapAsArgumentsAndNothingIsRunByAShell) {
  const AlertRule rule = Script("for a in \"$@\"; do printf '[%s]\\n' \"$a\"; done > out");
  ProgramAction action(seconds(10));
  EXPECT_EQ(action.Carry(*Firing(rule, LinkDown("$(reboot); \"x\"")), {}), "");
  EXPECT_EQ(test::ReadFile(folder_ / "out"), "[$(reboot); \"x\"]\n[1.3.6.1.4.1.99]\n[]\n[2]\n[linkDown]\n");
  const auto summary = Firing(rule);
  summary->Summary = {.Suppressed = 9, .Sources = {{"10.0.0.1", 8}}, .OtherTraps = 1};
  EXPECT_THAT(ProgramArguments(*summary), ElementsAre("10.0.0.1", "1.3.6.1.4.1.99", "", "2", "linkDown",
                                                      "summary", "9", "8=10.0.0.1", "1="));
  EXPECT_THAT(action.Carry(*Firing(Rule(&AlertRule::Program, "/no/such/program")), {}),
              HasSubstr("can't be started"));
}

TEST_F(AlertActionsTest, AProgramThatHangsOrNeverStopsTalkingIsAskedToEndAndEndedWithItsChildren) {
  const AlertRule rule = Script(
      "trap 'echo asked > asked' TERM\n"
      "sh -c 'trap \"\" TERM; echo $$ > child; exec sleep 600' &\nyes");
  EXPECT_THAT(RunChild({.File = rule.Program, .Longest = milliseconds(1000)}, {}),
              HasSubstr("was not done in 1000 ms"));
  EXPECT_EQ(test::ReadFile(folder_ / "asked"), "asked\n");
  const int child = std::stoi(test::ReadFile(folder_ / "child"));
  EXPECT_TRUE(test::WaitUntil([&] {
    const std::string status = test::ReadFile(fmt::format("/proc/{}/stat", child));
    return status.empty() || status.find(") Z") != status.npos;
  }));
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THAT(RunChild({.File = rule.Program, .Longest = seconds(600)}, stop.get_token()),
              HasSubstr("receiver stops"));
}

TEST_F(AlertActionsTest, BeepsAndMessagesAreOfBoundedSizeAndAMessageIsOneSyslogLine) {
  EXPECT_EQ(BeepSound({.Count = 3, .Duration = 1, .Delay = 2, .Frequency = 440}).size(),
            44U + (3 * 1 + 2 * 2) * 16'000 * 2);
  EXPECT_LE(
      BeepSound({.Count = 2'000'000'000, .Duration = 2'000'000'000, .Delay = -5, .Frequency = -1}).size(),
      44U + 60 * 16'000 * 2);
  MessageSink sink;
  TrapRow trap = LinkDown();
  trap.EventDescription = "line\nforged " + std::string(5000, 'x');
  EXPECT_EQ(MessageAction().Carry(*Firing(Rule(&AlertRule::MessageTo, sink.Address()), trap), {}), "");
  const std::string line = sink.Next();
  EXPECT_TRUE(line.starts_with("<132>1 "));
  const auto critical = Firing(Rule(&AlertRule::MessageTo, sink.Address()));
  critical->Severity = 5;
  EXPECT_EQ(MessageAction().Carry(*critical, {}), "");
  EXPECT_TRUE(sink.Next().starts_with("<129>1 "));
  EXPECT_THAT(line, HasSubstr("Alert 'Line down': linkDown from 10.0.0.1"));
  EXPECT_EQ(line.find('\n'), line.npos);
  EXPECT_LE(line.size(), 2048U);
  EXPECT_NE(MessageAction().Carry(*Firing(Rule(&AlertRule::MessageTo, "no such machine.invalid")), {}), "");
}

AlertRule MailRule(const std::string& server, const std::string& subject = "") {
  AlertRule rule;
  rule.Mail = AlertMail{.Server = server,
                        .To = "ops@example.net; night@example.net",
                        .From = "Korvane@example.net",
                        .Subject = subject};
  return rule;
}

TEST(MailActionTest, NoTextOfATrapOrAnOperatorReachesAHeader) {
  TrapRow trap = LinkDown("10.0.0.1\r\nX-Forged: yes\r\n\r\n.");
  trap.EventDescription = "☃\r\n.\r\nMAIL FROM:<x>";
  const auto firing = Firing(MailRule("mail", "Über\r\nBcc: all@example.net"), trap);
  EXPECT_THAT(AlertText(*firing), HasSubstr("Received: 2023-11-14 22:13:20 UTC"));
  EXPECT_THAT(MailMessage(*Firing(MailRule("mail")), 0), HasSubstr("\r\nSubject: Alert 'Line down'"));
  EXPECT_THAT(MailMessage(*Firing(MailRule("mail", "Über")), 0), HasSubstr("\r\nSubject: =?UTF-8?B?"));
  firing->Severity = 3;
  const std::string message = MailMessage(*firing, 1'700'000'000);
  EXPECT_THAT(message, HasSubstr("Importance: high\r\n"));
  EXPECT_THAT(message, HasSubstr("Date: Tue, 14 Nov 2023 22:13:20 +0000\r\n"));
  EXPECT_THAT(message, HasSubstr("To: ops@example.net,\r\n night@example.net\r\n"));
  const std::string headers = message.substr(0, message.find("\r\n\r\n"));
  EXPECT_THAT(headers, HasSubstr("Subject: =?UTF-8?B?w5xiZXLi"));
  EXPECT_TRUE(std::ranges::all_of(headers, [](char c) { return c > 0; })) << headers;
  EXPECT_THAT(headers, Not(ContainsRegex("Forged|\nBcc")));
  for (std::size_t at = 0; at < message.size();) {
    const std::size_t end = message.find("\r\n", at);
    ASSERT_NE(end, message.npos);
    EXPECT_LE(end - at, 78U);
    EXPECT_NE(message[at], '.');
    at = end + 2;
  }
  EXPECT_THAT(MailAddresses("a@b, <c@d> e@f\r\nRCPT"), ElementsAre("a@b", "e@f", "RCPT"));
  EXPECT_EQ(MailServerOf("[::1]:2525", {})->Url, "smtp://[::1]:2525");
  EXPECT_EQ(MailServerOf("evil/../x@y", {}), std::nullopt);
}

// Encryption and login are for the site's server alone, and a password only ever goes encrypted.
TEST(MailActionTest, LogsInEncryptedToTheServerOfTheSiteAndToNoOther) {
  const test::TempFolder folder;
  RunCommand({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj",
              "/CN=localhost", "-addext", "subjectAltName=DNS:localhost", "-keyout", folder / "key", "-out",
              folder / "cert"});
  const std::filesystem::path password = folder / "password";
  test::WriteFile(password, "open sesame\n");
  std::filesystem::permissions(password, std::filesystem::perms(0600));
  for (const MailTls tls : {MailTls::StartTls, MailTls::Tls}) {
    const MailSink sink(folder / "mails", folder.Path(), tls == MailTls::Tls);
    ASSERT_TRUE(test::WaitUntil([&] { return sink.Listens(); }));
    MailAccess access{.Server = sink.Name(),
                      .Tls = tls,
                      .User = "korvane",
                      .PasswordFile = password,
                      .CaFile = folder / "cert"};
    const auto mailed = [&](const MailAccess& with) {
      return MailAction(with, {.Connect = seconds(2), .Whole = seconds(2)})
          .Carry(*Firing(MailRule(sink.Name())), {});
    };
    EXPECT_EQ(mailed(access), "");
    EXPECT_THAT(sink.Mails(), HasSubstr("login korvane open sesame"));
    access.CaFile.clear();
    EXPECT_THAT(mailed(access), HasSubstr("certificate")) << "of nobody we know";
    access.CaFile = folder / "cert";
    access.Server = "another";
    EXPECT_NE(mailed(access), "") << "no login for a server that an alert names";
    access.Server = sink.Name();
    std::filesystem::permissions(password, std::filesystem::perms(0640));
    EXPECT_THAT(mailed(access), testing::AllOf(HasSubstr("chmod 0600"), Not(HasSubstr("sesame"))));
    std::filesystem::permissions(password, std::filesystem::perms(0600));
  }
}

TEST(MailActionTest, AServerThatIsSilentOrAwayIsAFailureInTime) {
  const std::uint16_t port = test::FreePort(AF_INET, SOCK_STREAM);
  const std::string name = fmt::format("127.0.0.1:{}", port);
  MailAction action({}, {.Connect = seconds(1), .Whole = seconds(1)});
  EXPECT_THAT(action.Carry(*Firing(MailRule(name)), {}), HasSubstr(name));
  const LoopbackSocket silent(SOCK_STREAM);
  silent.Bind(port);
  listen(silent.Descriptor(), 9);
  EXPECT_THAT(action.Carry(*Firing(MailRule(name)), {}), HasSubstr(name));
  std::stop_source stop;
  stop.request_stop();
  EXPECT_NE(MailAction().Carry(*Firing(MailRule(name)), stop.get_token()), "");
}

}  // namespace
}  // namespace korvane::receiver
