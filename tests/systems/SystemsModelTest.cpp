#include "systems/SystemsModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "support/World.h"

namespace korvane::systems {
namespace {

using test::StoredTrap;
using testing::ElementsAre;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();

struct SystemsModelTest : testing::Test, test::World {
  SystemsModelTest() { State.gMaxViewTraps = 10; }

  // Counts by severity code of a system's row.
  std::array<std::int32_t, 6> CountsOf(const std::string& name) {
    return Model.Row(*Model.RowOfSystem(SystemList.At(SystemList.FindSystem(name)))).Counts;
  }
  const intake::System& SystemNamed(const std::string& name) {
    return SystemList.At(SystemList.FindSystem(name));
  }
};

// ---- loading

TEST_F(SystemsModelTest, TheQuestionIsAskedOnlyAboveTheLimit) {
  AddStored(10);
  Store.AddTrap({.SequenceNumber = 99, .EventTime = 99, .EventAck = 1});
  Model.Load();
  EXPECT_TRUE(Question.Asked.empty());
  EXPECT_EQ(Bounds.Option, intake::ViewOption::NotAsked);
  EXPECT_EQ(Bounds.StartMark, 99);
  EXPECT_EQ(State.gLastTrapTime, 99);
  EXPECT_EQ(Library.StartedAt, 99);
  EXPECT_EQ(TotalOf("router1"), 10);
  EXPECT_EQ(Busy.Texts, std::vector<std::string>{"Initializing..."});
  EXPECT_EQ(Busy.Depth(), 0);
}

TEST_F(SystemsModelTest, ASecondWithMoreTrapsThanTheLimitIsLoadedWhole) {
  AddStored(1, 1);
  AddStored(5, 101);
  std::vector<StoredTrap> burst(20);
  for (StoredTrap& trap : burst) {
    trap.EventTime = 50;
  }
  Store.AddTraps(burst);
  Model.Load();
  test::OpenModels open;
  traps::TrapsModel all(ForTraps, open, traps::WindowKind::Selected, {});
  all.Reset();
  EXPECT_EQ(TotalOf("router1"), 24);  // all but the old one and the one at the mark
  EXPECT_EQ(all.Rows().Count(), 10U) << "the newest of what is counted";
  EXPECT_EQ(all.Rows().EventTimeAt(0), 50);
  EXPECT_EQ(all.Rows().SequenceNumberAt(9), 104);
  Library.Deliver(105, "router1", 105);
  Model.CheckTraps();
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 25) << "a later load reads the same";

  // Above the limit by those at the mark alone: nothing older has to be left out.
  Store.Execute("DELETE FROM EventTrap WHERE EventTime <= 50");
  for (int i = 0; i < 20; ++i) {
    Store.AddTrap({.EventTime = 105});
  }
  test::ScriptedViewOption question;
  intake::LoadBounds bounds;
  intake::Systems list;
  intake::StoredTraps stored(Desk, Connection, Names, list, bounds);
  SystemsModel model(Desk, Connection, list, bounds, stored, Library, question);
  model.Load();
  EXPECT_EQ(question.Asked.size(), 1U);
  EXPECT_EQ(bounds.LowerBound, kLowest);
  EXPECT_EQ(model.Row(0).Total(), 4);
}

TEST_F(SystemsModelTest, ShowOnlyNewTrapsCountsWhatIsDeliveredAndNothingLogged) {
  AddStored(15);
  Question.Answer = intake::ViewOption::ShowOnlyNewTraps;
  Model.Load();
  EXPECT_EQ(Model.RowCount(), 0U);
  EXPECT_EQ(Library.StartedAt, 15);

  Library.Deliver(15, "router1", 15);  // the library starts at the mark
  AddStored(1, 16);
  Library.Deliver(16, "router1", 16);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("router1"), 2);
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 2);
}

TEST_F(SystemsModelTest, AnEmptyStoreStartsAtZeroAndAFailingLinkIsShown) {
  Library.StartAnswer = 1;
  Model.Load();
  EXPECT_EQ(Library.StartedAt, 0);
  EXPECT_EQ(Bounds.StartMark, 0);
  ASSERT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_EQ(Prompt.Messages()[0].Icon, PromptIcon::Critical);
  Library.Deliver(1, "router1", 5);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("router1"), 1);
}

TEST_F(SystemsModelTest, TicksWhileTheQuestionIsOpenChangeNothing) {
  struct TickingQuestion : ViewOptionQuestion {
    intake::ViewOption AskViewOption(std::int64_t, std::int32_t) override {
      Model->CheckTraps();
      return intake::ViewOption::LoadRecentTraps;
    }
    SystemsModel* Model = nullptr;
  } question;
  AddStored(12);
  SystemsModel model(Desk, Connection, SystemList, Bounds, Stored, Library, question);
  question.Model = &model;
  model.AttachIntake(Intake);
  model.Load();
  EXPECT_EQ(model.Row(0).Total(), 10);
  EXPECT_TRUE(Bounds.InitialLoad);
  EXPECT_EQ(Intake.Counters().Ticks, 0);
}

