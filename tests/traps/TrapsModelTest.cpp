// What a Traps window takes, keeps, loads and acknowledges, on a real store; and the details of its traps:
// which notes are written.
#include "traps/TrapsModel.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <numeric>
#include <random>

#include "support/World.h"
#include "traps/TrapDetailForm.h"

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
  void Add(std::int32_t number, std::int32_t time, const std::string& source = "router1") {
    Store.AddTrap({.SequenceNumber = number, .EventTime = time, .Source = source});
  }
  // One trap that the library hands to the window; shown at the end of the tick.
  void Arrive(std::int32_t number, std::int32_t time, TrapsModel& window,
              const std::string& source = "router1") {
    Deliver({.SequenceNumber = number, .EventTime = time, .Source = source}, {&window});
  }
  void RefuseToUpdate(std::int32_t number) {
    Store.Execute("CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.SequenceNumber = " +
                  std::to_string(number) + " BEGIN SELECT RAISE(ABORT, 'this row is refused'); END");
  }
  std::vector<std::int32_t> Acknowledged() { return NumbersWhere(Store, "EventAck = 1"); }
};

TEST_F(TrapsModelTest, KeepsTheNewestUpToTheLimitAndAdmitsNoneTwice) {
  State.gMaxViewTraps = 5;
  State.gLastTrapTime = 8;
  AddStored(8);
  auto model = Open();
  model->Reset();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(4, 5, 6, 7, 8));
  // In the list; dropped by the limit while loading; acknowledged since.
  model->RemoveAcknowledged(std::array{7});
  for (const std::int32_t number : {6, 8, 1, 3, 7}) {
    Arrive(number, number, *model);
  }
  // Numbers of traps that were committed late are smaller, yet new.
  for (int tick = 0; tick < 2; ++tick) {
    for (const std::int32_t number : {10, 9, 10, 9}) {
      Arrive(number, 200, *model);
    }
    EXPECT_EQ(model->Rows().Count(), tick == 0 ? 4U : 5U) << "traps of a tick wait for its end";
    model->UpdateStatusBar();
  }
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(5, 6, 8, 10, 9));

  for (std::int32_t number = 11; number <= 30; ++number) {
    Arrive(number, 300, *model);
  }
  State.gMaxViewTraps = 8;
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(8, 10, 9, 26, 27, 28, 29, 30))
      << "a storm is not held whole";
  State.gMaxViewTraps = 2;
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(29, 30));
  EXPECT_EQ(model->MaximumTrapsText() + model->TotalTrapsText(),
            "Maximum Traps Shown: 2 Total Traps In Window: 2 ");
}

// What was done before the statement that fails stays done, nothing after it is tried.
TEST_F(TrapsModelTest, AcknowledgesUpToTheStatementThatFails) {
  AddStored(6);
  auto model = Open();
  auto other = Open();
  model->Reset();
  other->Reset();
  RefuseToUpdate(3);
  model->AcknowledgeSelected(std::vector<std::uint32_t>{4, 0, 2, 3, 1});  // as a sorted list shows them
  EXPECT_THAT(Acknowledged(), ElementsAre(1, 5));
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(2, 3, 4, 6));
  EXPECT_THAT(Windows.Told, ElementsAre(ElementsAre(5, 1)));
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("this row is refused"));
  EXPECT_EQ(Prompt.Messages().front().Icon, PromptIcon::Critical);
  EXPECT_FALSE(Connection.InTransaction());
  model->AcknowledgeSelected(std::vector<std::uint32_t>{1});
  EXPECT_EQ(Windows.Told.size(), 1U);
  model->AcknowledgeSelected(std::vector<std::uint32_t>{0, 2});
  EXPECT_THAT(Acknowledged(), ElementsAre(1, 2, 4, 5));
  EXPECT_EQ(Prompt.Messages().size(), 2U);
  EXPECT_THAT(Numbers(other->Rows()), ElementsAre(3, 6));
  EXPECT_EQ(Busy.Texts.back(), "Acknowledging Trap(s)");
  EXPECT_EQ(Busy.Depth(), 0);
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
  RefuseToUpdate(2);
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(mine->MayClose()) << "the store refused: the window stays";
  EXPECT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_THAT(Acknowledged(), IsEmpty()) << "under all texts of the system or none";
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(1, 2, 4));
  Store.Execute("DROP TRIGGER traps.refuse");

  Add(6, 103);  // not delivered yet
  Prompt.WillAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(mine->MayClose());
  EXPECT_THAT(Acknowledged(), ElementsAre(1, 2, 6));
  EXPECT_THAT(Numbers(all->Rows()), ElementsAre(3, 4));
  EXPECT_THAT(Windows.SystemsTold, ElementsAre(testing::Pair(system.Name, 104)));
  EXPECT_THAT(Prompt.Questions(), testing::Each(test::ScriptedPrompts::Shown{
                                      "Do you want to acknowledge all traps for 'router1'?",
                                      PromptIcon::Question, PromptButtons::YesNo}));
  // A trap that was acknowledged on its way is not shown as new; one that is stored afterwards is.
  Arrive(6, 103, *mine);
  Arrive(7, 103, *mine);
  mine->UpdateStatusBar();
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(4, 7));
  State.gShuttingDown = true;
  EXPECT_TRUE(mine->MayClose()) << "the frame has asked already";
  EXPECT_EQ(Prompt.Questions().size(), 3U);
  EXPECT_EQ(Busy.Depth(), 0);
}

