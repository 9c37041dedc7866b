// The dialogs of window and report parameters without their windows.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "params/ReportTimeForm.h"
#include "params/WindowParametersForm.h"
#include "support/FakeLists.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"

namespace korvane::params {
namespace {

using Items = std::vector<std::string>;

struct WindowParametersFormTest : testing::Test {
  WindowParametersForm Open(int mode = kModeNewWindow) {
    Record.Mode = mode;
    return WindowParametersForm(Record, Lists, Prompts);
  }

  WindowParameters Record;
  test::FakeLists Lists;
  test::ScriptedPrompts Prompts;
};

// What the controls hold, and before it a "+" for each that can be used: window name, by category, by
// conditions, category, source, severity, generic, enterprise, trap, bindings.
std::string Shown(const WindowParametersForm& form) {
  const ParametersControls& c = form.Controls();
  const auto text = [](const auto& control, const std::string& held) {
    return (control.Enabled ? "+" : "") + held + "|";
  };
  const auto option = [&](const OptionControl& control) {
    return text(control, control.Checked ? "x" : "o");
  };
  const auto list = [&](const ListControl& control) {
    return text(control, control.Text() == kAll ? "" : control.Text());
  };
  return text(c.txtWindowName, c.txtWindowName.Text) + option(c.optEvtGrp) + option(c.optCustom) +
         list(c.cboEvtGrps) + text(c.txtSource, c.txtSource.Text) + list(c.cboSeverity) + list(c.cboGeneric) +
         list(c.cboEnterprise) + list(c.lvTraps) + text(c.txtVarBinds, c.txtVarBinds.Text);
}

// What OK stored, in that order; codes as they are.
std::string Stored(const WindowParameters& record) {
  return fmt::format("{}|{}|{}|{}|{}|{}|{}|{}", record.WindowName, record.Category, record.Source,
                     record.Severity, record.Generic, record.Enterprise, record.TrapName,
                     record.VarBindsMatch);
}

constexpr char kNewWindow[] = "+|+x|+o|+|-All-||||||";

TEST_F(WindowParametersFormTest, ANewWindowOpensByCategoryAndGoingBackLeavesNoHiddenCondition) {
  WindowParametersForm form = Open();
  const ParametersControls& c = form.Controls();
  EXPECT_EQ(Shown(form), kNewWindow);
  EXPECT_EQ(c.cboEvtGrps.Items, (Items{"-All-", "Links", "Fans"}));
  EXPECT_EQ(c.cboSeverity.Items,
            (Items{"-All-", "Clear", "Minor", "Information", "Major", "Warning", "Critical"}));
  EXPECT_EQ(c.cboGeneric.Items, (Items{"-All-", "coldStart", "warmStart", "linkDown", "linkUp",
                                       "authenticationFailure", "egpNeighborLoss", "enterpriseSpecific"}));
  EXPECT_EQ(c.cboEnterprise.Items, (Items{"-All-", "Acme", "Zeta"}));
  form.ChooseCategory(2);
  form.ChooseCustom();
  EXPECT_EQ(Shown(form), "+|+o|+x||+-All-|+|+||+|+|");
  form.EditSource("router1");
  form.EditVarBinds("down");
  form.ChooseSeverity(6);
  form.ChooseGeneric(7);
  form.ChooseEnterprise(1);
  EXPECT_EQ(c.lvTraps.Items, (Items{"-All-", "fanFailed", "fanBack"}));
  form.ChooseTrap(2);
  EXPECT_EQ(Shown(form), "+|+o|+x||+router1|+Critical|+enterpriseSpecific|+Acme|+fanBack|+down|");
  form.ChooseEnterprise(2);
  EXPECT_EQ(c.lvTraps.Items, (Items{"-All-", "zap"}));
  EXPECT_EQ(c.lvTraps.Text(), "-All-");
  form.ChooseTrap(1);
  form.ChooseGeneric(3);
  EXPECT_EQ(Shown(form), "+|+o|+x||+router1|+Critical|+linkDown||+|+down|");
  EXPECT_EQ(c.lvTraps.Items, Items{"-All-"});
  form.ChooseEvtGrp();
  EXPECT_EQ(Shown(form), kNewWindow);
  form.Ok();
  EXPECT_EQ(Stored(Record), " (No Custom Selection)|||-1|-1|||");
  form.ChooseCategory(1);
  form.EditWindowName("Core");
  form.Ok();
  EXPECT_FALSE(Record.Cancelled);
  EXPECT_EQ(Stored(Record), "Core (Links)|Links||-1|-1|||");
}

TEST_F(WindowParametersFormTest, OkStoresConditionsAndNeverTheWordAll) {
  WindowParametersForm form = Open();
  form.ChooseCustom();
  form.EditWindowName("Mine");
  form.EditVarBinds("-All-");
  form.Ok();
  EXPECT_EQ(Stored(Record), "Mine (Custom View)|||-1|-1|||");
  form.EditSource("ROUTER'1");
  form.EditVarBinds("100 %");
  form.ChooseSeverity(1);
  form.ChooseGeneric(7);
  form.ChooseEnterprise(1);
  form.ChooseTrap(2);
  form.Ok();
  EXPECT_EQ(Stored(Record), "Mine (Custom View)||ROUTER'1|0|6|Acme|fanBack|100 %");
  form.ChooseGeneric(1);
  form.Ok();
  EXPECT_EQ(Stored(Record), "Mine (Custom View)||ROUTER'1|0|0|||100 %");
}

TEST_F(WindowParametersFormTest, ReadOnlyShowsTheRecordAndAsksTheStoreNothing) {
  const std::pair<WindowParameters, const char*> records[] = {
      {{.WindowName = "Mine",
        .Source = "r1",
        .Generic = 6,
        .Severity = 0,
        .Enterprise = "Gone",
        .TrapName = "gone"},
       "Mine|o|x||r1|Clear|enterpriseSpecific|Gone|gone||"},
      {{.WindowName = "Core (Links)", .Category = "Links"}, "Core (Links)|x|o|Links|-All-||||||"},
      {{.Generic = 77, .Severity = -9, .VarBindsMatch = "down"}, "|o|x||-All-|||||down|"},
  };
  for (const auto& [record, shown] : records) {
    Record = record;
    WindowParametersForm form = Open(kModeShowParameters);
    form.ChooseGeneric(1);
    form.ChooseCustom();
    form.ChooseEvtGrp();
    form.Ok();
    EXPECT_EQ(Shown(form), shown) << "nothing of it can be changed";
    EXPECT_TRUE(Record.Cancelled);
    EXPECT_EQ(Stored(Record), Stored(record));
  }
  EXPECT_EQ(Lists.Calls, 0);
}

TEST_F(WindowParametersFormTest, ALostStoreIsReportedAndLeavesTheFormUsable) {
  WindowParametersForm open = Open();
  Lists.Lost = true;
  WindowParametersForm form = Open();
  ASSERT_EQ(Prompts.Messages().size(), 1U);
  EXPECT_EQ(Prompts.LastMessage(), "the store is gone");
  EXPECT_EQ(Prompts.Messages().front().Icon, PromptIcon::Critical);
  EXPECT_EQ(form.Controls().cboEvtGrps.Items, Items{"-All-"});
  form.ChooseCustom();
  form.Ok();
  EXPECT_FALSE(Record.Cancelled);
  open.ChooseCustom();
  open.ChooseGeneric(7);
  open.ChooseEnterprise(1);
  EXPECT_EQ(Prompts.Messages().size(), 2U);
  EXPECT_EQ(open.Controls().cboEnterprise.Text(), "Acme");
  EXPECT_EQ(open.Controls().lvTraps.Items, Items{"-All-"});
}

using store::LocalDateTime;
using Limits = std::numeric_limits<std::int32_t>;

constexpr std::int32_t kBerlin = -3600;
constexpr std::int32_t kNewYork = 5 * 3600;
constexpr std::int32_t kKolkata = -19800;

struct ReportTimeFormTest : testing::Test {
  // The C library takes local time for what this rule says: the clocks go forward at 02:00 on the last Sunday
  // of March, back at 03:00 in October.
  ReportTimeFormTest() {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
  }
  ~ReportTimeFormTest() override {
    unsetenv("TZ");
    tzset();
  }

