// What a Traps window takes, keeps, loads and acknowledges, on a real store.
#include "traps/TrapsModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/TempFolder.h"
#include "support/World.h"

namespace korvane::traps {
namespace {

using test::Numbers;
using test::StoredTrap;
using testing::ElementsAre;
using testing::IsEmpty;

// A view that keeps its own copy by the notifications alone, as a table view does.
class Mirror : public traplist::TrapRowsListener {
 public:
  explicit Mirror(const TrapsModel& model) : model_(model) {}

  void BatchBegins() override { ++depth_; }
  void BatchEnds() override {
    --depth_;
    ++Batches;
    EXPECT_EQ(Shown, Numbers(model_.Rows()));
  }
  void RowsAboutToBeRemoved(std::span<const std::uint32_t> rows) override {
    EXPECT_EQ(depth_, 1);
    EXPECT_EQ(model_.Rows().Count(), Shown.size());
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
      Shown.erase(Shown.begin() + *row);
    }
  }
  void RowsRemoved(std::span<const std::uint32_t>) override {
    EXPECT_EQ(model_.Rows().Count(), Shown.size());
  }
  void RowsAboutToBeAppended(std::size_t count) override {
    EXPECT_EQ(depth_, 1);
    expected_ = Shown.size() + count;
  }
  void RowsAppended() override {
    EXPECT_EQ(model_.Rows().Count(), expected_);
    const std::vector<std::int32_t> all = Numbers(model_.Rows());
    Shown.insert(Shown.end(), all.begin() + static_cast<std::ptrdiff_t>(Shown.size()), all.end());
  }
  void RowsAboutToBeReset() override {}
  void RowsReset() override { Shown = Numbers(model_.Rows()); }
  void RowChanged(std::size_t row) override { Changed.push_back(row); }

  std::vector<std::int32_t> Shown;
  std::vector<std::size_t> Changed;
  int Batches = 0;

 private:
  const TrapsModel& model_;
  int depth_ = 0;
  std::size_t expected_ = 0;
};

class TrapsModelTest : public testing::Test {
 protected:
  StoredTrap Trap(std::int32_t number, std::int32_t time, const std::string& source = "router1") {
    StoredTrap trap;
    trap.SequenceNumber = number;
    trap.EventTime = time;
    trap.Source = source;
    return trap;
  }
  void Store(std::int32_t number, std::int32_t time, const std::string& source = "router1") {
    world_.Store.AddTrap(Trap(number, time, source));
  }
  void RefuseToAcknowledge(std::int32_t number) {
    world_.Store.Execute("CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.SequenceNumber = " +
                         std::to_string(number) + " BEGIN SELECT RAISE(ABORT, 'this row is refused'); END");
  }

