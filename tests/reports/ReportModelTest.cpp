// Reports: which stored traps they hold and in which order, and that a load can be stopped, begun anew, or
// lose its store at any moment without losing what the list holds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "reports/ReportModel.h"
#include "support/Processes.h"
#include "support/World.h"

namespace korvane::reports {
namespace {

using std::chrono::milliseconds;
using test::Numbers;
using test::StoredTrap;
using test::WaitUntil;
using testing::ElementsAre;

class ReportModelTest : public testing::Test {
 protected:
  std::unique_ptr<ReportModel> Report(std::int32_t from, std::int32_t to,
                                      params::WindowParameters window = {}) {
    params::ReportParameters parameters{.FromTime = from, .ToTime = to, .Window = std::move(window)};
    return std::make_unique<ReportModel>(
        world_.ForReports, std::move(parameters),
        ReportModel::Events{.BatchesReady = [] {}, .StateChanged = [this] { ++stateChanges_; }}, options_);
  }
  // As the window does, until the load ends.
  bool Finish(ReportModel& report) {
    return WaitUntil([&] {
      report.TakeBatches(milliseconds(15));
      return report.State() != ReportState::Loading;
    });
  }
  std::vector<std::int32_t> Load(ReportModel& report) {
    report.Reset();
    EXPECT_TRUE(Finish(report));
    EXPECT_EQ(report.State(), ReportState::Complete) << report.Notice();
    return Numbers(report.Rows());
  }
  void StoreTraps(std::int32_t count) {
    std::vector<StoredTrap> traps;
    for (std::int32_t number = 1; number <= count; ++number) {
      traps.push_back({.SequenceNumber = number, .EventTime = 1000 + number});
    }
    world_.Store.AddTraps(traps);
  }
  // Loads until the list holds some rows; the reader still has most of them before it, and waits for room.
  void LoadSome(ReportModel& report) {
    report.Reset();
    EXPECT_TRUE(WaitUntil([&] {
      report.TakeBatches(milliseconds(0));
      return !report.Rows().Empty();
    }));
    ASSERT_EQ(report.State(), ReportState::Loading);
  }

