// Alerts and their actions as they are written, on every engine.

#include "alerts/AlertStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "alerts/ActionStore.h"
#include "common/RegistryValues.h"
#include "store/DatabaseError.h"
#include "store/EngineTest.h"
#include "support/FakePlatform.h"

namespace korvane::alerts {
namespace {

using store::EngineOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class AlertStoreTest : public store::EngineTest {
 protected:
  std::int32_t Rows(const std::string& table) { return Made->Number("SELECT COUNT(*) FROM " + table); }

  AlertStore alerts_{Db};
  ActionStore actions_{Db};
  const AlertCriteria linkDown_{.Source = "10.0.0.1", .GenericTrap = 2, .VarBinds = "\"eth0\" ☃"};
};
KORVANE_ON_EVERY_ENGINE(AlertStoreTest);

TEST_P(AlertStoreTest, AlertsShareTheirCriteriaAndKeepTheirActions) {
  const std::int32_t first = alerts_.SaveAlert("Line down", linkDown_, {.Beep = 7}, std::nullopt);
  const std::int32_t second = alerts_.SaveAlert("Line down too", linkDown_, {.Email = 3}, std::nullopt);
  EXPECT_EQ(Rows("Trap_Detail"), 1);
  std::vector<Alert> list = alerts_.LoadAlertList();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].TrapId, list[1].TrapId);
  EXPECT_EQ(list[0].Actions, (ActionIds{.Beep = 7}));
  EXPECT_EQ(alerts_.LoadCriteria(list[0].TrapId), linkDown_);

  EXPECT_FALSE(alerts_.IsUnique("Line down", std::nullopt));
  EXPECT_FALSE(alerts_.IsUnique("Line down", second));
  EXPECT_TRUE(alerts_.IsUnique("Line down", first)) << "its own name";
  const AlertCriteria any{.GenericTrap = 6};
  EXPECT_EQ(alerts_.SaveAlert("Anything", any, {.Custom = 9}, first), first);
  list = alerts_.LoadAlertList();
  EXPECT_THAT(std::vector({list[0].Description, list[1].Description}),
              UnorderedElementsAre("Anything", "Line down too"));
  EXPECT_EQ(Rows("Trap_Detail"), 2) << "the old criteria stay";

  alerts_.DeleteAlert(first);
  EXPECT_EQ(Rows("Trap_Action_Group"), 1);
  EXPECT_EQ(Rows("Trap_Notification_Master"), 1);
  EXPECT_EQ(Rows("Trap_Detail"), 2);
}

TEST_P(AlertStoreTest, OneActionIsSetAndClearedAlsoWithoutARowOfActions) {
  const std::int32_t id = alerts_.SaveAlert("A", linkDown_, {}, std::nullopt);
  Made->Execute("DELETE FROM Trap_Notification_Master");
  EXPECT_EQ(alerts_.LoadAlertList().front().Actions, std::nullopt);
  alerts_.SetAlertActions({ActionKind::Message}, id, {.Message = 4});
  EXPECT_EQ(alerts_.LoadAlertList().front().Actions, (ActionIds{.Message = 4}));
  alerts_.SetAlertActions({ActionKind::Custom}, id, {.Custom = 5});
  alerts_.ClearAlertAction(ActionKind::Message, id);
  EXPECT_EQ(alerts_.LoadAlertList().front().Actions, (ActionIds{.Custom = 5}));
}

TEST_P(AlertStoreTest, ATextWithAnApostropheWritesNothing) {
  AlertCriteria criteria = linkDown_;
  criteria.VarBinds = "it's";
  EXPECT_THROW(alerts_.SaveAlert("A", criteria, {}, std::nullopt), store::DatabaseError);
  EXPECT_THROW(alerts_.SaveAlert("O'Brien", linkDown_, {}, std::nullopt), store::DatabaseError);
  EXPECT_THROW(actions_.SaveMessage("o'brien"), store::DatabaseError);
  EXPECT_EQ(Rows("Trap_Detail") + Rows("Trap_Action_Group") + Rows("Trap_Notification_Master"), 0)
      << "not even the criteria";
}

