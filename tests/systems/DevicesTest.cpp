#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QLabel>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include "support/World.h"
#include "systems/frmDevices.h"

namespace korvane::systems {
namespace {

using testing::ElementsAre;

class RecordingWindows : public intake::ViewWindows {
 public:
  void OpenSystemTraps(const intake::System& system) override { Opened.push_back(system.Name); }
  void TrapsAcknowledged(const std::vector<std::int32_t>&) override {}
  void SystemAcknowledged(const intake::System&, std::int32_t) override {}
  void NotesSaved(std::int32_t, std::string_view) override {}
  std::vector<std::string> Opened;
};

struct DevicesTest : testing::Test, test::World {
  DevicesTest() {
    UseSpecificCodesAsSeverities();
    Window.resize(800, 400);
    Window.show();
    Window.activateWindow();
    Window.setFocus();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&Window));
    // Ticks come from the tests.
    Window.StopTimers();
  }

  // One live trap per entry; the specific code is the severity.
  void Deliver(const std::vector<std::pair<std::string, std::int32_t>>& traps) {
    for (const auto& [source, severity] : traps) {
      ++number_;
      Library.Deliver(number_, source, number_);
      Library.List.back().SpecificTrap = severity;
    }
  }
  void Tick() { Q_EMIT Timer("tmrCheckTraps")->timeout({}); }
  QTimer* Timer(const char* name) { return Window.findChild<QTimer*>(QString::fromLatin1(name)); }

  QString Cell(int row, int column) { return List.model()->index(row, column).data().toString(); }
  std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (int row = 0; row < List.model()->rowCount(); ++row) {
      names.push_back(Cell(row, 0).toStdString());
    }
    return names;
  }
  bool HasNewsColour(int row) {
    const auto colour = List.model()->index(row, 0).data(Qt::ForegroundRole).value<QBrush>().color();
    return colour == QColor(253, 116, 4);
  }
  QPoint MiddleOf(int row) { return List.visualRect(List.model()->index(row, 0)).center(); }
  void ClickHeader(int section) {
    QHeaderView* header = List.horizontalHeader();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      {header->sectionViewportPosition(section) + 20, header->height() / 2});
  }

  RecordingWindows Frame;
  frmDevices Window{Model, Desk, Frame};
  QTableView& List = *Window.findChild<QTableView*>(QStringLiteral("lvDevices"));
  QAbstractItemModelTester Tester{List.model(), QAbstractItemModelTester::FailureReportingMode::Fatal};

 private:
  std::int32_t number_ = 0;
};

TEST_F(DevicesTest, ShowsEmptyStateThenRowsCountsAndStatus) {
  EXPECT_EQ(Window.windowTitle(), QStringLiteral("Systems"));
  auto* empty = Window.findChild<QLabel*>(QStringLiteral("lblEmptyList"));
  EXPECT_TRUE(empty->isVisible());
  Window.Load();
  Deliver({{"10.0.0.1", 5}, {"10.0.0.1", 5}, {"evil\nname\t", 0}});
  Tick();
  EXPECT_FALSE(empty->isVisible());
  EXPECT_EQ(Cell(0, 0), QStringLiteral("10.0.0.1"));
  EXPECT_EQ(Cell(0, 1), QStringLiteral("10.0.0.1"));
  EXPECT_EQ(Cell(0, 2), QStringLiteral("2"));
  EXPECT_EQ(Cell(1, 7), QStringLiteral("1"));
  EXPECT_FALSE(Cell(1, 0).contains(QLatin1Char('\n')) || Cell(1, 0).contains(QLatin1Char('\t')));
  EXPECT_EQ(Window.findChild<QLabel*>(QStringLiteral("sbDevicesInfoText1"))->text(),
            QStringLiteral("Total Systems: 2 "));
  EXPECT_EQ(Window.findChild<QLabel*>(QStringLiteral("sbDevicesInfoText6"))->text(),
            QStringLiteral("Trap Rate: 60 Trap(s) / Minute "));
}

TEST_F(DevicesTest, NewsColourGoesWhenTheRowIsSelectedOrItsWindowOpens) {
  Window.Load();
  Deliver({{"a", 5}, {"b", 5}});
  Tick();
  EXPECT_TRUE(HasNewsColour(0) && HasNewsColour(1));
  QTest::mouseClick(List.viewport(), Qt::LeftButton, {}, MiddleOf(0));
  EXPECT_FALSE(HasNewsColour(0));
  EXPECT_TRUE(HasNewsColour(1));
  Deliver({{"a", 1}});
  Tick();
  EXPECT_TRUE(HasNewsColour(0));
  QTest::keyClick(&List, Qt::Key_Return);
  EXPECT_FALSE(HasNewsColour(0));
  EXPECT_THAT(Frame.Opened, ElementsAre("a"));
  QTest::mouseClick(List.viewport(), Qt::LeftButton, {}, MiddleOf(1));
  QTest::mouseDClick(List.viewport(), Qt::LeftButton, {}, MiddleOf(1));
  EXPECT_THAT(Frame.Opened, ElementsAre("a", "b"));
}

