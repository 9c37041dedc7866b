// The rules of the Alerts window and of its dialog, over a real store.
#include "alerts/AlertsForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "alerts/AlertForm.h"
#include "alerts/AlertsWorld.h"
#include "common/RegistryValues.h"

namespace korvane::alerts {
namespace {

struct AlertsFormTest : test::AlertsWorld, testing::Test {
  AlertsFormTest() {
    Platform.Registry.AddKey(kManagerKey);
    Store.AddDefinition("1.3.6.1.4.1.9", 7, "fanFailed", "acme");
    Store.AddDefinition("1.3.6.1.4.1.9.5", 8, "fanFailed", "acme");
  }
  std::int32_t Save(const std::string& description, const std::optional<Alert>& alert = {}) {
    AlertForm form(Services, alert);
    form.EditDescription(description);
    EXPECT_TRUE(form.Ok()) << Prompt.LastMessage();
    return form.GroupId();
  }
  std::optional<std::uint32_t> Signal() { return Platform.Registry.Dword(kManagerKey, kActionUpdateValue); }
};

TEST_F(AlertsFormTest, TellsTheServiceOnlyOfChanges) {
  {
    AlertsForm form(Services);
    form.Close();
    EXPECT_EQ(Signal(), std::nullopt);
    Save("A");
    form.Saved();
    ASSERT_EQ(form.Alerts().size(), 1U);
    EXPECT_FALSE(AlertsForm::Uses(form.Alerts()[0], ActionKind::Beep));
    form.Close();
    EXPECT_EQ(Signal(), 1U);
  }
  AlertsForm form(Services);
  EXPECT_TRUE(form.SetActions(0, {ActionKind::Email, ActionKind::Custom}, {.Email = 4, .Custom = 5}));
  EXPECT_TRUE(AlertsForm::Uses(form.Alerts()[0], ActionKind::Custom));
  EXPECT_TRUE(form.ClearAction(0, ActionKind::Custom));
  EXPECT_FALSE(form.ClearAction(0, ActionKind::Custom)) << "nothing to clear";
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_FALSE(form.Remove(0));
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(form.Remove(0));
  EXPECT_EQ(Prompt.Questions().back(),
            (test::ScriptedPrompts::Shown{"Are you sure you want to remove the selected Alert.",
                                          PromptIcon::Question, PromptButtons::YesNo}));
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM Trap_Detail"), 1) << "the criteria stay";
}

TEST_F(AlertsFormTest, AnAlertIsCheckedBeforeItIsSaved) {
  AlertForm empty(Services, std::nullopt);
  EXPECT_FALSE(empty.Ok());
  EXPECT_EQ(Prompt.LastMessage(), "Alert description should not be empty.");
  const std::int32_t first = Save("A");
  AlertForm second(Services, std::nullopt);
  second.EditDescription("A");
  EXPECT_FALSE(second.Ok());
  EXPECT_EQ(Prompt.LastMessage(),
            "Alert description is not unique. An alert with the same name exists. Please modify alert "
            "description.");
  EXPECT_EQ(Save("A", AlertsForm(Services).Alerts().front()), first) << "its own name is no other's";
}

TEST_F(AlertsFormTest, CriteriaComeBackAsTheyWereChosen) {
  AlertForm form(Services, std::nullopt);
  params::TrapCriteriaForm& criteria = form.Criteria();
  EXPECT_EQ(criteria.Controls().cboGeneric.Items.front(), "coldStart")
      << "every alert names its generic trap";
  EXPECT_EQ(criteria.Controls().cboGeneric.Text(), "enterpriseSpecific");
  EXPECT_TRUE(criteria.Controls().cboEnterprise.Enabled);
  criteria.ChooseEnterprise(1);
  ASSERT_EQ(criteria.Controls().lvTraps.Items.size(), 3U) << "one name, two OIDs";
  criteria.ChooseTrap(2);
  criteria.EditSource("10.0.0.1");
  criteria.EditVarBinds("fan");
  form.EditDescription("Fans");
  form.SetAction(ActionKind::Message, 3);
  ASSERT_TRUE(form.Ok());

  const Alert stored = AlertsForm(Services).Alerts().front();
  AlertForm again(Services, stored);
  EXPECT_EQ(again.Criteria().Controls().cboEnterprise.Text(), "acme");
  EXPECT_EQ(again.Criteria().Criteria().EnterpriseOid, "1.3.6.1.4.1.9.5");
  EXPECT_EQ(again.Criteria().Criteria().SpecificTrap, 8);
  EXPECT_EQ(again.Criteria().Controls().txtSource.Text, "10.0.0.1");
  EXPECT_TRUE(again.Uses(ActionKind::Message));
  again.Criteria().ChooseGeneric(2);
  EXPECT_FALSE(again.Criteria().Controls().cboEnterprise.Enabled);
  again.ClearAction(ActionKind::Message);
  ASSERT_TRUE(again.Ok());
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM Trap_Detail WHERE GenericTrap = 2 AND EnterpriseOid = '' AND "
                         "SpecificTrap = 0 AND Community = '' AND Severity = 0"),
            1);
  EXPECT_EQ(Store.Number("SELECT Message_ID FROM Trap_Notification_Master"), 1);

  Store.Execute("DELETE FROM Trap_Detail");
  AlertForm lost(Services, AlertsForm(Services).Alerts().front());
  EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Exclamation);
  EXPECT_EQ(lost.Criteria().Controls().cboGeneric.Text(), "enterpriseSpecific");
}

}  // namespace
}  // namespace korvane::alerts
