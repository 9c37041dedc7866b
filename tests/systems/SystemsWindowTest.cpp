// The Systems window and the question of the view option, offscreen.
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include "intake/FirstTrap.h"
#include "support/WindowDriver.h"
#include "support/World.h"
#include "systems/frmDevices.h"
#include "systems/frmViewOptions.h"

namespace korvane::systems {
namespace {

using test::Rows;
using testing::ElementsAre;

struct SystemsWindowTest : testing::Test, test::World {
  SystemsWindowTest() {
    UseSpecificCodesAsSeverities();
    Window.resize(800, 400);
    test::ShowActive(Window);
    Window.setFocus();
    EXPECT_TRUE(Timer("tmrCheckTraps").isActive() && Timer("tmrResolve").isActive());
    Window.StopTimers();  // ticks come from the tests
  }

  QTimer& Timer(const char* name) { return test::Find<QTimer>(Window, name); }
  void Tick() { Q_EMIT Timer("tmrCheckTraps").timeout({}); }
  // One tick that brings a trap per entry: its source and its severity.
  void Arrive(const std::vector<std::pair<std::string, std::int32_t>>& traps) {
    for (const auto& [source, severity] : traps) {
      ++number_;
      Library.Deliver(number_, source, number_);
      Library.List.back().SpecificTrap = severity;
    }
    Tick();
  }

  std::vector<std::string> Names() { return Rows(List, {0}); }
  bool HasNewsColour(int row) {
    const auto colour = List.model()->index(row, 0).data(Qt::ForegroundRole).value<QBrush>().color();
    return colour == QColor(253, 116, 4);
  }
  void Click(int row, Qt::KeyboardModifiers modifiers = {}) {
    QTest::mouseClick(List.viewport(), Qt::LeftButton, modifiers, test::CentreOf(List, row));
  }
  void ClickHeader(int section) {
    QHeaderView* header = List.horizontalHeader();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      {header->sectionViewportPosition(section) + 20, header->height() / 2});
  }

  frmDevices Window{Model, Desk, Filters, Windows};
  QTableView& List = test::Find<QTableView>(Window, "lvDevices");
  QAbstractItemModelTester Tester{List.model(), QAbstractItemModelTester::FailureReportingMode::Fatal};

