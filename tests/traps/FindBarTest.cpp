// The find bar in Traps and Report windows: its keys, what it says, and that the list moves by the operator's
// acts only.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QToolButton>
#include <set>

#include "common/qt/KorvaneStyle.h"
#include "reports/frmReport.h"
#include "support/World.h"
#include "traps/FindBar.h"
#include "traps/TrapsList.h"
#include "traps/frmTraps.h"

namespace korvane::traps {
namespace {

using test::StoredTrap;

// What an operator sees and touches of one window with a list and a bar.
struct Screen {
  explicit Screen(QWidget& window)
      : Bar(window.findChild<FindBar*>()),
        Text(window.findChild<QLineEdit*>(QStringLiteral("txtFind"))),
        Count(window.findChild<QLabel*>(QStringLiteral("lblFound"))),
        List(window.findChild<QTableView*>()) {}

  int Selected() const {
    const QModelIndexList rows = List->selectionModel()->selectedRows();
    return rows.size() == 1 ? rows.front().row() : -1;
  }
  void Type(const char* text) const {
    Text->clear();
    QTest::keyClicks(Text, QString::fromUtf8(text));
  }
  std::string Says() const { return Count->text().toStdString(); }

  FindBar* Bar;
  QLineEdit* Text;
  QLabel* Count;
  QTableView* List;
};

class FindBarTest : public testing::Test {
 protected:
  std::unique_ptr<frmTraps> TrapsWindow() {
    params::WindowParameters parameters;
    parameters.WindowName = "All Traps ";
    auto window =
        std::make_unique<frmTraps>(world_.ForTraps, world_.Windows, traps::WindowKind::Selected, parameters);
    window->resize(700, 320);
    return window;
  }
  static void Expose(QWidget& window) {
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  }
  // One tick of the intake.  Every tenth trap is of "core", the others of "edge".
  void Arrive(frmTraps& window, std::int32_t first, std::int32_t last) {
    for (std::int32_t number = first; number <= last; ++number) {
      world_.Deliver(Trap(number), {&window});
    }
    window.UpdateStatusBar();
    QApplication::processEvents();
  }
  static StoredTrap Trap(std::int32_t number) {
    StoredTrap trap;
    trap.SequenceNumber = number;
    trap.EventTime = 1000 + number;
    trap.Source = number % 10 == 0 ? "core" : "edge";
    trap.EventDescription = "value " + std::to_string(number);
    return trap;
  }

