// The rules of the Alerts window and of its dialog, over a real store.
#include <gtest/gtest.h>

#include "alerts/AlertForm.h"
#include "alerts/AlertsForm.h"
#include "common/RegistryValues.h"
#include "support/RulesWorld.h"

namespace korvane::alerts {
namespace {

struct AlertFormsTest : test::RulesWorld, testing::Test {
  AlertFormsTest() {
    Platform.Registry.AddKey(kManagerKey);
    Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme");
    Store.AddDefinition("1.3.6.1.4.1.9.5", 8, "fanFailed", "acme");
  }
  // The window opens, something is done in it, and it closes: whether the receiver was told.
  bool ToldAfter(const std::function<void(AlertsForm&)>& work) {
    Platform.Registry.Remove(kManagerKey, kActionUpdateValue);
    AlertsForm form(ForAlerts);
    work(form);
    EXPECT_EQ(Platform.Registry.Dword(kManagerKey, kActionUpdateValue), std::nullopt) << "once, at the end";
    form.Close();
    return Platform.Registry.Dword(kManagerKey, kActionUpdateValue) == 1U;
  }
};

TEST_F(AlertFormsTest, TheReceiverIsToldOfEachChangeAndOfNothingElse) {
  EXPECT_FALSE(ToldAfter([](AlertsForm&) {}));
  EXPECT_TRUE(ToldAfter([&](AlertsForm& form) {
    AlertForm added(ForAlerts, std::nullopt);
    added.EditDescription("A");
    EXPECT_TRUE(added.Ok());
    form.Saved();
    EXPECT_EQ(form.Alerts().size(), 1U);
  }));
  const auto set = [](AlertsForm& form) {
    return form.SetActions(0, {ActionKind::Email, ActionKind::Custom}, {.Email = 4, .Custom = 5});
  };
  Store.Execute(
      "CREATE TRIGGER Full BEFORE UPDATE OF Custom_ID ON Trap_Notification_Master BEGIN SELECT "
      "RAISE(ABORT, 'disk full'); END");
  EXPECT_FALSE(ToldAfter([&](AlertsForm& form) {
    EXPECT_FALSE(set(form));
    EXPECT_FALSE(AlertsForm::Uses(form.Alerts()[0], ActionKind::Email)) << "all of them or none";
  }));
  EXPECT_EQ(Rows("Trap_Notification_Master WHERE Email_ID > 1"), 0);
  Store.Execute("DROP TRIGGER Full");
  EXPECT_TRUE(ToldAfter([&](AlertsForm& form) { EXPECT_TRUE(set(form)); }));
  EXPECT_TRUE(ToldAfter([](AlertsForm& form) {
    EXPECT_TRUE(form.ClearAction(0, ActionKind::Custom));
    EXPECT_FALSE(AlertsForm::Uses(form.Alerts()[0], ActionKind::Custom));
    EXPECT_TRUE(AlertsForm::Uses(form.Alerts()[0], ActionKind::Email));
  }));
  EXPECT_FALSE(ToldAfter([&](AlertsForm& form) {
    EXPECT_FALSE(form.ClearAction(0, ActionKind::Custom)) << "nothing to clear";
    Prompt.WillAnswer(PromptAnswer::No);
    EXPECT_FALSE(form.Remove(0));
  }));
  EXPECT_TRUE(ToldAfter([&](AlertsForm& form) {
    Prompt.WillAnswer(PromptAnswer::Yes);
    EXPECT_TRUE(form.Remove(0));
  }));
  EXPECT_EQ(Prompt.Questions().back(),
            (test::ScriptedPrompts::Shown{"Are you sure you want to remove the selected Alert.",
                                          PromptIcon::Question, PromptButtons::YesNo}));
  EXPECT_EQ(Rows("Trap_Detail"), 1) << "the criteria stay";
}

TEST_F(AlertFormsTest, CriteriaComeBackAsTheyWereChosen) {
  AlertForm form(ForAlerts, std::nullopt);
  params::TrapCriteriaForm& criteria = form.Criteria();
  EXPECT_EQ(criteria.Controls().cboGeneric.Items.front(), "coldStart") << "every alert names its trap";
  EXPECT_EQ(criteria.Controls().cboGeneric.Text(), "enterpriseSpecific");
  criteria.ChooseEnterprise(1);
  criteria.ChooseTrap(2);
  criteria.EditSource("10.0.0.1");
  form.SetAction(ActionKind::Message, 3);
  form.EditDescription("Fans");
  ASSERT_TRUE(form.Ok());
  const auto stored = [this] { return AlertsForm(ForAlerts).Alerts().front(); };
  AlertForm again(ForAlerts, stored());
  EXPECT_EQ(again.Criteria().Controls().cboEnterprise.Text(), "acme");
  EXPECT_EQ(again.Criteria().Criteria(), (params::TrapCriteria{.SourceAgent = "10.0.0.1",
                                                               .GenericTrap = 6,
                                                               .EnterpriseOid = "1.3.6.1.4.1.9.5",
                                                               .SpecificTrap = 8}));
  EXPECT_TRUE(again.Uses(ActionKind::Message));
  again.Criteria().ChooseGeneric(2);
  again.ClearAction(ActionKind::Message);
  ASSERT_TRUE(again.Ok()) << "its own name is no other's";
  EXPECT_EQ(Rows("Trap_Detail WHERE GenericTrap = 2 AND EnterpriseOid = '' AND SpecificTrap = 0 AND "
                 "Community = '' AND Severity = 0"),
            1);
  EXPECT_EQ(Rows("Trap_Notification_Master WHERE Message_ID = 1"), 1);

  // Our own table refuses NULL; that of a store that was made by other means need not.
  Store.Execute("ALTER TABLE Trap_Detail RENAME TO Strict");
  Store.Execute("CREATE TABLE Trap_Detail AS SELECT * FROM Strict");
  Store.Execute("UPDATE Trap_Detail SET GenericTrap = NULL");
  EXPECT_EQ(AlertForm(ForAlerts, stored()).Criteria().Criteria().GenericTrap, -1)
      << "as the receiver takes it";
  Store.Execute("DELETE FROM Trap_Detail");
  AlertForm lost(ForAlerts, stored());
  EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Exclamation);
  EXPECT_EQ(lost.Criteria().Controls().cboGeneric.Text(), "enterpriseSpecific");
}

}  // namespace
}  // namespace korvane::alerts
