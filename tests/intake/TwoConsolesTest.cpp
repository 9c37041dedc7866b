// Two consoles on one store: what one of them, or a program that keeps no log, changes is seen by the other.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "intake/StoreFeeder.h"
#include "params/FilterStore.h"
#include "store/Acknowledge.h"
#include "store/ChangeLog.h"
#include "store/NotesWrite.h"
#include "store/Retry.h"
#include "support/Files.h"
#include "support/World.h"

namespace korvane::intake {
namespace {

using std::chrono::milliseconds;

// One of the consoles, with the real receiver link and a window of all traps.
struct Console : test::World {
  Console(test::TestStore& store, const std::string& name, std::int32_t limit = 1000) : World(store) {
    State.gMaxViewTraps = limit;
    Question.Answer = ViewOption::ShowOnlyNewTraps;
    Connection.WriteAs({name, "desk", name});
    Library.Feeder = &Feeder;
    Model.AttachIntake(Link);
    Windows.Counts = &Model;
    Windows.Reload = [this] {
      std::vector<StoredTrapsTaker*> takers = {&Model, All.get()};
      Stored.Load(takers);
    };
    Model.Load();
    All = Open();
    All->Reset();
  }
  ~Console() { Feeder.StopRecvEvents(); }

  // What the window holds and what is counted; they agree.
  std::string Shown() {
    std::string numbers;
    for (const std::int32_t number : test::Numbers(All->Rows())) {
      numbers += fmt::format("{} ", number);
    }
    EXPECT_EQ(Model.StatusTexts()[4], fmt::format("Total Traps: {} ", All->Rows().Count()));
    return numbers;
  }
  // Ticks until it shows them; what it shows in the end.
  std::string Awaits(const std::string& numbers) {
    test::WaitUntil([&] {
      Model.CheckTraps();
      return Shown() == numbers;
    });
    return Shown();
  }
  std::string Others() const {
    const StripLine* line = Strip.Line(StripKind::Elsewhere);
    return line != nullptr ? line->Text : "";
  }