  test::LoadedWorld world_;
};

TEST_F(TrapsModelTest, KeepsTheNewestUpToTheLimit) {
  world_.State.gMaxViewTraps = 5;
  for (std::int32_t number = 1; number <= 8; ++number) {
    Store(number, 100 + number);
  }
  auto model = world_.Open();
  Mirror mirror(*model);
  model->UseListener(&mirror);
  model->Reset();
  EXPECT_THAT(mirror.Shown, ElementsAre(4, 5, 6, 7, 8));

  world_.Deliver(Trap(9, 200), {model.get()});
  world_.Deliver(Trap(10, 200), {model.get()});
  EXPECT_THAT(mirror.Shown, ElementsAre(4, 5, 6, 7, 8)) << "traps of a tick wait for its end";
  const int batches = mirror.Batches;
  model->UpdateStatusBar();
  EXPECT_EQ(mirror.Batches, batches + 1);
  EXPECT_THAT(mirror.Shown, ElementsAre(6, 7, 8, 9, 10));
  model->UpdateStatusBar();
  EXPECT_EQ(mirror.Batches, batches + 1) << "a tick without news changes nothing";

  for (std::int32_t number = 11; number <= 30; ++number) {
    world_.Deliver(Trap(number, 300), {model.get()});
  }
  model->UpdateStatusBar();
  EXPECT_THAT(mirror.Shown, ElementsAre(26, 27, 28, 29, 30));

  world_.State.gMaxViewTraps = 2;
  model->UpdateStatusBar();
  EXPECT_THAT(mirror.Shown, ElementsAre(29, 30));
  EXPECT_EQ(model->MaximumTrapsText(), "Maximum Traps Shown: 2 ");
  EXPECT_EQ(model->TotalTrapsText(), "Total Traps In Window: 2 ");
  EXPECT_EQ(TrapsModel::SelectedTrapText(0), "Selected Trap: 0 ");
}

TEST_F(TrapsModelTest, EachKindTakesItsTraps) {
  params::WindowParameters severe;
  severe.Source = "ROUTER1";
  const intake::System& system = world_.AddSystem("router1");
  ASSERT_EQ(&world_.AddSystem("ROUTER1"), &system) << "one system under two texts";
  auto selected = world_.Open(traps::WindowKind::Selected, severe);
  auto perSystem = world_.Open(traps::WindowKind::PerSystem, {}, &system);
  auto still = world_.Open(traps::WindowKind::NoLiveTraps);

  Store(1, 101, "router1");
  Store(2, 102, "Router1");
  Store(3, 103, "router10");
  for (auto* model : {selected.get(), perSystem.get(), still.get()}) {
    model->Reset();
  }
  EXPECT_THAT(Numbers(selected->Rows()), ElementsAre(1, 2));
  EXPECT_THAT(Numbers(perSystem->Rows()), ElementsAre(1)) << "a per-system window compares to the letter";
  EXPECT_THAT(Numbers(still->Rows()), ElementsAre(1, 2, 3));

  const auto deliver = [&](std::int32_t number, const std::string& source) {
    world_.Deliver(Trap(number, 200, source), {selected.get(), perSystem.get(), still.get()});
  };
  deliver(4, "ROUTER1");
  deliver(5, "rOUTER1");
  deliver(6, "router2");
  for (auto* model : {selected.get(), perSystem.get(), still.get()}) {
    model->UpdateStatusBar();
  }
  EXPECT_THAT(Numbers(selected->Rows()), ElementsAre(1, 2, 4, 5));
  EXPECT_THAT(Numbers(perSystem->Rows()), ElementsAre(1, 4));
  EXPECT_THAT(Numbers(still->Rows()), ElementsAre(1, 2, 3));
}

TEST_F(TrapsModelTest, AdmitsNoTrapTwice) {
  world_.State.gMaxViewTraps = 3;
  world_.State.gLastTrapTime = 104;
  for (std::int32_t number = 1; number <= 5; ++number) {
    Store(number, 100 + number - (number == 5 ? 1 : 0));
  }
  auto model = world_.Open();
  model->Reset();
  ASSERT_THAT(Numbers(model->Rows()), ElementsAre(3, 4, 5));
  // In the list; dropped by the limit while loading; acknowledged since.
  const std::vector<std::int32_t> acknowledged = {4};
  model->RemoveAcknowledged(acknowledged);
  for (const std::int32_t number : {3, 5, 1, 2, 4}) {
    world_.Deliver(Trap(number, 100 + number), {model.get()});
  }
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(3, 5));

  // Numbers of traps that were committed late are smaller, yet new.
  world_.Deliver(Trap(20, 120), {model.get()});
  world_.Deliver(Trap(19, 120), {model.get()});
  world_.Deliver(Trap(20, 120), {model.get()});
  world_.Deliver(Trap(19, 120), {model.get()});
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(5, 20, 19));
}

