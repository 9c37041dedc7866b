// The dialogs of filters, window and report parameters, driven by keyboard and mouse as an operator would.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QTableView>
#include <array>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>

#include "params/ReportTimeForm.h"
#include "params/frmFilters.h"
#include "params/frmNewWindParams.h"
#include "support/RulesWorld.h"
#include "support/WindowDriver.h"

namespace korvane::params {
namespace {

using test::Choose;
using test::Click;
using test::Find;
using test::IsEnabled;
using test::TextOf;
using test::Type;
using testing::ElementsAre;

struct FiltersWindowTest : test::RulesWorld, testing::Test {
  FiltersWindowTest() {
    Store.AddDefinition("1.3.6.1.4.1.50", 1, "fanFailed", "Acme");
    Store.AddDefinition("1.3.6.1.4.1.50", 2, "fanBack", "Acme");
  }
  void Open() {
    Dialog = std::make_unique<frmFilters>(ForFilters);
    List = &Find<QTableView>(*Dialog, "lvEvtFilters");
    Tester = std::make_unique<QAbstractItemModelTester>(List->model());
    Activate();
  }
  void Activate() {
    test::ShowActive(*Dialog);
    List->setFocus();
  }
  // Does this in the dialog "Trap Filter" that is opened, and leaves it by OK.
  void InTrapFilter(const std::function<void()>& open, const std::function<void(QDialog&)>& act) {
    test::InDialog(open, [&](QDialog& info) {
      act(info);
      Click(info, "cmdOK");
    });
    Activate();
  }
  void ChangeSource(const char* button, const char* source) {
    InTrapFilter([&] { Click(*Dialog, button); }, [&](QDialog& info) { Type(info, "txtSource", source); });
  }

