// The find bar in Traps and Report windows: its keys, what it says, and that the list moves by the operator's
// acts only.
#include <gmock/gmock.h>

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScrollBar>
#include <QTableView>
#include <QTest>

#include "reports/frmReport.h"
#include "support/WindowDriver.h"
#include "support/World.h"
#include "traps/FindBar.h"
#include "traps/TrapsList.h"
#include "traps/frmTraps.h"

namespace korvane::traps {
namespace {

using test::Find;
using test::StoredTrap;

// The row that is selected and what the bar says.
std::string StateOf(const QWidget& window) {
  const QModelIndexList rows = Find<QTableView>(window).selectionModel()->selectedRows();
  return (rows.size() == 1 ? std::to_string(rows.front().row()) : "none") + ": " +
         test::TextOf(window, "lblFound");
}

class FindBarTest : public testing::Test, public test::LoadedWorld {
 protected:
  FindBarTest() {
    State.gMaxViewTraps = 200;
    Window.resize(700, 320);
  }

  // One tick of the intake.  Every tenth trap is of "core", the others of "edge".
  void Arrive(std::int32_t first, std::int32_t last) {
    for (std::int32_t number = first; number <= last; ++number) {
      Deliver(Trap(number), {&Window});
    }
    Window.UpdateStatusBar();
    QApplication::processEvents();
  }
  static StoredTrap Trap(std::int32_t number) {
    return {.SequenceNumber = number,
            .EventTime = 1000 + number,
            .Source = number % 10 == 0 ? "core" : "edge",
            .EventDescription = "value " + std::to_string(number)};
  }
  void Type(const char* text) { test::Type(Window, "txtFind", text); }
  std::string Shown() { return StateOf(Window); }
  std::int32_t SelectedTrap() {
    return Window.Model().Rows().SequenceNumberAt(Window.List().SelectedRows().at(0));
  }

