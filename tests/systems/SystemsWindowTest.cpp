// The Systems window and the question of the view option, offscreen.
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

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
    EXPECT_EQ(Timer("tmrCheckTraps").interval(), 3000);
    EXPECT_EQ(Timer("tmrResolve").interval(), 4000);
    EXPECT_TRUE(Timer("tmrCheckTraps").isActive() && Timer("tmrResolve").isActive());
    Window.StopTimers();  // ticks come from the tests
    EXPECT_FALSE(Timer("tmrCheckTraps").isActive() || Timer("tmrResolve").isActive());
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

  frmDevices Window{Model, Desk, Windows};
  QTableView& List = test::Find<QTableView>(Window, "lvDevices");
  QAbstractItemModelTester Tester{List.model(), QAbstractItemModelTester::FailureReportingMode::Fatal};

 private:
  std::int32_t number_ = 0;
};

TEST_F(SystemsWindowTest, ShowsWhoSentTrapsAndWhatIsNews) {
  EXPECT_EQ(Window.windowTitle(), QStringLiteral("Systems"));
  EXPECT_TRUE(test::IsShown(Window, "lblEmptyList"));
  Window.Load();
  QSignalSpy inserted(List.model(), &QAbstractItemModel::rowsInserted);
  QSignalSpy changed(List.model(), &QAbstractItemModel::dataChanged);
  Arrive({{"10.0.0.1", 5}, {"evil\nname\t", 0}, {"c", 3}, {"10.0.0.1", 5}});
  EXPECT_FALSE(test::IsShown(Window, "lblEmptyList"));
  EXPECT_THAT(Rows(List),
              ElementsAre("10.0.0.1|10.0.0.1|2|0|0|0|0|0", "evil␊name␉||0|0|0|0|0|1", "c||0|0|1|0|0|0"));
  EXPECT_EQ(test::TextOf(Window, "sbDevicesInfoText1"), "Total Systems: 3 ");
  EXPECT_EQ(test::TextOf(Window, "sbDevicesInfoText6"), "Trap Rate: 80 Trap(s) / Minute ");
  EXPECT_TRUE(HasNewsColour(0) && HasNewsColour(1));
  Click(0);
  EXPECT_FALSE(HasNewsColour(0));
  EXPECT_TRUE(HasNewsColour(1));
  changed.clear();
  Arrive({{"c", 1}, {"10.0.0.1", 1}, {"evil\nname\t", 0}, {"d", 1}, {"e", 1}});
  EXPECT_EQ(inserted.size(), 2) << "one batch of each kind in a tick";
  ASSERT_EQ(changed.size(), 1);
  EXPECT_EQ(changed[0][0].toModelIndex().row(), 0);
  EXPECT_EQ(changed[0][1].toModelIndex().row(), 2);
  EXPECT_TRUE(HasNewsColour(0));
  Click(0);
  EXPECT_FALSE(HasNewsColour(0)) << "a look at the row that is selected already";
  Arrive({{"10.0.0.1", 1}});
  QTest::keyClick(&List, Qt::Key_Return);
  EXPECT_FALSE(HasNewsColour(0));
  test::DoubleClick(List, 2);
  EXPECT_THAT(Windows.Opened, ElementsAre("10.0.0.1", "c"));

  Click(0, Qt::ControlModifier);
  QTest::keyClick(&List, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(),
            QStringLiteral("10.0.0.1\t10.0.0.1\t2\t0\t0\t0\t2\t0\nc\t\t0\t0\t1\t0\t1\t0\n"));
  QTest::keyClick(&List, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(&List, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text().count(QLatin1Char('\n')), 5);

  Library.Names["10.0.0.1"] = "router";
  Q_EMIT Timer("tmrResolve").timeout({});
  EXPECT_EQ(Names().front(), "router");

  QSignalSpy requests(&Window, &frmDevices::PopUpMenuRequested);
  const auto systemOfPopUp = [&](const QPoint& place) {
    test::RightClick(List, place);
    const QVariantList request = requests.takeLast();
    EXPECT_EQ(request[0].toPoint(), List.viewport()->mapToGlobal(place));
    const auto* system = request[1].value<const intake::System*>();
    return system != nullptr ? system->Name : "none";
  };
  EXPECT_EQ(systemOfPopUp(test::CentreOf(List, 2)), "c");
  EXPECT_EQ(systemOfPopUp({10, List.viewport()->height() - 5}), "none");
  EXPECT_EQ(Window.SelectedSystem(), nullptr);
  Window.ShowPerDeviceWindow();
  EXPECT_EQ(Windows.Opened.size(), 2U);
}

TEST_F(SystemsWindowTest, SortsByHeaderAndKeyAndSaysSo) {
  Window.Load();
  Arrive({{"host10", 5}, {"host9", 5}, {"Host1", 1}, {"host9", 5}, {"host9", 1}});
  const auto heard = [&] {
    // The first cell is the corner.
    return QAccessible::queryAccessibleInterface(&List)->child(3)->text(QAccessible::Name).toStdString();
  };
  ClickHeader(6);  // Minor: the most first, equals as they arrived
  EXPECT_THAT(Names(), ElementsAre("host9", "Host1", "host10"));
  ClickHeader(0);
  EXPECT_THAT(Names(), ElementsAre("Host1", "host9", "host10"));
  EXPECT_EQ(heard(), "Critical");
  EXPECT_EQ(List.model()->headerData(2, Qt::Horizontal, Qt::ToolTipRole).toString(),
            QStringLiteral("Sort (Ctrl+3)"));
  std::string presses;
  for (int press = 0; press < 3; ++press) {
    QTest::keyClick(&List, Qt::Key_3, Qt::ControlModifier);
    presses += Names().front() + " " + heard() + "; ";
  }
  EXPECT_EQ(presses,
            "host9 Critical, sorted descending; Host1 Critical, sorted ascending; host10 Critical; ");
  store::IncomingTrap untold;
  untold.Source = "a";
  Model.UpdateSystemCounts(untold);
  ClickHeader(0);
  EXPECT_THAT(Names(), ElementsAre("Host1", "host9", "host10"));
  Window.Custom_Activate();
  EXPECT_THAT(Names(), ElementsAre("a", "Host1", "host9", "host10"));
}

TEST_F(SystemsWindowTest, ASortedListMovesOnlyWhileNobodyReadsIt) {
  Window.Load();
  Arrive({{"a", 5}, {"b", 5}, {"b", 5}});
  ClickHeader(2);
  Click(1);
  List.setFocus();
  ASSERT_TRUE(List.hasFocus());
  Arrive({{"a", 5}, {"a", 5}, {"c", 5}, {"c", 5}, {"c", 5}, {"c", 5}});
  EXPECT_THAT(Names(), ElementsAre("b", "a", "c"));
  List.clearFocus();
  Arrive({{"b", 5}});
  EXPECT_THAT(Names(), ElementsAre("c", "a", "b"));
  EXPECT_EQ(Window.SelectedSystem()->Name, "a") << "the selection went with its row";
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

TEST_F(SystemsWindowTest, WidthsAndSortingAreKeptAndDamagedOnesIgnored) {
  const auto open = [&](const auto& use) {
    frmDevices window(Model, Desk, Windows);
    window.resize(1200, 400);
    window.show();
    use(test::Find<QTableView>(window));
  };
  int filled = 0;
  open([&](QTableView& list) {
    filled = list.columnWidth(7);
    list.setColumnWidth(7, 131);
    list.horizontalHeader()->setSortIndicator(2, Qt::DescendingOrder);
  });
  ASSERT_NE(filled, 131);
  open([&](QTableView& list) {
    EXPECT_EQ(list.columnWidth(7), 131);
    EXPECT_EQ(list.horizontalHeader()->sortIndicatorSection(), 2);
    EXPECT_EQ(list.horizontalHeader()->sortIndicatorOrder(), Qt::DescendingOrder);
  });
  for (const char* damaged :
       {"", "9", "-2147483648", "x", "9,2", "9,2,3,4,5,6,7,a", "99999999999,1,1,1,1,1,1,1"}) {
    Platform.Settings.Values["Settings/SystemsColumnWidths"] = damaged;
    Platform.Settings.Values["Settings/SystemsSorting"] = damaged;
    open([&](QTableView& list) {
      EXPECT_EQ(list.columnWidth(7), filled) << damaged;
      EXPECT_EQ(list.horizontalHeader()->sortIndicatorSection(), -1) << damaged;
    });
  }
}

TEST(ViewOptionsTest, EveryWayOutTakesTheChoiceThatIsShown) {
  const frmViewOptions shown(1234, 1000);
  EXPECT_EQ(shown.windowTitle(), QStringLiteral("Select View Option"));
  EXPECT_EQ(
      test::TextOf(shown, "lblMessage"),
      "There are 1234 unacknowledged traps. Loading all may cause delay.\nPlease select a view option.");
  EXPECT_EQ(shown.Choice(), intake::ViewOption::LoadRecentTraps);
  EXPECT_EQ(test::TextOf(shown, "optLoadRecentTraps"),
            "Load Recent Traps (upto maximum traps view limit, currently: 1000)");
  const std::array<std::function<void(QDialog&)>, 4> ways = {
      [](QDialog& dialog) { test::Press(dialog, Qt::Key_Return); },
      [](QDialog& dialog) { test::Press(dialog, Qt::Key_Escape); },
      [](QDialog& dialog) { test::Click(dialog, "cmdOK"); }, [](QDialog& dialog) { dialog.close(); }};
  for (const bool onlyNew : {false, true}) {
    for (const auto& leave : ways) {
      intake::ViewOption answer{};
      test::InDialog([&] { answer = ViewOptionsDialog().AskViewOption(1234, 1000); },
                     [&](QDialog& dialog) {
                       test::Click(dialog, onlyNew ? "optShowOnlyNewTraps" : "optLoadRecentTraps");
                       leave(dialog);
                     });
      EXPECT_EQ(answer, onlyNew ? intake::ViewOption::ShowOnlyNewTraps : intake::ViewOption::LoadRecentTraps);
    }
  }
}

}  // namespace
}  // namespace korvane::systems
