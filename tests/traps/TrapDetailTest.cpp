// The rules of the trap detail dialog: its texts, where stepping leads while the list changes, and which
// notes are written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "support/World.h"
#include "traps/FollowedTrap.h"
#include "traps/TrapDetailForm.h"

namespace korvane::traps {
namespace {

using test::StoredTrap;

// An editor that has line feeds only and no room for broken bytes.
std::string AsEdited(std::string_view stored) {
  std::string text;
  for (const char c : stored) {
    if (c != '\r') {
      text += c == '\xff' ? '?' : c;
    }
  }
  return text;
}

class TrapDetailTest : public testing::Test {
 protected:
  void Store(std::int32_t number, const std::string& notes = {}) {
    world_.Store.AddTrap({.SequenceNumber = number, .EventTime = 1000 + number, .EventNotes = notes});
  }
  void Load() {
    model_ = world_.Open();
    model_->Reset();
    order_ = std::make_unique<traplist::TrapOrder>(model_->Rows(), traplist::SourceShown::SourceText);
  }
  traplist::ShownTraps List() { return {.Rows = model_->Rows(), .Order = *order_}; }
  std::string StoredNotes(std::int32_t number) {
    return world_.Store.Text("SELECT * FROM EventTrap WHERE SequenceNumber = " + std::to_string(number),
                             "EventNotes");
  }
  // Types into the notes of the trap at the position.
  void Edit(std::size_t position, const std::string& text) {
    form_.Show(List(), position);
    form_.EditNotes(text);
  }

  test::LoadedWorld world_;
  std::unique_ptr<TrapsModel> model_;
  std::unique_ptr<traplist::TrapOrder> order_;
  TrapDetailForm form_{world_.Connection, world_.Windows, world_.Prompt, AsEdited};
};

TEST_F(TrapDetailTest, EveryTextComesFromTheRow) {
  world_.Store.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "vendor", "A fan\nstopped.");
  world_.Store.AddSystem("core-1", "10.0.0.9");
  world_.SystemList.LoadSystems(world_.Connection);
  const test::StoredCriterion critical{.EnterpriseOid = "1.3.6.1.4.1.9", .SpecificTrap = 1, .Severity = 5};
  world_.Store.AddCategory("Fans", {&critical, 1});
  world_.ReadRules();
  world_.Store.AddTrap({.SequenceNumber = 1,
                        .EventTime = 3600,
                        .Source = "10.0.0.9",
                        .EventDescription = "a = 1, ",
                        .Event_ExtDescr = "b = 2",
                        .EventNotes = "seen"});
  world_.Store.AddTrap({.SequenceNumber = 2,
                        .EventTime = 3601,
                        .Source = "stranger",
                        .EnterpriseOid = "1.3.6.1.4.1.77",
                        .GenericTrap = 9,
                        .SpecificTrap = -3,
                        .EventDescription = ""});
  Load();
  world_.Connection.Close();  // a query would throw

  traplist::ShownTraps list = List();
  list.TimeZoneBias = -7200;
  form_.Show(list, 0);
  const TrapDetail named = form_.Trap();
  EXPECT_EQ(named.SequenceNumber, 1);
  EXPECT_EQ(named.DateTime, "1970-01-01 03:00:00");
  EXPECT_EQ(named.Source, "10.0.0.9");
  EXPECT_EQ(named.IPAddress, "10.0.0.9");
  EXPECT_EQ(named.SeverityCode, 5);
  EXPECT_EQ(named.Severity, "Critical");
  EXPECT_EQ(named.Enterprise, "vendor (1.3.6.1.4.1.9)");
  EXPECT_EQ(named.Generic, "enterpriseSpecific");
  EXPECT_EQ(named.TrapID, "fanFailed (1)");
  EXPECT_EQ(named.VarBinds, "a = 1, b = 2");
  EXPECT_EQ(named.MoreInformation, "A fan\nstopped.");
  EXPECT_EQ(form_.Notes(), "seen");

  form_.Show(list, 1);
  const TrapDetail unknown = form_.Trap();
  EXPECT_EQ(unknown.IPAddress, "stranger");
  EXPECT_EQ(unknown.Severity, "Clear");
  EXPECT_EQ(unknown.Enterprise, "1.3.6.1.4.1.77 (1.3.6.1.4.1.77)");
  EXPECT_EQ(unknown.Generic, "Unknown");
  EXPECT_THAT(unknown.TrapID, testing::EndsWith(" (-3)"));
  EXPECT_EQ(unknown.VarBinds + unknown.MoreInformation + unknown.StoredNotes, "");

