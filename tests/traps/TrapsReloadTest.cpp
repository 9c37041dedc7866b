// After a Reset a window shows what it would have shown had it been open, with these rules, from the start:
// tried on random histories of traps that are stored, delivered, acknowledged and filtered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "support/World.h"

namespace korvane::traps {
namespace {

using test::Numbers;
using test::StoredTrap;

constexpr std::int32_t kStart = 1000;  // the newest time in the store when the console starts

class History {
 public:
  History(unsigned seed, intake::ViewOption option) : random_(seed) {
    world_.State.gLastTrapTime = kStart;
    world_.Bounds = intake::LoadBounds{.Option = option, .StartMark = kStart};
    if (option == intake::ViewOption::LoadRecentTraps) {
      world_.Bounds.LowerBound = kStart - 40;
    }
    std::vector<StoredTrap> logged;
    for (int i = 0; i < 60; ++i) {
      logged.push_back(MakeTrap(i == 0 ? kStart : kStart - Below(80)));
      logged.back().EventAck = Below(4) == 0 ? 1 : 0;
    }
    world_.Store.AddTraps(logged);
    for (const StoredTrap& trap : logged) {
      const bool inInitialLoad = trap.EventTime < kStart && option != intake::ViewOption::ShowOnlyNewTraps &&
                                 (!world_.Bounds.LowerBound || trap.EventTime > *world_.Bounds.LowerBound);
      if (trap.EventAck == 0 && inInitialLoad) {
        shown_.emplace(trap.SequenceNumber, trap);
      } else if (trap.EventAck == 0 && trap.EventTime >= kStart) {
        undelivered_.push_back(trap);
      }
    }
    fromStart_ = world_.Open(traps::WindowKind::Selected, parameters_);
    fromStart_->Reset();
    world_.Bounds.InitialLoad = false;
    reset_ = world_.Open(traps::WindowKind::Selected, parameters_);
    reset_->Reset();
  }

  void Step() {
    switch (Below(8)) {
      case 0:
        reset_->Reset();
        break;
      case 1:
        Acknowledge();
        break;
      case 2:
        EndTick();
        break;
      case 3:
      case 4:
        DeliverOne();
        break;
      default:
        StoreOne();
    }
  }

  // New rules: as the filter editor does, every window is loaded anew.
  void FilterOut(const std::string& source) {
    test::StoredCriterion criterion;
    criterion.Source_Agent = source;
    world_.Store.AddFilter(criterion);
    filtered_.insert(source);
    RulesChanged();
  }
  void RemoveFilters() {
    world_.Store.Execute("DELETE FROM Trap_Filter_Group");
    filtered_.clear();
    RulesChanged();
  }

  void Settle() {
    while (!undelivered_.empty()) {
      DeliverOne();
    }
    EndTick();
  }

  std::set<std::int32_t> Expected() const {
    std::set<std::int32_t> numbers;
    for (const auto& [number, trap] : shown_) {
      if (trap.SpecificTrap == 1 && !filtered_.contains(trap.Source)) {
        numbers.insert(number);
      }
    }
    return numbers;
  }
  std::vector<std::int32_t> FromStart() const { return Numbers(fromStart_->Rows()); }
  std::vector<std::int32_t> AfterReset() {
    if (Below(2) == 0) {
      reset_->Reset();
    }
    return Numbers(reset_->Rows());
  }

 private:
  void RulesChanged() {
    world_.ReadRules();
    const std::vector<intake::StoredTrapsTaker*> takers = {fromStart_.get(), reset_.get()};
    world_.Stored.Load(takers);
  }

  int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

  StoredTrap MakeTrap(std::int32_t time) {
    StoredTrap trap;
    trap.SequenceNumber = ++number_;
    trap.EventTime = time;
    trap.Source = "host" + std::to_string(Below(4));
    trap.SpecificTrap = 1 + (Below(4) == 0 ? 1 : 0);
    trap.EventDescription = trap.SpecificTrap == 1 ? "Link" : "other";
    return trap;
  }

