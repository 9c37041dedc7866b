// What a Traps window takes, keeps, loads and acknowledges, on a real store.
#include "traps/TrapsModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "support/TempFolder.h"
#include "support/World.h"

namespace korvane::traps {
namespace {

using test::Numbers;
using test::StoredTrap;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::int32_t> NumbersWhere(test::TestStore& store, const std::string& condition) {
  std::vector<std::int32_t> numbers;
  auto rows = store.Db().OpenRecordset("SELECT SequenceNumber FROM EventTrap", condition);
  while (rows.Next()) {
    numbers.push_back(rows.Integer("SequenceNumber"));
  }
  return numbers;
}

class TrapsModelTest : public testing::Test, public test::LoadedWorld {
 protected:
  static StoredTrap Trap(std::int32_t number, std::int32_t time, const std::string& source = "router1") {
    return {.SequenceNumber = number, .EventTime = time, .Source = source};
  }
  void Add(std::int32_t number, std::int32_t time, const std::string& source = "router1") {
    Store.AddTrap(Trap(number, time, source));
  }
  // One trap that the library hands to the window; shown at the end of the tick.
  void Arrive(std::int32_t number, std::int32_t time, TrapsModel& window,
              const std::string& source = "router1") {
    Deliver(Trap(number, time, source), {&window});
  }
  void RefuseToAcknowledge(std::int32_t number) {
    Store.Execute("CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.SequenceNumber = " +
                  std::to_string(number) + " BEGIN SELECT RAISE(ABORT, 'this row is refused'); END");
  }
  std::vector<std::int32_t> Acknowledged() { return NumbersWhere(Store, "EventAck = 1"); }
};

TEST_F(TrapsModelTest, KeepsTheNewestUpToTheLimit) {
  State.gMaxViewTraps = 5;
  AddStored(8);
  auto model = Open();
  model->Reset();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(4, 5, 6, 7, 8));
  Arrive(9, 200, *model);
  Arrive(10, 200, *model);
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(4, 5, 6, 7, 8)) << "traps of a tick wait for its end";
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(6, 7, 8, 9, 10));

  for (std::int32_t number = 11; number <= 30; ++number) {
    Arrive(number, 300, *model);
  }
  State.gMaxViewTraps = 8;
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(8, 9, 10, 26, 27, 28, 29, 30))
      << "a storm is not held whole";
  State.gMaxViewTraps = 2;
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(29, 30));
  EXPECT_EQ(model->MaximumTrapsText(), "Maximum Traps Shown: 2 ");
  EXPECT_EQ(model->TotalTrapsText(), "Total Traps In Window: 2 ");
}

TEST_F(TrapsModelTest, EachKindTakesItsTraps) {
  const intake::System& system = AddSystem("router1");
  ASSERT_EQ(&AddSystem("ROUTER1"), &system) << "one system under two texts";
  auto selected = Open(WindowKind::Selected, {.Source = "ROUTER1"});
  auto perSystem = Open(WindowKind::PerSystem, {}, &system);
  auto still = Open(WindowKind::NoLiveTraps);
  const std::array windows = {selected.get(), perSystem.get(), still.get()};
  Add(1, 101, "router1");
  Add(2, 102, "Router1");
  Add(3, 103, "router10");
  for (TrapsModel* window : windows) {
    window->Reset();
  }
  EXPECT_THAT(Numbers(still->Rows()), ElementsAre(1, 2, 3));
  for (TrapsModel* window : windows) {
    Arrive(4, 200, *window, "ROUTER1");
    Arrive(5, 200, *window, "rOUTER1");
    Arrive(6, 200, *window, "router2");
    window->UpdateStatusBar();
  }
  EXPECT_THAT(Numbers(selected->Rows()), ElementsAre(1, 2, 4, 5));
  EXPECT_THAT(Numbers(perSystem->Rows()), ElementsAre(1, 4)) << "a per-system window compares to the letter";
  EXPECT_THAT(Numbers(still->Rows()), ElementsAre(1, 2, 3));
}

TEST_F(TrapsModelTest, AdmitsNoTrapTwice) {
  State.gMaxViewTraps = 3;
  State.gLastTrapTime = 104;
  for (std::int32_t number = 1; number <= 5; ++number) {
    Add(number, 100 + std::min(number, 4));
  }
  auto model = Open();
  model->Reset();
  ASSERT_THAT(Numbers(model->Rows()), ElementsAre(3, 4, 5));
  // In the list; dropped by the limit while loading; acknowledged since.
  model->RemoveAcknowledged(std::array{4});
  for (const std::int32_t number : {3, 5, 1, 2, 4}) {
    Arrive(number, 100 + number, *model);
  }
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(3, 5));
  // Numbers of traps that were committed late are smaller, yet new.
  for (int tick = 0; tick < 2; ++tick) {
    for (const std::int32_t number : {20, 19, 20, 19}) {
      Arrive(number, 120, *model);
    }
    model->UpdateStatusBar();
  }
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(5, 20, 19));
}

