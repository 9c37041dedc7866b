// The Traps window offscreen: what the list shows, copies and selects, and that it never moves what is read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include "common/qt/KorvaneStyle.h"
#include "common/qt/QtText.h"
#include "support/World.h"
#include "traps/TrapsList.h"
#include "traps/frmTraps.h"

namespace korvane::traps {
namespace {

using test::StoredTrap;

// Counts the repaints of a list.
class Repaints : public QObject {
 public:
  explicit Repaints(QWidget* viewport) { viewport->installEventFilter(this); }
  int Count = 0;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    Count += event->type() == QEvent::Paint ? 1 : 0;
    return QObject::eventFilter(watched, event);
  }
};

class TrapsWindowTest : public testing::Test {
 protected:
  TrapsWindowTest() { world_.State.gMaxViewTraps = 200; }

  void Open(traps::WindowKind kind = traps::WindowKind::Selected, const intake::System* system = nullptr) {
    params::WindowParameters parameters;
    parameters.WindowName = "All Traps ";
    window_ = std::make_unique<frmTraps>(world_.ForTraps, world_.Windows, kind, parameters, system);
    world_.Windows.Models.push_back(&window_->Model());
    tester_ = std::make_unique<QAbstractItemModelTester>(
        &window_->Table(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    list_ = window_->findChild<QTableView*>(QStringLiteral("lvTraps"));
    window_->resize(700, 320);
    window_->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window_.get()));
  }
  void TearDown() override {
    tester_.reset();
    window_.reset();
  }

  StoredTrap Trap(std::int32_t number) {
    StoredTrap trap;
    trap.SequenceNumber = number;
    trap.EventTime = 1000 + number;
    trap.Source = "router" + std::to_string(number % 7);
    trap.EventDescription = "value " + std::to_string(number * 37 % 101);
    return trap;
  }
  void Store(std::int32_t first, std::int32_t last) {
    std::vector<StoredTrap> traps;
    for (std::int32_t number = first; number <= last; ++number) {
      traps.push_back(Trap(number));
    }
    world_.Store.AddTraps(traps);
  }
  void Load() {
    window_->Reset();
    QApplication::processEvents();
  }
  // One tick of the intake.
  void Arrive(std::int32_t first, std::int32_t last) {
    for (std::int32_t number = first; number <= last; ++number) {
      world_.Deliver(Trap(number), {window_.get()});
    }
    window_->UpdateStatusBar();
    QApplication::processEvents();
  }

  std::int32_t TrapAt(int position) {
    return window_->Model().Rows().SequenceNumberAt(window_->Table().RowAt(position));
  }
  int PositionOfTrap(std::int32_t number) {
    for (int position = 0; position < window_->Table().rowCount(); ++position) {
      if (TrapAt(position) == number) {
        return position;
      }
    }
    return -1;
  }
  // The traps on the screen, from the top.
  std::vector<std::int32_t> OnScreen() {
    std::vector<std::int32_t> traps;
    for (int y = 0; y < list_->viewport()->height(); y += list_->rowHeight(0)) {
      const int position = list_->rowAt(y);
      if (position >= 0) {
        traps.push_back(TrapAt(position));
      }
    }
    return traps;
  }
  QScrollBar* Bar() { return list_->verticalScrollBar(); }
  QString StatusText(const char* label) { return window_->findChild<QLabel*>(QLatin1String(label))->text(); }