TEST_F(DevicesTest, SortsStableByHeaderAndBackToArrivalOrder) {
  Window.Load();
  Deliver({{"host10", 5}, {"host9", 5}, {"Host1", 1}});
  for (int i = 0; i < 11; ++i) {
    Deliver({{"host9", 1}, {"Host1", 1}});
  }
  Tick();
  const std::vector<std::string> arrival = {"host10", "host9", "Host1"};
  ClickHeader(6);  // Minor: the most first
  EXPECT_THAT(Names(), ElementsAre("Host1", "host9", "host10"));
  ClickHeader(6);
  EXPECT_THAT(Names(), ElementsAre("host10", "host9", "Host1"));
  ClickHeader(0);
  EXPECT_THAT(Names(), ElementsAre("Host1", "host9", "host10"));
  ClickHeader(0);
  EXPECT_THAT(Names(), ElementsAre("host10", "host9", "Host1"));
  ClickHeader(0);
  EXPECT_EQ(Names(), arrival);
  ClickHeader(2);  // Critical: 1, 1, 0; equals keep their order
  EXPECT_EQ(Names(), arrival);
}

TEST_F(DevicesTest, SortsByKeyAndSaysSo) {
  Window.Load();
  Deliver({{"b", 5}, {"a", 5}, {"a", 5}});
  Tick();
  const auto header = [&] {
    // The first cell is the corner.
    return QAccessible::queryAccessibleInterface(&List)->child(3)->text(QAccessible::Name).toStdString();
  };
  EXPECT_EQ(header(), "Critical");
  EXPECT_EQ(List.model()->headerData(2, Qt::Horizontal, Qt::ToolTipRole).toString(),
            QStringLiteral("Sort (Ctrl+3)"));
  const std::array<std::pair<std::vector<std::string>, std::string>, 3> presses = {
      {{{"a", "b"}, "Critical, sorted descending"},
       {{"b", "a"}, "Critical, sorted ascending"},
       {{"b", "a"}, "Critical"}}};
  for (const auto& [names, said] : presses) {
    QTest::keyClick(&List, Qt::Key_3, Qt::ControlModifier);
    EXPECT_EQ(Names(), names);
    EXPECT_EQ(header(), said);
  }
}

TEST_F(DevicesTest, WidthsAndSortingAreKeptAndDamagedOnesIgnored) {
  const auto open = [&](const auto& use) {
    frmDevices window(Model, Desk, Frame);
    window.resize(1200, 400);
    window.show();
    use(*window.findChild<QTableView*>());
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
    EXPECT_EQ(list.model()->headerData(2, Qt::Horizontal, Qt::AccessibleTextRole).toString(),
              QStringLiteral("Critical, sorted descending"));
  });
  for (const char* damaged : {"", "9", "-2147483648", "x"}) {
    Platform.Settings.Values["Settings/SystemsColumnWidths"] = damaged;
    Platform.Settings.Values["Settings/SystemsSorting"] = damaged;
    open([&](QTableView& list) {
      EXPECT_EQ(list.columnWidth(7), filled) << damaged;
      EXPECT_EQ(list.horizontalHeader()->sortIndicatorSection(), -1) << damaged;
    });
  }
}

TEST_F(DevicesTest, ASortedListMovesOnlyWhileNobodyReadsIt) {
  Window.Load();
  Deliver({{"a", 5}, {"b", 5}, {"b", 5}});
  Tick();
  ClickHeader(2);
  EXPECT_THAT(Names(), ElementsAre("b", "a"));
  QTest::mouseClick(List.viewport(), Qt::LeftButton, {}, MiddleOf(1));
  List.setFocus();
  ASSERT_TRUE(List.hasFocus());
  Deliver({{"a", 5}, {"a", 5}, {"c", 5}, {"c", 5}, {"c", 5}, {"c", 5}});
  Tick();
  EXPECT_THAT(Names(), ElementsAre("b", "a", "c"));
  ASSERT_NE(Window.SelectedSystem(), nullptr);
  EXPECT_EQ(Window.SelectedSystem()->Name, "a");

  List.clearFocus();
  Deliver({{"b", 5}});
  Tick();
  EXPECT_THAT(Names(), ElementsAre("c", "a", "b"));
  EXPECT_EQ(Window.SelectedSystem()->Name, "a");  // the selection went with its row
  Window.Reset();
  EXPECT_EQ(List.model()->rowCount(), 0);  // nothing of this was stored
}