TEST_F(TrapsModelTest, AFailingLoadKeepsWhatWasReadAndIsLogged) {
  const test::TempFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  State.gDebugMode = true;
  Add(1, 101);
  Store.AddTrap({.SequenceNumber = 2, .EventTime = 102, .EventDescription = "Link"});
  auto model = Open();
  auto second = Open(WindowKind::Selected, {.VarBindsMatch = "link"});
  const std::vector<intake::StoredTrapsTaker*> both = {model.get(), second.get()};
  Stored.Load(both);

  // Names that are still cached need no table.
  Store.AddTrap({.SequenceNumber = 3, .EventTime = 103, .EnterpriseOid = "1.3.6.1.4.1.99"});
  Store.Execute("DROP TABLE EventStructure");
  Stored.Load(both);
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(1, 2));
  EXPECT_THAT(Numbers(second->Rows()), ElementsAre(2));
  Store.Execute("DROP TABLE EventTrap");
  model->Reset();
  EXPECT_THAT(Numbers(model->Rows()), IsEmpty());
  EXPECT_EQ(Busy.Depth(), 0);
  EXPECT_THAT(Busy.Texts, testing::Each("Loading Trap(s)"));
  EXPECT_THAT(Prompt.Messages(), IsEmpty());
  std::ifstream log(folder / "KVConsole.Log");
  const std::string lines((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
  EXPECT_THAT(lines, testing::AllOf(HasSubstr("EventStructure"), HasSubstr("EventTrap")));
  std::filesystem::current_path(before);
}

// What was done before the statement that fails stays done, nothing after it is tried.
TEST_F(TrapsModelTest, AcknowledgesUpToTheStatementThatFails) {
  AddStored(6);
  auto model = Open();
  auto other = Open();
  model->Reset();
  other->Reset();
  RefuseToAcknowledge(3);
  const auto acknowledge = [&](const std::vector<std::uint32_t>& rows) {
    Prompt.Clear();
    Windows.Told.clear();
    model->AcknowledgeSelected(rows);
    EXPECT_EQ(Numbers(other->Rows()), Numbers(model->Rows()));
    EXPECT_EQ(Busy.Texts.back(), "Acknowledging Trap(s)");
    EXPECT_EQ(Busy.Depth(), 0);
    EXPECT_FALSE(Connection.InTransaction());
  };
  acknowledge({4, 0, 2, 3, 1});  // as a sorted list shows them
  EXPECT_THAT(Acknowledged(), ElementsAre(1, 5));
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(2, 3, 4, 6));
  EXPECT_THAT(Windows.Told, ElementsAre(ElementsAre(5, 1)));
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("this row is refused"));
  EXPECT_EQ(Prompt.Messages().front().Icon, PromptIcon::Critical);
  acknowledge({1});
  EXPECT_THAT(Windows.Told, IsEmpty());
  acknowledge({0, 2});
  EXPECT_THAT(Acknowledged(), ElementsAre(1, 2, 4, 5));
  EXPECT_THAT(Prompt.Messages(), IsEmpty());
}