  test::LoadedWorld world_;
  std::unique_ptr<frmTraps> window_;
  std::unique_ptr<QAbstractItemModelTester> tester_;
  QTableView* list_ = nullptr;
};

TEST_F(TrapsWindowTest, FollowsTheNewestOnlyFromTheEnd) {
  Store(1, 100);
  Open();
  Load();
  ASSERT_GT(Bar()->maximum(), 0);
  EXPECT_EQ(OnScreen().back(), 100) << "a loaded list shows its newest traps";
  Arrive(101, 110);
  EXPECT_EQ(OnScreen().back(), 110);
  window_->resize(700, 260);
  QApplication::processEvents();
  EXPECT_EQ(OnScreen().back(), 110) << "a smaller window still ends with the newest";

  Bar()->setValue(40);
  const std::vector<std::int32_t> read = OnScreen();
  Arrive(111, 120);
  EXPECT_EQ(OnScreen(), read);
  // From 200 rows on each new one drops the oldest, above what is read.
  Arrive(121, 230);
  EXPECT_EQ(window_->Table().rowCount(), 200);
  EXPECT_EQ(TrapAt(0), 31);
  EXPECT_EQ(OnScreen(), read);
  // What was read is dropped itself: the oldest that is left comes to the top.
  Arrive(231, 330);
  EXPECT_EQ(OnScreen().front(), 131);

  // So does the list when a block around the screen is acknowledged.
  Bar()->setValue(50);
  std::vector<std::int32_t> block;
  for (int position = 45; position < 100; ++position) {
    block.push_back(TrapAt(position));
  }
  const std::int32_t below = TrapAt(100);
  window_->TrapsAcknowledged(block);
  EXPECT_THAT(OnScreen(), testing::Contains(below));

  Bar()->setValue(Bar()->maximum());
  Arrive(331, 332);
  EXPECT_EQ(OnScreen().back(), 332);
}

TEST_F(TrapsWindowTest, KeepsTheReadersPlaceWhereverRowsComeAndGo) {
  Store(1, 150);
  Open();
  Load();
  Bar()->setValue(60);
  const std::vector<std::int32_t> read = OnScreen();

  const std::vector<std::int32_t> above = {3, 5, 7, 30, 31, 32, 50};
  window_->TrapsAcknowledged(above);
  QApplication::processEvents();
  EXPECT_EQ(OnScreen(), read);

  // A neighbour on the screen goes: the others keep their order around it.
  window_->TrapsAcknowledged({read[2], read[5]});
  QApplication::processEvents();
  std::vector<std::int32_t> left = OnScreen();
  EXPECT_EQ(left[0], read[0]);
  EXPECT_EQ(left[2], read[3]);

  // Sorted, new rows come in above and below; what is on the screen stays unless it moves itself.
  list_->sortByColumn(3, Qt::AscendingOrder);
  Bar()->setValue(50);
  const std::int32_t top = OnScreen().front();
  Arrive(151, 190);
  EXPECT_EQ(OnScreen().front(), top);

  // A reset loads the list anew and goes back to the place.
  Load();
  EXPECT_EQ(OnScreen().front(), top);
}

TEST_F(TrapsWindowTest, SelectionAndCurrentRowFollowTheirTraps) {
  Store(1, 200);
  Open();
  Load();
  const auto select = [&](std::int32_t number, QItemSelectionModel::SelectionFlags flags) {
    list_->selectionModel()->setCurrentIndex(window_->Table().index(PositionOfTrap(number), 0),
                                             flags | QItemSelectionModel::Rows);
  };
  select(150, QItemSelectionModel::ClearAndSelect);
  select(160, QItemSelectionModel::Select);
  select(5, QItemSelectionModel::Select);
  EXPECT_EQ(StatusText("lblSelectedTrap"), QStringLiteral("Selected Trap: 5 "));
  const auto selected = [&] {
    std::vector<std::int32_t> numbers;
    for (const std::uint32_t row : window_->List().SelectedRows()) {
      numbers.push_back(window_->Model().Rows().SequenceNumberAt(row));
    }
    return numbers;
  };
  Arrive(201, 210);
  EXPECT_THAT(selected(), testing::ElementsAre(150, 160)) << "trap 5 was dropped";
  list_->sortByColumn(0, Qt::DescendingOrder);
  EXPECT_THAT(selected(), testing::ElementsAre(160, 150)) << "in the order that is shown";
  Arrive(211, 215);
  EXPECT_THAT(selected(), testing::ElementsAre(160, 150));
  list_->sortByColumn(-1, Qt::AscendingOrder);
  EXPECT_THAT(selected(), testing::ElementsAre(150, 160));

  // Acknowledged rows go; the keyboard goes on from the next one, and nothing is selected by itself.
  select(160, QItemSelectionModel::NoUpdate);
  list_->scrollTo(list_->currentIndex());
  window_->AcknowledgeTrap();
  EXPECT_TRUE(world_.IsAcknowledged(150));
  EXPECT_TRUE(world_.IsAcknowledged(160));
  EXPECT_EQ(PositionOfTrap(160), -1);
  EXPECT_THAT(selected(), testing::IsEmpty());
  EXPECT_EQ(TrapAt(list_->currentIndex().row()), 161);
  EXPECT_EQ(StatusText("lblSelectedTrap"), QStringLiteral("Selected Trap: 0 "));
  EXPECT_EQ(StatusText("lblTotalTraps"), QStringLiteral("Total Traps In Window: 198 "));
}

TEST_F(TrapsWindowTest, HeaderClicksSortUpDownAndBackToArrival) {
  Store(1, 50);
  Open();
  Load();
  const auto click = [&](int column) {
    const QHeaderView* header = list_->horizontalHeader();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      QPoint(header->sectionViewportPosition(column) + 10, header->height() / 2));
  };
  const auto values = [&] {
    std::vector<std::string> texts;
    for (int position = 0; position < window_->Table().rowCount(); ++position) {
      texts.push_back(ToUtf8(window_->Table().CellText(position, traplist::TrapColumn::Variables)));
    }
    return texts;
  };
  click(3);
  EXPECT_TRUE(std::ranges::is_sorted(values()));
  EXPECT_EQ(Bar()->value(), 0) << "a sorted list shows where its order begins";
  Arrive(51, 60);
  EXPECT_TRUE(std::ranges::is_sorted(values()));
  EXPECT_EQ(values().size(), 60U);
  click(3);
  EXPECT_TRUE(std::ranges::is_sorted(values(), std::greater<>()));
  list_->selectRow(20);
  list_->scrollTo(list_->currentIndex());
  const int line = list_->visualRect(list_->currentIndex()).top();
  click(3);
  EXPECT_EQ(list_->visualRect(list_->currentIndex()).top(), line) << "the current trap keeps its line";
  for (int position = 0; position < 60; ++position) {
    ASSERT_EQ(TrapAt(position), position + 1);
  }
}

