// An alert that an operator adds in its windows, and what the running receiver then does with real traps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "alerts/frmAlerts.h"
#include "platform/linux/LinuxPlatform.h"
#include "receiver/Counterparts.h"
#include "receiver/Running.h"
#include "support/Processes.h"
#include "support/RulesWorld.h"
#include "support/WindowDriver.h"

namespace korvane {
namespace {

using test::Click;
using test::InDialog;
using test::Type;
using testing::HasSubstr;
using testing::StartsWith;

bool Eventually(const std::function<bool()>& condition) {
  return test::WaitUntil(condition, std::chrono::seconds(60));
}

class AlertsFireTest : public testing::Test {
 protected:
  AlertsFireTest() {
    store_.AddDefinition("1.3.6.1.4.1.99", 7, "fanFailed", "acme");
    store_.AddDefinition("1.3.6.1.4.1.99", 8, "fanMended", "acme");
    store_.AddDefinition("1.3.6.1.4.1.77", 7, "doorOpened", "zeta");
    // A player that keeps the sound and then fails, so that there is something to see of a beep.
    WriteScript("aplay", "cat > " + (folder_ / "sound").string() + "\nexit 3\n");
    WriteScript("note", "printf '[%s]' \"$@\" >> " + (folder_ / "noted").string() + "\n");
    setenv("PATH", (folder_.Path().string() + ":" + path_).c_str(), 1);
  }
  ~AlertsFireTest() override {
    receiver_.End(SIGTERM);
    EXPECT_FALSE(receiver_.OwnLeaks()) << receiver_.Log();
    setenv("PATH", path_.c_str(), 1);
  }

  void WriteScript(const char* name, const std::string& commands) {
    test::WriteFile(folder_ / name, "#!/bin/sh\n" + commands);
    std::filesystem::permissions(folder_ / name, std::filesystem::perms(0700));
  }
  bool Logs(const std::string& words) {
    return Eventually([&] { return receiver_.Log().find(words) != std::string::npos; });
  }
  bool Trap(const std::string& oid, const std::string& text) {
    return receiver::RunCommand({"snmptrap", "-Ln", "-v", "2c", "-c", "public", receiver_.Address(), "", oid,
                                 "1.3.6.1.4.1.99.1", "s", text}) == 0;
  }
  static void Tick(QDialog& alert, const char* box, const std::function<void(QDialog&)>& fill) {
    InDialog([&] { Click(alert, box); },
             [&](QDialog& actions) {
               fill(actions);
               Click(actions, "cmdOK");
             });
    EXPECT_TRUE(test::IsChecked(alert, box)) << box;
  }
  void FillIn(QDialog& alert) {
    Type(alert, "txtAlertDesc", "Fans");
    Type(alert, "txtSource", "127.0.0.1");
    test::Choose(alert, "cboEnterprise", "acme");
    test::Choose(alert, "lvTraps", "fanFailed");
    Type(alert, "txtVarBinds", "RACK 3");
    Tick(alert, "chkBeep", [](QDialog& actions) {
      Type(actions, "txtBeepDesc", "two short ones");
      Type(actions, "txtBeepCount", "2");
      Type(actions, "txtDuration", "1");
      Type(actions, "txtFreq", "880");
    });
    Tick(alert, "chkEmail", [&](QDialog& actions) {
      Type(actions, "cboSMTPServer", mails_.Address());
      Type(actions, "cboEmailTo", "ops@example.net");
    });
    Tick(alert, "chkMsg", [&](QDialog& actions) { Type(actions, "cboMsgDest", messages_.Address()); });
    Tick(alert, "chkCustom", [&](QDialog& actions) {
      console_.Prompt.WillAnswerFiles({(folder_ / "note").string()});
      Click(actions, "cmdBrowse");
    });
    Click(alert, "cmdOK");
  }

  const std::string path_ = std::getenv("PATH");
  const test::TempFolder folder_;
  const receiver::MailSink mails_{folder_ / "mails"};
  receiver::MessageSink messages_;
  test::SqliteStore store_;
  receiver::RunningReceiver receiver_{""};
  std::unique_ptr<platform::RegistryStore> registry_ =
      platform::MakeRegistryFile(receiver_.RegistryFile().string());
  test::RulesWorld console_{store_};
};

TEST_F(AlertsFireTest, WithAllFourActionsAndForTheirTrapsOnly) {
  ASSERT_TRUE(Eventually([&] { return mails_.Listens(); }));
  ASSERT_TRUE(receiver_.Start()) << receiver_.Log();
  ASSERT_TRUE(Logs("0 alerts are watched")) << receiver_.Log();
  alerts::AlertServices services{console_.Connection,
                                 console_.Names,
                                 console_.Prompt,
                                 *registry_,
                                 console_.Platform.Settings,
                                 console_.Library,
                                 0,
                                 console_.SignalFailureTold};
  alerts::frmAlerts window(services);
  InDialog([&] { window.exec(); },
           [&](QDialog& open) {
             InDialog([&] { Click(open, "cmdAdd"); }, [&](QDialog& alert) { FillIn(alert); });
             Click(open, "cmdOK");
           });
  ASSERT_TRUE(Logs("1 alerts are watched")) << receiver_.Log();
  EXPECT_THAT(test::ReadFile(receiver_.RegistryFile()), HasSubstr("\"KVActionUpdate\"=dword:00000000"));

  // In this order: what the last one does shows that the others did nothing.
  EXPECT_TRUE(Trap("1.3.6.1.4.1.99.0.7", "rack 4: fan stopped"));
  EXPECT_TRUE(Trap("1.3.6.1.4.1.99.0.8", "rack 3: fan mended"));
  EXPECT_TRUE(Trap("1.3.6.1.4.1.77.0.7", "rack 3: door opened"));
  EXPECT_TRUE(Trap("1.3.6.1.6.3.1.1.5.1", "rack 3: coldStart"));
  EXPECT_TRUE(Trap("1.3.6.1.4.1.99.0.7", "rack 3: fan stopped; $(reboot) ☃"));

  const std::string noted = "[127.0.0.1][1.3.6.1.4.1.99][][6][fanFailed]";
  EXPECT_TRUE(Eventually([&] { return test::ReadFile(folder_ / "noted") == noted; }))
      << test::ReadFile(folder_ / "noted") << receiver_.Log();
  const std::string alert = "Alert 'Fans': fanFailed from 127.0.0.1";
  std::string message;
  EXPECT_TRUE(Eventually([&] { return !(message = messages_.Next()).empty(); })) << receiver_.Log();
  EXPECT_THAT(message, testing::AllOf(HasSubstr(alert), HasSubstr("rack 3: fan stopped; $(reboot) ☃")));
  EXPECT_TRUE(Eventually([&] { return mails_.Mails().find("END MESSAGE") != std::string::npos; }))
      << receiver_.Log();
  EXPECT_THAT(mails_.Mails(),
              testing::AllOf(HasSubstr("To: ops@example.net"), HasSubstr("Subject: Korvane: " + alert)));
  EXPECT_TRUE(Logs(alert + ": a beep failed: '" + (folder_ / "aplay").string() + "' ended with status 3"))
      << receiver_.Log();
  EXPECT_THAT(test::ReadFile(folder_ / "sound"), StartsWith("RIFF"));
  EXPECT_EQ(messages_.Next(), "") << "one message only";
  const std::string all = mails_.Mails();
  EXPECT_EQ(all.find("END MESSAGE"), all.rfind("END MESSAGE")) << all;
  EXPECT_EQ(test::ReadFile(folder_ / "noted"), noted) << "the program ran once";
}

}  // namespace
}  // namespace korvane