  // Now and then a receiver that catches up stores an old time.
  void StoreOne() {
    now_ += Below(3);
    undelivered_.push_back(MakeTrap(Below(6) == 0 ? now_ - Below(200) : now_));
    world_.Store.AddTrap(undelivered_.back());
  }

  // Mostly in order; a row committed late comes behind its successor.
  void DeliverOne() {
    if (undelivered_.empty()) {
      return;
    }
    const auto at = undelivered_.begin() + (undelivered_.size() > 1 && Below(5) == 0 ? 1 : 0);
    const StoredTrap trap = *at;
    undelivered_.erase(at);
    world_.Deliver(trap, {fromStart_.get(), reset_.get()});
    if (!acknowledged_.contains(trap.SequenceNumber)) {
      shown_.emplace(trap.SequenceNumber, trap);
    }
  }

  void EndTick() {
    fromStart_->UpdateStatusBar();
    reset_->UpdateStatusBar();
  }

  void Acknowledge() {
    const auto& rows = reset_->Rows();
    std::vector<std::uint32_t> selected;
    for (std::uint32_t row = 0; row < rows.Count(); ++row) {
      if (Below(12) == 0) {
        selected.push_back(row);
        acknowledged_.insert(rows.SequenceNumberAt(row));
        shown_.erase(rows.SequenceNumberAt(row));
      }
    }
    reset_->AcknowledgeSelected(selected);
    world_.Prompt.Clear();
  }

