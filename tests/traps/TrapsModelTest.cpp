// What a Traps window takes, keeps, loads and acknowledges, on a real store; and the details of its traps:
// which notes are written.
#include "traps/TrapsModel.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "support/World.h"
#include "traps/TrapDetailForm.h"

namespace korvane::traps {
namespace {

using test::Numbers;
using test::StoredTrap;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
  std::vector<std::int32_t> Acknowledged() {
    std::vector<std::int32_t> numbers;
    auto rows = Store.Db().OpenRecordset("SELECT SequenceNumber FROM EventTrap", "EventAck = 1");
    while (rows.Next()) {
      numbers.push_back(rows.Integer("SequenceNumber"));
    }
    return numbers;
  }
};

TEST_F(TrapsModelTest, KeepsTheNewestUpToTheLimitAndAdmitsNoneTwice) {
  State.gMaxViewTraps = 5;
  State.gLastTrapTime = 8;
  AddStored(8);
  auto model = Open();
  model->Reset();
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(4, 5, 6, 7, 8));
  // In the list; dropped by the limit while loading.
  model->RemoveAcknowledged(test::Selected({7}));
  for (const std::int32_t number : {6, 8, 1, 3}) {
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
  for (std::int32_t number = 31; number <= 34; ++number) {
    Deliver({.SequenceNumber = number, .EventTime = 300, .EventDescription = std::string(6'000'000, 'x')},
            {model.get()});
    if (number >= 33) {
      model->UpdateStatusBar();
      EXPECT_EQ(model->Rows().BindingBytes() / 1'000'000, 12U) << number;
    }
  }
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(33, 34)) << "the longest that there can be";
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
  EXPECT_THAT(Windows.Told, ElementsAre("1,5"));
  EXPECT_THAT(Prompt.Cause, HasSubstr("this row is refused"));
  EXPECT_FALSE(Connection.InTransaction());
  EXPECT_THAT(Numbers(other->Rows()), ElementsAre(2, 3, 4, 6));
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
  EXPECT_THAT(Windows.Told, ElementsAre("router1", "ROUTER1"));
  EXPECT_EQ(Prompt.Questions().back().Text, "Do you want to acknowledge all traps for 'router1'?");
  // A trap that was acknowledged on its way is not shown as new; one that is stored afterwards is.
  Arrive(6, 103, *mine);
  Arrive(7, 103, *mine);
  mine->UpdateStatusBar();
  EXPECT_THAT(Numbers(mine->Rows()), ElementsAre(4, 7));
  State.gShuttingDown = true;
  EXPECT_TRUE(mine->MayClose()) << "the frame has asked already";
  EXPECT_EQ(Prompt.Questions().size(), 3U);
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

