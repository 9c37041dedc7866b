// Reports on every engine: which stored traps they hold and in which order, beside writers, and that a load
// can be stopped, begun anew, or lose its store at any moment without losing what the list holds.
#include "reports/ReportModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <array>
#include <future>
#include <numeric>

#include "store/Acknowledge.h"
#include "support/Files.h"
#include "support/World.h"

namespace korvane::reports {
namespace {

using std::chrono::milliseconds;
using test::StoredTrap;
using test::WaitUntil;
using testing::ElementsAre;
using Numbers = std::vector<std::int32_t>;

constexpr std::int32_t kTraps = 30'000;

class ReportModelTest : public testing::TestWithParam<store::Engine>, public test::World {
 protected:
  ReportModelTest() : World(GetParam()) {}

  std::unique_ptr<ReportModel> Report(std::int32_t from = 0, std::int32_t to = 100'000,
                                      params::WindowParameters window = {}) {
    return std::make_unique<ReportModel>(
        ForReports, params::ReportParameters{.FromTime = from, .ToTime = to, .Window = std::move(window)},
        ReportModel::Events{.BatchesReady = [] {}, .StateChanged = [this] { ++stateChanges_; }},
        ReportLoaderOptions{.LargestBatchRows = 1024, .MostQueuedRows = 2000});
  }
  // As the window does, until the load ends.
  bool Finish(ReportModel& report) {
    return WaitUntil([&] {
      report.TakeBatches(milliseconds(15));
      return report.State() != ReportState::Loading;
    });
  }
  Numbers Load(ReportModel& report) {
    report.Reset();
    EXPECT_TRUE(Finish(report));
    EXPECT_EQ(report.State(), ReportState::Complete) << report.Notice();
    EXPECT_EQ(Busy.WorksRunning, 0);
    return test::Numbers(report.Rows());
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
  // The rows that there are, oldest first and without a gap.
  void ExpectFirstRows(const ReportModel& report, std::size_t count) {
    Numbers expected(count);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(test::Numbers(report.Rows()), expected);
  }

  // The acknowledged traps, and by whom.
  static std::string Acknowledged(const ReportModel& report) {
    std::string list;
    for (std::size_t row = 0; row < report.Rows().Count(); ++row) {
      const store::IncomingTrap trap = report.Rows().At(row);
      if (trap.EventAck != 0) {
        const auto by = report.Acknowledgers().Of(trap.SequenceNumber, trap.Source, trap.EventTime);
        list += fmt::format("{} {}{}", trap.SequenceNumber, by ? by->Operator : "", by ? " " : "");
      }
    }
    return list;
  }

  int stateChanges_ = 0;
};

TEST_P(ReportModelTest, HoldsTheTrapsOfItsRangeOldestFirst) {
  State.gMaxViewTraps = 2;  // limits Traps windows, not reports
  Store.AddFilter({.GenericTrap = 2});
  ReadRules();
  Store.AddSystem("Core Router", "10.0.0.1");
  SystemList.LoadSystems(Connection);
  Store.AddTraps(std::vector<StoredTrap>{
      {.SequenceNumber = 1, .EventTime = 300, .Source = "10.0.0.1", .Event_ExtDescr = " of the Link"},
      {.SequenceNumber = 2, .EventTime = 200, .EnterpriseOid = "1.3.6.1.4.1.99", .EventAck = 1},
      {.SequenceNumber = 3, .EventTime = 199},
      {.SequenceNumber = 5, .EventTime = 250, .Event_ExtDescr = " of the link"},
      {.SequenceNumber = 4, .EventTime = 250, .Source = "10.0.0.1", .EventNotes = "seen"},
      {.SequenceNumber = 6, .EventTime = 301},
      {.SequenceNumber = 7, .EventTime = 260, .Source = "10.0.0.1", .GenericTrap = 2}});
  auto report = Report(200, 300);
  EXPECT_THAT(Load(*report), ElementsAre(2, 4, 5, 1));
  EXPECT_EQ(report->Rows().At(1).EventNotes, "seen");
  EXPECT_TRUE(report->Rows().At(0).TrapName().starts_with("1.3.6.1.4.1.99.0."))
      << "of its own, not the next's";
  EXPECT_EQ(Acknowledged(*report), "2 ");
  // Told of, in the order in which it happened.
  const store::GoOn on = [](std::int64_t) { return true; };
  const std::array four = {store::TrapKey{4, 250}};
  const store::Acknowledgement done = store::AcknowledgeTraps(Connection, four, on);
  store::TakeBack(Connection, done, on);
  store::AcknowledgeSources(Connection, std::array<std::string, 1>{"10.0.0.1"}, 300, on);
  const std::vector<store::Change> changes = store::ReadChanges(Connection, "1 = 1");
  const std::string by = " " + Connection.Author().Operator;
  std::string states;
  for (const store::Change& change : changes) {
    report->ApplyChange(change);
    states += Acknowledged(*report) + "; ";
  }
  EXPECT_EQ(states, fmt::format("2 4{0} ; 2 ; 2 4{0} ; ", by));
  // Also while it loads, before the reader comes to these rows or the log.
  report->Reset();
  for (const store::Change& change : changes) {
    report->ApplyChange(change);
  }
  ASSERT_TRUE(Finish(*report));
  EXPECT_EQ(Acknowledged(*report), fmt::format("2 4{} ", by));
  EXPECT_THAT(Load(*Report(250, 250)), ElementsAre(4, 5));
  EXPECT_THAT(Load(*Report(300, 200)), ElementsAre());
  EXPECT_THAT(Load(*Report(0, 2000, {.Source = "core router", .VarBindsMatch = "LINK"})), ElementsAre(1));
}

TEST_P(ReportModelTest, IsStoppedBegunAnewOrWithoutItsStoreAtAnyMoment) {
  AddStored(kTraps);
  Store.Execute("UPDATE EventTrap SET Event_ExtDescr = '" + std::string(3000, 'x') +
                "' WHERE SequenceNumber = 21");
  auto report = Report();
  LoadSome(*report);
  const std::size_t held = report->Rows().Count();
  const int changes = stateChanges_;
  Busy.Stop();
  EXPECT_EQ(report->State(), ReportState::Stopped);
  EXPECT_EQ(stateChanges_, changes + 1);
  EXPECT_FALSE(report->TakeBatches(milliseconds(15)));
  ExpectFirstRows(*report, held);
  EXPECT_EQ(report->Notice(),
            "Stopped: the list holds the first " + std::to_string(held) + " traps of the range.");
  // Nothing is left that would hold others up: where a reader's cursor is open this waits for it, or fails.
  EXPECT_NO_THROW(Store.Execute("ALTER TABLE EventTrap ADD COLUMN Probe INTEGER"));

  LoadSome(*report);
  LoadSome(*report);
  // The reader's view of the table may be older than notes that are saved now: they come all the same.
  report->NotesSaved(1, "listed");
  report->NotesSaved(kTraps, "not read yet");
  // Its cursor stays open while it waits for room: nobody else may notice.
  EXPECT_EQ(Connection.Execute("UPDATE EventTrap SET EventAck = 1 WHERE EventTime < 1000"), 999);
  // A budget of nothing is used up whenever the clock is looked at, long before the end of a batch, since
  // each of its traps may have to be asked for in the store.
  Busy.WorkProgress.clear();
  ASSERT_TRUE(WaitUntil([&] {
    const std::size_t before = report->Rows().Count();
    report->TakeBatches(milliseconds(0));
    EXPECT_LT(report->Rows().Count() - before, 256U);
    return report->State() != ReportState::Loading;
  }));
  ExpectFirstRows(*report, kTraps);
  EXPECT_EQ(report->Rows().At(0).EventNotes, "listed");
  EXPECT_EQ(report->Rows().At(kTraps - 1).EventNotes, "not read yet");
  EXPECT_GT(report->Rows().At(20).VarBinds.size(), 3000U);
  EXPECT_TRUE(std::ranges::is_sorted(Busy.WorkProgress));
  EXPECT_EQ(Busy.WorkProgress.back(), std::pair(std::int64_t{kTraps}, std::int64_t{kTraps}));

  Store.AddTrap({.SequenceNumber = kTraps + 1, .EventTime = 90'000, .EnterpriseOid = "1.3.6.1.4.1.77"});
  LoadSome(*report);
  Store.TakeAway();
  ASSERT_TRUE(Finish(*report));
  // However far the reader comes, the name of the last trap can't be looked up.
  EXPECT_EQ(report->State(), ReportState::Failed);
  const std::size_t kept = report->Rows().Count();
  ExpectFirstRows(*report, kept);
  EXPECT_THAT(report->Notice(), testing::StartsWith("The list is not complete, it holds the first " +
                                                    std::to_string(kept) + " traps of the range: "));
  if (GetParam() == store::Engine::PostgreSql) {
    EXPECT_LT(kept, kTraps) << "what its driver had not read must not pass for the end";
  }
  Store.BringBack();
  report.reset();
  EXPECT_EQ(Busy.WorksRunning, 0);
  Connection.Close();
  Store.Connect(Connection);
  EXPECT_EQ(Load(*Report()).size(), kTraps + 1U);
}

// A server that went mute: the reader hangs in connecting and nothing reaches it.
TEST_P(ReportModelTest, DoesNotWaitForAStoreThatHangs) {
  std::promise<void> release;
  auto held = std::make_shared<std::shared_future<void>>(release.get_future().share());
  ForReports.OpenConnection = [held](store::ConnectionOptions options) -> std::unique_ptr<store::Connection> {
    EXPECT_GT(options.ConnectTimeoutSeconds, 0);
    held->wait();
    throw std::runtime_error("too late");
  };
  auto report = Report();
  report->Reset();
  const auto begun = std::chrono::steady_clock::now();
  Busy.Stop();
  report->Reset();
  report.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
  ForReports.OpenConnection = nullptr;
  release.set_value();
  EXPECT_TRUE(WaitUntil([&] { return held.use_count() == 1; })) << "both threads end, with what they own";
}

INSTANTIATE_TEST_SUITE_P(, ReportModelTest, testing::ValuesIn(test::kEngines),
                         [](const auto& engine) { return test::EngineName(engine.param); });

}  // namespace
}  // namespace korvane::reports