  test::LoadedWorld world_;
  ReportLoaderOptions options_{.LargestBatchRows = 1024, .MostQueuedRows = 2000};
  int stateChanges_ = 0;
};

TEST_F(ReportModelTest, HoldsTheTrapsOfItsRangeOldestFirst) {
  world_.State.gMaxViewTraps = 2;  // limits Traps windows, not reports
  world_.Store.AddTraps(std::vector<StoredTrap>{{.SequenceNumber = 1, .EventTime = 300},
                                                {.SequenceNumber = 2, .EventTime = 200, .EventAck = 1},
                                                {.SequenceNumber = 3, .EventTime = 199},
                                                {.SequenceNumber = 5, .EventTime = 250},
                                                {.SequenceNumber = 4, .EventTime = 250, .EventNotes = "seen"},
                                                {.SequenceNumber = 6, .EventTime = 301}});
  auto report = Report(200, 300);
  EXPECT_THAT(Load(*report), ElementsAre(2, 4, 5, 1));
  EXPECT_EQ(report->Rows().At(1).EventNotes, "seen");
  EXPECT_EQ(report->TotalTrapsText(), "Total Traps In Window: 4 ");
  EXPECT_EQ(report->Notice(), "");
  EXPECT_THAT(Load(*Report(250, 250)), ElementsAre(4, 5));
  EXPECT_THAT(Load(*Report(300, 200)), ElementsAre());
  EXPECT_THAT(world_.Busy.WorkTexts, testing::Each("Loading Trap(s)"));
  EXPECT_EQ(world_.Busy.WorksRunning, 0);
}

TEST_F(ReportModelTest, SkipsWhatIsFilteredOrDoesNotMatch) {
  world_.Store.AddFilter({.GenericTrap = 2});
  world_.ReadRules();
  world_.Store.AddSystem("Core Router", "10.0.0.1");
  ASSERT_TRUE(world_.SystemList.LoadSystems(world_.Connection));
  world_.Store.AddTraps(std::vector<StoredTrap>{
      {.SequenceNumber = 1, .Source = "10.0.0.1", .Event_ExtDescr = " of the Link"},
      {.SequenceNumber = 2, .Source = "10.0.0.1", .GenericTrap = 2, .Event_ExtDescr = " of the link"},
      {.SequenceNumber = 3, .Source = "10.0.0.2", .Event_ExtDescr = " of the link"},
      {.SequenceNumber = 4, .Source = "10.0.0.1"}});
  EXPECT_THAT(Load(*Report(0, 2000)), ElementsAre(1, 3, 4));
  auto report = Report(0, 2000, {.Source = "core router", .VarBindsMatch = "LINK"});
  EXPECT_THAT(Load(*report), ElementsAre(1));
  EXPECT_EQ(report->Rows().At(0).SystemName, "Core Router");
  EXPECT_EQ(report->RowsRead(), 4);
}

TEST_F(ReportModelTest, ComesInBatchesWithAnHonestCount) {
  constexpr std::int32_t kTraps = 20'000;
  StoreTraps(kTraps);
  auto report = Report(0, 100'000, {.VarBindsMatch = "nowhere"});
  EXPECT_THAT(Load(*report), ElementsAre());
  ASSERT_FALSE(world_.Busy.WorkProgress.empty());
  std::int64_t before = 0;
  for (const auto& [done, total] : world_.Busy.WorkProgress) {
    EXPECT_GE(done, before);
    EXPECT_THAT(total, testing::AnyOf(0, kTraps));
    before = done;
  }
  EXPECT_EQ(world_.Busy.WorkProgress.back(), std::make_pair(std::int64_t{kTraps}, std::int64_t{kTraps}));
}

TEST_F(ReportModelTest, TheFirstTrapsComeAloneAndAtOnce) {
  StoreTraps(3000);
  ReportLoader loader;
  ASSERT_TRUE(loader.Start([this] { return world_.ForReports.OpenConnection({}); }, 0, 100'000, [] {}));
  ASSERT_TRUE(WaitUntil([&] { return loader.HasMore(); }));
  EXPECT_LE(loader.Take()->Count(), 256U);
}

TEST_F(ReportModelTest, ATurnEndsWithItsBudget) {
  StoreTraps(3000);
  auto report = Report(0, 100'000);
  report->Reset();
  // Of nothing: used up whenever the clock is looked at, long before the end of a batch, since each of its
  // traps may have to be asked for in the store.
  std::size_t largest = 0;
  ASSERT_TRUE(WaitUntil([&] {
    const std::size_t before = report->Rows().Count();
    const bool more = report->TakeBatches(milliseconds(0));
    const std::size_t count = report->Rows().Count();
    EXPECT_TRUE(more || count % 256 == 0 || count == 3000) << "nobody else would ask for the rest";
    largest = std::max(largest, count - before);
    return report->State() != ReportState::Loading;
  }));
  EXPECT_LT(largest, 256U);
  const std::vector<std::int32_t> numbers = Numbers(report->Rows());
  EXPECT_EQ(numbers.size(), 3000U);
  EXPECT_TRUE(std::ranges::is_sorted(numbers));
  EXPECT_EQ(report->RowsRead(), 3000);
}

TEST_F(ReportModelTest, StoppedOrBegunAnewAtAnyMoment) {
  constexpr std::int32_t kTraps = 20'000;
  StoreTraps(kTraps);
  auto report = Report(0, 100'000);
  LoadSome(*report);
  const std::size_t held = report->Rows().Count();
  const int changes = stateChanges_;
  world_.Busy.Stop();
  EXPECT_EQ(report->State(), ReportState::Stopped);
  EXPECT_EQ(stateChanges_, changes + 1);
  EXPECT_EQ(world_.Busy.WorksRunning, 0);
  EXPECT_FALSE(report->TakeBatches(milliseconds(15)));
  EXPECT_EQ(report->Rows().Count(), held);
  EXPECT_EQ(report->Rows().SequenceNumberAt(held - 1), static_cast<std::int32_t>(held));
  EXPECT_EQ(report->Notice(),
            "Stopped: the list holds the first " + std::to_string(held) + " traps of the range.");

  LoadSome(*report);
  LoadSome(*report);
  ASSERT_TRUE(Finish(*report));
  EXPECT_EQ(report->State(), ReportState::Complete);
  const std::vector<std::int32_t> numbers = Numbers(report->Rows());
  ASSERT_EQ(numbers.size(), static_cast<std::size_t>(kTraps));
  EXPECT_TRUE(std::ranges::is_sorted(numbers));

  LoadSome(*report);
  report.reset();
  EXPECT_EQ(world_.Busy.WorksRunning, 0);
}

// The cursor stays open while the reader waits for room: nobody else may notice.
TEST_F(ReportModelTest, LeavesTheSharedConnectionToTheIntake) {
  StoreTraps(20'000);
  world_.Store.AddDefinition("1.3.6.1.4.1.77", 5, "newKind", "vendor", "");
  auto report = Report(0, 100'000);
  LoadSome(*report);
  auto window = world_.Open();
  world_.Deliver({.SequenceNumber = 30'000,
                  .EventTime = 1'000'001,
                  .EnterpriseOid = "1.3.6.1.4.1.77",
                  .SpecificTrap = 5},
                 {window.get()});
  window->UpdateStatusBar();
  ASSERT_EQ(window->Rows().Count(), 1U);
  EXPECT_EQ(window->Rows().TrapNameAt(0), "newKind");
  EXPECT_EQ(world_.Connection.Execute("UPDATE EventTrap SET EventAck = 1 WHERE EventTime < 2000"), 999);
  world_.Store.AddTrap({.SequenceNumber = 30'001, .EventTime = 2});
  ASSERT_TRUE(Finish(*report));
  EXPECT_GE(report->Rows().Count(), 20'000U);
}

TEST_F(ReportModelTest, KeepsItsTrapsWhenTheStoreGoesAway) {
  StoreTraps(20'000);
  world_.Store.AddTrap({.SequenceNumber = 20'001, .EventTime = 90'000, .EnterpriseOid = "1.3.6.1.4.1.77"});
  auto report = Report(0, 100'000);
  LoadSome(*report);
  // However far the reader comes with its open files, the name of the last trap can't be looked up.
  world_.Store.TakeAway();
  ASSERT_TRUE(Finish(*report));
  EXPECT_EQ(report->State(), ReportState::Failed);
  const std::vector<std::int32_t> held = Numbers(report->Rows());
  ASSERT_FALSE(held.empty());
  EXPECT_EQ(held.back(), static_cast<std::int32_t>(held.size()));
  EXPECT_THAT(report->Notice(), testing::StartsWith("The list is not complete, it holds the first " +
                                                    std::to_string(held.size()) + " traps of the range: "));
  EXPECT_EQ(world_.Busy.WorksRunning, 0);

  report->Reset();
  ASSERT_TRUE(Finish(*report));
  EXPECT_EQ(report->State(), ReportState::Failed);
  EXPECT_THAT(report->Notice(), testing::HasSubstr("holds none of the traps of the range: "));
  world_.Store.BringBack();
  EXPECT_EQ(Load(*report).size(), 20'001U);
  EXPECT_EQ(report->Notice(), "");
}

TEST_F(ReportModelTest, ShowsNotesThatAreSavedMeanwhile) {
  StoreTraps(20'000);
  auto report = Report(0, 100'000);
  LoadSome(*report);
  // The reader's view of the table may be older than the notes: they reach the model all the same.
  report->NotesSaved(1, "listed");
  report->NotesSaved(20'000, "not read yet");
  ASSERT_TRUE(Finish(*report));
  EXPECT_EQ(report->Rows().At(0).EventNotes, "listed");
  EXPECT_EQ(report->Rows().At(19'999).EventNotes, "not read yet");
  report->NotesSaved(20'000, "");
  EXPECT_EQ(report->Rows().At(19'999).EventNotes, "");
}

// A server that went mute: the reader hangs in connecting and nothing reaches it.
TEST_F(ReportModelTest, DoesNotWaitForAStoreThatHangs) {
  std::promise<void> release;
  auto held = std::make_shared<std::shared_future<void>>(release.get_future().share());
  world_.ForReports.OpenConnection =
      [held](store::ConnectionOptions options) -> std::unique_ptr<store::Connection> {
    EXPECT_GT(options.ConnectTimeoutSeconds, 0);
    held->wait();
    throw std::runtime_error("too late");
  };
  auto report = Report(0, 100'000);
  report->Reset();
  EXPECT_FALSE(report->TakeBatches(milliseconds(15)));
  const auto begun = std::chrono::steady_clock::now();
  world_.Busy.Stop();
  report->Reset();
  report.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
  world_.ForReports.OpenConnection = nullptr;
  release.set_value();
  EXPECT_TRUE(WaitUntil([&] { return held.use_count() == 1; })) << "both threads end, with what they own";
}

}  // namespace
}  // namespace korvane::reports