  model->RemoveAcknowledged(test::Selected({9, 10, 5, 77, 1}));
  EXPECT_THAT(Numbers(model->Rows()), ElementsAre(2, 3, 4, 6));
  const store::TrapSelection older{.Numbers = {{0, 99}}, .Source = "even", .BeforeTime = 108};
  model->RemoveAcknowledged(std::span(&older, 1));
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
// the start.
TEST(TrapsReloadTest, ShowsWhatAWindowOpenFromTheStartShows) {
  using intake::ViewOption;
  for (const auto& [option, oldest] : {std::pair(ViewOption::NotAsked, 1),
                                       {ViewOption::LoadRecentTraps, 40},
                                       {ViewOption::ShowOnlyNewTraps, 61}}) {
    SCOPED_TRACE(oldest);
    test::World world;
    world.AddStored(60);
    world.State.gMaxViewTraps = option == ViewOption::NotAsked ? 60 : 20;
    world.Question.Answer = option;
    world.Model.Load();
    EXPECT_EQ(world.Library.StartedAt, 60);
    world.State.gMaxViewTraps = 1000;
    auto open = world.Open();
    auto later = world.Open();
    open->Reset();
    std::vector<std::int32_t> expected(static_cast<std::size_t>(61 - oldest));
    std::iota(expected.begin(), expected.end(), oldest);
    // The trap at the mark, new ones, and late ones: at the bound of loads and far below it.
    const auto arrive = [&](std::int32_t number, std::int32_t time, const std::string& source) {
      if (number > 60) {
        world.Store.AddTrap({.SequenceNumber = number, .EventTime = time, .Source = source});
        expected.push_back(number);
      }
      world.Library.Deliver(number, source, time);
      world.Model.CheckTraps();
    };
    if (oldest <= 60) {
      arrive(60, 60, "router1");
    }
    arrive(61, 61, "router1");
    arrive(62, oldest - 1, "router1");
    arrive(63, -9, "router1");
    arrive(64, 62, "other");
    arrive(65, -8, "other");
    const auto expect = [&](std::int64_t others) {
      world.Stored.Load(std::array<intake::StoredTrapsTaker*, 3>{&world.Model, open.get(), later.get()});
      EXPECT_THAT(Numbers(open->Rows()), testing::UnorderedElementsAreArray(expected));
      EXPECT_THAT(Numbers(later->Rows()), testing::UnorderedElementsAreArray(expected));
      EXPECT_EQ(world.TotalOf("router1"), 64 - oldest);
      EXPECT_EQ(world.TotalOf("other"), others);
    };
    EXPECT_THAT(Numbers(open->Rows()), testing::UnorderedElementsAreArray(expected));
    world.HideSource("other");
    expected.resize(expected.size() - 2);
    expect(-1);
    world.Store.Execute("DELETE FROM Trap_Filter_Group");
    world.ReadRules();
    expected.insert(expected.end(), {64, 65});
    expect(2);
  }
}

TEST_F(TrapsModelTest, ALoadThatIsStoppedLeavesAPartAndTakesWhatComes) {
  Model.Load();
  Model.CheckTraps();
  State.gMaxViewTraps = 10'000;
  State.gLastTrapTime = 3000;
  AddStored(3000);
  auto part = Open();
  const std::array<intake::StoredTrapsTaker*, 2> both{part.get(), &Model};
  Busy.StepsLeft = 0;
  Stored.Load(both);
  EXPECT_EQ(part->Stopped(), LoadStop::Part);
  const std::size_t read = part->Rows().Count();
  EXPECT_LT(read, 3000U);
  EXPECT_EQ(TotalOf("router1"), -1) << "no count is half";
  Add(3001, 3001);
  Library.Deliver(3001, "router1", 3001);
  Model.CheckTraps();
  EXPECT_EQ(part->Rows().Count(), read + 1) << "and nothing is loaded again unasked";
  Windows.Models.front()->LoadEnds({.Unacknowledged = 0, .Failure = {}, .Stopped = true});
  EXPECT_EQ(part->Stopped(), LoadStop::Kept);
  Busy.StepsLeft = -1;
  Strip.Press(StripKind::Stopped);
  EXPECT_EQ(part->Stopped(), LoadStop::None);
  EXPECT_EQ(part->Rows().Count(), 3001U);
  EXPECT_EQ(TotalOf("router1"), 3001);
  EXPECT_EQ(Strip.Line(StripKind::Stopped), nullptr);
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
  TrapDetailForm form_{Connection,
                       Windows,
                       Prompt,
                       [](std::string_view stored) { return std::string(stored); },
                       [this](const NotesConflict& conflict) { return Choose(conflict); },
                       [this](const store::TrapKey& trap, std::string_view ofSystem) {
                         return AcknowledgeOne(ForTraps, trap, ofSystem);
                       }};
  // What the operator sees and answers, one after the other; while seeing it others may act.
  std::optional<NotesChoice> Choose(const NotesConflict& conflict) {
    seen_.push_back(fmt::format("{}: {} or {} by {}", conflict.Trap.SequenceNumber, conflict.Theirs,
                                conflict.Mine, conflict.TheirStamp.Operator));
    const auto [answer, meanwhile] = answers_.at(seen_.size() - 1);
    if (meanwhile) {
      meanwhile();
    }
    return answer;
  }
  std::vector<std::string> seen_;
  std::vector<std::pair<std::optional<NotesChoice>, std::function<void()>>> answers_;
};

TEST_F(TrapDetailFormTest, OkWritesTheNotesThatWereEditedAndKeepsWhatTheStoreRefuses) {
  const std::string odd = "line\r\nbreak \xff";
  Load({odd, "", "old", "old", "old", "old"});
  // Colleagues write meanwhile.
  Store.Execute("UPDATE EventTrap SET EventNotes = 'newer' WHERE SequenceNumber IN (2, 3)");
  const std::string big = "it's \"quoted\"; -- \\ 'x'\n🔥 " + std::string(200'000, 'x');
  Edit(0, odd);
  Edit(1, "");
  Edit(2, "changed my mind");
  Edit(2, "old");
  Edit(3, big);
  Edit(4, "refused");
  Edit(5, "for a purged trap");
  Store.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 6");
  RefuseToUpdate(5);
  model_->RemoveAcknowledged(test::Selected({5}));
  order_.RowsReset();
  form_.ListChanged(List);

  EXPECT_FALSE(form_.Ok(List));
  EXPECT_THAT(StoredNotes(), ElementsAre(odd, "newer", "newer", big, "old"));
  EXPECT_EQ(NotesInList(3), big) << "the list shows the new notes";
  EXPECT_EQ(NotesInList(4), "old") << "nothing was saved of a trap that is gone";
  EXPECT_EQ(form_.Trap().SequenceNumber, 5) << "shown, although the list has it no more";
  EXPECT_EQ(form_.Notes(), "refused");
  EXPECT_THAT(Prompt.Cause, HasSubstr("this row is refused"));
  Store.Execute("DROP TRIGGER traps.refuse");
  form_.EditNotes("refused no more");
  Edit(3, "");
  EXPECT_TRUE(form_.Ok(List));
  EXPECT_THAT(StoredNotes(), ElementsAre(odd, "newer", "newer", "", "refused no more"));
}

TEST_F(TrapDetailFormTest, AcknowledgesWhatIsShownOnceItsNotesAreWritten) {
  Load({"", "", "", "read"});
  form_.Show(List, 1);
  form_.EditNotes("of another");
  form_.Show(List, 0);
  form_.EditNotes("done");
  RefuseToUpdate(1);
  EXPECT_FALSE(form_.Acknowledge(List));
  EXPECT_THAT(Prompt.LastMessage(), testing::StartsWith("The notes were not saved."));
  Store.Execute("DROP TRIGGER traps.refuse");
  Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.EventAck = 1 "
      "BEGIN SELECT RAISE(ABORT, 'this row is refused'); END");
  EXPECT_FALSE(form_.Acknowledge(List));
  EXPECT_THAT(Prompt.LastMessage(), testing::StartsWith("The trap was not acknowledged."));
  EXPECT_TRUE(form_.MayAcknowledge());
  Store.Execute("DROP TRIGGER traps.refuse");
  EXPECT_TRUE(form_.Acknowledge(List));
  EXPECT_THAT(StoredNotes(), ElementsAre("done", "", "", "read"));
  EXPECT_THAT(Acknowledged(), ElementsAre(1));
  EXPECT_THAT(Numbers(model_->Rows()), ElementsAre(2, 3, 4));
  EXPECT_EQ(Strip.Line(StripKind::Told)->Text, "1 trap of router1 acknowledged");

  // Another console is first, while the operator is asked, or unheard of; a row is deleted.
  order_.RowsReset();
  form_.Show(List, 2);
  form_.EditNotes("mine");
  Store.Execute("UPDATE EventTrap SET EventNotes = 'theirs' WHERE SequenceNumber = 4");
  store::Change anna{.ChangeId = 7, .Time = 60, .Author = {"anna", "desk", ""}, .Traps = {}, .Rows = {}};
  anna.Traps.Numbers = {{4, 4}};
  answers_ = {{NotesChoice::Both, [&] { form_.ApplyChange(anna, 0); }}};
  EXPECT_TRUE(form_.Acknowledge(List));
  EXPECT_EQ(form_.Trap().Acknowledged, "By anna on desk, 1970-01-01 00:01:00");
  EXPECT_EQ(form_.Notes(), "theirs\n----------\nmine");
  EXPECT_THAT(Acknowledged(), ElementsAre(1)) << "nothing was left to do";
  form_.Show(List, 1);
  Store.Execute("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber = 3");
  EXPECT_TRUE(form_.Acknowledge(List));
  EXPECT_EQ(form_.Trap().Acknowledged, "Yes");
  anna.Traps.Numbers = {{3, 3}};
  EXPECT_TRUE(form_.ApplyChange(anna, 0)) << "who it was comes later";
  order_.RowsReset();
  form_.Show(List, 0);
  form_.EditNotes("in vain");
  Store.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 2");
  EXPECT_FALSE(form_.Acknowledge(List));
  EXPECT_EQ(form_.Notes(), "in vain");
  EXPECT_EQ(form_.Trap().Acknowledged, "No longer in the store");
  EXPECT_FALSE(form_.MayAcknowledge());
}

TEST_F(TrapDetailFormTest, ATrapOfAnotherStateOfTheStoreIsGoneWhateverHasItsNumber) {
  Load({"", "seen"});
  Edit(1, "typed before");
  form_.Show(List, 0);
  form_.StoreReplaced();
  form_.ListChanged(List);
  form_.EditNotes("typed");
  EXPECT_FALSE(form_.Place().Position());
  EXPECT_FALSE(form_.Acknowledge(List));
  EXPECT_FALSE(form_.Ok(List));
  EXPECT_THAT(Prompt.LastMessage(), testing::StartsWith("Notes were not saved, since their traps are gone"));
  EXPECT_TRUE(form_.Ok(List)) << "told once";
  form_.Show(List, *form_.Place().Below());
  EXPECT_TRUE(form_.MayAcknowledge()) << "that is one of the new state";
  Edit(1, "mine");
  Store.Execute("UPDATE EventTrap SET EventNotes = 'theirs' WHERE SequenceNumber = 2");
  answers_ = {{NotesChoice::Mine, [&] { form_.StoreReplaced(); }}};
  form_.Ok(List);
  EXPECT_THAT(StoredNotes(), ElementsAre("", "theirs"));
  EXPECT_THAT(Acknowledged(), IsEmpty());
}

TEST_F(TrapDetailFormTest, NotesThatAnotherHandWroteAreNotWrittenOver) {
  const auto theyWrite = [this](const char* notes, const char* numbers) {
    Store.Execute(
        fmt::format("UPDATE EventTrap SET EventNotes = '{}' WHERE SequenceNumber IN ({})", notes, numbers));
  };
  Load({"read", "read", "read\r\nboth", "read", "read"});
  Edit(2, "read\nboth\nmine");
  for (const std::size_t position : {0, 1, 3}) {
    Edit(position, "mine");
  }
  form_.Show(List, 4);
  theyWrite("theirs", "1, 2, 4, 5");
  theyWrite("read\nboth\ntheirs", "3");
  const store::ChangeStamp anna{.Operator = "anna", .Machine = "desk", .Time = 0};
  EXPECT_FALSE(form_.NotesChanged(1, "theirs", anna));
  // What nobody edits is replaced, what somebody does stays, and is not taken for typed over the new text.
  EXPECT_TRUE(form_.NotesChanged(5, "theirs", anna));
  EXPECT_EQ(form_.Notes(), "theirs");
  EXPECT_EQ(form_.NotesNews(0), "Changed by anna on desk.");
  model_->NotesSaved(1, "theirs");
  form_.Show(List, 0);
  form_.EditNotes("mine!");
  EXPECT_EQ(form_.NotesNews(0), "The stored notes were changed by anna on desk. OK shows both texts.");

  answers_ = {{NotesChoice::Mine, [&] { theyWrite("third", "1"); }},  // and once more while this is asked
              {NotesChoice::Mine, nullptr},
              {NotesChoice::Theirs, nullptr},
              {NotesChoice::Both, [&] { form_.EditNotes("not in the dialog"); }},
              {std::nullopt, nullptr}};
  EXPECT_FALSE(form_.Ok(List));
  const std::string merged = "read\nboth\ntheirs";
  EXPECT_THAT(seen_,
              ElementsAre("1: theirs or mine! by anna", "1: third or mine! by ", "2: theirs or mine by ",
                          "3: " + merged + " or read\nboth\nmine by ", "4: theirs or mine by "));
  EXPECT_THAT(StoredNotes(),
              ElementsAre("mine!", "theirs", merged + "\n----------\nmine", "theirs", "theirs"));
  EXPECT_EQ(NotesInList(3), "theirs");
  EXPECT_EQ(form_.Trap().SequenceNumber, 4) << "the one that is left undecided";
  EXPECT_EQ(form_.Notes(), "mine");
  form_.EditNotes("read");                       // given up: it is as it was read
  EXPECT_TRUE(form_.NotesChanged(9, "", anna));  // so theirs are shown, and not taken for edited
  form_.EditNotes(std::string(form_.Notes()));
  EXPECT_TRUE(form_.Ok(List));
  EXPECT_EQ(StoredNotes()[3], "theirs");
  EXPECT_TRUE(Prompt.Messages().empty());
}

}  // namespace
}  // namespace korvane::traps
