// The rules of the trap detail dialog: its texts, where stepping leads while the list changes, and which
// notes are written.
#include "traps/TrapDetailForm.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/World.h"

namespace korvane::traps {
namespace {

using testing::ElementsAre;

// An editor that has line feeds only and no room for broken bytes.
std::string AsEdited(std::string_view stored) {
  std::string text(stored);
  std::erase(text, '\r');
  std::ranges::replace(text, '\xff', '?');
  return text;
}

class TrapDetailFormTest : public testing::Test, public test::LoadedWorld {
 protected:
  void Add(std::int32_t number, const std::string& notes = {}) {
    Store.AddTrap({.SequenceNumber = number, .EventTime = 1000 + number, .EventNotes = notes});
  }
  void Load() {
    model_ = Open();
    model_->Reset();
    order_ = std::make_unique<traplist::TrapOrder>(model_->Rows(), traplist::SourceShown::SourceText);
  }
  traplist::ShownTraps List() { return {.Rows = model_->Rows(), .Order = *order_}; }
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
  // Types into the notes of the trap at the position.
  void Edit(std::size_t position, const std::string& text) {
    form_.Show(List(), position);
    form_.EditNotes(text);
  }

  std::unique_ptr<TrapsModel> model_;
  std::unique_ptr<traplist::TrapOrder> order_;
  TrapDetailForm form_{Connection, Windows, Prompt, AsEdited};
};

TEST_F(TrapDetailFormTest, EveryTextComesFromTheRow) {
  Store.AddDefinition("1.3.6.1.4.1.9", 1, "fanFailed", "vendor", "A fan\nstopped.");
  Store.AddSystem("core-1", "10.0.0.9");
  SystemList.LoadSystems(Connection);
  const test::StoredCriterion critical{.EnterpriseOid = "1.3.6.1.4.1.9", .SpecificTrap = 1, .Severity = 5};
  Store.AddCategory("Fans", {&critical, 1});
  ReadRules();
  Store.AddTrap({.SequenceNumber = 1,
                 .EventTime = 3600,
                 .Source = "10.0.0.9",
                 .EventDescription = "a = 1, ",
                 .Event_ExtDescr = "b = 2",
                 .EventNotes = "seen"});
  Store.AddTrap({.SequenceNumber = 2,
                 .EventTime = 3601,
                 .Source = "stranger",
                 .EnterpriseOid = "1.3.6.1.4.1.77",
                 .GenericTrap = 9,
                 .SpecificTrap = -3,
                 .EventDescription = ""});
  Load();
  Connection.Close();  // a query would throw
  traplist::ShownTraps list = List();
  list.TimeZoneBias = -7200;
  const auto textAt = [&](std::size_t position) {
    const TrapDetail trap = DetailOf(list, position);
    return fmt::format("{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}|{}", trap.SequenceNumber, trap.DateTime, trap.Source,
                       trap.IPAddress, trap.SeverityCode, trap.Severity, trap.Enterprise, trap.Generic,
                       trap.TrapID, trap.VarBinds, trap.MoreInformation, trap.StoredNotes);
  };
  EXPECT_EQ(textAt(0),
            "1|1970-01-01 03:00:00|10.0.0.9|10.0.0.9|5|Critical|vendor (1.3.6.1.4.1.9)|enterpriseSpecific|"
            "fanFailed (1)|a = 1, b = 2|A fan\nstopped.|seen");
  EXPECT_EQ(textAt(1),
            "2|1970-01-01 03:00:01|stranger|stranger|0|Clear|1.3.6.1.4.1.77 (1.3.6.1.4.1.77)|Unknown|"
            "1.3.6.1.4.1.77.0.-3 (-3)|||");
  list.Source = traplist::SourceShown::SystemName;
  EXPECT_EQ(DetailOf(list, 0).Source, "core-1") << "a report's list shows the system's name";
}

TEST_F(TrapDetailFormTest, OkWritesTheNotesThatWereEditedAndNoOthers) {
  const std::string odd = "line\r\nbreak \xff";
  Add(1, odd);
  for (std::int32_t number = 2; number <= 5; ++number) {
    Add(number, number == 2 ? "" : "old");
  }
  Load();
  // Colleagues write meanwhile.
  Store.Execute("UPDATE EventTrap SET EventNotes = 'newer' WHERE SequenceNumber IN (2, 3)");
  std::string big = "it's \"quoted\"; -- \\ 'x'\n\xF0\x9F\x94\xA5 ";
  while (big.size() < 200'000) {
    big += big;
  }
  Edit(0, AsEdited(odd));
  Edit(1, "");
  Edit(2, "changed my mind");
  Edit(2, "old");
  Edit(3, big);
  Edit(4, "for a purged trap");
  form_.Show(List(), 3);
  EXPECT_EQ(form_.Notes(), big) << "what was typed is there on coming back";
  EXPECT_EQ(StoredNotes()[3], "old") << "and only there";
  Store.Execute("DELETE FROM EventTrap WHERE SequenceNumber = 5");

  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_THAT(StoredNotes(), ElementsAre(odd, "newer", "newer", big));
  EXPECT_TRUE(Prompt.Messages().empty());
  EXPECT_EQ(NotesInList(3), big) << "the list shows the new notes";
  EXPECT_EQ(NotesInList(4), "old") << "nothing was saved of a trap that is gone";
  Edit(3, "");
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes()[3], "");
}

TEST_F(TrapDetailFormTest, NotesTheStoreRefusesAreShownReportedAndKept) {
  for (std::int32_t number = 1; number <= 3; ++number) {
    Add(number);
  }
  Load();
  Store.Execute(
      "CREATE TRIGGER traps.refuse BEFORE UPDATE ON EventTrap WHEN NEW.SequenceNumber = 2 "
      "BEGIN SELECT RAISE(ABORT, 'disk is full'); END");
  for (std::size_t position = 0; position < 3; ++position) {
    Edit(position, "note " + std::to_string(position + 1));
  }
  model_->RemoveAcknowledged(std::array{2});
  form_.ListChanged(List());
  EXPECT_FALSE(form_.Ok(List()));
  EXPECT_THAT(StoredNotes(), ElementsAre("note 1", "", "note 3"));
  EXPECT_EQ(form_.Trap().SequenceNumber, 2) << "shown, although the list has it no more";
  EXPECT_EQ(form_.Place().Position(), std::nullopt);
  EXPECT_EQ(form_.Place().Above(), 0U);
  EXPECT_EQ(form_.Place().Below(), 1U);
  EXPECT_EQ(form_.Notes(), "note 2");
  ASSERT_EQ(Prompt.Messages().size(), 1U);
  EXPECT_THAT(Prompt.LastMessage(), testing::HasSubstr("disk is full"));
  EXPECT_EQ(Prompt.Messages()[0].Icon, PromptIcon::Critical);

  Store.Execute("DROP TRIGGER traps.refuse");
  form_.EditNotes("note 2, again");
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes()[1], "note 2, again");
}