TEST_F(TrapsWindowTest, RepaintsOnceATick) {
  Store(1, 190);
  Open();
  Load();
  Repaints repaints(list_->viewport());
  for (const int place : {0, 50, Bar()->maximum()}) {
    for (const int column : {-1, 3}) {
      list_->sortByColumn(column, Qt::AscendingOrder);
      Bar()->setValue(place);
      QApplication::processEvents();
      const std::int32_t next =
          TrapAt(PositionOfTrap(static_cast<std::int32_t>(
              window_->Model().Rows().SequenceNumberAt(window_->Model().Rows().Count() - 1)))) +
          1;
      repaints.Count = 0;
      Arrive(next, next + 400);
      EXPECT_LE(repaints.Count, 1) << "scrolled to " << place << ", sorted by " << column;
      EXPECT_GE(repaints.Count, place == 50 ? 0 : 1) << "scrolled to " << place << ", sorted by " << column;
    }
  }
}

TEST_F(TrapsWindowTest, ShowsHostileTextsAsPlainVisibleText) {
  const std::vector<std::string> hostile = {
      "<b>bold</b><img src='file:///etc/passwd'>",
      std::string("line\nbreak\ttab\r\0nul", 18),
      "left\xE2\x80\xAEthgir",
      "broken \xFF\xFE bytes",
      std::string(65'536, 'A') + "END",
      "=HYPERLINK(\"http://evil\")",
  };
  std::vector<StoredTrap> traps;
  for (std::size_t i = 0; i < hostile.size(); ++i) {
    StoredTrap trap = Trap(static_cast<std::int32_t>(i) + 1);
    trap.EventDescription = hostile[i];
    traps.push_back(trap);
  }
  Open();
  for (const StoredTrap& trap : traps) {
    world_.Deliver(trap, {window_.get()});
  }
  window_->UpdateStatusBar();
  window_->grab();
  for (int position = 0; position < window_->Table().rowCount(); ++position) {
    const QModelIndex cell = window_->Table().index(position, 3);
    const QString shown = cell.data().toString();
    EXPECT_LE(shown.size(), 1100);
    for (const QChar c : shown) {
      ASSERT_TRUE(c.category() != QChar::Other_Control && c != QChar(0x202E) && c != QLatin1Char('\n'));
    }
    const QString tip = cell.data(Qt::ToolTipRole).toString();
    EXPECT_FALSE(tip.contains(QLatin1String("<b>")) || tip.contains(QLatin1String("<img")));
    EXPECT_TRUE(Qt::mightBeRichText(tip)) << "a tool tip that is taken for plain text shows its escapes";
  }
  EXPECT_EQ(window_->Table().index(0, 3).data().toString(), ToQString(hostile[0]));

  QTest::keyClick(list_, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(list_, Qt::Key_C, Qt::ControlModifier);
  const QStringList lines = QApplication::clipboard()->text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), static_cast<qsizetype>(hostile.size()));
  for (const QString& line : lines) {
    EXPECT_EQ(line.count(QLatin1Char('\t')), 3);
  }
  EXPECT_TRUE(lines[4].endsWith(QLatin1String("AEND"))) << "copied whole, however the cell is cut";
  EXPECT_TRUE(lines[5].endsWith(ToQString(hostile[5]))) << "copied as it is";
}