TEST_F(TrapsModelTest, WhatHappensElsewhereReachesListAndPendingBatch) {
  for (std::int32_t number = 1; number <= 6; ++number) {
    Add(number, 100 + number, number % 2 == 0 ? "even" : "odd");
  }
  const intake::System& even = AddSystem("even");
  auto model = Open();
  auto perSystem = Open(WindowKind::PerSystem, {}, &even);
  auto still = Open(WindowKind::NoLiveTraps);
  for (TrapsModel* window : {model.get(), perSystem.get(), still.get()}) {
    window->Reset();
    Arrive(8, 108, *window, "even");
    Arrive(9, 109, *window, "odd");
    Arrive(10, 110, *window, "EVEN");
  }
  perSystem->UpdateStatusBar();
  still->UpdateStatusBar();
  EXPECT_THAT(Numbers(perSystem->Rows()), ElementsAre(2, 4, 6, 8)) << "compared to the letter";
  EXPECT_THAT(Numbers(still->Rows()), ElementsAre(1, 2, 3, 4, 5, 6));

  model->RemoveAcknowledged(std::array{9, 10, 5, 77, 1});
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(2, 3, 4, 6));
  model->RemoveAcknowledged(even, 108);
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(3));
  model->NotesSaved(8, "called the site");
  model->NotesSaved(2, "gone");
  model->NotesSaved(3, "and again");
  model->UpdateStatusBar();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(3, 8));
  EXPECT_EQ(model->Rows().At(0).EventNotes, "and again");
  EXPECT_EQ(model->Rows().At(1).EventNotes, "called the site");
}

// After a load counts and windows show what they would have shown had they been open, with these rules, from
// the start: tried on random histories of traps that are stored, delivered, acknowledged and filtered.
class TrapsReloadTest : public testing::TestWithParam<intake::ViewOption>, public test::World {
 protected:
  static constexpr std::int32_t kStart = 1000;  // the newest time in the store when the console starts
  static constexpr std::int32_t kLogged = 60;   // the traps that are stored then, numbered from 1

  int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

  void StoreOne(std::int32_t time, bool acknowledged = false) {
    StoredTrap trap{.EventTime = time,
                    .Source = "host" + std::to_string(Below(4)),
                    .EventDescription = Below(4) == 0 ? "other" : "Link",
                    .EventAck = acknowledged ? 1 : 0};
    trap.SequenceNumber = Store.AddTrap(trap);
    if (!acknowledged && (trap.SequenceNumber > kLogged || time >= kStart)) {
      undelivered_.push_back(trap);
    }
  }
  // One tick.  Mostly in order; a row committed late comes behind its successor.
  void DeliverOne() {
    if (!undelivered_.empty()) {
      const auto at = undelivered_.begin() + (undelivered_.size() > 1 && Below(5) == 0 ? 1 : 0);
      Library.Deliver(at->SequenceNumber, at->Source, at->EventTime);
      Library.List.back().EventDescription = at->EventDescription;
      undelivered_.erase(at);
      Model.CheckTraps();
    }
  }
  void AcknowledgeSome() {
    std::vector<std::uint32_t> selected(reset_->Rows().Count());
    std::iota(selected.begin(), selected.end(), 0U);
    std::erase_if(selected, [this](std::uint32_t) { return Below(12) != 0; });
    Windows.Told = {{}};
    reset_->AcknowledgeSelected(selected);
    Model.TrapsAcknowledged(Windows.Told.back());
  }
  void Step() {
    switch (Below(8)) {
      case 0:
        return Stored.Load(std::array<intake::StoredTrapsTaker*, 2>{&Model, reset_.get()});
      case 1:
        return AcknowledgeSome();
      case 2:
      case 3:
        return DeliverOne();
      default:  // now and then a receiver that catches up stores an old time
        now_ += Below(3);
        return StoreOne(Below(6) == 0 ? now_ - Below(200) : now_);
    }
  }
  std::vector<std::int32_t> Expected(const std::string& condition) {
    const bool onlyNew = GetParam() == intake::ViewOption::ShowOnlyNewTraps;
    const std::int32_t oldest = onlyNew ? kStart : Bounds.LowerBound.value_or(0) + 1;
    return NumbersWhere(Store, fmt::format("EventAck = 0 AND Source <> '{}' AND {} AND "
                                           "(SequenceNumber > {} OR EventTime >= {})",
                                           hidden_, condition, kLogged, oldest));
  }