TEST_F(TrapDetailFormTest, NotesThatAnotherHandWroteAreNotWrittenOver) {
  Add(1, "read");
  Add(2, "read");
  Add(3);
  Load();
  const auto theyWrite = [this](const char* notes, const char* numbers) {
    Store.Execute(
        fmt::format("UPDATE EventTrap SET EventNotes = '{}' WHERE SequenceNumber IN ({})", notes, numbers));
  };
  for (std::size_t position = 0; position < 3; ++position) {
    Edit(position, "mine " + std::to_string(position + 1));
  }
  theyWrite("theirs", "1, 2");
  // One after the other is shown with both texts, so that none is written unseen.
  for (const std::int32_t number : {1, 2}) {
    EXPECT_FALSE(form_.Ok(List()));
    EXPECT_EQ(StoredNotes()[static_cast<std::size_t>(number) - 1], "theirs");
    EXPECT_EQ(form_.Trap().SequenceNumber, number);
    EXPECT_EQ(form_.Notes(), "theirs\n---------- your text ----------\nmine " + std::to_string(number));
    EXPECT_EQ(Prompt.Messages().size(), static_cast<std::size_t>(number));
    EXPECT_EQ(Prompt.Messages().back().Icon, PromptIcon::Exclamation);
    EXPECT_EQ(NotesInList(static_cast<std::size_t>(number) - 1), "theirs");
    form_.EditNotes("settled");
  }
  EXPECT_THAT(StoredNotes(), ElementsAre("settled", "theirs", "mine 3"));
  theyWrite("", "2");  // they go on while this is settled
  EXPECT_FALSE(form_.Ok(List()));
  EXPECT_EQ(form_.Notes(), "settled");
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes()[1], "settled");

  // Emptied here, written there: what was written stays and is shown.
  Edit(2, "");
  theyWrite("theirs", "3");
  EXPECT_FALSE(form_.Ok(List()));
  form_.EditNotes(std::string(form_.Notes()));
  EXPECT_TRUE(form_.Ok(List()));
  EXPECT_EQ(StoredNotes()[2], "theirs");
}

// Whatever comes and goes, the traps that stood above it lead Previous, and those below Next.
TEST(FollowedTrapTest, KeepsItsPlaceWhateverComesAndGoes) {
  for (const bool sorted : {false, true}) {
    SCOPED_TRACE(sorted ? "sorted, newest number first" : "as they arrived");
    std::mt19937 random(7);
    const store::TrapDefinition definition;
    traplist::TrapRows rows;
    traplist::TrapOrder order(rows, traplist::SourceShown::SourceText);
    const traplist::ShownTraps list{.Rows = rows, .Order = order};
    store::IncomingTrap arriving;
    arriving.Definition = &definition;
    const auto append = [&](std::size_t count) {
      for (; count > 0; --count) {
        arriving.EventTime = ++arriving.SequenceNumber;
        rows.Append(arriving);
      }
    };
    int gone = 0;
    for (int run = 0; run < 50; ++run) {
      append(40 - std::min<std::size_t>(rows.Count(), 40));
      order.Sort(sorted ? std::optional(traplist::TrapOrder::Sorting{.Descending = true}) : std::nullopt);
      const std::size_t position = random() % 40;
      const std::int32_t number = rows.SequenceNumberAt(list.RowAt(position));
      FollowedTrap trap(list, position);
      for (int change = 0; change < 6; ++change) {
        std::vector<std::uint32_t> leaving;
        for (std::uint32_t row = 0; row < rows.Count(); ++row) {
          if (random() % 8 == 0) {
            leaving.push_back(row);
          }
        }
        rows.Remove(leaving);
        rows.DropFront(random() % 3);
        append(random() % 6);
        if (random() % 4 == 0) {  // loaded anew, empty in between
          traplist::TrapRows again = std::exchange(rows, {});
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
        const std::size_t next = above + (inList ? 1 : 0);
        ASSERT_EQ(trap.Position(), inList ? std::optional(above) : std::nullopt);
        ASSERT_EQ(trap.Above(), above > 0 ? std::optional(above - 1) : std::nullopt);
        ASSERT_EQ(trap.Below(), next < rows.Count() ? std::optional(next) : std::nullopt);
        gone += inList ? 0 : 1;
      }
    }
    EXPECT_GT(gone, 40);
  }
}

}  // namespace
}  // namespace korvane::traps