TEST_P(AlertStoreTest, EqualActionsAreOneRow) {
  const BeepAction beep{.Description = "loud", .Count = 3, .Duration = 1, .Delay = 2, .Frequency = 880};
  const std::int32_t id = actions_.SaveBeep(beep);
  EXPECT_GT(id, kNoAction);
  BeepAction renamed = beep;
  renamed.Description = "louder";
  EXPECT_EQ(actions_.SaveBeep(renamed), id);
  EXPECT_EQ(actions_.LoadBeep(id), beep) << "the stored words stay";
  EXPECT_GT(actions_.SaveBeep({.Description = "zeros"}), kNoAction) << "the no-action row is nobody's equal";

  const EmailAction mail{
      .SmtpServer = "mail", .To = "ops@example.net", .From = "k@example.net", .Subject = "§ ☃"};
  EmailAction other = mail;
  other.Subject = "";
  const std::int32_t mailId = actions_.SaveEmail(mail);
  EXPECT_EQ(actions_.SaveEmail(mail), mailId);
  EXPECT_NE(actions_.SaveEmail(other), mailId);
  EXPECT_EQ(actions_.LoadEmail(mailId), mail);
  EXPECT_THAT(actions_.SmtpServers(), ElementsAre("mail"));
  EXPECT_THAT(actions_.Recipients(), ElementsAre("ops@example.net"));

  EXPECT_THAT(actions_.Destinations(), IsEmpty());
  EXPECT_EQ(actions_.SaveMessage("pc1"), actions_.SaveMessage("pc1"));
  EXPECT_EQ(actions_.SaveCustom("/opt/my tool"), actions_.SaveCustom("/opt/my tool"));
  EXPECT_THAT(actions_.Destinations(), ElementsAre("pc1"));
  EXPECT_THAT(actions_.Programs(), ElementsAre("/opt/my tool"));
  EXPECT_EQ(actions_.LoadCustom(actions_.SaveCustom("/opt/my tool")), "/opt/my tool");
  EXPECT_EQ(actions_.LoadMessage(4711), std::nullopt);
}

// Another console removed the alert meanwhile: no row is left behind for it.
TEST_P(AlertStoreTest, AnAlertThatIsGoneIsNotHalfBroughtBack) {
  const std::int32_t id = alerts_.SaveAlert("A", linkDown_, {}, std::nullopt);
  AlertStore(Db).DeleteAlert(id);
  EXPECT_THROW(alerts_.SetAlertActions({ActionKind::Beep}, id, {.Beep = 2}), store::DatabaseError);
  EXPECT_THROW(alerts_.SaveAlert("B", {.Source = "elsewhere"}, {.Beep = 2}, id), store::DatabaseError);
  EXPECT_EQ(Rows("Trap_Action_Group") + Rows("Trap_Notification_Master"), 0);
  EXPECT_EQ(Rows("Trap_Detail"), 1) << "nor its new criteria";
}

// Key 1 means no action to the receiver and to every list, whatever its row says.
TEST_P(AlertStoreTest, AnActionNeverTakesThePlaceOfALostNoActionRow) {
  for (const char* table : {"Beep_Detail", "Email_Detail", "Message_Detail", "Custom_Action_Detail"}) {
    Made->Execute(std::string("DELETE FROM ") + table);
  }
  Made->Execute("INSERT INTO Message_Detail (Message_ID, Destination) VALUES (1, 'pc1')");
  const std::int32_t message = actions_.SaveMessage("pc1");
  EXPECT_GT(message, kNoAction);
  EXPECT_EQ(actions_.SaveMessage("pc1"), message);
  EXPECT_EQ(actions_.LoadMessage(message), "pc1");
  EXPECT_GT(actions_.SaveBeep({.Description = "zeros"}), kNoAction);
  EXPECT_GT(actions_.SaveEmail({.SmtpServer = "mail"}), kNoAction);
  EXPECT_GT(actions_.SaveCustom("/opt/tool"), kNoAction);
}

TEST(AlertSignalTest, OnlyAnExistingKeyIsWritten) {
  test::FakeRegistry registry;
  EXPECT_FALSE(SignalActionUpdate(registry));
  registry.AddKey(kManagerKey);
  EXPECT_TRUE(SignalActionUpdate(registry));
  EXPECT_EQ(registry.Dword(kManagerKey, kActionUpdateValue), 1U);
}

}  // namespace
}  // namespace korvane::alerts