  std::unique_ptr<TrapsModel> fromStart_ = Open(WindowKind::Selected, {.VarBindsMatch = "LINK"});
  std::unique_ptr<TrapsModel> reset_ = Open(WindowKind::Selected, {.VarBindsMatch = "LINK"});
  std::mt19937 random_{1};
  std::deque<StoredTrap> undelivered_;
  std::string hidden_;
  std::int32_t now_ = kStart;
};

TEST_P(TrapsReloadTest, ShowsWhatAWindowOpenFromTheStartShows) {
  for (int i = 0; i < kLogged; ++i) {
    StoreOne(i == 0 ? kStart : kStart - Below(80), i > 0 && Below(4) == 0);
  }
  State.gMaxViewTraps = GetParam() == intake::ViewOption::NotAsked ? kLogged : 20;
  Question.Answer = GetParam();
  Model.Load();
  EXPECT_EQ(Bounds.Option, GetParam());
  EXPECT_EQ(Library.StartedAt, kStart);
  State.gMaxViewTraps = 10'000;
  fromStart_->Reset();
  for (int round = 0; round < 30 && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    for (int step = 0; step < 25; ++step) {
      Step();
    }
    while (!undelivered_.empty()) {
      DeliverOne();
    }
    if (round % 2 == 1) {  // new rules: as the filter editor does, everything is loaded anew
      hidden_ = round % 4 == 1 ? "host2" : "nobody";
      Store.Execute("DELETE FROM Trap_Filter_Group");
      HideSource(hidden_);
      Stored.Load(std::array<intake::StoredTrapsTaker*, 3>{&Model, fromStart_.get(), reset_.get()});
    }
    std::size_t counted = 0;
    for (std::size_t row = 0; row < Model.RowCount(); ++row) {
      counted += static_cast<std::size_t>(Model.Row(row).Total());
    }
    EXPECT_EQ(counted, Expected("1 = 1").size());
    const auto links = testing::UnorderedElementsAreArray(Expected("EventDescription = 'Link'"));
    EXPECT_THAT(Numbers(fromStart_->Rows()), links);
    EXPECT_THAT(Numbers(reset_->Rows()), links);
  }
}

INSTANTIATE_TEST_SUITE_P(, TrapsReloadTest,
                         testing::Values(intake::ViewOption::NotAsked, intake::ViewOption::LoadRecentTraps,
                                         intake::ViewOption::ShowOnlyNewTraps));

// An editor that has line feeds only and no room for broken bytes.
std::string AsEdited(std::string_view stored) {
  std::string text(stored);
  std::erase(text, '\r');
  std::ranges::replace(text, '\xff', '?');
  return text;
}

class TrapDetailFormTest : public TrapsModelTest {
 protected:
  // Traps with these notes, numbered from 1.
  void Load(const std::vector<std::string>& notes) {
    for (const std::string& text : notes) {
      Store.AddTrap({.EventNotes = text});
    }
    model_->Reset();
    order_.RowsReset();
  }
  // Types into the notes of the trap at the position.
  void Edit(std::size_t position, const std::string& text) {
    form_.Show(List, position);
    form_.EditNotes(text);
  }
  // In the order of their traps.
  std::vector<std::string> StoredNotes() {
    std::vector<std::string> notes;
    auto rows = Store.Db().OpenRecordset("SELECT EventNotes FROM EventTrap ORDER BY SequenceNumber");
    while (rows.Next()) {
      notes.push_back(rows.Text("EventNotes"));
    }
    return notes;
  }
  std::string NotesInList(std::size_t row) { return std::string(model_->Rows().At(row).EventNotes); }

