// The real dialog, driven by keyboard and mouse as an operator would.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QCalendarWidget>
#include <QDateEdit>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimeEdit>
#include <clocale>
#include <ctime>
#include <limits>
#include <memory>

#include "support/FakeLists.h"
#include "reports/frmSetReport.h"
#include "support/FakePlatform.h"
#include "support/ScriptedPrompts.h"

namespace korvane::reports {
namespace {

constexpr std::int32_t kBerlin = -3600;
constexpr const char* kPickers[] = {"DTPFromDate", "DTPFromTime", "DTPToDate", "DTPToTime"};

QString Q(const char* text) {
  return QString::fromUtf8(text);
}

class SetReportTest : public testing::Test {
 protected:
  SetReportTest() {
    QLocale::setDefault(QLocale::c());
    std::setlocale(LC_TIME, "C");
    clock_.Utc = 1707469200;  // 2024-02-09, 10:00:00 in Berlin
  }
  ~SetReportTest() override { QLocale::setDefault(QLocale::c()); }

  frmSetReport& Open(int mode) {
    record_.Window.Mode = mode;
    dialog_ = std::make_unique<frmSetReport>(record_, lists_, prompts_, clock_, kBerlin);
    dialog_->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(dialog_.get()));
    return *dialog_;
  }
  template <typename Control>
  Control& Find(const char* name) {
    Control* control = dialog_->findChild<Control*>(Q(name));
    EXPECT_NE(control, nullptr) << name;
    return *control;
  }
  void Type(const char* picker, const char* text) {
    auto& edit = Find<QDateTimeEdit>(picker);
    edit.setFocus();
    edit.setSelectedSection(edit.sectionAt(0));
    QTest::keyClicks(&edit, Q(text));
  }