TEST_F(DevicesTest, AResetKeepsSelectionAndNews) {
  for (int i = 0; i < 50; ++i) {
    AddStored(2, 1 + 2 * i, "host" + std::to_string(i));
  }
  Window.Load();
  List.selectRow(30);
  List.selectionModel()->select(List.model()->index(40, 0),
                                QItemSelectionModel::Select | QItemSelectionModel::Rows);
  EXPECT_FALSE(HasNewsColour(30));
  List.scrollTo(List.model()->index(30, 0), QAbstractItemView::PositionAtTop);
  ASSERT_TRUE(List.viewport()->rect().contains(MiddleOf(30)));
  Library.Deliver(1000, "host30", 200);
  Tick();
  EXPECT_TRUE(HasNewsColour(30));
  HideSource("host3");
  Window.Reset();
  ASSERT_NE(Window.SelectedSystem(), nullptr);
  EXPECT_EQ(Window.SelectedSystem()->Name, "host30");
  EXPECT_EQ(List.selectionModel()->selectedRows().size(), 2);
  EXPECT_TRUE(List.viewport()->rect().contains(MiddleOf(29)));
  EXPECT_TRUE(HasNewsColour(29));
  EXPECT_FALSE(HasNewsColour(39));
  EXPECT_TRUE(HasNewsColour(0));
}

TEST_F(DevicesTest, PopUpIsForTheRowUnderTheClickOrForNone) {
  Window.Load();
  Deliver({{"a", 5}, {"b", 5}});
  Tick();
  QSignalSpy requests(&Window, &frmDevices::PopUpMenuRequested);
  const auto rightClick = [&](const QPoint& position) {
    QTest::mouseClick(List.viewport(), Qt::RightButton, {}, position);
    QContextMenuEvent event(QContextMenuEvent::Mouse, position, List.viewport()->mapToGlobal(position));
    QApplication::sendEvent(List.viewport(), &event);
    return requests.takeLast();
  };
  const auto onRow = rightClick(MiddleOf(1));
  EXPECT_EQ(onRow[0].toPoint(), List.viewport()->mapToGlobal(MiddleOf(1)));
  ASSERT_NE(onRow[1].value<const intake::System*>(), nullptr);
  EXPECT_EQ(onRow[1].value<const intake::System*>()->Name, "b");
  EXPECT_EQ(rightClick({10, List.viewport()->height() - 5})[1].value<const intake::System*>(), nullptr);
  EXPECT_EQ(Window.SelectedSystem(), nullptr);
  Window.ShowPerDeviceWindow();
  EXPECT_TRUE(Frame.Opened.empty());
}

TEST_F(DevicesTest, CopiesTheSelectedRowsFromTopToBottom) {
  Window.Load();
  Deliver({{"10.0.0.1", 5}, {"b", 3}, {"c", 0}});
  Tick();
  QTest::mouseClick(List.viewport(), Qt::LeftButton, {}, MiddleOf(2));
  QTest::mouseClick(List.viewport(), Qt::LeftButton, Qt::ControlModifier, MiddleOf(0));
  QTest::keyClick(&List, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(),
            QStringLiteral("10.0.0.1\t10.0.0.1\t1\t0\t0\t0\t0\t0\nc\t\t0\t0\t0\t0\t0\t1\n"));
  QTest::keyClick(&List, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(&List, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text().count(QLatin1Char('\n')), 3);
}

TEST_F(DevicesTest, TimersRunUntilTheyAreStoppedAndDoNothingWhileShuttingDown) {
  frmDevices window(Model, Desk, Frame);
  auto* check = window.findChild<QTimer*>(QStringLiteral("tmrCheckTraps"));
  auto* resolve = window.findChild<QTimer*>(QStringLiteral("tmrResolve"));
  EXPECT_TRUE(check->isActive() && resolve->isActive());
  EXPECT_EQ(check->interval(), 3000);
  EXPECT_EQ(resolve->interval(), 4000);
  window.StopTimers();
  EXPECT_FALSE(check->isActive() || resolve->isActive());

  window.Load();
  Library.Names["10.0.0.1"] = "router";
  Deliver({{"10.0.0.1", 5}});
  State.gShuttingDown = true;
  Q_EMIT check->timeout({});
  EXPECT_EQ(Model.RowCount(), 0U);
  State.gShuttingDown = false;
  Q_EMIT check->timeout({});
  Q_EMIT resolve->timeout({});
  EXPECT_EQ(window.findChild<QTableView*>()->model()->index(0, 0).data().toString(),
            QStringLiteral("router"));
}

}  // namespace
}  // namespace korvane::systems
