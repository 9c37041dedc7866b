// The Report / History window and the dialog of its parameters, worked as an operator does.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDateEdit>
#include <QLocale>
#include <QTableView>
#include <QTest>
#include <QTimeEdit>
#include <clocale>

#include "reports/frmReport.h"
#include "reports/frmSetReport.h"
#include "support/FakeLists.h"
#include "support/WindowDriver.h"
#include "support/World.h"
#include "traps/ListTools.h"
#include "traps/TrapsList.h"

namespace korvane::reports {
namespace {

using test::Click;
using test::Find;
using test::TextOf;
using test::WaitFor;

class ReportWindowTest : public testing::Test, public test::LoadedWorld {
 protected:
  // Each turn takes a few hundred traps, however far the reader is.
  ReportWindowTest() { Platform.Clock.MillisecondsPerLook = 1; }

  void Open(std::int32_t from, std::int32_t to) {
    window_ = std::make_unique<frmReport>(
        ForReports, Windows, params::ReportParameters{.FromTime = from, .ToTime = to, .Window = {}});
    list_ = &Find<QTableView>(*window_, "lvTraps");
    window_->resize(700, 320);
    test::ShowActive(*window_);
  }
  bool Ends(ReportState state) {
    return WaitFor([&] { return window_->Model().State() == state; });
  }
  void LoadSome() {
    window_->Reset();
    ASSERT_TRUE(WaitFor([this] { return !window_->Model().Rows().Empty(); }));
    ASSERT_EQ(window_->Model().State(), ReportState::Loading);
  }
  std::int32_t TrapAt(int position) {
    return window_->Model().Rows().SequenceNumberAt(window_->Table().RowAt(position));
  }
  std::int32_t FirstOnScreen() { return TrapAt(list_->rowAt(0)); }