  test::LoadedWorld world_;
};

TEST_F(FindBarTest, IsWorkedByTheKeyboard) {
  const auto window = TrapsWindow();
  Arrive(*window, 1, 100);
  Expose(*window);
  const Screen screen(*window);
  screen.List->selectRow(33);
  screen.List->setFocus();
  EXPECT_FALSE(screen.Bar->isVisible());

  QTest::keyClick(screen.List, Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(screen.Bar->isVisible());
  EXPECT_TRUE(screen.Text->hasFocus());
  EXPECT_EQ(screen.Says(), "");
  screen.Type("CORE");
  EXPECT_EQ(screen.Selected(), 39);
  EXPECT_TRUE(screen.Text->hasFocus());
  EXPECT_EQ(screen.Says(), "4 of 10");

  QTest::keyClick(screen.Text, Qt::Key_Return);
  EXPECT_EQ(screen.Selected(), 49);
  QTest::keyClick(screen.Text, Qt::Key_F3);
  EXPECT_EQ(screen.Selected(), 59);
  QTest::keyClick(screen.Text, Qt::Key_Enter, Qt::ShiftModifier);
  QTest::keyClick(screen.Text, Qt::Key_F3, Qt::ShiftModifier);
  EXPECT_EQ(screen.Selected(), 39);
  for (int i = 0; i < 4; ++i) {
    QTest::mouseClick(screen.Bar->findChild<QToolButton*>(QStringLiteral("cmdFindPrevious")), Qt::LeftButton);
  }
  EXPECT_EQ(screen.Selected(), 99) << "round the top";
  EXPECT_EQ(screen.Says(), "10 of 10");
  EXPECT_TRUE(screen.List->viewport()->rect().contains(
      screen.List->visualRect(screen.List->model()->index(99, 0)).center()));
  screen.List->selectRow(50);
  EXPECT_EQ(screen.Says(), "10 traps found");

  QTest::keyClick(screen.Text, Qt::Key_F3);
  QTest::keyClick(screen.Text, Qt::Key_Escape);
  EXPECT_FALSE(screen.Bar->isVisible());
  EXPECT_TRUE(screen.List->hasFocus());
  EXPECT_EQ(screen.Selected(), 59);
  EXPECT_EQ(screen.List->currentIndex().row(), 59);

  // F3 goes on with the last text from the list; opened again, typing replaces it.
  QTest::keyClick(screen.List, Qt::Key_F3);
  EXPECT_EQ(screen.Selected(), 69);
  EXPECT_TRUE(screen.List->hasFocus());
  QTest::keyClick(screen.List, Qt::Key_F, Qt::ControlModifier);
  EXPECT_EQ(screen.Selected(), 69) << "opening moves nothing";
  QTest::keyClicks(screen.Text, QStringLiteral("value 7"));
  EXPECT_EQ(screen.Text->text(), QStringLiteral("value 7"));
  EXPECT_EQ(screen.Says(), "2 of 11");
}

TEST_F(FindBarTest, SaysThatNothingIsFoundNotByColourAlone) {
  const auto window = TrapsWindow();
  Arrive(*window, 1, 20);
  Expose(*window);
  const Screen screen(*window);
  screen.List->selectRow(3);
  screen.Bar->Open();
  const auto* sign = screen.Text->findChild<QAction*>(QStringLiteral("actNoHits"));
  const auto* next = screen.Bar->findChild<QToolButton*>(QStringLiteral("cmdFindNext"));
  EXPECT_FALSE(sign->isVisible());
  screen.Type("core!");
  EXPECT_EQ(screen.Says(), "No traps found");
  EXPECT_EQ(screen.Text->accessibleDescription(), QStringLiteral("No traps found"));
  EXPECT_TRUE(sign->isVisible());
  EXPECT_FALSE(next->isEnabled());
  EXPECT_EQ(screen.Selected(), 9) << "where the text was still found";
  QTest::keyClick(screen.Text, Qt::Key_Backspace);
  EXPECT_FALSE(sign->isVisible());
  EXPECT_TRUE(next->isEnabled());
  EXPECT_EQ(screen.Says(), "1 of 2");
}

TEST_F(FindBarTest, CountsWhatArrivesAndLeavesWithoutMovingTheList) {
  world_.State.gMaxViewTraps = 200;
  const auto window = TrapsWindow();
  Arrive(*window, 1, 195);
  Expose(*window);
  const Screen screen(*window);
  screen.List->verticalScrollBar()->setValue(60);
  screen.List->selectRow(62);
  screen.Bar->Open();
  screen.Type("core");
  ASSERT_EQ(screen.Says(), "7 of 19");
  const int place = screen.List->verticalScrollBar()->value();
  const auto trap = [&] {
    return window->Model().Rows().SequenceNumberAt(window->Table().RowAt(screen.Selected()));
  };
  ASSERT_EQ(trap(), 70);

  Arrive(*window, 196, 230);  // the oldest 30 go
  EXPECT_EQ(screen.Says(), "4 of 20");
  EXPECT_EQ(trap(), 70);
  EXPECT_EQ(screen.List->verticalScrollBar()->value(), place - 30);
  screen.List->sortByColumn(0, Qt::DescendingOrder);
  EXPECT_EQ(screen.Says(), "17 of 20");
  Arrive(*window, 231, 240);
  EXPECT_EQ(screen.Says(), "18 of 20");
  window->TrapsAcknowledged({50, 51, 70, 80, 81});
  EXPECT_EQ(screen.Says(), "17 traps found");
  QTest::keyClick(screen.Text, Qt::Key_Return);
  EXPECT_EQ(trap() % 10, 0);

  // A text that nothing has: what arrives with it is counted, and selected only when asked for.
  screen.Type("value 24");
  screen.Type("value 241");
  const int before = screen.Selected();
  EXPECT_EQ(screen.Says(), "No traps found");
  Arrive(*window, 241, 241);
  EXPECT_EQ(screen.Says(), "1 trap found");
  EXPECT_EQ(screen.Selected(), before + 1) << "the new trap stands above it";
  QTest::keyClick(screen.Text, Qt::Key_Return);
  EXPECT_EQ(trap(), 241);

  window->Reset();  // the store holds none
  QApplication::processEvents();
  EXPECT_EQ(screen.Says(), "No traps found");
}

TEST_F(FindBarTest, WorksInItsOwnWindowOnly) {
  QMdiArea area;
  area.resize(900, 600);
  const auto open = [&] {
    auto* window = TrapsWindow().release();
    QMdiSubWindow* sub = area.addSubWindow(window);
    sub->resize(400, 300);
    sub->show();
    return sub;
  };
  QMdiSubWindow* first = open();
  QMdiSubWindow* second = open();
  Expose(area);
  for (QMdiSubWindow* active : {first, second}) {
    area.setActiveSubWindow(active);
    Screen(*active).List->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F, Qt::ControlModifier);
    EXPECT_TRUE(Screen(*active).Bar->isVisible());
    EXPECT_FALSE(Screen(active == first ? *second : *first).Bar->isVisible());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(Screen(*active).Bar->isVisible());
  }
}

TEST_F(FindBarTest, MarksTheTextInTheCellsWhileItIsOpen) {
  const auto window = TrapsWindow();
  Arrive(*window, 1, 10);
  Expose(*window);
  const Screen screen(*window);
  const auto pixels = [&](int row, int column) {
    const QRect cell = screen.List->visualRect(screen.List->model()->index(row, column));
    const QImage image = screen.List->viewport()->grab(cell).toImage();
    std::vector<QRgb> found;
    for (int x = 0; x < image.width(); ++x) {
      found.push_back(image.pixel(x, 3));
    }
    return std::set<QRgb>(found.begin(), found.end());
  };
  const auto plain = pixels(9, 1);
  const auto other = pixels(8, 1);
  screen.Bar->Open();
  screen.Type("or");
  screen.List->clearSelection();
  EXPECT_NE(pixels(9, 1), plain);
  EXPECT_EQ(pixels(8, 1), other);
  screen.Bar->Close();
  EXPECT_EQ(pixels(9, 1), plain);
}

// A list without a store, for many rows.
TEST_F(FindBarTest, LooksThroughALongListInTurns) {
  constexpr std::size_t kRows = 500'000;
  traplist::TrapRows rows;
  const store::TrapDefinition definition{
      .TrapName = "linkDown", .EnterpriseName = "", .FurtherDescription = ""};
  TrapsTableModel model(rows, world_.State, traplist::SourceShown::SourceText);
  QWidget window;
  QTableView view(&window);
  TrapsList list(view, model, world_.Platform.Settings, "Widths", QString(), TrapsList::Kind::Report);
  FindBar bar(view, model, list, &window);
  window.resize(600, 300);
  view.resize(600, 250);
  Expose(window);
  const auto append = [&](std::size_t count, std::string_view varBinds) {
    store::IncomingTrap trap;
    trap.Source = trap.SystemName = trap.SystemAddress = "router";
    trap.Definition = &definition;
    trap.VarBinds = varBinds;
    model.BatchBegins();
    model.RowsAboutToBeAppended(count);
    for (std::size_t i = 0; i < count; ++i) {
      rows.Append(trap);
    }
    model.RowsAppended();
    model.BatchEnds();
  };
  const std::string varBinds = "1.3.6.1.2.1.2.2.1.1.7 = 7, 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/7, ";
  append(kRows - 1, varBinds);
  append(1, "needle");
  const Screen screen(window);
  bar.Open();
  screen.Text->setText(QStringLiteral("needle"));
  EXPECT_EQ(screen.Says(), "Searching… 0");
  EXPECT_FALSE(screen.Text->findChild<QAction*>(QStringLiteral("actNoHits"))->isVisible());
  append(1, "another needle");
  // Previous waits for the last row although it was asked for first.
  QTest::keyClick(screen.Text, Qt::Key_Return, Qt::ShiftModifier);
  EXPECT_EQ(screen.Selected(), -1);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !screen.Count->text().startsWith(QLatin1String("Searching")); }));
  EXPECT_EQ(screen.Selected(), static_cast<int>(kRows));
  EXPECT_EQ(screen.Says(), "2 of 2");

  // Closing gives a search up.
  screen.Text->setText(QStringLiteral("no such"));
  bar.Close();
  QApplication::processEvents();
  EXPECT_EQ(screen.Selected(), static_cast<int>(kRows));
}

TEST_F(FindBarTest, FindsSystemNamesInReports) {
  std::vector<StoredTrap> traps;
  for (std::int32_t number = 1; number <= 30; ++number) {
    traps.push_back(Trap(number));
  }
  world_.Store.AddTraps(traps);
  reports::frmReport window(world_.ForReports, world_.Windows, {.FromTime = 0, .ToTime = 2000, .Window = {}});
  window.Reset();
  Expose(window);
  ASSERT_TRUE(QTest::qWaitFor([&] { return window.Model().State() == reports::ReportState::Complete; }));
  const Screen screen(window);
  window.ShowFindBar();
  screen.Type("core");
  EXPECT_EQ(screen.Selected(), 9);
  EXPECT_EQ(screen.Says(), "1 of 3");
}

}  // namespace
}  // namespace korvane::traps