TEST_F(TrapsWindowTest, SelectsAndCopiesManyRowsQuickly) {
  world_.State.gMaxViewTraps = 20'000;
  Store(1, 12'000);
  Open();
  Load();
  list_->selectAll();
  EXPECT_EQ(window_->List().SelectedRows().size(), 12'000U);
  EXPECT_EQ(list_->selectionModel()->selection().size(), 1) << "one range, not one for each row";
}

TEST_F(TrapsWindowTest, EmptyListsSayWhatWouldBeThere) {
  Open();
  const auto* empty = list_->findChild<QLabel*>(QStringLiteral("lblEmptyList"));
  ASSERT_NE(empty, nullptr);
  EXPECT_TRUE(empty->isVisible());
  EXPECT_EQ(empty->text(), QStringLiteral("No unacknowledged traps"));
  window_->ShowTrapDetail();
  window_->Printable();
  const test::ScriptedPrompts::Shown message{"There are no traps in the active window.",
                                             PromptIcon::Information, PromptButtons::Ok};
  EXPECT_THAT(world_.Prompt.Messages(), testing::ElementsAre(message, message));

  Arrive(1, 3);
  EXPECT_FALSE(empty->isVisible());
}

TEST_F(TrapsWindowTest, AsksForItsPopUpMenuAndShowsItsParameters) {
  Open();
  Arrive(1, 3);
  QSignalSpy menus(window_.get(), &frmTraps::ContextMenuRequested);
  const QPoint place = list_->visualRect(list_->model()->index(1, 1)).center();
  QContextMenuEvent event(QContextMenuEvent::Mouse, place, list_->viewport()->mapToGlobal(place));
  QApplication::sendEvent(list_->viewport(), &event);
  ASSERT_EQ(menus.size(), 1);
  EXPECT_EQ(menus.front().front().toPoint(), list_->viewport()->mapToGlobal(place));

  QString caption;
  QTimer closer;
  QObject::connect(&closer, &QTimer::timeout, &closer, [&] {
    if (QWidget* dialog = QApplication::activeModalWidget()) {
      caption = dialog->windowTitle();
      dialog->close();
    }
  });
  closer.start(10);
  window_->ShowWindowParameters();
  EXPECT_EQ(caption, QStringLiteral("Window Parameters"));
}

TEST_F(TrapsWindowTest, ColumnWidthsAreKeptAndDamagedOnesIgnored) {
  Open();
  list_->setColumnWidth(1, 321);
  window_.reset();
  EXPECT_THAT(world_.Platform.Settings.Values["Settings/TrapsColumnWidths"], testing::HasSubstr(",321,"));
  Open();
  EXPECT_EQ(list_->columnWidth(1), 321);
  for (const char* damaged : {"", "1,2", "a,b,c", "100,,100", "99999999999,1,1", "1,2,3,4"}) {
    world_.Platform.Settings.Values["Settings/TrapsColumnWidths"] = damaged;
    Open();
    EXPECT_GE(list_->columnWidth(0), 100) << damaged;
  }
}

TEST_F(TrapsWindowTest, AClosedSubWindowGoesOnlyWhenItMay) {
  world_.State.gLastTrapTime = 5000;
  Store(1, 10);
  const intake::System& system = world_.AddSystem("router1");
  QMdiArea area;
  area.resize(800, 600);
  area.show();
  Open(traps::WindowKind::PerSystem, &system);
  Load();
  tester_.reset();
  QMdiSubWindow* sub = area.addSubWindow(window_.release());
  EXPECT_EQ(sub->windowTitle(), QStringLiteral("All Traps "));
  world_.Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap BEGIN SELECT RAISE(ABORT, 'refused'); END");
  world_.Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(sub->close()) << "the store refused: the window stays";
  world_.Store.Execute("DROP TRIGGER traps.refuse");
  world_.Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(sub->close());
  EXPECT_EQ(world_.Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 0);
}

}  // namespace
}  // namespace korvane::traps