TEST_F(TrapsModelTest, ClosingASystemsWindowAsksAndAcknowledgesBelowTheMark) {
  State.gLastTrapTime = 104;
  Add(1, 101);
  Add(2, 102, "ROUTER1");
  Add(3, 103, "router2");
  Add(4, 104);
  Add(5, 105);
  const intake::System& system = AddSystem("router1");
  AddSystem("ROUTER1");
  auto all = Open();
  auto mine = Open(WindowKind::PerSystem, {}, &system);
  all->Reset();
  mine->Reset();
  EXPECT_TRUE(all->MayClose()) << "only a per-system window asks";
  Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(mine->MayClose());
  RefuseToAcknowledge(2);
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(mine->MayClose()) << "the store refused: the window stays";
  EXPECT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_FALSE(Connection.InTransaction());
  EXPECT_THAT(Acknowledged(), IsEmpty()) << "under all texts of the system or none";
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(1, 2, 4));
  Store.Execute("DROP TRIGGER traps.refuse");

  Add(6, 103);  // not delivered yet
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(mine->MayClose());
  EXPECT_THAT(Acknowledged(), ElementsAre(1, 2, 6));
  EXPECT_THAT(Numbers(all->Rows()), ElementsAre(3, 4));
  EXPECT_THAT(Windows.SystemsTold, ElementsAre(testing::Pair(system.Name, 104)));
  const test::ScriptedPrompts::Shown asked{"Do you want to acknowledge all traps for 'router1'?",
                                           PromptIcon::Question, PromptButtons::YesNo};
  EXPECT_THAT(Prompt.Questions(), ElementsAre(asked, asked, asked));
  EXPECT_EQ(Busy.Texts.back(), "Acknowledging Trap(s)");
  // A trap that was acknowledged on its way is not shown as new; one that is stored afterwards is.
  Arrive(6, 103, *mine);
  Arrive(7, 103, *mine);
  mine->UpdateStatusBar();
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(4, 7));
  mine->Close();
  EXPECT_EQ(Busy.Texts.back(), "Closing Window");
  EXPECT_EQ(Busy.Depth(), 0);
  State.gShuttingDown = true;
  EXPECT_TRUE(mine->MayClose()) << "the frame has asked already";
}

TEST_F(TrapsModelTest, WhatHappensElsewhereReachesListAndPendingBatch) {
  for (std::int32_t number = 1; number <= 6; ++number) {
    Add(number, 100 + number, number % 2 == 0 ? "even" : "odd");
  }
  const intake::System& even = AddSystem("even");
  auto model = Open();
  model->Reset();
  Arrive(8, 108, *model, "even");
  Arrive(9, 109, *model, "odd");
  model->RemoveAcknowledged(std::array{9, 5, 77, 1});
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(2, 3, 4, 6));
  model->RemoveAcknowledged(even, 108);
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(3));
  model->NotesSaved(8, "called the site");
  model->NotesSaved(2, "gone");
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(3, 8));
  EXPECT_EQ(model->Rows().At(1).EventNotes, "called the site");
  model->NotesSaved(3, "and again");
  EXPECT_EQ(model->Rows().At(0).EventNotes, "and again");

  model->AcknowledgeSelected({});
  EXPECT_THAT(Prompt.Messages(), IsEmpty());
  model->RemoveAcknowledged(std::array{3, 8});
  model->AcknowledgeSelected({});
  EXPECT_EQ(Prompt.LastMessage(), "There are no traps that can be acknowledged / cleared.");
  EXPECT_THAT(Acknowledged(), IsEmpty());
}

// After a load counts and windows show what they would have shown had they been open, with these rules, from
// the start: tried on random histories of traps that are stored, delivered, acknowledged and filtered.
class TrapsReloadTest : public testing::TestWithParam<intake::ViewOption>, public test::World {
 protected:
  static constexpr std::int32_t kStart = 1000;  // the newest time in the store when the console starts
  static constexpr std::int32_t kLogged = 60;   // the traps that are stored then, numbered from 1

  void Start() {
    std::vector<StoredTrap> logged;
    for (int i = 0; i < kLogged; ++i) {
      logged.push_back(MakeTrap(i == 0 ? kStart : kStart - Below(80)));
      logged.back().EventAck = Below(4) == 0 ? 1 : 0;
      if (logged.back().EventAck == 0 && logged.back().EventTime >= kStart) {
        undelivered_.push_back(logged.back());
      }
    }
    Store.AddTraps(logged);
    State.gMaxViewTraps = GetParam() == intake::ViewOption::NotAsked ? kLogged : 20;
    Question.Answer = GetParam();
    Model.Load();
    EXPECT_EQ(Bounds.Option, GetParam());
    EXPECT_EQ(Library.StartedAt, kStart);
    State.gMaxViewTraps = 10'000;
    fromStart_->Reset();
  }

  void Step() {
    switch (Below(8)) {
      case 0:
        return Below(2) == 0 ? reset_->Reset() : Load({&Model, reset_.get(), perSystem_.get()});
      case 1:
        return AcknowledgeSome();
      case 2:
      case 3:
        return DeliverOne();
      default:
        return StoreOne();
    }
  }
  void Load(const std::vector<intake::StoredTrapsTaker*>& takers) { Stored.Load(takers); }

  // New rules: as the filter editor does, everything is loaded anew.
  void Hide(const std::string& source) {
    hidden_ = source;
    Store.Execute("DELETE FROM Trap_Filter_Group");
    HideSource(source);
    Load({&Model, fromStart_.get(), reset_.get(), perSystem_.get()});
  }