  std::unique_ptr<frmReport> window_;
  QTableView* list_ = nullptr;
};

TEST_F(ReportWindowTest, SaysWhatItHoldsAndWhatIsMissing) {
  Store.AddSystem("Core Router", "10.0.0.3");
  SystemList.LoadSystems(Connection);
  Open(1003, 1300);
  window_->Reset();
  ASSERT_TRUE(Ends(ReportState::Complete));
  EXPECT_EQ(TextOf(*window_, "lblEmptyList"), "No traps in this time range");
  Store.TakeAway();
  window_->Reset();
  ASSERT_TRUE(Ends(ReportState::Failed));
  EXPECT_EQ(TextOf(*window_, "lblEmptyList"), "No traps were loaded");
  EXPECT_TRUE(TextOf(*window_, "lblNotice").starts_with("The list is not complete, it holds none"));
  Store.BringBack();
  AddStored(300, 1001, "10.0.0.3");
  Click(*window_, "cmdLoadAgain");
  ASSERT_TRUE(Ends(ReportState::Complete));
  EXPECT_FALSE(test::IsShown(*window_, "fraNotice"));
  EXPECT_EQ(FirstOnScreen(), 1003);
  EXPECT_EQ(test::Cell(*list_, 0, 1), "Core Router");
  window_->Tools().Find();
  test::Type(*window_, "txtFind", "router");
  EXPECT_EQ(TextOf(*window_, "lblFound"), "1 of 298");
  window_->List().SelectPosition(4);
  EXPECT_EQ(TextOf(*window_, "lblSelectedTrap") + TextOf(*window_, "lblTotalTraps"),
            "Selected Trap: 5 Total Traps In Window: 298 ");
  test::InDialog([this] { window_->ShowTrapDetail(); },
                 [](QDialog& dialog) {
                   EXPECT_FALSE(test::IsShown(dialog, "cmdAcknowledge")) << "a report shows what was";
                   test::Press(dialog, Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier);
                   EXPECT_EQ(TextOf(dialog, "lblAcknowledged"), "No");
                   test::Press(dialog, Qt::Key_Escape);
                 });
  HideSource("10.0.0.3");
  window_->Reset();
  ASSERT_TRUE(Ends(ReportState::Complete));
  EXPECT_EQ(TextOf(*window_, "lblEmptyList"), "All that this report would show is hidden by filters");
}

TEST_F(ReportWindowTest, NothingMovesUnderTheReaderWhileRowsArrive) {
  AddStored(10'500, 1, "edge");  // a long list takes its rows in longer turns
  AddStored(10'500, 20'001, "gate");
  Open(0, 1'000'000);
  // Not even at the end, where a live list would follow: there the view lets go of a line it shows in part.
  LoadSome();
  list_->scrollToBottom();
  const std::int32_t first = FirstOnScreen();
  ASSERT_EQ(window_->Model().State(), ReportState::Loading);
  ASSERT_TRUE(Ends(ReportState::Complete));
  EXPECT_GE(FirstOnScreen(), first);
  EXPECT_LE(FirstOnScreen(), first + 1);

  // Sorted while it loads it ends sorted; equal rows keep their order.
  LoadSome();
  list_->sortByColumn(1, Qt::DescendingOrder);
  ASSERT_TRUE(Ends(ReportState::Complete));
  ASSERT_TRUE(WaitFor([this] { return !window_->Table().IsSorting(); }));
  for (int position = 0; position < 21'000; ++position) {
    ASSERT_EQ(TrapAt(position), position < 10'500 ? 20'001 + position : position - 10'499);
  }
  LoadSome();
  window_.reset();
  EXPECT_EQ(Busy.WorksRunning, 0);
  QApplication::processEvents();  // what its reader had posted meets nobody
}

class SetReportTest : public testing::Test {
 protected:
  SetReportTest() {
    QLocale::setDefault(QLocale::c());
    std::setlocale(LC_TIME, "C");
    clock_.Utc = 1707469200;  // 2024-02-09, 10:00:00 in Berlin
  }
  ~SetReportTest() override { QLocale::setDefault(QLocale::c()); }

  frmSetReport& Open(int mode = params::kModeNewWindow) {
    record_.Window.Mode = mode;
    dialog_ = std::make_unique<frmSetReport>(record_, lists_, prompts_, clock_, -3600);
    test::ShowActive(*dialog_);
    return *dialog_;
  }
  void Pick(const char* picker, const char* text) {
    auto& edit = Find<QDateTimeEdit>(*dialog_, picker);
    edit.setFocus();
    edit.setSelectedSection(edit.sectionAt(0));
    QTest::keyClicks(&edit, QString::fromLatin1(text));
  }
  // What the pickers show.
  std::string Range() {
    return TextOf(*dialog_, "DTPFromDate") + " " + TextOf(*dialog_, "DTPFromTime") + " to " +
           TextOf(*dialog_, "DTPToDate") + " " + TextOf(*dialog_, "DTPToTime");
  }

  params::ReportParameters record_;
  test::FakeLists lists_;
  test::ScriptedPrompts prompts_;
  test::FakeClock clock_;
  std::unique_ptr<frmSetReport> dialog_;
};

TEST_F(SetReportTest, ARangeAndItsConditionsAreTypedAndReadAgain) {
  frmSetReport& dialog = Open();
  EXPECT_EQ(Range(), "2024-02-09 00:00:00 to 2024-02-09 10:00:00");
  Pick("DTPFromTime", "10:00:00");
  EXPECT_FALSE(test::IsShown(dialog, "lblReversed")) << "it is a second long";
  Pick("DTPToDate", "2024-02-08");
  EXPECT_TRUE(test::IsShown(dialog, "lblReversed"));
  Find<QDateEdit>(dialog, "DTPFromDate").setDate(QDate(1800, 1, 1));
  Find<QDateEdit>(dialog, "DTPToDate").setDate(QDate(2500, 1, 1));
  EXPECT_EQ(Range(), "1901-12-13 10:00:00 to 2038-01-19 10:00:00") << "what an event's time can hold";
  Pick("DTPToDate", "2024-02-09");
  Pick("DTPFromDate", "2024-02-08");
  EXPECT_FALSE(test::IsShown(dialog, "lblReversed"));
  for (const char* field : {"DTPFromTime", "DTPToDate", "DTPToTime", "txtWindowName"}) {
    test::Press(dialog, Qt::Key_Tab);
    EXPECT_EQ(dialog.focusWidget()->objectName().toStdString(), field) << "one Tab for each field";
  }
  Pick("DTPFromTime", "23:59:58");
  test::Type(dialog, "txtWindowName", "Night");
  Click(dialog, "optCustom");
  Pick("DTPToTime", "06:00:01");
  test::Press(dialog, Qt::Key_Return);  // the default button
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_FALSE(record_.Window.Cancelled);
  EXPECT_EQ(record_.Window.WindowName, "Night (Custom View)");
  EXPECT_EQ(std::pair(record_.FromTime, record_.ToTime), std::pair(1707433198, 1707454801));

  record_.Window.Cancelled = true;
  frmSetReport& shown = Open(params::kModeShowParameters);
  EXPECT_EQ(TextOf(shown, "lblFrom") + TextOf(shown, "lblTo"),
            "From: 2024-02-08 23:59:58To:    2024-02-09 06:00:01");
  EXPECT_FALSE(test::IsShown(shown, "DTPFromDate") || test::IsShown(shown, "DTPToTime"));
  Click(shown, "cmdOK");
  EXPECT_FALSE(shown.isVisible());
  EXPECT_TRUE(record_.Window.Cancelled);
}

TEST_F(SetReportTest, EveryLocaleShowsTheWholeYearAndTheSeconds) {
  for (const char* name :
       {"en_US", "de_DE", "fr_CA", "bg_BG", "fi_FI", "zh_TW", "ja_JP", "fa_IR", "sq_AL", "nds_DE", "eo"}) {
    SCOPED_TRACE(name);
    QLocale::setDefault(QLocale(QString::fromLatin1(name)));
    Open();
    const std::string time = Find<QTimeEdit>(*dialog_, "DTPToTime").displayFormat().toStdString();
    EXPECT_NE(time.find('s'), std::string::npos) << time;
    EXPECT_TRUE(Find<QDateEdit>(*dialog_, "DTPToDate").displayFormat().contains(QLatin1String("yyyy")));
    EXPECT_EQ(Range().find("UTC"), std::string::npos) << Range();
    Click(*dialog_, "cmdOK");
    EXPECT_EQ(record_.ToTime, 1707469200);
  }
}

}  // namespace
}  // namespace korvane::reports