  std::unique_ptr<TrapsModel> model_ = Open();
  traplist::TrapOrder order_{model_->Rows(), traplist::SourceShown::SourceText};
  traplist::ShownTraps List{.Rows = model_->Rows(), .Order = order_};
  TrapDetailForm form_{Connection, Windows, Prompt, AsEdited};
};

TEST_F(TrapDetailFormTest, OkWritesTheNotesThatWereEditedAndKeepsWhatTheStoreRefuses) {
  const std::string odd = "line\r\nbreak \xff";
  Load({odd, "", "old", "old", "old", "old"});
  // Colleagues write meanwhile.
  Store.Execute("UPDATE EventTrap SET EventNotes = 'newer' WHERE SequenceNumber IN (2, 3)");
  const std::string big = "it's \"quoted\"; -- \\ 'x'\n🔥 " + std::string(200'000, 'x');
  Edit(0, AsEdited(odd));
  Edit(1, "");
  Edit(2, "changed my mind");
  Edit(2, "old");
  Edit(3, big);
  Edit(4, "refused");
  Edit(5, "for a purged trap");
  form_.Show(List, 3);
  EXPECT_EQ(form_.Notes(), big) << "what was typed is there on coming back";
  EXPECT_EQ(StoredNotes()[3], "old") << "and only there";
  Store.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 6");
  RefuseToUpdate(5);
  model_->RemoveAcknowledged(std::array{5});
  order_.RowsReset();
  form_.ListChanged(List);

  EXPECT_FALSE(form_.Ok(List));
  EXPECT_THAT(StoredNotes(), ElementsAre(odd, "newer", "newer", big, "old"));
  EXPECT_EQ(NotesInList(3), big) << "the list shows the new notes";
  EXPECT_EQ(NotesInList(4), "old") << "nothing was saved of a trap that is gone";
  EXPECT_EQ(form_.Trap().SequenceNumber, 5) << "shown, although the list has it no more";
  EXPECT_EQ(form_.Notes(), "refused");
  EXPECT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_THAT(Prompt.LastMessage(), HasSubstr("this row is refused"));
  Store.Execute("DROP TRIGGER traps.refuse");
  form_.EditNotes("refused no more");
  Edit(3, "");
  EXPECT_TRUE(form_.Ok(List));
  EXPECT_THAT(StoredNotes(), ElementsAre(odd, "newer", "newer", "", "refused no more"));
}

TEST_F(TrapDetailFormTest, NotesThatAnotherHandWroteAreNotWrittenOver) {
  Load({"read", "read", ""});
  const auto theyWrite = [this](const char* notes, const char* numbers) {
    Store.Execute(
        fmt::format("UPDATE EventTrap SET EventNotes = '{}' WHERE SequenceNumber IN ({})", notes, numbers));
  };
  for (std::size_t position = 0; position < 3; ++position) {
    Edit(position, "mine");
  }
  theyWrite("theirs", "1, 2");
  // One after the other is shown with both texts, so that none is written unseen.
  for (const std::int32_t number : {1, 2}) {
    EXPECT_FALSE(form_.Ok(List));
    EXPECT_EQ(StoredNotes()[static_cast<std::size_t>(number) - 1], "theirs");
    EXPECT_EQ(form_.Trap().SequenceNumber, number);
    EXPECT_EQ(form_.Notes(), "theirs\n---------- your text ----------\nmine");
    EXPECT_EQ(Prompt.Messages().size(), static_cast<std::size_t>(number));
    EXPECT_EQ(NotesInList(static_cast<std::size_t>(number) - 1), "theirs");
    form_.EditNotes("settled");
  }
  EXPECT_THAT(StoredNotes(), ElementsAre("settled", "theirs", "mine"));
  theyWrite("", "2");  // they go on while this is settled
  EXPECT_FALSE(form_.Ok(List));
  EXPECT_EQ(form_.Notes(), "settled");
  EXPECT_TRUE(form_.Ok(List));
  EXPECT_EQ(StoredNotes()[1], "settled");

  // Emptied here, written there: what was written stays and is shown.
  Edit(2, "");
  theyWrite("theirs", "3");
  EXPECT_FALSE(form_.Ok(List));
  form_.EditNotes(std::string(form_.Notes()));
  EXPECT_TRUE(form_.Ok(List));
  EXPECT_EQ(StoredNotes()[2], "theirs");
}

}  // namespace
}  // namespace korvane::traps