  void Check() {
    std::int64_t counted = 0;
    for (std::size_t row = 0; row < Model.RowCount(); ++row) {
      counted += Model.Row(row).Total();
    }
    EXPECT_EQ(counted, static_cast<std::int64_t>(Expected("1 = 1").size()));
    EXPECT_THAT(Numbers(fromStart_->Rows()),
                testing::UnorderedElementsAreArray(Expected("SpecificTrap = 1")));
    EXPECT_THAT(Numbers(reset_->Rows()), testing::UnorderedElementsAreArray(Expected("SpecificTrap = 1")));
    EXPECT_THAT(Numbers(perSystem_->Rows()),
                testing::UnorderedElementsAreArray(Expected("Source = 'host1'")));
  }

  void Settle() {
    while (!undelivered_.empty()) {
      DeliverOne();
    }
  }
  int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

  std::vector<std::int32_t> Expected(const std::string& condition) {
    const bool onlyNew = GetParam() == intake::ViewOption::ShowOnlyNewTraps;
    const std::int32_t oldest = onlyNew ? kStart : Bounds.LowerBound.value_or(0) + 1;
    return NumbersWhere(Store, "EventAck = 0 AND Source <> '" + hidden_ + "' AND " + condition +
                                   " AND (SequenceNumber > " + std::to_string(kLogged) +
                                   " OR EventTime >= " + std::to_string(oldest) + ")");
  }

  StoredTrap MakeTrap(std::int32_t time) {
    const bool link = Below(4) != 0;
    return {.SequenceNumber = ++number_,
            .EventTime = time,
            .Source = "host" + std::to_string(Below(4)),
            .SpecificTrap = link ? 1 : 2,
            .EventDescription = link ? "Link" : "other"};
  }

  // Now and then a receiver that catches up stores an old time.
  void StoreOne() {
    now_ += Below(3);
    undelivered_.push_back(MakeTrap(Below(6) == 0 ? now_ - Below(200) : now_));
    Store.AddTrap(undelivered_.back());
  }

  // One tick.  Mostly in order; a row committed late comes behind its successor.
  void DeliverOne() {
    if (!undelivered_.empty()) {
      const auto at = undelivered_.begin() + (undelivered_.size() > 1 && Below(5) == 0 ? 1 : 0);
      Library.Deliver(at->SequenceNumber, at->Source, at->EventTime);
      Library.List.back().SpecificTrap = at->SpecificTrap;
      Library.List.back().EventDescription = at->EventDescription;
      undelivered_.erase(at);
      Model.CheckTraps();
    }
  }

  void AcknowledgeSome() {
    std::vector<std::uint32_t> selected;
    for (std::uint32_t row = 0; row < reset_->Rows().Count(); ++row) {
      if (Below(12) == 0) {
        selected.push_back(row);
      }
    }
    Windows.Told = {{}};
    reset_->AcknowledgeSelected(selected);
    Model.TrapsAcknowledged(Windows.Told.back());
  }

  std::unique_ptr<TrapsModel> fromStart_ = Open(WindowKind::Selected, {.VarBindsMatch = "LINK"});
  std::unique_ptr<TrapsModel> reset_ = Open(WindowKind::Selected, {.VarBindsMatch = "LINK"});
  std::unique_ptr<TrapsModel> perSystem_ = Open(WindowKind::PerSystem, {}, &AddSystem("host1"));
  std::mt19937 random_{1};
  std::deque<StoredTrap> undelivered_;
  std::string hidden_;
  std::int32_t number_ = 0;
  std::int32_t now_ = kStart;
};

TEST_P(TrapsReloadTest, ShowsWhatAWindowOpenFromTheStartShows) {
  Start();
  for (int round = 0; round < 30 && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    for (int step = 0; step < 25; ++step) {
      Step();
    }
    Settle();
    if (Below(2) == 0 || round == 0) {
      Load({&Model, reset_.get(), perSystem_.get()});
    }
    Check();
    if (round % 2 == 1) {
      Hide(round % 4 == 1 ? "host2" : "nobody");
      Check();
    }
  }
}

std::string OptionName(const testing::TestParamInfo<intake::ViewOption>& option) {
  constexpr std::array kNames = {"NotAsked", "LoadRecentTraps", "ShowOnlyNewTraps"};
  return kNames.at(option.index);
}

INSTANTIATE_TEST_SUITE_P(, TrapsReloadTest,
                         testing::Values(intake::ViewOption::NotAsked, intake::ViewOption::LoadRecentTraps,
                                         intake::ViewOption::ShowOnlyNewTraps),
                         OptionName);

}  // namespace
}  // namespace korvane::traps