  std::unique_ptr<frmFilters> Dialog;
  QTableView* List = nullptr;
  std::unique_ptr<QAbstractItemModelTester> Tester;
};

TEST_F(FiltersWindowTest, AnOperatorAddsEditsAndRemovesFilters) {
  Open();
  test::Press(*Dialog, Qt::Key_Return);
  EXPECT_TRUE(Dialog->isVisible()) << "nothing to edit, nothing to close";
  InTrapFilter([&] { Click(*Dialog, "cmdAdd"); },
               [&](QDialog& info) {
                 Click(info, "cmdOK");
                 EXPECT_EQ(Prompt.Messages().size(), 1U) << "it would hide every trap";
                 EXPECT_FALSE(IsEnabled(info, "cboEnterprise"));
                 Choose(info, "cboGeneric", "enterpriseSpecific");
                 Choose(info, "cboEnterprise", "Acme");
                 Choose(info, "lvTraps", "fanBack");
                 Type(info, "txtSource", "router1");
               });
  EXPECT_THAT(test::Rows(*List), ElementsAre("router1|enterpriseSpecific|Acme|fanBack|-All-"));
  InTrapFilter([&] { test::Press(*Dialog, Qt::Key_Return); },
               [&](QDialog& info) { Type(info, "txtVarBinds", "rpm"); });
  test::InDialog([&] { test::DoubleClick(*List, 0); },
                 [](QDialog& info) {
                   Type(info, "txtVarBinds", "lost");
                   test::Press(info, Qt::Key_Escape);
                 });
  EXPECT_THAT(test::Rows(*List), ElementsAre("router1|enterpriseSpecific|Acme|fanBack|rpm")) << "cancelled";
  Activate();
  for (const PromptAnswer answer : {PromptAnswer::No, PromptAnswer::Yes}) {
    Prompt.WillAnswer(answer);
    test::Press(*Dialog, Qt::Key_Delete);
    EXPECT_EQ(List->model()->rowCount(), answer == PromptAnswer::Yes ? 0 : 1);
  }
  EXPECT_FALSE(IsEnabled(*Dialog, "cmdEdit") || IsEnabled(*Dialog, "cmdRemove"));
}

TEST_F(FiltersWindowTest, RowsAreFoundInAnyOrderAndEveryWayOutSaves) {
  const std::array<std::function<void()>, 3> ways = {[&] { Click(*Dialog, "cmdOK"); },
                                                     [&] { test::Press(*Dialog, Qt::Key_Escape); },
                                                     [&] { Dialog->close(); }};
  std::size_t saved = 0;
  for (const auto& leave : ways) {
    Open();
    ChangeSource("cmdAdd", std::array{"b", "c", "a"}.at(saved));
    leave();
    EXPECT_FALSE(Dialog->isVisible());
    EXPECT_EQ(Filters.Filters().size(), ++saved);
    EXPECT_EQ(Changes, static_cast<int>(saved));
  }
  Store.AddFilter({.Source_Agent = "d<b>bold\x01"});
  Open();
  test::Press(*Dialog, Qt::Key_1, Qt::ControlModifier);
  EXPECT_THAT(test::Rows(*List, {0}), ElementsAre("a", "b", "c", "d<b>bold␁"));
  List->selectRow(1);
  ChangeSource("cmdEdit", "z");
  EXPECT_EQ(List->currentIndex().row(), 3) << "the edited row stays selected where it went";
  List->selectRow(0);
  Prompt.WillAnswer(PromptAnswer::Yes);
  Click(*Dialog, "cmdRemove");
  EXPECT_THAT(test::Rows(*List, {0}), ElementsAre("c", "d<b>bold␁", "z"));
  ChangeSource("cmdEdit", "o'brien");
  List->selectRow(0);
  for (const PromptAnswer answer : {PromptAnswer::Cancel, PromptAnswer::No}) {
    Prompt.WillAnswer(answer);
    Dialog->close();
    EXPECT_EQ(Dialog->isVisible(), answer == PromptAnswer::Cancel);
    EXPECT_EQ(test::Cell(*List, List->currentIndex().row(), 0), "o'brien") << "it could not be saved";
  }
  std::string stored;
  for (const TrapFilter& filter : Filters.Filters()) {
    stored += filter.SourceAgent + " ";
  }
  EXPECT_EQ(stored, "z c d<b>bold\x01 ");
}

struct NewWindowTest : test::RulesWorld, testing::Test {
  NewWindowTest() {
    AddCategory("Links");
    Store.AddDefinition("1.3.6.1.4.1.50", 2, "fanBack", "Acme");
    Store.AddDefinition("1.3.6.1.4.1.60", 9, "zap", "Zeta");
    Store.AddDefinition("1.3.6.1.6.3.1.1.5", 1, "coldStart", "snmpTraps");
  }
  frmNewWindParams& Open(int mode = kModeNewWindow) {
    Record.Mode = mode;
    Dialog = std::make_unique<frmNewWindParams>(Record, Lists, Prompt);
    test::ShowActive(*Dialog);
    return *Dialog;
  }
  // What Enter, the default button, stores; codes as they are.
  std::string Ok() {
    test::Press(*Dialog, Qt::Key_Return);
    EXPECT_FALSE(Dialog->isVisible());
    Dialog->show();
    return fmt::format("{}|{}|{}|{}|{}|{}|{}|{}", Record.WindowName, Record.Category, Record.Source,
                       Record.Severity, Record.Generic, Record.Enterprise, Record.TrapName,
                       Record.VarBindsMatch);
  }