  frmTraps Window{ForTraps, Windows, WindowKind::Selected, {}};
  QTableView& List = Find<QTableView>(Window);
  QLineEdit& Text = Find<QLineEdit>(Window, "txtFind");
  FindBar& Bar = Find<FindBar>(Window);
};

TEST_F(FindBarTest, IsWorkedByTheKeyboard) {
  Arrive(1, 100);
  test::ShowActive(Window);
  const auto picture = [&](int row) {
    return List.viewport()->grab(List.visualRect(List.model()->index(row, 1))).toImage();
  };
  List.scrollToBottom();
  const std::array plain = {picture(98), picture(99)};
  List.selectRow(33);
  List.setFocus();
  EXPECT_FALSE(Bar.isVisible());
  QTest::keyClick(&List, Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(Text.hasFocus());
  EXPECT_EQ(Shown(), "33: ") << "opening moves nothing";
  Type("CORE");
  EXPECT_EQ(Shown(), "39: 4 of 10");
  EXPECT_TRUE(Text.hasFocus());
  const std::tuple<Qt::Key, Qt::KeyboardModifier, const char*> steps[] = {
      {Qt::Key_Return, Qt::NoModifier, "49: 5 of 10"},
      {Qt::Key_F3, Qt::NoModifier, "59: 6 of 10"},
      {Qt::Key_Enter, Qt::ShiftModifier, "49: 5 of 10"},
      {Qt::Key_F3, Qt::ShiftModifier, "39: 4 of 10"}};
  for (const auto& [key, modifier, state] : steps) {
    QTest::keyClick(&Text, key, modifier);
    EXPECT_EQ(Shown(), state);
  }
  for (int i = 0; i < 4; ++i) {
    test::Click(Window, "cmdFindPrevious");
  }
  EXPECT_EQ(Shown(), "99: 10 of 10") << "round the top";
  EXPECT_TRUE(List.viewport()->rect().contains(test::CentreOf(List, 99)));
  List.selectRow(50);
  EXPECT_EQ(Shown(), "50: 10 traps found");
  QTest::keyClick(&Text, Qt::Key_F3);
  QTest::keyClick(&Text, Qt::Key_Escape);
  EXPECT_FALSE(Bar.isVisible());
  EXPECT_TRUE(List.hasFocus());
  EXPECT_EQ(List.currentIndex().row(), 59);

  // F3 goes on with the last text from the list; opened again, typing replaces it.
  QTest::keyClick(&List, Qt::Key_F3);
  EXPECT_EQ(Shown(), "69: 7 of 10");
  EXPECT_TRUE(List.hasFocus());
  QTest::keyClick(&List, Qt::Key_F, Qt::ControlModifier);
  QTest::keyClicks(&Text, QStringLiteral("value 7"));
  EXPECT_EQ(Text.text(), QStringLiteral("value 7"));
  EXPECT_EQ(Shown(), "69: 2 of 11");

  // That nothing is found is not said by colour alone.
  const auto& sign = Find<QAction>(Text, "actNoHits");
  EXPECT_FALSE(sign.isVisible());
  Type("core!");
  EXPECT_EQ(Shown(), "69: No traps found") << "where the text was still found";
  EXPECT_EQ(Text.accessibleDescription(), QStringLiteral("No traps found"));
  EXPECT_TRUE(sign.isVisible());
  EXPECT_FALSE(test::IsEnabled(Window, "cmdFindNext"));
  QTest::keyClick(&Text, Qt::Key_Backspace);
  EXPECT_FALSE(sign.isVisible());
  EXPECT_TRUE(test::IsEnabled(Window, "cmdFindNext"));
  EXPECT_EQ(Shown(), "69: 7 of 10");
  // The text is marked in the cells that have it while the bar is open.
  List.scrollToBottom();
  EXPECT_EQ(picture(98), plain[0]);
  EXPECT_NE(picture(99), plain[1]);
  Bar.Close();
  List.scrollToBottom();
  EXPECT_EQ(picture(99), plain[1]);
}

TEST_F(FindBarTest, CountsWhatArrivesAndLeavesWithoutMovingTheList) {
  Arrive(1, 195);
  test::ShowActive(Window);
  List.verticalScrollBar()->setValue(60);
  List.selectRow(62);
  Bar.Open();
  Type("core");
  ASSERT_EQ(Shown(), "69: 7 of 19");
  const int place = List.verticalScrollBar()->value();
  Arrive(196, 230);  // the oldest 30 go
  EXPECT_EQ(Shown(), "39: 4 of 20");
  EXPECT_EQ(List.verticalScrollBar()->value(), place - 30);
  List.sortByColumn(0, Qt::DescendingOrder);
  EXPECT_EQ(Shown(), "160: 17 of 20");
  Arrive(231, 240);
  EXPECT_EQ(Shown(), "170: 18 of 20");
  Window.TrapsAcknowledged({50, 51, 70, 80, 81});
  EXPECT_EQ(Shown(), "none: 17 traps found");
  QTest::keyClick(&Text, Qt::Key_Return);
  EXPECT_EQ(SelectedTrap() % 10, 0);

  // A text that nothing has: what arrives with it is counted, and selected only when asked for.
  Type("value 24");
  const std::int32_t before = SelectedTrap();
  Type("value 241");
  EXPECT_EQ(test::TextOf(Window, "lblFound"), "No traps found");
  Arrive(241, 241);
  EXPECT_EQ(test::TextOf(Window, "lblFound"), "1 trap found");
  EXPECT_EQ(SelectedTrap(), before);
  QTest::keyClick(&Text, Qt::Key_Return);
  EXPECT_EQ(SelectedTrap(), 241);
  Window.Reset();  // the store holds none
  QApplication::processEvents();
  EXPECT_EQ(Shown(), "none: No traps found");
}

TEST_F(FindBarTest, WorksInItsOwnWindowOnly) {
  QMdiArea area;
  area.resize(900, 600);
  std::array<QMdiSubWindow*, 2> windows{};
  for (QMdiSubWindow*& sub : windows) {
    sub = area.addSubWindow(new frmTraps(ForTraps, Windows, WindowKind::Selected, {}));
    sub->resize(400, 300);
    sub->show();
  }
  test::ShowActive(area);
  const auto isOpen = [](const QMdiSubWindow* sub) { return Find<FindBar>(*sub).isVisible(); };
  for (QMdiSubWindow* active : windows) {
    area.setActiveSubWindow(active);
    Find<QTableView>(*active).setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(isOpen(windows[0]), active == windows[0]);
    EXPECT_EQ(isOpen(windows[1]), active == windows[1]);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(isOpen(active));
  }
}

// A list without a store, for many rows.
TEST_F(FindBarTest, LooksThroughALongListInTurns) {
  constexpr std::size_t kRows = 500'000;
  traplist::TrapRows rows;
  TrapsTableModel model(rows, State, traplist::SourceShown::SourceText);
  QWidget window;
  QTableView view(&window);
  TrapsList list(view, model, Platform.Settings, "Widths", QString(), TrapsList::Kind::Report);
  FindBar bar(view, model, list, &window);
  window.resize(600, 300);
  view.resize(600, 250);
  test::ShowActive(window);
  const store::TrapDefinition definition{
      .TrapName = "linkDown", .EnterpriseName = "", .FurtherDescription = ""};
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
  append(kRows - 1, "1.3.6.1.2.1.2.2.1.1.7 = 7, 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/7, ");
  append(1, "needle");
  auto& text = Find<QLineEdit>(window, "txtFind");
  bar.Open();
  text.setText(QStringLiteral("needle"));
  EXPECT_EQ(StateOf(window), "none: Searching… 0");
  EXPECT_FALSE(Find<QAction>(text, "actNoHits").isVisible());
  append(1, "another needle");
  // Previous waits for the last row although it was asked for first.
  QTest::keyClick(&text, Qt::Key_Return, Qt::ShiftModifier);
  EXPECT_THAT(StateOf(window), testing::StartsWith("none: Searching"));
  EXPECT_TRUE(test::WaitFor([&] { return StateOf(window) == std::to_string(kRows) + ": 2 of 2"; }));
  // Closing gives a search up.
  text.setText(QStringLiteral("no such"));
  bar.Close();
  QApplication::processEvents();
  EXPECT_THAT(StateOf(window), testing::StartsWith(std::to_string(kRows)));
}

TEST_F(FindBarTest, FindsSystemNamesInReports) {
  for (std::int32_t number = 1; number <= 30; ++number) {
    Store.AddTrap(Trap(number));
  }
  reports::frmReport report(ForReports, Windows, {.FromTime = 0, .ToTime = 2000, .Window = {}});
  report.Reset();
  test::ShowActive(report);
  ASSERT_TRUE(test::WaitFor([&] { return report.Model().State() == reports::ReportState::Complete; }));
  report.ShowFindBar();
  test::Type(report, "txtFind", "core");
  EXPECT_EQ(StateOf(report), "9: 1 of 3");
}

}  // namespace
}  // namespace korvane::traps
