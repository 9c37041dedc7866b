// The Traps window offscreen: what the list shows, copies and selects, and that it never moves what is read.
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTextDocument>

#include "common/qt/QtText.h"
#include "support/WindowDriver.h"
#include "support/World.h"
#include "traps/TrapsList.h"
#include "traps/frmTraps.h"

namespace korvane::traps {
namespace {

using test::StoredTrap;
using test::TextOf;
using testing::ElementsAre;

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

class TrapsWindowTest : public testing::Test, public test::LoadedWorld {
 protected:
  TrapsWindowTest() { State.gMaxViewTraps = 200; }
  ~TrapsWindowTest() override { tester_.reset(); }

  void Open(WindowKind kind = WindowKind::Selected, const intake::System* system = nullptr) {
    params::WindowParameters parameters;
    parameters.WindowName = "All Traps ";
    window_ = std::make_unique<frmTraps>(ForTraps, Windows, kind, parameters, system);
    Windows.Models.push_back(&window_->Model());
    tester_ = std::make_unique<QAbstractItemModelTester>(
        &window_->Table(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    list_ = &test::Find<QTableView>(*window_, "lvTraps");
    repaints_ = std::make_unique<Repaints>(list_->viewport());
    window_->resize(700, 320);
    test::ShowActive(*window_);
  }
  // Opens it on stored traps of these numbers.
  void OpenOn(std::int32_t first, std::int32_t last) {
    std::vector<StoredTrap> traps;
    for (std::int32_t number = first; number <= last; ++number) {
      traps.push_back(Trap(number));
    }
    Store.AddTraps(traps);
    Open();
    Load();
  }
  static StoredTrap Trap(std::int32_t number) {
    return {.SequenceNumber = number,
            .EventTime = 1000 + number,
            .Source = "router" + std::to_string(number % 7),
            .EventDescription = "value " + std::to_string(number * 37 % 101)};
  }
  void Load() {
    window_->Reset();
    QApplication::processEvents();
  }
  // One tick of the intake, which is painted at once.
  void Arrive(std::int32_t first, std::int32_t last) {
    QApplication::processEvents();
    repaints_->Count = 0;
    for (std::int32_t number = first; number <= last; ++number) {
      Deliver(Trap(number), {window_.get()});
    }
    window_->UpdateStatusBar();
    QApplication::processEvents();
    EXPECT_LE(repaints_->Count, 1) << "traps " << first << " to " << last;
  }
  void Acknowledge(const std::vector<std::int32_t>& traps) {
    window_->TrapsAcknowledged(traps);
    QApplication::processEvents();
  }

  std::int32_t TrapAt(int position) {
    return window_->Model().Rows().SequenceNumberAt(window_->Table().RowAt(position));
  }
  std::vector<std::int32_t> TrapsAt(int first, int end) {
    std::vector<std::int32_t> traps;
    for (int position = first; position < end; ++position) {
      traps.push_back(TrapAt(position));
    }
    return traps;
  }
  // The traps on the screen, from the top.
  std::vector<std::int32_t> OnScreen() {
    const int last = list_->rowAt(list_->viewport()->height() - 1);
    return TrapsAt(list_->rowAt(0), (last < 0 ? window_->Table().rowCount() : last + 1));
  }
  QScrollBar* Bar() { return list_->verticalScrollBar(); }

  std::unique_ptr<frmTraps> window_;
  std::unique_ptr<QAbstractItemModelTester> tester_;
  std::unique_ptr<Repaints> repaints_;
  QTableView* list_ = nullptr;
};

TEST_F(TrapsWindowTest, FollowsTheNewestOnlyFromTheEnd) {
  OpenOn(1, 100);
  ASSERT_GT(Bar()->maximum(), 0);
  EXPECT_EQ(OnScreen().back(), 100) << "a loaded list shows its newest traps";
  Arrive(101, 110);
  EXPECT_EQ(repaints_->Count, 1);
  EXPECT_EQ(OnScreen().back(), 110);
  window_->resize(700, 260);
  QApplication::processEvents();
  EXPECT_EQ(OnScreen().back(), 110) << "a smaller window still ends with the newest";

  Bar()->setValue(40);
  const std::vector<std::int32_t> read = OnScreen();
  Arrive(111, 120);
  EXPECT_EQ(OnScreen(), read);
  Arrive(121, 230);  // from 200 rows on each new one drops the oldest, above what is read
  EXPECT_EQ(TrapAt(0), 31);
  EXPECT_EQ(OnScreen(), read);
  Arrive(231, 330);  // what was read is dropped itself
  EXPECT_EQ(OnScreen().front(), 131) << "the oldest that is left comes to the top";
  Bar()->setValue(50);
  const std::int32_t below = TrapAt(100);
  Acknowledge(TrapsAt(45, 100));  // a block around the screen
  EXPECT_THAT(OnScreen(), testing::Contains(below));
  Bar()->setValue(Bar()->maximum());
  Arrive(331, 332);
  EXPECT_EQ(OnScreen().back(), 332);
}

TEST_F(TrapsWindowTest, KeepsTheReadersPlaceWhereverRowsComeAndGo) {
  OpenOn(1, 150);
  Bar()->setValue(60);
  const std::vector<std::int32_t> read = OnScreen();
  Acknowledge({3, 5, 7, 30, 31, 32, 50});
  EXPECT_EQ(OnScreen(), read);
  // Neighbours on the screen go: the others keep their order around them.
  Acknowledge({read[2], read[5]});
  EXPECT_EQ(OnScreen()[0], read[0]);
  EXPECT_EQ(OnScreen()[2], read[3]);
  // Sorted, new rows come in above and below; what is on the screen stays unless it moves itself.
  list_->sortByColumn(3, Qt::AscendingOrder);
  Bar()->setValue(50);
  const std::int32_t top = OnScreen().front();
  Arrive(151, 190);
  EXPECT_EQ(OnScreen().front(), top);
  Load();
  EXPECT_EQ(OnScreen().front(), top) << "a reset loads the list anew and goes back to the place";
}

TEST_F(TrapsWindowTest, SelectionAndCurrentRowFollowTheirTraps) {
  OpenOn(1, 200);
  const auto select = [&](int position, QItemSelectionModel::SelectionFlags flags) {
    list_->selectionModel()->setCurrentIndex(window_->Table().index(position, 0),
                                             flags | QItemSelectionModel::Rows);
  };
  const auto selected = [&] {
    std::vector<std::int32_t> numbers;
    for (const std::uint32_t row : window_->List().SelectedRows()) {
      numbers.push_back(window_->Model().Rows().SequenceNumberAt(row));
    }
    return numbers;
  };
  select(149, QItemSelectionModel::ClearAndSelect);
  select(159, QItemSelectionModel::Select);
  select(4, QItemSelectionModel::Select);
  EXPECT_EQ(TextOf(*window_, "lblSelectedTrap"), "Selected Trap: 5 ");
  Arrive(201, 210);
  EXPECT_THAT(selected(), ElementsAre(150, 160)) << "trap 5 was dropped";
  list_->sortByColumn(0, Qt::DescendingOrder);
  EXPECT_THAT(selected(), ElementsAre(160, 150)) << "in the order that is shown";
  Arrive(211, 215);
  EXPECT_THAT(selected(), ElementsAre(160, 150));
  list_->sortByColumn(-1, Qt::AscendingOrder);
  EXPECT_THAT(selected(), ElementsAre(150, 160));

  // Acknowledged rows go; the keyboard goes on from the next one, and nothing is selected by itself.
  select(160 - TrapAt(0), QItemSelectionModel::NoUpdate);
  list_->scrollTo(list_->currentIndex());
  window_->AcknowledgeTrap();
  EXPECT_TRUE(IsAcknowledged(150));
  EXPECT_THAT(TrapsAt(0, window_->Table().rowCount()), testing::Not(testing::Contains(160)));
  EXPECT_THAT(selected(), testing::IsEmpty());
  EXPECT_EQ(TrapAt(list_->currentIndex().row()), 161);
  EXPECT_EQ(TextOf(*window_, "lblSelectedTrap"), "Selected Trap: 0 ");
  EXPECT_EQ(TextOf(*window_, "lblTotalTraps"), "Total Traps In Window: 198 ");
  list_->selectAll();
  EXPECT_EQ(selected().size(), 198U);
  EXPECT_EQ(list_->selectionModel()->selection().size(), 1) << "one range, not one for each row";
}

TEST_F(TrapsWindowTest, HeaderClicksSortUpDownAndBackToArrival) {
  OpenOn(1, 50);
  const auto click = [&] {
    const QHeaderView* header = list_->horizontalHeader();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      QPoint(header->sectionViewportPosition(3) + 10, header->height() / 2));
  };
  click();
  EXPECT_TRUE(std::ranges::is_sorted(test::Rows(*list_, {3})));
  EXPECT_EQ(Bar()->value(), 0) << "a sorted list shows where its order begins";
  Arrive(51, 60);
  EXPECT_TRUE(std::ranges::is_sorted(test::Rows(*list_, {3})));
  click();
  EXPECT_TRUE(std::ranges::is_sorted(test::Rows(*list_, {3}), std::greater<>()));
  list_->selectRow(20);
  list_->scrollTo(list_->currentIndex());
  const int line = list_->visualRect(list_->currentIndex()).top();
  click();
  EXPECT_EQ(list_->visualRect(list_->currentIndex()).top(), line) << "the current trap keeps its line";
  EXPECT_TRUE(std::ranges::is_sorted(TrapsAt(0, 60)));
}

TEST_F(TrapsWindowTest, ShowsHostileTextsAsPlainVisibleText) {
  const std::array<std::string, 6> hostile = {"<b>bold</b><img src='file:///etc/passwd'>",
                                              std::string("line\nbreak\ttab\r\0nul", 18),
                                              "left\u202Ethgir",
                                              "broken \xFF\xFE bytes",
                                              std::string(65'536, 'A') + "END",
                                              "=HYPERLINK(\"http://evil\")"};
  Open();
  for (std::size_t i = 0; i < hostile.size(); ++i) {
    StoredTrap trap = Trap(static_cast<std::int32_t>(i) + 1);
    trap.EventDescription = hostile[i];
    Deliver(trap, {window_.get()});
  }
  window_->UpdateStatusBar();
  window_->grab();
  for (int position = 0; position < window_->Table().rowCount(); ++position) {
    const QModelIndex cell = window_->Table().index(position, 3);
    const QString shown = cell.data().toString();
    EXPECT_LE(shown.size(), 1100);
    EXPECT_TRUE(std::ranges::none_of(
        shown, [](QChar c) { return c.category() == QChar::Other_Control || c == QChar(0x202E); }));
    const QString tip = cell.data(Qt::ToolTipRole).toString();
    EXPECT_FALSE(tip.contains(QLatin1String("<b>")) || tip.contains(QLatin1String("<img")));
    EXPECT_TRUE(Qt::mightBeRichText(tip)) << "a tool tip that is taken for plain text shows its escapes";
  }
  EXPECT_EQ(test::Cell(*list_, 0, 3), hostile[0]);
  QTest::keyClick(list_, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(list_, Qt::Key_C, Qt::ControlModifier);
  const QStringList lines = QApplication::clipboard()->text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), static_cast<qsizetype>(hostile.size()));
  EXPECT_TRUE(std::ranges::all_of(lines, [](const QString& line) { return line.count(u'\t') == 3; }));
  EXPECT_TRUE(lines[4].endsWith(QLatin1String("AEND"))) << "copied whole, however the cell is cut";
  EXPECT_TRUE(lines[5].endsWith(ToQString(hostile[5]))) << "copied as it is";
}

TEST_F(TrapsWindowTest, OpensEmptyAndClosesWhenItMay) {
  const intake::System& system = AddSystem("router1");
  Open(WindowKind::PerSystem, &system);
  EXPECT_EQ(window_->windowTitle(), QStringLiteral("All Traps "));
  EXPECT_TRUE(test::IsShown(*window_, "lblEmptyList"));
  EXPECT_EQ(TextOf(*window_, "lblEmptyList"), "No unacknowledged traps");
  window_->ShowTrapDetail();
  window_->Printable();
  const test::ScriptedPrompts::Shown message{"There are no traps in the active window.",
                                             PromptIcon::Information, PromptButtons::Ok};
  EXPECT_THAT(Prompt.Messages(), ElementsAre(message, message));
  Store.AddTrap(Trap(1));
  Arrive(1, 1);
  EXPECT_FALSE(test::IsShown(*window_, "lblEmptyList"));

  QSignalSpy menus(window_.get(), &frmTraps::ContextMenuRequested);
  const QPoint place = test::CentreOf(*list_, 0, 1);
  test::RightClick(*list_, place);
  ASSERT_EQ(menus.size(), 1);
  EXPECT_EQ(menus.front().front().toPoint(), list_->viewport()->mapToGlobal(place));
  QSignalSpy changed(&window_->Table(), &QAbstractItemModel::dataChanged);
  window_->NotesSaved(1, "seen");
  EXPECT_EQ(changed.size(), 1);
  test::InDialog([&] { window_->ShowWindowParameters(); },
                 [](QDialog& dialog) {
                   EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Window Parameters"));
                   dialog.close();
                 });
  list_->setColumnWidth(1, 321);

  Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap BEGIN SELECT RAISE(ABORT, 'refused'); END");
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(window_->close()) << "the store refused: the window stays";
  EXPECT_EQ(window_->Table().rowCount(), 1);
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(window_->close());
  EXPECT_FALSE(IsAcknowledged(1));
  tester_.reset();
  window_.reset();
  EXPECT_THAT(Platform.Settings.Values["Settings/TrapsColumnWidths"], testing::HasSubstr(",321,"));
}

}  // namespace
}  // namespace korvane::traps