  static StoreFeederOptions Quick(const LoadBounds& bounds) {
    StoreFeederOptions options;
    options.KnownNumber = [&bounds] { return bounds.StartNumber; };
    options.KnownChange = [&bounds] { return bounds.StartChange; };
    options.KnownState = [&bounds] { return bounds.StartState; };
    options.From = [&bounds](std::int32_t mark) { return bounds.DeliveredFrom(mark); };
    options.MissingFor = milliseconds(200);
    options.PollInterval = milliseconds(10);
    options.CheckInterval = milliseconds(30);
    return options;
  }
  StoreFeeder Feeder{
      [this] { return OpenConnection(); }, std::make_shared<test::FakeHostNames>(), {}, Quick(Bounds)};
  intake::Intake Link{Feeder, Names, SystemList, Model, Windows, ChangesOfStore, State, Prompt, DebugLog};
  std::unique_ptr<traps::TrapsModel> All;
};

class TwoConsolesTest : public testing::TestWithParam<store::Engine> {
 protected:
  std::unique_ptr<test::TestStore> store_ = test::MakeStore(GetParam());
};

TEST_P(TwoConsolesTest, SeeWhatTheOtherAndWhoKeepsNoLogHaveChanged) {
  for (std::int32_t number = 1; number <= 6; ++number) {
    store_->AddTrap({.SequenceNumber = number,
                     .EventTime = 100 + number,
                     .Source = number == 6       ? "mark"
                               : number % 2 == 0 ? "even"
                                                 : "odd"});
  }
  Console anna(*store_, "anna");
  Console ben(*store_, "ben");
  ASSERT_EQ(anna.Awaits("1 2 3 4 5 6 "), "1 2 3 4 5 6 ");
  ASSERT_EQ(ben.Awaits("1 2 3 4 5 6 "), "1 2 3 4 5 6 ");

  anna.All->AcknowledgeSelected(std::vector<std::uint32_t>{0, 1});
  EXPECT_EQ(anna.Shown(), "3 4 5 6 ");
  EXPECT_EQ(ben.Awaits("3 4 5 6 "), "3 4 5 6 ");
  EXPECT_EQ(ben.Others(), "2 traps acknowledged by anna on desk");
  ben.Prompt.WillAnswer(PromptAnswer::Yes);
  ben.Acknowledge.Ask(ben.SystemList.At(ben.SystemList.FindSystem("even")), "even", [] { return 1000; });
  EXPECT_EQ(anna.Awaits("3 5 6 "), "3 5 6 ");

  // Back in both, behind what stayed; and not what the other one acknowledged.
  anna.Strip.Press(StripKind::Told);
  EXPECT_EQ(anna.Shown(), "3 5 6 1 2 ");
  EXPECT_EQ(ben.Awaits("3 5 6 1 2 "), "3 5 6 1 2 ");
  EXPECT_EQ(ben.Others(), "2 traps made new again by anna on desk");
  ben.Strip.Press(StripKind::Told);
  EXPECT_EQ(anna.Awaits("3 5 6 1 2 4 "), "3 5 6 1 2 4 ");

  // The receiver, for their age.
  store::Connection receiver;
  store_->Connect(receiver);
  receiver.WriteAs({"", "server", "receiver"});
  receiver.BeginTransaction();
  receiver.Execute("DELETE FROM EventTrap WHERE SequenceNumber <= 3");
  store::NoteChange(receiver, store::ChangeKind::Purged,
                    {.Numbers = {{1, 3}}, .Source = {}, .BeforeTime = {}}, 3);
  receiver.Commit();
  EXPECT_EQ(anna.Awaits("5 6 4 "), "5 6 4 ");
  EXPECT_EQ(ben.Awaits("5 6 4 "), "5 6 4 ");

  store::WriteNotes(anna.Connection, {5, 105}, "", "called the site");
  EXPECT_TRUE(test::WaitUntil([&] {
    ben.Model.CheckTraps();
    return ben.All->Rows().At(0).EventNotes == "called the site";
  }));

  // Somebody who keeps no log: found by counting, and everything is read anew.
  store_->Execute("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber = 6");
  EXPECT_EQ(anna.Awaits("4 5 "), "4 5 ");
  EXPECT_EQ(ben.Awaits("4 5 "), "4 5 ");
  store_->AddFilter({.Source_Agent = "even"});
  EXPECT_EQ(anna.Awaits("5 "), "5 ");
  store_->AddTrap({.SequenceNumber = 7, .EventTime = 200, .Source = "odd"});
  EXPECT_EQ(ben.Awaits("5 7 "), "5 7 ");
  for (Console* console : {&anna, &ben}) {
    const int reloads = console->Windows.Reloads;
    EXPECT_FALSE(test::WaitUntil(
        [&] {
          console->Model.CheckTraps();
          return console->Windows.Reloads > reloads;
        },
        milliseconds(200)))
        << "the books were in order";
    EXPECT_EQ(console->Prompt.LastMessage(), "");
  }
}

// One acknowledges the system, the other one the same traps from a list, from the last to the first.
TEST_P(TwoConsolesTest, AcknowledgeTheSameManyAtOnceAndEachTakesBackItsOwn) {
  constexpr int kMany = 2400;
  std::vector<test::StoredTrap> traps;
  std::vector<store::TrapKey> list;
  for (std::int32_t number = 1; number <= kMany; ++number) {
    // Of one second there are more than a portion takes.
    traps.push_back({.SequenceNumber = number, .EventTime = number <= 900 ? 7 : number, .Source = "a"});
    list.insert(list.begin(), {number, traps.back().EventTime});
  }
  store_->AddTraps(traps);
  store::Connection anna;
  store::Connection ben;
  store_->Connect(anna);
  store_->Connect(ben);
  anna.WriteAs({"anna", "desk", "anna"});
  ben.WriteAs({"ben", "desk", "ben"});
  const store::GoOn on = [](std::int64_t) { return true; };
  const std::string unacknowledged = "SELECT COUNT(*) FROM EventTrap WHERE EventAck = 0";

  auto ofAnna = std::async(std::launch::async, [&] {
    return store::AcknowledgeSources(anna, std::array<std::string, 1>{"a"}, kMany + 1, on);
  });
  const store::Acknowledgement ofBen = store::AcknowledgeTraps(ben, list, on);
  const store::Acknowledgement system = ofAnna.get();
  EXPECT_FALSE(system.Failure) << system.Failure->what();
  EXPECT_FALSE(ofBen.Failure) << ofBen.Failure->what();
  EXPECT_EQ(store_->Number(unacknowledged), 0);
  EXPECT_EQ(system.ChangedCount() + ofBen.ChangedCount(), kMany) << "none twice";
  EXPECT_EQ(store_->Number("SELECT SUM(Row_Count) FROM Change_Log"), kMany);

  EXPECT_EQ(store::TakeBack(ben, ofBen, on).Traps.Numbers, ofBen.Changed().Numbers);
  EXPECT_EQ(store_->Number(unacknowledged), ofBen.ChangedCount());
  EXPECT_EQ(store::TakeBack(anna, system, on).Traps.Numbers, system.Changed().Numbers);
  EXPECT_EQ(store_->Number(unacknowledged), kMany);

  // Stopped after the second portion: what is done stays, with its entries, and goes back as one.
  int portions = 0;
  const store::Acknowledgement some =
      store::AcknowledgeAll(anna, kMany + 1, [&](std::int64_t) { return ++portions < 2; });
  EXPECT_TRUE(some.Stopped);
  EXPECT_EQ(store_->Number(unacknowledged), kMany - some.ChangedCount());
  EXPECT_EQ(some.Portions.size(), 2U);
  EXPECT_EQ(some.Changed().Numbers.front().First, 1) << "the oldest first";
  EXPECT_EQ(store::TakeBack(anna, some, on).Traps.Numbers, some.Changed().Numbers);
  EXPECT_EQ(store_->Number(unacknowledged), kMany);
}

// Each holds the row that the other one wants next: the database takes one of them back, and it runs again.
TEST_P(TwoConsolesTest, TransactionsThatCollideAreBothDone) {
  store_->AddTraps(std::vector<test::StoredTrap>{{.SequenceNumber = 1}, {.SequenceNumber = 2}});
  std::atomic<int> runs = 0;
  std::atomic<int> holding = 0;
  const auto change = [&](int first, int second) {
    store::Connection connection;
    store_->Connect(connection);
    store::RetriedOnce(connection, [&] {
      store::Transaction transaction(connection);
      const auto count = [&](int number) {
        connection.Execute(fmt::format(
            "UPDATE EventTrap SET SpecificTrap = SpecificTrap + 1 WHERE SequenceNumber = {}", number));
      };
      ++runs;
      count(first);
      ++holding;
      test::WaitUntil([&] { return holding >= 2; }, milliseconds(500));  // SQLite keeps all but one out
      count(second);
      transaction.Commit();
    });
  };
  auto other = std::async(std::launch::async, [&] { change(2, 1); });
  change(1, 2);
  other.get();
  EXPECT_EQ(runs, GetParam() == store::Engine::Sqlite ? 2 : 3);
  EXPECT_EQ(store_->Number("SELECT SUM(SpecificTrap) FROM EventTrap"),
            4 + 2 * test::StoredTrap().SpecificTrap);
}

// What a backup holds was logged before the start, the newest second of it too.
TEST_P(TwoConsolesTest, ShowNoLoggedTrapsOfABackupToWhoAskedForNewOnes) {
  const auto add = [this](std::int32_t number, std::int32_t time) {
    store_->AddTrap({.SequenceNumber = number, .EventTime = time});
  };
  for (const std::int32_t number : {1, 2, 3}) {
    add(number, 100 + number);
  }
  Console anna(*store_, "anna", 1);
  add(4, 103);
  EXPECT_EQ(anna.Awaits("4 "), "4 ");
  store_->Execute("DELETE FROM EventTrap");
  add(1, 101);
  add(2, 102);
  EXPECT_TRUE(test::WaitUntil([&] {
    anna.Model.CheckTraps();
    return anna.Windows.Replaced == 1 && anna.Strip.Line(StripKind::Replaced) != nullptr;
  }));
  add(3, 103);
  EXPECT_EQ(anna.Awaits("3 "), "3 ");
}

// A standby takes the place of the store, or a backup is restored: other traps have the numbers that are
// shown.
TEST_P(TwoConsolesTest, LoadEverythingAnewWhenTheStoreIsInAnotherState) {
  const auto add = [this](std::int32_t from, std::int32_t to, const std::string& source) {
    std::vector<test::StoredTrap> traps;
    for (std::int32_t number = from; number <= to; ++number) {
      traps.push_back({.SequenceNumber = number, .EventTime = 100 + number, .Source = source});
    }
    store_->AddTraps(traps);
  };
  add(1, 6, "before");
  Console anna(*store_, "anna");
  ASSERT_EQ(anna.Awaits("1 2 3 4 5 6 "), "1 2 3 4 5 6 ");
  const auto restore = [&](std::int32_t last, const std::string& source) {
    store_->Execute("DELETE FROM EventTrap");
    add(1, last, source);
  };
  const auto shown = [&](const std::string& source, const std::string& numbers) {
    test::WaitUntil([&] {
      anna.Model.CheckTraps();
      return anna.TotalOf(source) > 0 && anna.Shown() == numbers;
    });
    for (std::size_t row = 0; row < anna.All->Rows().Count(); ++row) {
      EXPECT_EQ(anna.All->Rows().SourceAt(row), source);
    }
    return anna.Shown();
  };

  anna.All->AcknowledgeSelected(std::vector<std::uint32_t>{0});
  ASSERT_EQ(anna.Shown(), "2 3 4 5 6 ");
  anna.Windows.Reload = [&, reload = anna.Windows.Reload] {
    if (anna.Windows.Replaced == 1) {
      restore(3, "again");  // while the lists are loaded
    }
    reload();
  };
  restore(4, "restored");
  EXPECT_EQ(shown("again", "1 2 3 "), "1 2 3 ");
  EXPECT_EQ(anna.Strip.Line(StripKind::Told), nullptr) << "what was acknowledged before can't be taken back";
  ASSERT_NE(anna.Strip.Line(StripKind::Replaced), nullptr);
  anna.Strip.Press(StripKind::Replaced);
  EXPECT_EQ(anna.Strip.Line(StripKind::Replaced), nullptr);
  add(4, 5, "again");
  EXPECT_EQ(shown("again", "1 2 3 4 5 "), "1 2 3 4 5 ");
  anna.All->AcknowledgeSelected(std::vector<std::uint32_t>{1});
  EXPECT_EQ(anna.Awaits("1 3 4 5 "), "1 3 4 5 ");

  // Numbered anew, and an empty table that nobody speaks of; what the receiver purges is no other state.
  int replaced = anna.Windows.Replaced;
  const auto isReplaced = [&](milliseconds within) {
    const bool found = test::WaitUntil(
        [&] {
          anna.Model.CheckTraps();
          return anna.Windows.Replaced > replaced;
        },
        within);
    replaced = anna.Windows.Replaced;
    return found;
  };
  store_->Execute("UPDATE Store_Info SET Store_Identity = 'another'");
  EXPECT_TRUE(isReplaced(std::chrono::seconds(20)));
  EXPECT_EQ(anna.Awaits("1 3 4 5 "), "1 3 4 5 ");
  store::Connection receiver;
  store_->Connect(receiver);
  receiver.BeginTransaction();
  receiver.Execute("DELETE FROM EventTrap");
  store::NoteChange(receiver, store::ChangeKind::Purged,
                    {.Numbers = {{1, 5}}, .Source = {}, .BeforeTime = {}}, 4);
  receiver.Commit();
  EXPECT_EQ(anna.Awaits(""), "");
  EXPECT_FALSE(isReplaced(milliseconds(400)));
  add(6, 7, "again");
  EXPECT_EQ(anna.Awaits("6 7 "), "6 7 ");
  store_->Execute("DELETE FROM EventTrap");
  EXPECT_TRUE(isReplaced(std::chrono::seconds(20)));
  EXPECT_EQ(anna.Awaits(""), "");
}

std::string EngineOf(const testing::TestParamInfo<store::Engine>& info) {
  return test::EngineName(info.param);
}
INSTANTIATE_TEST_SUITE_P(, TwoConsolesTest, testing::ValuesIn(test::kEngines), EngineOf);

}  // namespace
}  // namespace korvane::intake