TEST_F(TrapsModelTest, AFailingLoadKeepsWhatWasRead) {
  const test::TempFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  world_.State.gDebugMode = true;
  Store(1, 101);
  StoredTrap link = Trap(2, 102);
  link.EventDescription = "Link";
  world_.Store.AddTrap(link);
  StoredTrap unknown = Trap(3, 103);
  unknown.EnterpriseOid = "1.3.6.1.4.1.99";
  world_.Store.AddTrap(unknown);
  auto model = world_.Open();
  auto second = world_.Open(traps::WindowKind::Selected, {.VarBindsMatch = "link"});
  Mirror mirror(*model);
  model->UseListener(&mirror);
  const std::vector<intake::StoredTrapsTaker*> both = {model.get(), second.get()};
  world_.Stored.Load(both);
  ASSERT_EQ(mirror.Shown.size(), 3U);

  // Names that are still cached need no table.
  world_.Names.ClearCache();
  store::IncomingTrap known;
  known.EnterpriseOid = "1.3.6.1.4.1.9";
  known.GenericTrap = 6;
  known.SpecificTrap = 1;
  world_.Names.GetTrapName(known);
  world_.Store.Execute("DROP TABLE EventStructure");
  world_.Stored.Load(both);
  EXPECT_THAT(mirror.Shown, ElementsAre(1, 2));
  EXPECT_THAT(Numbers(second->Rows()), ElementsAre(2));

  world_.Store.Execute("DROP TABLE EventTrap");
  model->Reset();
  EXPECT_THAT(mirror.Shown, IsEmpty());
  EXPECT_EQ(world_.Busy.Depth(), 0);
  EXPECT_THAT(world_.Busy.Texts, testing::Each("Loading Trap(s)"));
  EXPECT_THAT(world_.Prompt.Messages(), IsEmpty());
  std::ifstream log(folder / "KVConsole.Log");
  const std::string lines((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
  EXPECT_THAT(lines, testing::HasSubstr("EventStructure"));
  EXPECT_THAT(lines, testing::HasSubstr("EventTrap"));
  std::filesystem::current_path(before);
}

// Statement N of five fails, for each N; what was done before it stays done, nothing after it is tried.
TEST_F(TrapsModelTest, AcknowledgesUpToTheStatementThatFails) {
  const std::vector<std::uint32_t> rows = {4, 0, 2, 3, 1};  // as a sorted list shows them
  for (std::size_t failing = 0; failing <= rows.size(); ++failing) {
    SCOPED_TRACE(failing);
    test::LoadedWorld& world = world_;
    world.Store.Execute("DELETE FROM EventTrap");
    for (std::int32_t number = 1; number <= 6; ++number) {
      Store(number, 100 + number);
    }
    const bool all = failing == rows.size();
    if (!all) {
      RefuseToAcknowledge(static_cast<std::int32_t>(rows[failing]) + 1);
    }
    auto model = world.Open();
    auto other = world.Open();
    model->Reset();
    other->Reset();
    world.Prompt.Clear();
    world.Windows.Told.clear();
    model->AcknowledgeSelected(rows);

    std::vector<std::int32_t> done;
    for (std::size_t i = 0; i < failing; ++i) {
      done.push_back(static_cast<std::int32_t>(rows[i]) + 1);
    }
    for (std::int32_t number = 1; number <= 6; ++number) {
      EXPECT_EQ(world.IsAcknowledged(number), testing::Value(done, testing::Contains(number))) << number;
      EXPECT_EQ(model->Rows().Find(number).has_value(), !world.IsAcknowledged(number));
      EXPECT_EQ(other->Rows().Find(number).has_value(), !world.IsAcknowledged(number));
    }
    EXPECT_THAT(world.Windows.Told, testing::SizeIs(done.empty() ? 0 : 1));
    ASSERT_THAT(world.Prompt.Messages(), testing::SizeIs(all ? 0 : 1));
    if (!all) {
      EXPECT_THAT(world.Prompt.LastMessage(), testing::HasSubstr("this row is refused"));
      EXPECT_EQ(world.Prompt.Messages().front().Icon, PromptIcon::Critical);
      world.Store.Execute("DROP TRIGGER traps.refuse");
    }
    EXPECT_EQ(world.Busy.Texts.back(), "Acknowledging Trap(s)");
    EXPECT_EQ(world.Busy.Depth(), 0);
    EXPECT_FALSE(world.Connection.InTransaction());
    world.Windows.Models.clear();
  }
}

TEST_F(TrapsModelTest, AcknowledgingWithoutRowsOrSelectionTouchesNothing) {
  auto model = world_.Open();
  model->AcknowledgeSelected({});
  EXPECT_EQ(world_.Prompt.LastMessage(), "There are no traps that can be acknowledged / cleared.");
  world_.Prompt.Clear();
  Store(1, 101);
  model->Reset();
  world_.Busy.Texts.clear();
  model->AcknowledgeSelected({});
  EXPECT_THAT(world_.Prompt.Messages(), IsEmpty());
  EXPECT_THAT(world_.Busy.Texts, IsEmpty());
  EXPECT_FALSE(world_.IsAcknowledged(1));
}

TEST_F(TrapsModelTest, ClosingASystemsWindowAsksAndAcknowledgesBelowTheMark) {
  world_.State.gLastTrapTime = 104;
  for (const auto& [number, time, source] :
       std::vector<std::tuple<int, int, std::string>>{{1, 101, "router1"},
                                                      {2, 102, "ROUTER1"},
                                                      {3, 103, "router2"},
                                                      {4, 104, "router1"},
                                                      {5, 105, "router1"}}) {
    Store(number, time, source);
  }
  const intake::System& system = world_.AddSystem("router1");
  world_.AddSystem("ROUTER1");
  auto all = world_.Open();
  auto mine = world_.Open(traps::WindowKind::PerSystem, {}, &system);
  all->Reset();
  mine->Reset();
  const std::string question = "Do you want to acknowledge all traps for 'router1'?";

  EXPECT_TRUE(all->MayClose()) << "only a per-system window asks";
  world_.Prompt.WillAnswer(PromptAnswer::No);
  EXPECT_TRUE(mine->MayClose());
  EXPECT_EQ(world_.Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 0);

  world_.Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(mine->MayClose());
  for (int number = 1; number <= 5; ++number) {
    EXPECT_EQ(world_.IsAcknowledged(number), number <= 2) << number;
  }
  EXPECT_THAT(Numbers(all->Rows()), ElementsAre(3, 4));
  EXPECT_THAT(world_.Windows.SystemsTold, ElementsAre(testing::Pair(system.Name, 104)));
  const test::ScriptedPrompts::Shown asked{question, PromptIcon::Question, PromptButtons::YesNo};
  EXPECT_THAT(world_.Prompt.Questions(), ElementsAre(asked, asked));
  EXPECT_EQ(world_.Busy.Texts.back(), "Acknowledging Trap(s)");
  mine->Close();
  EXPECT_EQ(world_.Busy.Texts.back(), "Closing Window");
  EXPECT_EQ(world_.Busy.Depth(), 0);

  world_.State.gShuttingDown = true;
  EXPECT_TRUE(mine->MayClose()) << "the frame has asked already";
  EXPECT_THAT(world_.Prompt.Messages(), IsEmpty());
}

// A trap that is stored, and waits in the library's list when its system is acknowledged, is acknowledged
// with the others: its delivery must not show it as new.  One that is stored afterwards is new, whatever its
// time.
TEST_F(TrapsModelTest, ATrapAcknowledgedBeforeItsDeliveryStaysAway) {
  const auto arrive = [&](std::int32_t number, std::int32_t time, TrapsModel& window) {
    test::StoredTrap trap{.SequenceNumber = number, .EventTime = time, .Source = "router1"};
    world_.Deliver(trap, {&window});
    window.UpdateStatusBar();
  };
  const intake::System& system = world_.AddSystem("router1");
  auto mine = world_.Open(traps::WindowKind::PerSystem, {}, &system);
  mine->Reset();
  Store(1, 1'000'101, "router1");
  arrive(1, 1'000'101, *mine);
  arrive(9, 1'000'105, *mine);
  Store(10, 1'000'102, "router1");  // stored, not delivered yet
  world_.Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(mine->MayClose());
  ASSERT_TRUE(world_.IsAcknowledged(10));
  arrive(10, 1'000'102, *mine);
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(9));
  Store(11, 1'000'102, "router1");
  arrive(11, 1'000'102, *mine);
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(9, 11));
}