  test::LoadedWorld world_;
  std::mt19937 random_;
  params::WindowParameters parameters_{.VarBindsMatch = "LINK"};
  std::unique_ptr<TrapsModel> fromStart_;
  std::unique_ptr<TrapsModel> reset_;
  std::map<std::int32_t, StoredTrap> shown_;  // by a window without conditions
  std::set<std::int32_t> acknowledged_;
  std::set<std::string> filtered_;
  std::deque<StoredTrap> undelivered_;
  std::int32_t number_ = 0;
  std::int32_t now_ = kStart;
};

constexpr std::array kViewOptions = {intake::ViewOption::NotAsked, intake::ViewOption::LoadRecentTraps,
                                     intake::ViewOption::ShowOnlyNewTraps};

std::string OptionName(const testing::TestParamInfo<intake::ViewOption>& option) {
  switch (option.param) {
    case intake::ViewOption::LoadRecentTraps:
      return "LoadRecentTraps";
    case intake::ViewOption::ShowOnlyNewTraps:
      return "ShowOnlyNewTraps";
    default:
      return "NotAsked";
  }
}

class TrapsReload : public testing::TestWithParam<intake::ViewOption> {};

TEST_P(TrapsReload, ShowsWhatAWindowOpenFromTheStartShows) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed, GetParam());
    for (int round = 0; round < 6; ++round) {
      for (int step = 0; step < 25; ++step) {
        history.Step();
      }
      history.Settle();
      const std::set<std::int32_t> expected = history.Expected();
      ASSERT_THAT(history.FromStart(), testing::UnorderedElementsAreArray(expected));
      ASSERT_THAT(history.AfterReset(), testing::UnorderedElementsAreArray(expected));
      if (round == 1 || round == 3) {
        round == 1 ? history.FilterOut("host2") : history.RemoveFilters();
        ASSERT_THAT(history.FromStart(), testing::UnorderedElementsAreArray(history.Expected()));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EveryViewOption, TrapsReload, testing::ValuesIn(kViewOptions), OptionName);

// With the limit reached, the rows and their order agree as long as traps come in the order of their times.
TEST(TrapsReloadAtTheLimit, ShowsTheSameRowsInTheSameOrder) {
  test::LoadedWorld world;
  world.State.gMaxViewTraps = 20;
  world.State.gLastTrapTime = 0;
  auto fromStart = world.Open();
  fromStart->Reset();
  std::mt19937 random(3);
  std::deque<StoredTrap> undelivered;
  std::int32_t time = 1;
  for (std::int32_t number = 1; number <= 300; ++number) {
    time += static_cast<std::int32_t>(random() % 2);
    StoredTrap trap;
    trap.SequenceNumber = number;
    trap.EventTime = time;
    world.Store.AddTrap(trap);
    undelivered.push_back(trap);
    if (number % 10 != 0) {
      while (undelivered.size() > random() % 8) {
        world.Deliver(undelivered.front(), {fromStart.get()});
        undelivered.pop_front();
      }
      continue;
    }
    // The window is opened while some of what it loads is still on its way.
    auto late = world.Open();
    late->Reset();
    for (const StoredTrap& coming : undelivered) {
      world.Deliver(coming, {fromStart.get(), late.get()});
    }
    undelivered.clear();
    fromStart->UpdateStatusBar();
    late->UpdateStatusBar();
    ASSERT_EQ(Numbers(late->Rows()), Numbers(fromStart->Rows())) << number;
    world.Windows.Models.pop_back();
  }
  EXPECT_EQ(fromStart->Rows().Count(), 20U);
}

// The intake's road from the library's list: a trap that was filtered on arrival is there once its filter has
// gone, in the counts and in every window, although its time lies below what later loads read.
struct FilteredOnArrival : testing::TestWithParam<intake::ViewOption>, test::World {};

TEST_P(FilteredOnArrival, ComesBackWithItsFilterGone) {
  State.gMaxViewTraps = 5;
  AddStored(GetParam() == intake::ViewOption::NotAsked ? 5 : 12);
  Question.Answer = GetParam();
  Model.Load();
  ASSERT_EQ(Bounds.Option, GetParam());
  HideSource("noisy");
  Store.AddTrap({.SequenceNumber = 20, .EventTime = 1, .Source = "noisy"});
  Store.AddTrap({.SequenceNumber = 21, .EventTime = 30, .Source = "noisy"});
  Library.Deliver(20, "noisy", 1);
  Library.Deliver(21, "noisy", 30);
  Model.CheckTraps();
  EXPECT_EQ(TotalOf("noisy"), -1);

  test::OpenModels open;
  const intake::System& noisy = SystemList.At(SystemList.SystemOfSource("noisy"));
  TrapsModel selected(ForTraps, open, traps::WindowKind::Selected, {.Source = "NOISY"});
  TrapsModel perSystem(ForTraps, open, traps::WindowKind::PerSystem, {}, &noisy);
  TrapsModel other(ForTraps, open, traps::WindowKind::Selected, {.Source = "elsewhere"});
  const std::vector<intake::StoredTrapsTaker*> takers = {&Model, &selected, &perSystem, &other};
  Busy.Texts.clear();
  Stored.Load(takers);
  EXPECT_EQ(TotalOf("noisy"), -1);
  EXPECT_TRUE(selected.Rows().Empty());
  EXPECT_TRUE(perSystem.Rows().Empty());

  Store.Execute("DELETE FROM Trap_Filter_Group");
  ASSERT_TRUE(Filters.LoadFilters(Connection));
  Names.ClearCache();
  Stored.Load(takers);
  EXPECT_EQ(TotalOf("noisy"), 2);
  EXPECT_THAT(Numbers(selected.Rows()), testing::ElementsAre(20, 21));
  EXPECT_THAT(Numbers(perSystem.Rows()), testing::ElementsAre(20, 21));
  EXPECT_TRUE(other.Rows().Empty());
  EXPECT_THAT(Busy.Texts, testing::ElementsAre("Loading Trap(s)", "Loading Trap(s)"));
  EXPECT_EQ(Busy.Depth(), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryViewOption, FilteredOnArrival, testing::ValuesIn(kViewOptions), OptionName);

}  // namespace
}  // namespace korvane::traps