  params::ReportParameters record_;
  test::FakeLists lists_;
  test::ScriptedPrompts prompts_;
  test::FakeClock clock_;
  std::unique_ptr<frmSetReport> dialog_;
};

TEST_F(SetReportTest, ARangeAndItsConditionsAreTyped) {
  frmSetReport& dialog = Open(params::kModeNewWindow);
  EXPECT_EQ(dialog.windowTitle(), Q("Select Report / History Parameters"));
  EXPECT_EQ(Find<QGroupBox>("freTimeRange").title(), Q("Select Time Range:"));
  EXPECT_EQ(Find<QGroupBox>("freParameters").title(), Q("Select View Parameters:"));
  EXPECT_EQ(Find<QDateEdit>("DTPFromDate").text(), Q("2024-02-09"));
  EXPECT_EQ(Find<QTimeEdit>("DTPFromTime").text(), Q("00:00:00"));
  EXPECT_EQ(Find<QDateEdit>("DTPToDate").text(), Q("2024-02-09"));
  EXPECT_EQ(Find<QTimeEdit>("DTPToTime").text(), Q("10:00:00"));
  auto& hint = Find<QLabel>("lblReversed");
  EXPECT_FALSE(hint.isVisible());
  const QSize before = dialog.sizeHint();

  Type("DTPFromDate", "2024-02-10");
  EXPECT_TRUE(hint.isVisible());
  EXPECT_EQ(dialog.sizeHint(), before);
  Type("DTPFromDate", "2024-02-08");
  EXPECT_FALSE(hint.isVisible());
  Type("DTPFromTime", "23:59:58");
  QTest::keyClicks(&Find<QLineEdit>("txtWindowName"), Q("Night"));
  Find<QRadioButton>("optCustom").click();
  Type("DTPToTime", "06:00:01");
  QTest::keyClick(&Find<QTimeEdit>("DTPToTime"), Qt::Key_Return);  // the default button

  EXPECT_FALSE(dialog.isVisible());
  EXPECT_FALSE(record_.Window.Cancelled);
  EXPECT_EQ(record_.Window.WindowName, "Night (Custom View)");
  EXPECT_EQ(record_.FromTime, 1707433198);
  EXPECT_EQ(record_.ToTime, 1707454801);
}

TEST_F(SetReportTest, ThePickersKnowNothingOfDaylightSaving) {
  // The rule skips an hour of the very day on which a bare time is counted by the toolkit.
  qputenv("TZ", "AAA-1BBB,J1/2,J200/3");
  tzset();
  Open(params::kModeNewWindow);
  Type("DTPFromDate", "2024-01-01");
  Type("DTPFromTime", "02:30:00");
  EXPECT_EQ(Find<QTimeEdit>("DTPFromTime").text(), Q("02:30:00"));
  Find<QPushButton>("cmdOK").click();
  EXPECT_EQ(record_.FromTime, 1704072600);
  qunsetenv("TZ");
  tzset();
}

TEST_F(SetReportTest, EveryMomentOfAnEventTimeCanBePickedAndNoOther) {
  Open(params::kModeNewWindow);
  auto& from = Find<QDateEdit>("DTPFromDate");
  auto& to = Find<QDateEdit>("DTPToDate");
  EXPECT_TRUE(from.calendarPopup() && to.calendarPopup());
  from.setDate(QDate(1800, 1, 1));
  to.setDate(QDate(2500, 1, 1));
  EXPECT_EQ(from.date(), QDate(1901, 12, 13));
  EXPECT_EQ(to.date(), QDate(2038, 1, 19));
  Find<QTimeEdit>("DTPToTime").setTime(QTime(23, 59, 59));
  Find<QPushButton>("cmdOK").click();
  EXPECT_EQ(record_.FromTime, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(record_.ToTime, std::numeric_limits<std::int32_t>::max());
}

TEST_F(SetReportTest, EveryLocaleShowsTheWholeYearAndTheSeconds) {
  for (const char* name : {"en_US", "en_GB", "de_DE", "fr_CA", "bg_BG", "fi_FI", "zh_CN", "zh_TW", "ja_JP",
                           "ko_KR", "fa_IR", "sq_AL", "nds_DE", "eo"}) {
    QLocale::setDefault(QLocale(Q(name)));
    Open(params::kModeNewWindow);
    const QString time = Find<QTimeEdit>("DTPToTime").displayFormat();
    EXPECT_TRUE(time.contains(QLatin1Char('s'))) << name << " " << time.toStdString();
    EXPECT_EQ(time.contains(QLatin1Char('h')) && !time.contains(QLatin1Char('\'')), time.contains(Q("AP")))
        << name << " " << time.toStdString();
    EXPECT_TRUE(Find<QDateEdit>("DTPToDate").displayFormat().contains(Q("yyyy"))) << name;
    for (const char* picker : {"DTPFromTime", "DTPToTime"}) {
      const QString text = Find<QTimeEdit>(picker).text();
      EXPECT_FALSE(text.contains(Q("UTC")) || text.endsWith(QLatin1Char(','))) << text.toStdString();
    }
    Find<QPushButton>("cmdOK").click();
    EXPECT_EQ(record_.ToTime, 1707469200) << name;
  }
}

TEST_F(SetReportTest, TheParametersOfAReportAreShownReadOnly) {
  record_.FromTime = 1707433198;
  record_.ToTime = 1707454801;
  record_.Window.WindowName = "Night (Links)";
  record_.Window.Category = "Links";
  frmSetReport& dialog = Open(params::kModeShowParameters);
  EXPECT_EQ(dialog.windowTitle(), Q("Report / History Parameters"));
  EXPECT_EQ(Find<QGroupBox>("freParameters").title(), Q("Report / History Parameters (Read Only):"));
  EXPECT_EQ(Find<QGroupBox>("freTimeRange").title(), Q("Time Range:"));
  EXPECT_EQ(Find<QLabel>("lblFrom").text(), Q("From: 2024-02-08 23:59:58"));
  EXPECT_EQ(Find<QLabel>("lblTo").text(), Q("To:    2024-02-09 06:00:01"));
  for (const char* picker : kPickers) {
    EXPECT_FALSE(Find<QDateTimeEdit>(picker).isVisible()) << picker;
  }
  Find<QPushButton>("cmdOK").click();
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_TRUE(record_.Window.Cancelled);
  EXPECT_EQ(record_.FromTime, 1707433198);
  EXPECT_EQ(record_.Window.WindowName, "Night (Links)");
}

TEST_F(SetReportTest, EveryControlIsReachedByKeyboardAndHasAName) {
  frmSetReport& dialog = Open(params::kModeNewWindow);
  EXPECT_TRUE(Find<QPushButton>("cmdOK").isDefault());
  EXPECT_EQ(Find<QPushButton>("cmdCancel").text(), Q("&Cancel"));
  QStringList reached;
  while (reached.size() < 20 && !reached.contains(QApplication::focusWidget()->objectName())) {
    QWidget* focus = QApplication::focusWidget();
    reached.append(focus->objectName());
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(focus);
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << focus->objectName().toStdString();
    // Within a picker the key goes from day to month to year first.
    for (int section = 0; section < 4 && QApplication::focusWidget() == focus; ++section) {
      QTest::keyClick(focus, Qt::Key_Tab);
    }
  }
  EXPECT_EQ(reached.join(QLatin1Char(' ')).toStdString(),
            "DTPFromDate DTPFromTime DTPToDate DTPToTime txtWindowName optEvtGrp cboEvtGrps cmdOK cmdCancel");
  EXPECT_EQ(dialog.findChild<QLabel*>(Q("lblFrom"))->buddy(), &Find<QDateEdit>("DTPFromDate"));
  EXPECT_EQ(dialog.findChild<QLabel*>(Q("lblTo"))->buddy(), &Find<QDateEdit>("DTPToDate"));
}

}  // namespace
}  // namespace korvane::reports
