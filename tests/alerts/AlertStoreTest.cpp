// Alerts and their actions as they are written, on every engine.
#include "alerts/AlertStore.h"

#include <gmock/gmock.h>

#include <string>

#include "alerts/ActionStore.h"
#include "alerts/AlertReports.h"
#include "store/ColumnLengths.h"
#include "store/DatabaseError.h"
#include "store/EngineTest.h"

namespace korvane::alerts {
namespace {

using store::EngineOf;
using testing::ElementsAre;

struct AlertStoreTest : store::EngineTest {
  int Rows(const std::string& table) { return Made->Number("SELECT COUNT(*) FROM " + table); }

  AlertStore alerts_{Db};
  ActionStore actions_{Db};
  const AlertCriteria linkDown_{.Source = "10.0.0.1", .GenericTrap = 2, .VarBinds = "\"eth0\" ☃"};
};
KORVANE_ON_EVERY_ENGINE(AlertStoreTest);

TEST_P(AlertStoreTest, AlertsShareTheirCriteriaAndKeepTheirActions) {
  const std::int32_t first = alerts_.SaveAlert("Line down", linkDown_, {.Beep = 7}, std::nullopt);
  const std::int32_t second = alerts_.SaveAlert("Line down too", linkDown_, {.Email = 3}, std::nullopt);
  EXPECT_EQ(Rows("Trap_Detail"), 1);
  const std::vector<Alert> list = alerts_.LoadAlertList();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].Actions, (ActionIds{.Beep = 7}));
  EXPECT_EQ(alerts_.LoadCriteria(list[1].TrapId), linkDown_);
  EXPECT_FALSE(alerts_.IsUnique("Line down", std::nullopt) || alerts_.IsUnique("Line down", second));
  EXPECT_TRUE(alerts_.IsUnique("Line down", first)) << "its own name";

  alerts_.SwitchAlert(first, true);
  alerts_.SwitchAlert(first, true);
  EXPECT_TRUE(alerts_.LoadAlertList()[0].Off);
  EXPECT_EQ(alerts_.SaveAlert("Anything", {}, {.Custom = 9}, first), first);
  EXPECT_EQ(Rows("Trap_Action_Group WHERE Description = 'Anything'"), 1);
  alerts_.DeleteAlert(first);
  EXPECT_EQ(Rows("Trap_Action_Group") + Rows("Trap_Notification_Master"), 2);
  EXPECT_EQ(Rows("Trap_Detail"), 2) << "criteria stay";
  EXPECT_EQ(Rows("Alert_Off"), 0);
  EXPECT_EQ(Rows("Change_Log WHERE Kind = 7"), 6);

  // A test is known by its number, and gone when it is withdrawn.
  AlertReports reports(Db);
  const std::int32_t test = reports.AskTest(second);
  EXPECT_NE(reports.AskTest(second), test);
  EXPECT_EQ(reports.LoadTest(test)->TakenBy, "");
  reports.WithdrawTest(test);
  EXPECT_EQ(reports.LoadTest(test), std::nullopt);

  // One action at a time, also where the row of actions is missing.
  Made->Execute("DELETE FROM Trap_Notification_Master");
  EXPECT_EQ(alerts_.LoadAlertList().front().Actions, std::nullopt);
  alerts_.SetAlertActions({ActionKind::Message}, second, {.Message = 4});
  alerts_.SetAlertActions({ActionKind::Custom}, second, {.Custom = 5});
  EXPECT_EQ(alerts_.LoadAlertList().front().Actions, (ActionIds{.Message = 4, .Custom = 5}));
  alerts_.ClearAlertAction(ActionKind::Message, second);
  EXPECT_EQ(alerts_.LoadAlertList().front().Actions, (ActionIds{.Custom = 5}));
}

TEST_P(AlertStoreTest, WhatCanNotBeStoredWritesNothing) {
  AlertCriteria criteria = linkDown_;
  criteria.VarBinds = "it's";
  EXPECT_THROW(alerts_.SaveAlert("A", criteria, {}, std::nullopt), store::DatabaseError);
  EXPECT_THROW(alerts_.SaveAlert("O'Brien", linkDown_, {}, std::nullopt), store::DatabaseError);
  EXPECT_EQ(Rows("Trap_Detail"), 0) << "not even the criteria";
  // Another console removed the alert meanwhile: no row is left behind for it.
  const std::int32_t id = alerts_.SaveAlert("A", linkDown_, {}, std::nullopt);
  AlertStore(Db).DeleteAlert(id);
  EXPECT_THROW(alerts_.SetAlertActions({ActionKind::Beep}, id, {.Beep = 2}), store::DatabaseError);
  EXPECT_THROW(alerts_.SaveAlert("B", {.Source = "elsewhere"}, {.Beep = 2}, id), store::DatabaseError);
  EXPECT_EQ(Rows("Trap_Action_Group") + Rows("Trap_Notification_Master"), 0);
  EXPECT_EQ(Rows("Trap_Detail"), 1) << "nor its new criteria";
}

// Key 1 means no action to the receiver and to every list, whatever its row says.
TEST_P(AlertStoreTest, EqualActionsAreOneRowAndNoneTakesThePlaceOfALostNoActionRow) {
  for (const char* table : {"Beep_Detail", "Email_Detail", "Message_Detail", "Custom_Action_Detail"}) {
    Made->Execute(std::string("DELETE FROM ") + table);
  }
  Made->Execute("INSERT INTO Message_Detail (Message_ID, Destination) VALUES (1, 'pc1')");
  BeepAction beep{.Description = "loud", .Count = 3, .Duration = 1, .Delay = 2, .Frequency = 880};
  const std::int32_t id = actions_.SaveBeep(beep);
  EXPECT_GT(id, kNoAction);
  EXPECT_EQ(actions_.LoadBeep(id), beep);
  beep.Description = "louder";
  EXPECT_EQ(actions_.SaveBeep(beep), id) << "the stored words stay";
  EmailAction mail{.SmtpServer = "mail", .To = "ops@example.net", .From = "k@example.net", .Subject = "§ ☃"};
  const std::int32_t mailId = actions_.SaveEmail(mail);
  EXPECT_GT(mailId, kNoAction);
  EXPECT_EQ(actions_.SaveEmail(mail), mailId);
  EXPECT_EQ(actions_.LoadEmail(mailId), mail);
  mail.Subject = "";
  EXPECT_NE(actions_.SaveEmail(mail), mailId);
  EXPECT_THAT(actions_.SmtpServers(), ElementsAre("mail"));
  EXPECT_THAT(actions_.Recipients(), ElementsAre("ops@example.net"));
  std::string longest;
  for (int i = 0; i < store::LengthOf(store::kMessageDetail, "Destination"); ++i) {
    longest += "😀";
  }
  EXPECT_EQ(actions_.LoadMessage(actions_.SaveMessage(longest)), longest) << "counted as the dialogs count";
  const std::int32_t message = actions_.SaveMessage("pc1");
  EXPECT_GT(message, kNoAction);
  EXPECT_EQ(actions_.SaveMessage("pc1"), message);
  const std::int32_t program = actions_.SaveCustom("/opt/my tool");
  EXPECT_GT(program, kNoAction);
  EXPECT_EQ(actions_.SaveCustom("/opt/my tool"), program);
  EXPECT_EQ(actions_.LoadCustom(program), "/opt/my tool");
}

}  // namespace
}  // namespace korvane::alerts