  WindowParameters Record;
  StoredParametersLists Lists{Connection, Names};
  std::unique_ptr<frmNewWindParams> Dialog;
};

TEST_F(NewWindowTest, AWindowIsPutTogetherAndGoingBackLeavesNoHiddenCondition) {
  frmNewWindParams& dialog = Open();
  Type(dialog, "txtWindowName", "Fans");
  test::Press(dialog, Qt::Key_Escape);
  EXPECT_TRUE(Record.Cancelled);
  EXPECT_EQ(Record.WindowName, "");
  test::ShowActive(dialog);
  Choose(dialog, "cboEvtGrps", "Links");
  EXPECT_EQ(Ok(), "Fans (Links)|Links||-1|-1|||");
  EXPECT_FALSE(Record.Cancelled);
  Click(dialog, "optCustom");
  EXPECT_FALSE(IsEnabled(dialog, "cboEvtGrps") || IsEnabled(dialog, "cboEnterprise"));
  Type(dialog, "txtSource", "<b>ROUTER'1");
  Choose(dialog, "cboGeneric", "enterpriseSpecific");
  Choose(dialog, "cboEnterprise", "Acme");
  Choose(dialog, "lvTraps", "fanBack");
  Choose(dialog, "cboSeverity", "Clear");
  Type(dialog, "txtVarBinds", "100 %");
  EXPECT_EQ(Ok(), "Fans (Custom View)||<b>ROUTER'1|0|6|Acme|fanBack|100 %");
  const WindowParameters stored = Record;
  Choose(dialog, "cboEnterprise", "Zeta");
  EXPECT_THAT(test::Rows(Find<QAbstractItemView>(dialog, "lvTraps")), ElementsAre("-All-", "zap"));
  Choose(dialog, "lvTraps", "zap");
  Choose(dialog, "cboEnterprise", "snmpTraps");
  Choose(dialog, "lvTraps", "coldStart");  // stored as generic, of any enterprise
  Type(dialog, "txtVarBinds", "-All-");
  EXPECT_EQ(Ok(), "Fans (Custom View)||<b>ROUTER'1|0|0|||") << "never the word -All-";
  Click(dialog, "optEvtGrp");
  EXPECT_EQ(Ok(), "Fans (No Custom Selection)|||-1|-1|||");

  // As it was chosen, also when a part of it is gone; unknown codes are no condition.
  Record = stored;
  Record.TrapName = "gone\nTrap";
  Record.Severity = 77;
  frmNewWindParams& shown = Open(kModeShowParameters);
  EXPECT_EQ(TextOf(shown, "txtSource") + TextOf(shown, "cboSeverity"), "<b>ROUTER'1-All-");
  EXPECT_THAT(test::Rows(Find<QAbstractItemView>(shown, "lvTraps")), ElementsAre("gone␊Trap"));
  EXPECT_FALSE(IsEnabled(shown, "txtWindowName") || IsEnabled(shown, "optEvtGrp"));
  Record.Cancelled = true;
  EXPECT_EQ(Ok(), "Fans (Custom View)||<b>ROUTER'1|77|6|Acme|gone\nTrap|100 %");
  EXPECT_TRUE(Record.Cancelled);

  frmNewWindParams& open = Open();
  Store.TakeAway();
  Names.ClearCache();
  Click(open, "optCustom");
  Choose(open, "cboGeneric", "enterpriseSpecific");
  Choose(open, "cboEnterprise", "Acme");
  EXPECT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_THAT(test::Rows(Find<QAbstractItemView>(open, "lvTraps")), ElementsAre("-All-"));
  Store.BringBack();
}

TEST(ReportTimeFormTest, ARangeFromLocalMidnightToNowThatMayBeReversed) {
  // The C library takes local time for what this rule says: the clocks go forward at 02:00 on the last Sunday
  // of March, back at 03:00 in October.
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  constexpr std::int32_t kBerlin = -3600;
  test::FakeClock clock;
  ReportParameters parameters;
  for (const auto& [now, bias, from, to] :
       {std::array<std::int64_t, 4>{1700010000, 18000, 1699938000, 1700010000},
        {5'000'000'000, 0, 2147472000, 2147483647}}) {
    clock.Utc = now;
    ReportTimeForm(parameters, clock, static_cast<std::int32_t>(bias)).Ok();
    EXPECT_EQ(parameters.FromTime, from);
    EXPECT_EQ(parameters.ToTime, to);
  }
  ReportTimeForm form(parameters, clock, kBerlin);
  form.PickFrom({2024, 3, 31, 2, 30, 0});
  form.PickTo({2024, 3, 31, 2, 30, 0});  // one second is a range
  EXPECT_FALSE(form.Controls().ReversedShown);
  form.PickTo({2024, 3, 31, 2, 29, 9});
  EXPECT_TRUE(form.Controls().ReversedShown);
  form.Ok();
  parameters.Window.Mode = kModeShowParameters;
  ReportTimeForm shown(parameters, clock, kBerlin);
  EXPECT_EQ(shown.Controls().lblFrom + shown.Controls().lblTo,
            "From: 2024-03-31 02:30:00To:    2024-03-31 02:29:09");
  shown.PickFrom({2000, 1, 1, 0, 0, 0});
  shown.Ok();
  EXPECT_EQ(parameters.FromTime, 1711848600);
  EXPECT_EQ(parameters.ToTime, 1711848549);
  unsetenv("TZ");
  tzset();
}

}  // namespace
}  // namespace korvane::params