// ---- counting

TEST_F(SystemsModelTest, ATrapIsCountedOnceHoweverOftenItComes) {
  AddStored(3);
  Model.Load();
  EXPECT_EQ(TotalOf("router1"), 2);
  Library.Deliver(3, "router1", 3);
  Library.Deliver(4, "ROUTER1", 3);  // not stored: the store's word counts at the reset
  Library.Deliver(4, "ROUTER1", 3);
  Model.CheckTraps();
  EXPECT_EQ(Model.RowCount(), 1U);
  EXPECT_EQ(TotalOf("router1"), 4);

  AddStored(2, 5);
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 3);  // up to what was delivered; 5 and 6 are still to come
  Store.Execute("UPDATE EventTrap SET EventTime = 3 WHERE SequenceNumber = 5");
  Model.Reset();
  Library.Deliver(5, "router1", 3);
  Library.Deliver(6, "router1", 6);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("router1"), 5);
}

TEST_F(SystemsModelTest, SeveritiesGoToTheirCountsAndUnknownOnesToClear) {
  UseSpecificCodesAsSeverities();
  const std::array<std::int32_t, 7> traps = {5, 5, 4, 3, 2, 1, 9};
  for (const std::int32_t specific : traps) {
    Store.AddTrap({.EventTime = 10, .Source = "a", .SpecificTrap = specific});
  }
  Store.AddTrap({.EventTime = 11, .Source = "b", .SpecificTrap = 3});
  Store.AddTrap({.EventTime = 12, .Source = "mark"});
  Model.Load();
  EXPECT_THAT(CountsOf("a"), ElementsAre(1, 1, 1, 1, 1, 2));
  EXPECT_EQ(Model.RowSeverity(0), 5);
  EXPECT_EQ(Model.RowSeverity(1), 3);
  EXPECT_THAT(Model.StatusTexts(),
              ElementsAre("Total Systems: 2 ", "Critical Traps: 2 ", "Warning Traps: 1 ", "Major Traps: 2 ",
                          "Total Traps: 8 ", "Trap Rate: 0 Trap(s) / Minute "));

  store::IncomingTrap odd;
  const store::TrapDefinition definition;
  odd.Definition = &definition;
  odd.Source = "a";
  odd.SequenceNumber = 1000;
  odd.Severity = -7;
  Model.UpdateSystemCounts(odd);
  EXPECT_EQ(CountsOf("a")[0], 2);
}

TEST_F(SystemsModelTest, FilteredTrapsAreNeverCountedLoadedOrLive) {
  HideSource("noisy");
  AddStored(3, 1, "noisy");
  AddStored(2, 4);
  Model.Load();
  Library.Deliver(6, "noisy", 6);
  Model.CheckTraps();
  EXPECT_EQ(Model.RowCount(), 1U);
  EXPECT_EQ(TotalOf("router1"), 1);
  EXPECT_EQ(SystemList.FindSystem("noisy"), intake::Systems::kNone);
  EXPECT_EQ(State.gLastTrapTime, 6);
}

TEST_F(SystemsModelTest, ResetFollowsNewFiltersAndKeepsPlacesAndNews) {
  AddStored(2, 1, "first");
  AddStored(2, 3, "second");
  AddStored(2, 5, "third");
  AddStored(1, 7, "mark");
  Model.Load();
  Model.OperatorSawRow(0);
  const std::vector<std::int32_t> ofSecond = {3, 4};
  Model.TrapsAcknowledged(ofSecond);
  Store.Execute("UPDATE EventTrap SET EventAck = 1 WHERE Source = 'second'");
  HideSource("third");
  AddStored(1, 8, "fourth");
  Library.Deliver(8, "fourth", 8);
  Model.CheckTraps();
  Model.Reset();

  ASSERT_EQ(Model.RowCount(), 4U);
  EXPECT_EQ(Model.SystemOfRow(0).Name, "first");
  EXPECT_EQ(Model.SystemOfRow(1).Name, "second");  // stays at zero
  EXPECT_EQ(Model.SystemOfRow(2).Name, "fourth");
  EXPECT_EQ(Model.SystemOfRow(3).Name, "mark");
  EXPECT_FALSE(Model.Row(0).News);
  EXPECT_EQ(Model.Row(1).Total(), 0);
  EXPECT_TRUE(Model.Row(2).News);
  EXPECT_EQ(Model.StatusTexts()[4], "Total Traps: 4 ");
}

