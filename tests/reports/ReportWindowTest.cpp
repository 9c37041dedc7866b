// The Report / History window offscreen: what it shows in each state of its load, and that a list that grows
// by the thousand moves nothing under its reader.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/qt/QtText.h"
#include "reports/frmReport.h"
#include "support/Processes.h"
#include "support/World.h"
#include "traps/TrapsList.h"

namespace korvane::reports {
namespace {

using test::StoredTrap;

class ReportWindowTest : public testing::Test {
 protected:
  // Each turn takes a few hundred traps, however far the reader is.
  ReportWindowTest() { world_.Platform.Clock.MillisecondsPerLook = 1; }

  void Open(std::int32_t from = 0, std::int32_t to = 1'000'000) {
    params::ReportParameters parameters{.FromTime = from, .ToTime = to, .Window = {}};
    parameters.Window.WindowName = "Nightly (Custom View)";
    window_ = std::make_unique<frmReport>(world_.ForReports, world_.Windows, parameters);
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

  void Store(std::int32_t count) {
    std::vector<StoredTrap> traps;
    for (std::int32_t number = 1; number <= count; ++number) {
      traps.push_back({.SequenceNumber = number,
                       .EventTime = 1000 + number,
                       .Source = "10.0.0." + std::to_string(number % 7),
                       .EventDescription = "value " + std::to_string(number * 37 % 101)});
    }
    world_.Store.AddTraps(traps);
  }
  bool Until(const std::function<bool()>& condition) {
    return test::WaitUntil([&] {
      QApplication::processEvents();
      return condition();
    });
  }
  bool Load() {
    window_->Reset();
    return Until([this] { return window_->Model().State() != ReportState::Loading; });
  }
  void LoadSome() {
    window_->Reset();
    ASSERT_TRUE(Until([this] { return !window_->Model().Rows().Empty(); }));
    ASSERT_EQ(window_->Model().State(), ReportState::Loading);
  }

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
  std::int32_t TrapAt(int position) {
    return window_->Model().Rows().SequenceNumberAt(window_->Table().RowAt(position));
  }
  template <class Control>
  Control* Find(const char* name) {
    return window_->findChild<Control*>(QLatin1String(name));
  }
  std::string Text(const char* label) { return ToUtf8(Find<QLabel>(label)->text()); }
  bool Noticed() { return Find<QWidget>("fraNotice")->isVisible(); }

  test::LoadedWorld world_;
  std::unique_ptr<frmReport> window_;
  std::unique_ptr<QAbstractItemModelTester> tester_;
  QTableView* list_ = nullptr;
};

TEST_F(ReportWindowTest, SaysWhatAnEmptyListMeans) {
  Open();
  EXPECT_EQ(Text("lblEmptyList"), "Loading…");
  ASSERT_TRUE(Load());
  EXPECT_EQ(Text("lblEmptyList"), "No traps in this time range");
  EXPECT_FALSE(Noticed());
  window_->ShowTrapDetail();
  ASSERT_EQ(world_.Prompt.Messages().size(), 1U);
  EXPECT_EQ(world_.Prompt.Messages()[0].Text, "There are no traps in the active window.");
  EXPECT_EQ(world_.Prompt.Messages()[0].Icon, PromptIcon::Information);
  // Nothing is worth a report too: of header and trailer.
  window_->Printable();
  EXPECT_TRUE(std::filesystem::exists(world_.InstallFolder.Path() / "WindowPrint.txt"));

  world_.Store.TakeAway();
  ASSERT_TRUE(Load());
  EXPECT_EQ(Text("lblEmptyList"), "No traps were loaded");
  EXPECT_TRUE(Noticed());
  EXPECT_THAT(Text("lblNotice"), testing::StartsWith("The list is not complete, it holds none"));
  world_.Store.BringBack();
  Store(3);
  QTest::mouseClick(Find<QPushButton>("cmdLoadAgain"), Qt::LeftButton);
  ASSERT_TRUE(Until([this] { return window_->Model().State() == ReportState::Complete; }));
  EXPECT_FALSE(Noticed());
  EXPECT_EQ(window_->Table().rowCount(), 3);
}

TEST_F(ReportWindowTest, ShowsItsTrapsFromTheTop) {
  world_.Store.AddSystem("Core Router", "10.0.0.3");
  ASSERT_TRUE(world_.SystemList.LoadSystems(world_.Connection));
  Store(300);
  Open(1003, 1300);
  EXPECT_EQ(window_->windowTitle(), QStringLiteral("Nightly (Custom View)"));
  ASSERT_TRUE(Load());
  EXPECT_EQ(OnScreen().front(), 3);
  EXPECT_EQ(window_->Table().index(0, 1).data(), QStringLiteral("Core Router"));
  EXPECT_EQ(Text("lblTotalTraps"), "Total Traps In Window: 298 ");
  EXPECT_EQ(Text("lblSelectedTrap"), "Selected Trap: 0 ");
  window_->List().SelectPosition(4);
  EXPECT_EQ(Text("lblSelectedTrap"), "Selected Trap: 5 ");
  list_->setColumnWidth(1, 222);
  EXPECT_TRUE(Until([this] {
    const auto saved = world_.Platform.Settings.Values.find("Settings/ReportColumnWidths");
    return saved != world_.Platform.Settings.Values.end() && saved->second.find(",222,") != std::string::npos;
  }));
}

TEST_F(ReportWindowTest, NothingMovesUnderTheReaderWhileRowsArrive) {
  Store(30'000);
  Open();
  QScrollBar* bar = list_->verticalScrollBar();
  // Not even at the end, where a live list would follow: there the view lets go of a line it shows in part.
  for (const int aboveTheEnd : {5, 0}) {
    LoadSome();
    EXPECT_EQ(bar->value(), 0);
    bar->setValue(bar->maximum() - aboveTheEnd);
    const std::vector<std::int32_t> read = OnScreen();
    ASSERT_EQ(window_->Model().State(), ReportState::Loading);
    ASSERT_TRUE(Until([this] { return window_->Model().State() == ReportState::Complete; }));
    EXPECT_EQ(window_->Table().rowCount(), 30'000);
    EXPECT_LE(OnScreen().front() - read.front(), aboveTheEnd > 0 ? 0 : 1);
    EXPECT_GE(OnScreen().front(), read.front());
  }

  // Back in arrival order a report begins at its top.
  list_->clearSelection();
  list_->setCurrentIndex({});
  list_->sortByColumn(3, Qt::AscendingOrder);
  list_->sortByColumn(-1, Qt::AscendingOrder);
  EXPECT_EQ(OnScreen().front(), 1);
}

TEST_F(ReportWindowTest, SortedWhileItLoadsItEndsSorted) {
  Store(30'000);
  Open();
  LoadSome();
  list_->sortByColumn(3, Qt::DescendingOrder);
  ASSERT_TRUE(Until(
      [this] { return window_->Model().State() == ReportState::Complete && !window_->Table().IsSorting(); }));
  QString before = window_->Table().index(0, 3).data().toString();
  std::int32_t numberBefore = 0;
  for (int position = 0; position < 30'000; ++position) {
    const QString text = window_->Table().index(position, 3).data().toString();
    ASSERT_LE(text, before) << position;
    if (text == before) {
      ASSERT_GT(TrapAt(position), numberBefore) << "equal rows keep their order";
    }
    before = text;
    numberBefore = TrapAt(position);
  }
}

TEST_F(ReportWindowTest, ClosedWhileItLoads) {
  Store(30'000);
  Open();
  LoadSome();
  tester_.reset();
  window_.reset();
  EXPECT_EQ(world_.Busy.WorksRunning, 0);
  QTest::qWait(50);  // what its reader had posted meets nobody
}

TEST_F(ReportWindowTest, ItsParametersCanBeRead) {
  Open();
  QString caption;
  QElapsedTimer waited;
  waited.start();
  QTimer poll;
  QObject::connect(&poll, &QTimer::timeout, [&] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog != nullptr) {
      caption = dialog->windowTitle();
      dialog->reject();
    }
    if (dialog != nullptr || waited.elapsed() > 15'000) {
      poll.stop();
    }
  });
  poll.start(5);
  window_->ShowWindowParameters();
  EXPECT_EQ(caption, QStringLiteral("Report / History Parameters"));
}

}  // namespace
}  // namespace korvane::reports