  list.Source = traplist::SourceShown::SystemName;
  EXPECT_EQ(DetailOf(list, 0).Source, "core-1") << "a report's list shows the system's name";
}

TEST_F(TrapDetailTest, NotesThatNobodyChangedAreNotWritten) {
  Store(1, "line\r\nbreak \xff");
  Store(2);
  Store(3, "old");
  Load();
  // Colleagues write meanwhile.
  world_.Store.Execute("UPDATE EventTrap SET EventNotes = 'newer' WHERE SequenceNumber IN (2, 3)");
  Edit(0, AsEdited("line\r\nbreak \xff"));
  Edit(1, "");
  Edit(2, "changed my mind");
  Edit(2, "old");
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes(1), "line\r\nbreak \xff");
  EXPECT_EQ(StoredNotes(2), "newer");
  EXPECT_EQ(StoredNotes(3), "newer");
}

TEST_F(TrapDetailTest, OkWritesTheNotesOfEveryTrapThatWasEdited) {
  for (std::int32_t number = 1; number <= 4; ++number) {
    Store(number, "old");
  }
  Load();
  std::string big = "it's \"quoted\"; -- \\ 'x'\n\xF0\x9F\x94\xA5 ";
  while (big.size() < 200'000) {
    big += big;
  }
  Edit(0, big);
  Edit(1, "");
  Edit(2, "for a purged trap");
  form_.Show(List(), 0);
  EXPECT_EQ(form_.Notes(), big) << "what was typed is there on coming back";
  EXPECT_EQ(StoredNotes(1), "old") << "and only there";
  world_.Store.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 3");

  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes(1), big);
  EXPECT_EQ(StoredNotes(2), "");
  EXPECT_EQ(StoredNotes(4), "old");
  EXPECT_TRUE(world_.Prompt.Messages().empty());
  EXPECT_EQ(model_->Rows().At(0).EventNotes, big) << "the list shows the new notes";
  EXPECT_EQ(model_->Rows().At(2).EventNotes, "old") << "nothing was saved of a trap that is gone";
}

TEST_F(TrapDetailTest, NotesTheStoreRefusesAreShownReportedAndKept) {
  for (std::int32_t number = 1; number <= 3; ++number) {
    Store(number);
  }
  Load();
  world_.Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.SequenceNumber = 2 "
      "BEGIN SELECT RAISE(ABORT, 'disk is full'); END");
  for (std::size_t position = 0; position < 3; ++position) {
    Edit(position, "note " + std::to_string(position + 1));
  }
  const std::vector<std::int32_t> acknowledged = {2};
  model_->RemoveAcknowledged(acknowledged);
  form_.ListChanged(List());

  EXPECT_FALSE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes(1), "note 1");
  EXPECT_EQ(StoredNotes(3), "note 3");
  EXPECT_EQ(form_.Trap().SequenceNumber, 2) << "shown, although the list has it no more";
  EXPECT_EQ(form_.Place().Position(), std::nullopt);
  EXPECT_EQ(form_.Place().Above(), 0U);
  EXPECT_EQ(form_.Place().Below(), 1U);
  EXPECT_EQ(form_.Notes(), "note 2");
  ASSERT_EQ(world_.Prompt.Messages().size(), 1U);
  EXPECT_THAT(world_.Prompt.LastMessage(), testing::HasSubstr("disk is full"));
  EXPECT_EQ(world_.Prompt.Messages()[0].Icon, PromptIcon::Critical);

  world_.Store.Execute("DROP TRIGGER traps.refuse");
  form_.EditNotes("note 2, again");
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes(2), "note 2, again");
}