TEST_F(SystemsModelTest, ALongLoadShowsItsProgress) {
  State.gMaxViewTraps = 20'000;
  AddStored(10'000);
  Model.Load();
  ASSERT_FALSE(Busy.Progress.empty());
  EXPECT_EQ(Busy.Progress.front().second, 10'000);
  EXPECT_EQ(TotalOf("router1"), 9'999);
}

// ---- a store that goes away

TEST_F(SystemsModelTest, AFailedResetKeepsTheCountsAndIsTriedAgain) {
  AddStored(3);
  Model.Load();
  Store.Execute("ALTER TABLE EventTrap RENAME TO Gone");
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 2);
  EXPECT_EQ(Busy.Depth(), 0);
  Model.CheckTraps();  // too early
  Store.Execute("ALTER TABLE Gone RENAME TO EventTrap");
  AddStored(1, 1000);
  Library.Deliver(1000, "router1", 1000);
  Platform.Clock.Advance(5'000);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("router1"), 4);
}

// ---- acknowledging

TEST_F(SystemsModelTest, AcknowledgedTrapsLeaveTheCountsOnce) {
  UseSpecificCodesAsSeverities();
  for (std::int32_t number = 1; number <= 4; ++number) {
    Store.AddTrap({.SequenceNumber = number, .EventTime = number, .SpecificTrap = 5});
  }
  Store.AddTrap({.SequenceNumber = 5, .EventTime = 5, .Source = "mark"});
  Model.Load();
  const std::vector<std::int32_t> numbers = {2, 2, 4, 77};
  Model.TrapsAcknowledged(numbers);
  Model.TrapsAcknowledged(numbers);
  EXPECT_THAT(CountsOf("router1"), ElementsAre(0, 0, 0, 0, 0, 2));
  EXPECT_TRUE(Model.Row(0).News);

  Model.SystemAcknowledged(SystemNamed("router1"), 3);  // strictly older: 1, not 3
  EXPECT_EQ(CountsOf("router1")[5], 1);
  EXPECT_EQ(Model.AcknowledgeBound(SystemNamed("router1")), 5);
  Model.SystemAcknowledged(SystemNamed("router1"), 5);
  EXPECT_EQ(Model.RowCount(), 1U);
  EXPECT_EQ(TotalOf("router1"), 0);
  EXPECT_FALSE(Model.Row(0).News);
  EXPECT_EQ(Model.RowSeverity(0), std::nullopt);
  EXPECT_EQ(Model.AcknowledgeBound(SystemNamed("router1")), 5);
}

// A window may load and acknowledge a trap that the library still has in its list.
TEST_F(SystemsModelTest, ATrapAcknowledgedOnItsWayInIsNotCountedAfterwards) {
  AddStored(1);
  Model.Load();
  Library.Deliver(1, "router1", 1);
  Model.CheckTraps();
  Store.AddTrap({.SequenceNumber = 2, .EventTime = 1, .EventAck = 1});
  const std::vector<std::int32_t> unseen = {2};
  Model.TrapsAcknowledged(unseen);
  Library.Deliver(2, "router1", 1);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("router1"), 1);
  Store.AddTrap({.SequenceNumber = 3, .EventTime = 1});
  Store.AddTrap({.SequenceNumber = 4, .EventTime = 1});
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 3);
  const std::vector<std::int32_t> loaded = {4};
  Model.TrapsAcknowledged(loaded);
  Model.SystemAcknowledged(SystemNamed("router1"), 2);
  Store.Execute("UPDATE EventTrap SET EventAck = 1");
  Model.Reset();
  Library.Deliver(3, "router1", 1);
  Library.Deliver(4, "router1", 1);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("router1"), 0);
}

TEST_F(SystemsModelTest, OneSystemsAcknowledgementCoversAllItsTextsAndNoOther) {
  Store.AddSystem("core", "10.0.0.1");
  ASSERT_TRUE(SystemList.LoadSystems(Connection));
  AddStored(2, 1, "core");
  AddStored(2, 3, "10.0.0.1");
  AddStored(2, 5, "other");
  AddStored(1, 9, "mark");
  Model.Load();
  EXPECT_EQ(Model.RowCount(), 2U);
  EXPECT_EQ(TotalOf("core"), 4);
  Model.SystemAcknowledged(SystemNamed("core"), Model.AcknowledgeBound(SystemNamed("core")));
  EXPECT_EQ(TotalOf("core"), 0);
  EXPECT_EQ(TotalOf("other"), 2);
  EXPECT_EQ(Model.AcknowledgeBound(intake::System{}), kLowest);
}

// ---- status, news, names