 private:
  std::int32_t number_ = 0;
};

TEST_F(SystemsWindowTest, ShowsWhoSentTrapsAndWhatIsNews) {
  Window.SayHowToSend(intake::HowToSendATrap("udp6:[fd00::1]:1162, udp:1162 udp:162,udp6:162"));
  Window.Load();
  EXPECT_THAT(test::TextOf(List, "lblEmptyList"),
              testing::AllOf(testing::HasSubstr("No traps from any system yet"),
                             testing::HasSubstr("UDP port 1162 of fd00::1, UDP port 1162 and UDP port 162."),
                             testing::HasSubstr(" public 'udp6:[fd00::1]:1162' ''")));
  QSignalSpy inserted(List.model(), &QAbstractItemModel::rowsInserted);
  Arrive({{"10.0.0.1", 5}, {"evil\nname\t", 0}, {"c", 3}, {"10.0.0.1", 5}});
  EXPECT_THAT(Rows(List),
              ElementsAre("10.0.0.1|10.0.0.1|2|0|0|0|0|0", "evil␊name␉||0|0|0|0|0|1", "c||0|0|1|0|0|0"));
  Click(0);
  EXPECT_FALSE(HasNewsColour(0));
  EXPECT_TRUE(HasNewsColour(1));
  const auto colourOf = [this](int column) {
    return List.model()->index(2, column).data(Qt::ForegroundRole);
  };
  EXPECT_TRUE(colourOf(4).isValid() && !colourOf(3).isValid()) << "a zero stays dim where there is news";
  Arrive({{"c", 1}, {"10.0.0.1", 1}, {"d", 1}, {"e", 1}});
  EXPECT_EQ(inserted.size(), 2) << "one batch in a tick";
  EXPECT_TRUE(HasNewsColour(0));
  Click(0);
  EXPECT_FALSE(HasNewsColour(0)) << "a look at the row that is selected already";
  QTest::keyClick(&List, Qt::Key_Return);
  test::DoubleClick(List, 2);
  EXPECT_THAT(Windows.Opened, ElementsAre("10.0.0.1", "c"));

  Click(0, Qt::ControlModifier);
  QTest::keyClick(&List, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(),
            QStringLiteral("10.0.0.1\t10.0.0.1\t2\t0\t0\t0\t1\t0\nc\t\t0\t0\t1\t0\t1\t0\n"));

  Library.Names["10.0.0.1"] = "router";
  Q_EMIT Timer("tmrResolve").timeout({});
  EXPECT_EQ(Names().front(), "router");

  QSignalSpy requests(&Window, &frmDevices::PopUpMenuRequested);
  test::RightClick(List, test::CentreOf(List, 2));
  EXPECT_EQ(requests.takeLast()[1].value<const intake::System*>()->Name, "c");
  test::RightClick(List, {10, List.viewport()->height() - 5});
  EXPECT_EQ(requests.takeLast()[1].value<const intake::System*>(), nullptr) << "below the last row";
  EXPECT_EQ(Window.SelectedSystem(), nullptr);
}

TEST_F(SystemsWindowTest, ASortedListMovesOnlyWhileNobodyReadsIt) {
  Window.Load();
  Arrive({{"host10", 5}, {"Host9", 5}, {"Host9", 5}});
  ClickHeader(0);
  EXPECT_THAT(Names(), ElementsAre("Host9", "host10"));
  ClickHeader(2);  // Critical: the most first
  Click(1);
  List.setFocus();
  ASSERT_TRUE(List.hasFocus());
  Arrive({{"host10", 5}, {"host10", 5}, {"c", 5}, {"c", 5}, {"c", 5}, {"c", 5}});
  EXPECT_THAT(Names(), ElementsAre("Host9", "host10", "c"));
  List.clearFocus();
  Arrive({{"Host9", 5}});
  EXPECT_THAT(Names(), ElementsAre("c", "host10", "Host9"));
  EXPECT_EQ(Window.SelectedSystem()->Name, "host10") << "the selection went with its row";
  Arrive({{"fd00::10", 1}, {"10.20.1.3", 1}, {"fd00::9", 1}, {"9.20.1.10", 1}});
  List.sortByColumn(0, Qt::AscendingOrder);
  EXPECT_THAT(Names(), ElementsAre("9.20.1.10", "10.20.1.3", "fd00::9", "fd00::10", "c", "Host9", "host10"));
  for (const char* damaged : {"9", "-2147483648", "9,2"}) {
    Platform.Settings.Values["Settings/SystemsSorting"] = damaged;
    const frmDevices next(Model, Desk, Filters, Windows);
    EXPECT_EQ(test::Find<QTableView>(next).horizontalHeader()->sortIndicatorSection(), -1) << damaged;
  }
}

// What came in while nobody looked comes first, wherever it stands; then all that have such traps, in turn.
TEST_F(SystemsWindowTest, ATotalLeadsToTheNextSystemThatHasSuchTraps) {
  for (const char* source : {"a", "b", "c"}) {
    Store.AddTrap({.SequenceNumber = *source,
                   .EventTime = 1,
                   .Source = source,
                   .SpecificTrap = *source == 'b' ? 3 : 5});
  }
  Store.AddTrap({.EventTime = 9, .EventAck = 1});
  Window.Load();
  EXPECT_FALSE(HasNewsColour(0)) << "the highlight begins with the first live trap";
  Arrive({{"d", 5}});
  const auto next = [this](const char* total) {
    test::Click(Window, total);
    return Window.SelectedSystem()->Name;
  };
  std::string visited;
  // Critical four times, Major twice, Warning, which nobody has, and any.
  for (const char text : {'2', '2', '2', '2', '4', '4', '3', '5'}) {
    visited += next((std::string("sbDevicesInfoText") + text).c_str());
  }
  EXPECT_EQ(visited, "dacdbbbc") << "without such a system the selection stays";
  EXPECT_TRUE(List.hasFocus()) << "Enter opens the window";
  test::Press(Window, Qt::Key_Tab);
  test::Press(Window, Qt::Key_Space);
  EXPECT_EQ(Window.SelectedSystem()->Name, "d") << "by keyboard: the next one with critical traps";
}

TEST_F(SystemsWindowTest, AResetKeepsSelectionPlaceAndNews) {
  for (int i = 0; i < 50; ++i) {
    AddStored(2, 1 + 2 * i, "host" + std::to_string(i));
  }
  Window.Load();
  List.selectRow(30);
  List.selectionModel()->select(List.model()->index(40, 0),
                                QItemSelectionModel::Select | QItemSelectionModel::Rows);
  List.scrollTo(List.model()->index(30, 0), QAbstractItemView::PositionAtTop);
  Library.Deliver(1000, "host30", 200);
  Tick();
  HideSource("host3");
  Window.Reset();
  EXPECT_EQ(Window.SelectedSystem()->Name, "host30");
  EXPECT_EQ(List.selectionModel()->selectedRows().size(), 2);
  EXPECT_EQ(List.rowAt(0), 29);
  EXPECT_TRUE(HasNewsColour(29)) << "to be selected again is no look at it";
  EXPECT_FALSE(HasNewsColour(39));
}

TEST(ViewOptionsTest, EveryWayOutTakesTheChoiceThatIsShown) {
  for (const bool onlyNew : {false, true}) {
    for (const Qt::Key leave : {Qt::Key_Return, Qt::Key_Escape}) {
      intake::ViewOption answer{};
      test::InDialog([&] { answer = ViewOptionsDialog().AskViewOption(1234, 1000); },
                     [&](QDialog& dialog) {
                       test::Click(dialog, onlyNew ? "optShowOnlyNewTraps" : "optLoadRecentTraps");
                       test::Press(dialog, leave);
                     });
      EXPECT_EQ(answer, onlyNew ? intake::ViewOption::ShowOnlyNewTraps : intake::ViewOption::LoadRecentTraps);
    }
  }
}

}  // namespace
}  // namespace korvane::systems