TEST_F(TrapDetailTest, NotesThatAnotherHandWroteAreNotWrittenOver) {
  Store(1, "read");
  Store(2, "read");
  Store(3);
  Load();
  Edit(0, "mine 1");
  Edit(1, "mine 2");
  Edit(2, "mine 3");
  world_.Store.Execute("UPDATE EventTrap SET EventNotes = 'theirs' WHERE SequenceNumber < 3");

  // One after the other is shown with both texts, so that none is written unseen.
  for (const std::int32_t number : {1, 2}) {
    EXPECT_FALSE(form_.Ok(List()));
    EXPECT_EQ(StoredNotes(number), "theirs");
    EXPECT_EQ(form_.Trap().SequenceNumber, number);
    EXPECT_EQ(form_.Notes(), "theirs\n---------- your text ----------\nmine " + std::to_string(number));
    EXPECT_EQ(world_.Prompt.Messages().size(), static_cast<std::size_t>(number));
    EXPECT_EQ(world_.Prompt.Messages().back().Icon, PromptIcon::Exclamation);
    EXPECT_EQ(model_->Rows().At(static_cast<std::size_t>(number) - 1).EventNotes, "theirs");
    form_.EditNotes("settled");
  }
  EXPECT_EQ(StoredNotes(1), "settled");
  EXPECT_EQ(StoredNotes(3), "mine 3");
  // They go on while this is settled.
  world_.Store.Execute("UPDATE EventTrap SET EventNotes = '' WHERE SequenceNumber = 2");
  EXPECT_FALSE(form_.Ok(List()));
  EXPECT_EQ(form_.Notes(), "settled");
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes(2), "settled");

  // Emptied here, written there: what was written stays and is shown.
  Edit(2, "");
  world_.Store.Execute("UPDATE EventTrap SET EventNotes = 'theirs' WHERE SequenceNumber = 3");
  EXPECT_FALSE(form_.Ok(List()));
  form_.EditNotes(std::string(form_.Notes()));
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes(3), "theirs");
}

// Whatever comes and goes, the traps that stood above it lead Previous, and those below Next.
TEST(FollowedTrapTest, KeepsItsPlaceWhateverComesAndGoes) {
  for (const bool sorted : {false, true}) {
    SCOPED_TRACE(sorted ? "sorted, newest number first" : "as they arrived");
    std::mt19937 random(7);
    const auto below = [&](std::size_t bound) { return random() % bound; };
    const store::TrapDefinition definition;
    traplist::TrapRows rows;
    traplist::TrapOrder order(rows, traplist::SourceShown::SourceText);
    const traplist::ShownTraps list{.Rows = rows, .Order = order};
    const auto append = [&](std::int32_t number) {
      store::IncomingTrap trap;
      trap.Definition = &definition;
      trap.SequenceNumber = trap.EventTime = number;
      rows.Append(trap);
    };
    std::int32_t last = 0;
    int gone = 0;
    for (int run = 0; run < 50; ++run) {
      while (rows.Count() < 40) {
        append(++last);
      }
      order.Sort(sorted ? std::optional(traplist::TrapOrder::Sorting{.Descending = true}) : std::nullopt);
      const std::size_t position = below(40);
      const std::int32_t number = rows.SequenceNumberAt(list.RowAt(position));
      FollowedTrap trap(list, position);
      for (int change = 0; change < 6; ++change) {
        std::vector<std::uint32_t> leaving;
        for (std::uint32_t row = 0; row < rows.Count(); ++row) {
          if (below(8) == 0) {
            leaving.push_back(row);
          }
        }
        rows.Remove(leaving);
        rows.DropFront(below(3));
        for (std::size_t i = below(6); i > 0; --i) {
          append(++last);
        }
        if (below(4) == 0) {  // loaded anew, empty in between
          traplist::TrapRows again = std::move(rows);
          rows = traplist::TrapRows();
          order.RowsReset();
          trap.ListChanged(list);
          EXPECT_FALSE(trap.Position() || trap.Above() || trap.Below());
          rows = std::move(again);
        }
        order.Sort(order.SortedBy());
        trap.ListChanged(list);

        // The numbers rise in one list and fall in the other, so they tell where it would stand.
        std::size_t above = 0;
        for (std::size_t row = 0; row < rows.Count(); ++row) {
          const std::int32_t other = rows.SequenceNumberAt(row);
          above += (sorted ? other > number : other < number) ? 1 : 0;
        }
        const bool inList = rows.Find(number).has_value();
        ASSERT_EQ(trap.Position(), inList ? std::optional(above) : std::nullopt);
        ASSERT_EQ(trap.Above(), above > 0 ? std::optional(above - 1) : std::nullopt);
        const std::size_t next = above + (inList ? 1 : 0);
        ASSERT_EQ(trap.Below(), next < rows.Count() ? std::optional(next) : std::nullopt);
        gone += inList ? 0 : 1;
      }
    }
    EXPECT_GT(gone, 40);
  }
}

}  // namespace
}  // namespace korvane::traps
