#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeLists.h"
#include "params/WindowParametersForm.h"
#include "support/ScriptedPrompts.h"

namespace korvane::params {
namespace {

using test::FakeLists;

class WindowParametersFormTest : public testing::Test {
 protected:
  WindowParametersForm NewWindow() {
    record_.Mode = kModeNewWindow;
    return WindowParametersForm(record_, lists_, prompts_);
  }
  WindowParametersForm ReadOnly() {
    record_.Mode = kModeShowParameters;
    return WindowParametersForm(record_, lists_, prompts_);
  }

  WindowParameters record_;
  FakeLists lists_;
  test::ScriptedPrompts prompts_;
};

// W window name, E/C the two options, G category, S source, V severity, N generic, P enterprise, T traps,
// B bindings; what can be used is named.
std::string EnabledControls(const WindowParametersForm& form) {
  const ParametersControls& c = form.Controls();
  std::string enabled;
  const auto add = [&](bool is, char name) {
    if (is) enabled.push_back(name);
  };
  add(c.txtWindowName.Enabled, 'W');
  add(c.optEvtGrp.Enabled, 'E');
  add(c.optCustom.Enabled, 'C');
  add(c.cboEvtGrps.Enabled, 'G');
  add(c.txtSource.Enabled, 'S');
  add(c.cboSeverity.Enabled, 'V');
  add(c.cboGeneric.Enabled, 'N');
  add(c.cboEnterprise.Enabled, 'P');
  add(c.lvTraps.Enabled, 'T');
  add(c.txtVarBinds.Enabled, 'B');
  return enabled;
}

TEST_F(WindowParametersFormTest, ANewWindowOpensByCategoryWithEverythingShown) {
  const WindowParametersForm form = NewWindow();
  const ParametersControls& c = form.Controls();
  EXPECT_EQ(c.FormCaption, "Select Window Parameters");
  EXPECT_EQ(c.FrameCaption, "Select View Parameters:");
  EXPECT_TRUE(c.optEvtGrp.Checked);
  EXPECT_FALSE(c.optCustom.Checked);
  EXPECT_EQ(EnabledControls(form), "WECG");
  EXPECT_EQ(c.cboEvtGrps.Items, (std::vector<std::string>{"-All-", "Links", "Fans"}));
  EXPECT_EQ(c.cboSeverity.Items, (std::vector<std::string>{"-All-", "Clear", "Minor", "Information", "Major",
                                                           "Warning", "Critical"}));
  EXPECT_EQ(c.cboGeneric.Items,
            (std::vector<std::string>{"-All-", "coldStart", "warmStart", "linkDown", "linkUp",
                                      "authenticationFailure", "egpNeighborLoss", "enterpriseSpecific"}));
  EXPECT_EQ(c.cboEnterprise.Items, (std::vector<std::string>{"-All-", "Acme", "Zeta"}));
  EXPECT_EQ(c.lvTraps.Items, (std::vector<std::string>{"-All-"}));
  for (const ListControl* list :
       {&c.cboEvtGrps, &c.cboSeverity, &c.cboGeneric, &c.cboEnterprise, &c.lvTraps}) {
    EXPECT_EQ(list->Text(), "-All-");
  }
  EXPECT_EQ(c.txtSource.Text, "-All-");
  EXPECT_EQ(c.txtVarBinds.Text, "");
}

TEST_F(WindowParametersFormTest, AnEnterpriseCanBeChosenForEnterpriseTrapsOnly) {
  WindowParametersForm form = NewWindow();
  form.ChooseCategory(2);
  form.ChooseCustom();
  EXPECT_EQ(EnabledControls(form), "WECSVNTB");
  EXPECT_EQ(form.Controls().cboEvtGrps.Text(), "-All-");

  form.ChooseGeneric(7);
  EXPECT_EQ(EnabledControls(form), "WECSVNPTB");
  form.ChooseEnterprise(1);
  EXPECT_EQ(form.Controls().lvTraps.Items, (std::vector<std::string>{"-All-", "fanFailed", "fanBack"}));
  form.ChooseTrap(2);
  form.ChooseEnterprise(2);
  EXPECT_EQ(form.Controls().lvTraps.Items, (std::vector<std::string>{"-All-", "zap"}));
  EXPECT_EQ(form.Controls().lvTraps.Text(), "-All-");

  form.ChooseGeneric(3);
  EXPECT_EQ(EnabledControls(form), "WECSVNTB");
  EXPECT_EQ(form.Controls().cboEnterprise.Text(), "-All-");
  EXPECT_EQ(form.Controls().lvTraps.Items, (std::vector<std::string>{"-All-"}));
}

TEST_F(WindowParametersFormTest, GoingBackToCategoriesLeavesNoHiddenCondition) {
  WindowParametersForm form = NewWindow();
  form.ChooseCustom();
  form.EditSource("router1");
  form.EditVarBinds("down");
  form.ChooseSeverity(6);
  form.ChooseGeneric(7);
  form.ChooseEnterprise(1);
  form.ChooseTrap(1);
  form.ChooseEvtGrp();
  EXPECT_EQ(EnabledControls(form), "WECG");
  EXPECT_EQ(form.Controls().txtSource.Text, "-All-");
  EXPECT_EQ(form.Controls().txtVarBinds.Text, "");
  form.ChooseCategory(1);
  form.EditWindowName("Core");
  form.Ok();
  EXPECT_FALSE(record_.Cancelled);
  EXPECT_EQ(record_.WindowName, "Core (Links)");
  EXPECT_EQ(record_.Category, "Links");
  EXPECT_EQ(record_.Source + record_.Enterprise + record_.TrapName + record_.VarBindsMatch, "");
  EXPECT_EQ(record_.Generic, -1);
  EXPECT_EQ(record_.Severity, -1);
}

TEST_F(WindowParametersFormTest, OkStoresConditionsAndNeverTheWordAll) {
  {
    WindowParametersForm form = NewWindow();
    form.Ok();
    EXPECT_EQ(record_.WindowName, " (No Custom Selection)");
    EXPECT_EQ(record_.Category, "");
  }
  record_ = {};
  WindowParametersForm form = NewWindow();
  form.ChooseCustom();
  form.EditWindowName("Mine");
  form.EditVarBinds("-All-");
  form.Ok();
  EXPECT_EQ(record_.WindowName, "Mine (Custom View)");
  EXPECT_EQ(record_.Source, "");
  EXPECT_EQ(record_.VarBindsMatch, "");

  form.EditSource("ROUTER'1");
  form.EditVarBinds("100 %");
  form.ChooseSeverity(1);
  form.ChooseGeneric(7);
  form.ChooseEnterprise(1);
  form.ChooseTrap(2);
  form.Ok();
  EXPECT_EQ(record_.Source, "ROUTER'1");
  EXPECT_EQ(record_.VarBindsMatch, "100 %");
  EXPECT_EQ(record_.Severity, 0);
  EXPECT_EQ(record_.Generic, 6);
  EXPECT_EQ(record_.Enterprise, "Acme");
  EXPECT_EQ(record_.TrapName, "fanBack");
  form.ChooseGeneric(1);
  form.Ok();
  EXPECT_EQ(record_.Generic, 0);
  EXPECT_EQ(record_.Enterprise + record_.TrapName, "");
}

TEST_F(WindowParametersFormTest, ReadOnlyShowsTheRecordAndAsksTheStoreNothing) {
  record_ = {.WindowName = "Mine (Custom View)",
             .Source = "router1",
             .Generic = 6,
             .Severity = 0,
             .Enterprise = "Gone Enterprise",
             .TrapName = "gone",
             .VarBindsMatch = "down"};
  WindowParametersForm form = ReadOnly();
  const ParametersControls& c = form.Controls();
  EXPECT_EQ(lists_.Calls, 0);
  EXPECT_EQ(c.FormCaption, "Window Parameters");
  EXPECT_EQ(c.FrameCaption, "Window Parameters (Read Only):");
  EXPECT_EQ(EnabledControls(form), "");
  EXPECT_TRUE(c.optCustom.Checked);
  EXPECT_EQ(c.txtWindowName.Text, "Mine (Custom View)");
  EXPECT_EQ(c.cboEvtGrps.Text(), "-All-");
  EXPECT_EQ(c.txtSource.Text, "router1");
  EXPECT_EQ(c.cboSeverity.Text(), "Clear");
  EXPECT_EQ(c.cboGeneric.Text(), "enterpriseSpecific");
  EXPECT_EQ(c.cboEnterprise.Items, (std::vector<std::string>{"Gone Enterprise"}));
  EXPECT_EQ(c.lvTraps.Items, (std::vector<std::string>{"gone"}));
  EXPECT_EQ(c.txtVarBinds.Text, "down");

  form.ChooseGeneric(1);
  form.ChooseEvtGrp();
  EXPECT_EQ(c.cboGeneric.Text(), "enterpriseSpecific");
  EXPECT_TRUE(c.optCustom.Checked);
  form.Ok();
  EXPECT_TRUE(record_.Cancelled);
  EXPECT_EQ(record_.WindowName, "Mine (Custom View)");
}

TEST_F(WindowParametersFormTest, ReadOnlyWithACategoryAndWithCodesOutsideTheLists) {
  record_ = {.WindowName = "Core (Links)", .Category = "Links"};
  {
    const WindowParametersForm form = ReadOnly();
    EXPECT_TRUE(form.Controls().optEvtGrp.Checked);
    EXPECT_EQ(form.Controls().cboEvtGrps.Items, (std::vector<std::string>{"Links"}));
    EXPECT_EQ(form.Controls().txtSource.Text, "-All-");
    EXPECT_EQ(form.Controls().txtVarBinds.Text, "");
  }
  record_ = {.Generic = 77, .Severity = -9};
  const WindowParametersForm form = ReadOnly();
  EXPECT_EQ(form.Controls().cboGeneric.Text(), "-All-");
  EXPECT_EQ(form.Controls().cboSeverity.Text(), "-All-");
  EXPECT_EQ(form.Controls().txtSource.Text, "-All-");
}

TEST_F(WindowParametersFormTest, ALostStoreIsReportedAndLeavesTheFormUsable) {
  lists_.Lost = true;
  WindowParametersForm form = NewWindow();
  ASSERT_EQ(prompts_.Messages().size(), 1U);
  EXPECT_EQ(prompts_.LastMessage(), "the store is gone");
  EXPECT_EQ(prompts_.Messages().front().Icon, PromptIcon::Critical);
  EXPECT_EQ(form.Controls().cboEvtGrps.Items, (std::vector<std::string>{"-All-"}));
  form.ChooseCustom();
  form.Ok();
  EXPECT_FALSE(record_.Cancelled);

  lists_.Lost = false;
  prompts_.Clear();
  WindowParametersForm second = NewWindow();
  second.ChooseCustom();
  second.ChooseGeneric(7);
  lists_.Lost = true;
  second.ChooseEnterprise(1);
  EXPECT_EQ(prompts_.Messages().size(), 1U);
  EXPECT_EQ(second.Controls().cboEnterprise.Text(), "Acme");
  EXPECT_EQ(second.Controls().lvTraps.Items, (std::vector<std::string>{"-All-"}));
}

}  // namespace
}  // namespace korvane::params