  test::FakeClock Clock;
  ReportParameters Parameters;
};

TEST_F(ReportTimeFormTest, ANewRangeGoesFromLocalMidnightToNow) {
  struct Row {
    std::int64_t Now;
    std::int32_t Bias, FromTime, ToTime;
    LocalDateTime To;
  };
  for (const Row& row : {Row{1700000000, 0, 1699920000, 1700000000, {2023, 11, 14, 22, 13, 20}},
                         Row{1700000000, kKolkata, 1699986600, 1700000000, {2023, 11, 15, 3, 43, 20}},
                         Row{1700006400 + 3600, kNewYork, 1699938000, 1700010000, {2023, 11, 14, 20, 0, 0}},
                         Row{5'000'000'000, 0, 2147472000, Limits::max(), {2038, 1, 19, 3, 14, 7}}}) {
    Clock.Utc = row.Now;
    ReportTimeForm form(Parameters, Clock, row.Bias);
    EXPECT_EQ(form.Controls().To, row.To) << row.Now;
    EXPECT_FALSE(form.Controls().ReversedShown);
    form.Ok();
    EXPECT_EQ(Parameters.FromTime, row.FromTime) << row.Now;
    EXPECT_EQ(Parameters.ToTime, row.ToTime) << row.Now;
  }
}

TEST_F(ReportTimeFormTest, AReversedRangeIsToldAndStoredAndReadBack) {
  ReportTimeForm form(Parameters, Clock, kBerlin);
  form.PickFrom({2024, 3, 31, 2, 30, 0});
  EXPECT_TRUE(form.Controls().ReversedShown);
  form.PickTo({2024, 3, 31, 2, 30, 0});  // one second is a range
  EXPECT_FALSE(form.Controls().ReversedShown);
  form.PickTo({2024, 3, 31, 2, 29, 9});
  EXPECT_TRUE(form.Controls().ReversedShown);
  form.Ok();
  Parameters.Window.Mode = kModeShowParameters;
  ReportTimeForm shown(Parameters, Clock, kBerlin);
  EXPECT_EQ(shown.Controls().lblFrom, "From: 2024-03-31 02:30:00");
  EXPECT_EQ(shown.Controls().lblTo, "To:    2024-03-31 02:29:09");
  EXPECT_FALSE(shown.Controls().PickersShown);
  shown.PickFrom({2000, 1, 1, 0, 0, 0});
  shown.Ok();
  EXPECT_EQ(Parameters.FromTime, 1711848600);
  EXPECT_EQ(Parameters.ToTime, 1711848549);
}

}  // namespace
}  // namespace korvane::params