TEST_F(TrapsModelTest, AQuoteInOneSourceTextAcknowledgesNothing) {
  Store(1, 101, "o'hara");
  Store(2, 102, "O'HARA");
  Store(3, 103, "plain");
  const intake::System& system = world_.AddSystem("o'hara");
  auto mine = world_.Open(traps::WindowKind::PerSystem, {}, &system);
  mine->Reset();
  world_.Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(mine->MayClose());
  EXPECT_EQ(world_.Prompt.Messages().size(), 1U);
  EXPECT_EQ(world_.Store.Number("SELECT COUNT(*) FROM EventTrap WHERE EventAck = 1"), 0);
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(1));
  EXPECT_FALSE(world_.Connection.InTransaction());
}

TEST_F(TrapsModelTest, TrapsAcknowledgedElsewhereLeaveListAndPendingBatch) {
  for (std::int32_t number = 1; number <= 6; ++number) {
    Store(number, 100 + number, number % 2 == 0 ? "even" : "odd");
  }
  const intake::System& even = world_.AddSystem("even");
  auto model = world_.Open();
  Mirror mirror(*model);
  model->UseListener(&mirror);
  model->Reset();
  world_.Deliver(Trap(8, 108, "even"), {model.get()});
  world_.Deliver(Trap(9, 109, "odd"), {model.get()});
  const std::vector<std::int32_t> numbers = {9, 5, 77, 1};
  model->RemoveAcknowledged(numbers);
  EXPECT_THAT(mirror.Shown, ElementsAre(2, 3, 4, 6));
  model->RemoveAcknowledged(even, 108);
  EXPECT_THAT(mirror.Shown, ElementsAre(3));
  model->UpdateStatusBar();
  EXPECT_THAT(mirror.Shown, ElementsAre(3, 8));

  model->NotesSaved(8, "called the site");
  model->NotesSaved(2, "gone");
  EXPECT_THAT(mirror.Changed, ElementsAre(1U));
  EXPECT_EQ(model->Rows().At(1).EventNotes, "called the site");
}

}  // namespace
}  // namespace korvane::traps