TEST_F(SystemsModelTest, TheRateIsTrapsPerMinuteRoundedToNearest) {
  Model.Load();
  std::int32_t number = 0;
  const auto tick = [&](int traps) {
    for (int i = 0; i < traps; ++i) {
      ++number;
      Library.Deliver(number, "router1", number);
    }
    Model.CheckTraps();
    return Model.TrapsPerMinute();
  };
  EXPECT_EQ(tick(1), 20);
  EXPECT_EQ(tick(0), 10);
  EXPECT_EQ(tick(0), 7);  // 6.67
  for (int i = 4; i < 8; ++i) {
    tick(0);
  }
  EXPECT_EQ(tick(0), 3);  // 2.5 in eight ticks
  EXPECT_EQ(tick(0), 2);  // 2.22
  for (int i = 10; i <= 31; ++i) {
    tick(0);
  }
  EXPECT_EQ(tick(3), 60);  // a new period
  EXPECT_EQ(Model.StatusTexts()[5], "Trap Rate: 60 Trap(s) / Minute ");
}

TEST_F(SystemsModelTest, NothingHappensWhileShuttingDown) {
  Model.Load();
  State.gShuttingDown = true;
  Library.Deliver(1, "10.0.0.1", 1);
  Library.Names["10.0.0.1"] = "late";
  Model.CheckTraps();
  Model.ResolveNames();
  EXPECT_EQ(Model.RowCount(), 0U);
  EXPECT_TRUE(Library.Asked.empty());
}

TEST_F(SystemsModelTest, NamesAreResolvedInTurnAndInBoundedNumber) {
  Model.Load();
  for (std::int32_t i = 1; i <= 100; ++i) {
    Library.Deliver(i, "10.0.0." + std::to_string(i), i);
  }
  Library.Deliver(101, "named", 101);
  Model.CheckTraps();
  Model.ResolveNames();
  const std::size_t perTick = Library.Asked.size();
  EXPECT_GT(perTick, 0U);
  EXPECT_LT(perTick, 100U);
  for (int i = 0; i < 4; ++i) {
    Model.ResolveNames();
  }
  for (int i = 1; i <= 100; ++i) {
    EXPECT_GE(std::ranges::count(Library.Asked, "10.0.0." + std::to_string(i)), 1) << i;
  }
  // What was not known at first is written once it is, and not asked for again.
  Library.Names["10.0.0.50"] = "fifty";
  Library.Names["named"] = "10.7.7.7";
  for (int i = 0; i < 5; ++i) {
    Model.ResolveNames();
  }
  EXPECT_EQ(SystemNamed("fifty").Address, "10.0.0.50");
  Library.Asked.clear();
  for (int i = 0; i < 5; ++i) {
    Model.ResolveNames();
  }
  EXPECT_EQ(SystemNamed("named").Address, "10.7.7.7");
  EXPECT_EQ(std::ranges::count(Library.Asked, "10.0.0.50"), 0);
  EXPECT_EQ(std::ranges::count(Library.Asked, "named"), 0);
  Library.Deliver(102, "10.0.0.50", 102);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("fifty"), 2);
}

struct RecordingListener : SystemsListener {
  void RowsAboutToReset() override { Calls.emplace_back("about to reset"); }
  void RowsReset() override { Calls.emplace_back("reset"); }
  void RowsAppended(std::size_t first, std::size_t count) override {
    Calls.push_back("appended " + std::to_string(first) + "+" + std::to_string(count));
  }
  void RowsChanged(std::size_t first, std::size_t count) override {
    Calls.push_back("changed " + std::to_string(first) + "+" + std::to_string(count));
  }
  void StatusChanged() override { Calls.emplace_back("status"); }
  std::vector<std::string> Take() { return std::exchange(Calls, {}); }
  std::vector<std::string> Calls;
};

TEST_F(SystemsModelTest, TheListenerHearsOfEachTickInOneBatch) {
  RecordingListener listener;
  Model.SetListener(&listener);
  AddStored(2, 1, "a");
  Model.Load();
  EXPECT_THAT(listener.Take(), ElementsAre("appended 0+1", "status"));
  for (std::int32_t i = 10; i < 20; ++i) {
    Library.Deliver(i, i % 2 == 0 ? "a" : "b", i);
    Library.Deliver(i + 100, "c", i);
  }
  Model.CheckTraps();
  EXPECT_THAT(listener.Take(), ElementsAre("appended 1+2", "changed 0+1", "status"));
  Library.Deliver(20, "c", 20);
  Library.Deliver(21, "b", 21);
  Model.CheckTraps();
  EXPECT_THAT(listener.Take(), ElementsAre("changed 1+2", "status"));
  Model.CheckTraps();
  EXPECT_THAT(listener.Take(), ElementsAre("status"));
  Model.OperatorSawRow(2);
  Model.OperatorSawRow(2);
  EXPECT_THAT(listener.Take(), ElementsAre("changed 2+1"));
  Model.Reset();
  EXPECT_THAT(listener.Take(), ElementsAre("about to reset", "reset", "status"));
  Model.SetListener(nullptr);
}

}  // namespace
}  // namespace korvane::systems
