// What the Systems window counts, asks, loads and tells, on a real store.
#include "systems/SystemsModel.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <random>
#include <set>

#include "support/World.h"

namespace korvane::systems {
namespace {

using testing::ElementsAre;

struct SystemsModelTest : testing::Test, test::World {
  SystemsModelTest() { State.gMaxViewTraps = 10; }

  // One tick that brings this trap.
  void Deliver(std::int32_t number, const std::string& source, std::int32_t time) {
    Library.Deliver(number, source, time);
    Model.CheckTraps();
  }
  // Of each row the system's name and total, and whether it has news.
  std::vector<std::string> RowTexts() {
    std::vector<std::string> texts;
    for (std::size_t row = 0; row < Model.RowCount(); ++row) {
      texts.push_back(Model.SystemOfRow(row).Name + " " + std::to_string(Model.Row(row).Total()) +
                      (Model.Row(row).News ? " news" : ""));
    }
    return texts;
  }
  const intake::System& SystemNamed(const std::string& name) {
    return SystemList.At(SystemList.FindSystem(name));
  }
};

TEST_F(SystemsModelTest, AsksOnlyAboveTheLimit) {
  AddStored(10);
  Store.AddTrap({.SequenceNumber = 99, .EventTime = 99, .EventAck = 1});
  Model.Load();
  EXPECT_TRUE(Question.Asked.empty());
  EXPECT_THAT((std::array{Bounds.StartMark, State.gLastTrapTime, *Library.StartedAt}), testing::Each(99));
  EXPECT_EQ(TotalOf("router1"), 10);
}

TEST_F(SystemsModelTest, LeavesNothingOutForManyAtTheMark) {
  AddStored(4);
  Store.AddTraps(std::vector<test::StoredTrap>(20, {.EventTime = 5}));
  Question.Meanwhile = [&] { Model.CheckTraps(); };
  Model.Load();
  EXPECT_EQ(Question.Asked.size(), 1U);
  EXPECT_EQ(TotalOf("router1"), 4);
  EXPECT_EQ(Intake.Counters().Ticks, 0) << "a tick while it asks changes nothing";
}

TEST_F(SystemsModelTest, ATrapIsCountedOnceHoweverOftenItComes) {
  AddStored(3);
  Model.Load();
  EXPECT_EQ(TotalOf("router1"), 2);
  Library.Deliver(3, "router1", 3);
  Library.Deliver(4, "ROUTER1", 3);  // not stored: the store's word counts at the reset
  Deliver(4, "ROUTER1", 3);
  EXPECT_THAT(RowTexts(), ElementsAre("router1 4 news"));

  AddStored(2, 5);
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 3) << "up to what was delivered; 5 and 6 are still to come";
  Store.Execute("UPDATE EventTrap SET EventTime = 3 WHERE SequenceNumber = 5");
  Model.Reset();
  Library.Deliver(5, "router1", 3);
  Deliver(6, "router1", 6);
  EXPECT_EQ(TotalOf("router1"), 5);
}

TEST_F(SystemsModelTest, SeveritiesGoToTheirCountsAndUnknownOnesToClear) {
  UseSpecificCodesAsSeverities();
  for (const std::int32_t specific : {5, 5, 4, 3, 2, 1, 9}) {
    Store.AddTrap({.EventTime = 10, .Source = "a", .SpecificTrap = specific});
  }
  Store.AddTrap({.EventTime = 12, .Source = "mark"});
  Model.Load();
  store::IncomingTrap odd;
  odd.Source = "a";
  odd.SequenceNumber = 1000;
  odd.Severity = -7;
  Model.UpdateSystemCounts(odd, intake::Arrival::Live);
  EXPECT_THAT(Model.Row(0).Counts, ElementsAre(2, 1, 1, 1, 1, 2));
  EXPECT_THAT(Model.StatusTexts(),
              ElementsAre("Total Systems: 1 ", "Critical Traps: 2 ", "Warning Traps: 1 ", "Major Traps: 1 ",
                          "Total Traps: 8 ", "Trap Rate: 0 Trap(s) / Minute "));
  // The row's icon goes by how bad they are, which neither the codes nor the columns say.
  std::vector<std::int32_t> worst;
  for (const std::vector<std::int32_t>& traps : {{}, {1, 2}, {4}, {6}, {3}, {5}, std::vector{7, 8, 1000}}) {
    Model.TrapsAcknowledged(test::Selected(traps));
    worst.push_back(Model.RowSeverity(0).value_or(-1));
  }
  EXPECT_THAT(worst, ElementsAre(5, 3, 1, 4, 2, 0, -1));
}

TEST_F(SystemsModelTest, AResetKeepsPlacesAndNewsAndFollowsNewFilters) {
  AddStored(2, 1, "seen");
  AddStored(2, 3, "grown");
  AddStored(2, 5, "cleared");
  AddStored(2, 7, "hidden");
  AddStored(1, 9, "mark");
  Model.Load();
  Model.TrapsAcknowledged(test::Selected({2, 5, 6}));
  Store.Execute("UPDATE EventTrap SET EventAck = 1 WHERE SequenceNumber IN (2, 5, 6)");
  Store.AddTrap({.SequenceNumber = 20, .EventTime = 4, .Source = "grown"});
  HideSource("hidden");
  AddStored(1, 30, "new");
  Deliver(30, "new", 30);
  Model.Reset();
  EXPECT_THAT(RowTexts(), ElementsAre("seen 1", "grown 3 news", "cleared 0", "new 1 news", "mark 1 news"));
}

TEST_F(SystemsModelTest, WhatCanNotBeReadIsLoadedAgainWithItsWindows) {
  AddStored(3);
  Bounds.Settled = false;
  const auto window = Open();
  window->AwaitFirstLoad();
  const auto away = [&](const std::function<void()>& load) {
    Store.Execute("ALTER TABLE EventTrap RENAME TO Gone");
    load();
    window->Reset();
    EXPECT_EQ(window->Emptiness(), traplist::WhyEmpty::NotLoaded);
    EXPECT_EQ(Busy.Depth(), 0);
    Store.Execute("ALTER TABLE Gone RENAME TO EventTrap");
    Model.CheckTraps();  // too early
    EXPECT_NE(Strip.Line(StripKind::StoreAway), nullptr);
  };
  const auto back = [&] {
    Platform.Clock.Advance(5'000);
    Model.CheckTraps();
    EXPECT_EQ(window->LoadFailure(), "");
    Model.CheckTraps();
    EXPECT_EQ(Strip.Line(StripKind::StoreAway), nullptr);
  };
  away([&] {
    Model.Load();
    EXPECT_EQ(window->Emptiness(), traplist::WhyEmpty::NotLoaded);
    Model.Reset();  // the operator changed a filter meanwhile
  });
  EXPECT_FALSE(Library.StartedAt) << "the link begins where the first load ends";
  EXPECT_TRUE(window->Rows().Empty());
  back();
  EXPECT_EQ(TotalOf("router1"), 2);
  EXPECT_THAT(test::Numbers(window->Rows()), ElementsAre(1, 2));
  EXPECT_EQ(Library.StartedAt, 3);

  away([&] { Model.Reset(); });
  EXPECT_EQ(TotalOf("router1"), 2) << "what was counted stays";
  EXPECT_THAT(test::Numbers(window->Rows()), ElementsAre(1, 2));
  Deliver(1000, "router1", 1000);
  AddStored(1, 1000);
  back();
  EXPECT_EQ(TotalOf("router1"), 4);
  EXPECT_THAT(test::Numbers(window->Rows()), ElementsAre(1, 2, 3, 1000));
}

TEST_F(SystemsModelTest, ALoadWithinALoadIsDoneAfterIt) {
  State.gMaxViewTraps = 10'000;
  AddStored(5000);
  Model.Load();
  bool again = true;
  Busy.Between = [&] {
    if (std::exchange(again, false)) {
      Model.Reset();
    }
  };
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 4999);
  EXPECT_EQ(Busy.Texts.size(), 3U);
}

TEST_F(SystemsModelTest, TheStripTellsAStoreThatIsAwayAndASilentReceiverFromAQuietNetwork) {
  Model.Load();
  State.gTimeZoneBias = -3600;
  test::FakeClock& clock = Platform.Clock;
  clock.Utc = 10 * 3600;
  const auto said = [&](StripKind kind) {
    Model.CheckTraps();
    const StripLine* line = Strip.Line(kind);
    return line == nullptr ? "" : line->Text + (line->Note.empty() ? "" : " | " + line->Note);
  };
  const std::pair<store::DatabaseError, const char*> reasons[] = {
      {{"Connection refused\n\tIs it running?", "08001", 101, ""}, "the database server can't be reached"},
      {{"Can't connect to server (110)", "HY000", 2003, ""}, "the database server does not answer"},
      {{"unable to open database file", "HY000", 14, ""},
       "a file of the trap store is missing, or this user may not open it"}};
  for (const auto& [error, words] : reasons) {
    Library.Link.Away = {
        .Error = error, .For = std::chrono::minutes(2), .NextTryIn = std::chrono::seconds(5)};
    EXPECT_EQ(said(StripKind::StoreAway), fmt::format("The trap store has been out of reach since 10:58: {}. "
                                                      "What is shown is as of then. | Next try at 11:00:05",
                                                      words));
    EXPECT_EQ(Strip.Line(StripKind::StoreAway)->Details.find('\n'), std::string::npos);
  }
  Library.Link.Away.reset();
  EXPECT_EQ(said(StripKind::StoreAway), "");
  Library.Link.Waiting = std::chrono::seconds(4);
  EXPECT_EQ(said(StripKind::StoreAway), "");
  Library.Link.Waiting = std::chrono::seconds(7);
  EXPECT_EQ(said(StripKind::StoreAway),
            "The trap store has not answered since 10:59:53. What is shown is as of then. | For 7 seconds");
  Library.Link.Waiting.reset();
  EXPECT_EQ(said(StripKind::StoreAway), "");
  Library.Link.Following.MissingFor = std::chrono::seconds(10);
  EXPECT_EQ(said(StripKind::StoreAway),
            "The trap store has lacked traps that it held since 10:59:50. What is shown is as of then.");
  Library.Link.Following.MissingFor = {};
  EXPECT_EQ(said(StripKind::StoreAway), "");

  auto& beats = Library.Link.Receivers;
  // For a minute, with a look every three seconds.
  const auto minute = [&](bool alphaMoves) {
    for (int look = 0; look < 20; ++look, ++Library.Link.Looks) {
      beats.at(1).Beats += alphaMoves ? 1 : 0;
      clock.Advance(3000);
      Model.CheckTraps();
    }
    return said(StripKind::ReceiverSilent);
  };
  beats = {{"gone", "beta", 7, false, {}}, {"here", "alpha", 1, false, {}}};
  EXPECT_EQ(minute(true), "") << "beta was silent before, and alpha is heard";
  EXPECT_EQ(minute(false),
            "The receiver on beta has not been heard of since before 11:00. The receiver on "
            "alpha has not been heard of since 11:01.");
  EXPECT_EQ(minute(true), "");
  beats[1].Stopped = true;
  EXPECT_EQ(minute(false),
            "The receiver on beta has not been heard of since before 11:00. The receiver on "
            "alpha was stopped at 11:03.");
  beats[1].Stopped = false;
  minute(true);
  EXPECT_EQ(said(StripKind::Limits), "");
  beats[1].Condition = {.Dropped = 1200, .DroppedSince = 10 * 3600, .DiskUsed = 91};
  beats[0].Condition.DiskUsed = 99;  // nobody has heard of it
  Library.Link.Following.HighestNumber = 2'000'000'000;
  minute(true);
  EXPECT_EQ(said(StripKind::Limits),
            "1200 packets were dropped on alpha since 11:00: they came faster than they could be taken. The "
            "disk of the receiver on alpha is 91 % full. Make room before traps are lost. The trap store has "
            "used 93 % of its numbers. The administrator should run korvane-renumber.");
  beats[1].Condition = {.DiskUsed = 89};  // it was started anew
  Library.Link.Following.HighestNumber = 1'900'000'000;
  minute(true);
  EXPECT_EQ(said(StripKind::Limits), "");
  clock.Advance(3'600'000);  // the machine slept, or the store was away
  EXPECT_EQ(minute(true), "");
  beats.clear();
  EXPECT_EQ((++Library.Link.Looks, said(StripKind::ReceiverSilent)), "")
      << "a store whose receivers show none";
}

TEST_F(SystemsModelTest, AcknowledgedTrapsLeaveTheCountsOnce) {
  Store.AddSystem("core", "10.0.0.1");
  SystemList.LoadSystems(Connection);
  for (std::int32_t number = 1; number <= 4; ++number) {
    Store.AddTrap({.EventTime = number, .Source = number % 2 == 0 ? "core" : "10.0.0.1"});
  }
  Store.AddTrap({.EventTime = 4, .Source = "other"});
  Store.AddTrap({.EventTime = 6, .Source = "mark"});
  Model.Load();
  const intake::System& core = SystemNamed("core");
  for (int i = 0; i < 2; ++i) {
    Model.TrapsAcknowledged(test::Selected({2, 2, 4, 77}));
  }
  EXPECT_THAT(RowTexts(), ElementsAre("core 2", "other 1")) << "what was there at the start is no news";
  const auto older = [this](std::int32_t time) {
    store::TrapSelection all{.Numbers = {{0, 99}}, .Source = "10.0.0.1", .BeforeTime = time};
    Model.TrapsAcknowledged(std::span(&all, 1));
  };
  older(3);
  EXPECT_THAT(RowTexts(), ElementsAre("core 1", "other 1")) << "strictly older: 1, not 3";
  EXPECT_EQ(Model.AcknowledgeBound(core), 5);
  older(5);
  EXPECT_THAT(RowTexts(), ElementsAre("core 0", "other 1"));
}

struct FakeFront : ConsoleFront {
  bool InFront() const override { return Front; }
  void AskForAttention() override { ++Asked; }
  void BringToFront() override { Front = true; }
  bool Front = false;
  int Asked = 0;
};

TEST_F(SystemsModelTest, CriticalTrapsCallTheOperatorBackOnceInTenSecondsUntilHeLooks) {
  UseSpecificCodesAsSeverities();
  FakeFront front;
  test::FakeNotifications& desktop = Platform.Notifications;
  std::optional<CriticalNews> news(std::in_place, Desk, desktop, front);
  Model.AttachNews(*news);
  Store.AddTrap({.EventTime = 1, .Source = "old", .SpecificTrap = 5});
  Store.AddTrap({.EventTime = 9});
  Model.Load();
  std::int32_t number = 10;
  const auto arrive = [&](const std::vector<std::string>& sources, std::int32_t severity = 5) {
    for (const std::string& source : sources) {
      ++number;
      Library.Deliver(number, source, number);
      Library.List.back().SpecificTrap = severity;
    }
    Platform.Clock.Advance(3'000);
    Model.CheckTraps();
    return desktop.Shown;
  };
  EXPECT_EQ(arrive({"a"}, 3), "") << "neither what was stored nor what is less";
  EXPECT_EQ(front.Asked, 0);
  EXPECT_THAT(
      arrive({"evil\nname" + std::string(500, 'x')}),
      testing::AllOf(testing::StartsWith("Critical trap from evil␊name"), testing::SizeIs(testing::Lt(150))));
  arrive({"b", "c", "b", "d"});
  arrive({"e"});
  EXPECT_EQ(desktop.Shows, 1);
  EXPECT_EQ(front.Asked, 3);
  arrive({});
  EXPECT_THAT(arrive({}),
              testing::MatchesRegex("6 critical traps . evil.*, b, c and others[.] The newest: .*"));
  const store::TrapSelection all{.Numbers = {{0, 99}}, .Source = {}, .BeforeTime = {}};
  Model.TrapsAcknowledged(std::span(&all, 1));
  EXPECT_EQ(desktop.Shown, "") << "a colleague was faster";
  desktop.Chosen();
  EXPECT_EQ(arrive({"f"}), "") << "he looks";
  front.Front = false;
  arrive({});
  EXPECT_EQ(desktop.Shows, 2);
  news->SwitchNotifications(false);
  EXPECT_EQ(arrive({"f"}), "");
  EXPECT_EQ(front.Asked, 4) << "the taskbar asks all the same";
  EXPECT_FALSE(news.emplace(Desk, desktop, front).Notifies()) << "kept";
}

// What was acknowledged here may still come from the library, until the log has brought the acknowledgement;
// taken back, it counts again.
TEST_F(SystemsModelTest, ATrapAcknowledgedOnItsWayInIsNotCountedAfterwards) {
  AddStored(4);
  Windows.Counts = &Model;
  Model.Load();
  Store.AddTrap({.SequenceNumber = 5, .EventTime = 3});
  Prompt.WillAnswer(PromptAnswer::Yes);
  Acknowledge.Ask(SystemNamed("router1"), "router1", [] { return 4; });
  EXPECT_EQ(Strip.Line(StripKind::Told)->Text, "4 traps of router1 acknowledged");
  Deliver(5, "router1", 3);
  Deliver(4, "router1", 4);
  EXPECT_EQ(TotalOf("router1"), 1) << "5 was acknowledged with its system, before anybody was handed it";
  Strip.Press(StripKind::Told);
  EXPECT_EQ(TotalOf("router1"), 5);
  EXPECT_EQ(Strip.Line(StripKind::Told)->Text, "4 traps of router1 are new again");
  Deliver(5, "router1", 3);
  EXPECT_EQ(TotalOf("router1"), 5);

  Prompt.WillAnswer(PromptAnswer::Yes);
  Acknowledge.Ask(SystemNamed("router1"), "router1", [] { return 5; });
  Names.ClearCache();
  Store.Execute("ALTER TABLE EventStructure RENAME TO Gone");
  Strip.Press(StripKind::Told);
  EXPECT_TRUE(Prompt.Causes.empty()) << "they are new again";
  EXPECT_EQ(Windows.Reloads, 1) << "though they can't be shown before everything is loaded";
}

TEST_F(SystemsModelTest, TheRateIsTrapsPerMinuteRoundedToNearest) {
  Model.Load();
  std::vector<std::int64_t> rates;
  for (int tick = 1; tick <= 32; ++tick) {
    if (tick == 1 || tick == 32) {
      Library.Deliver(tick, "router1", tick);
    }
    Model.CheckTraps();
    rates.push_back(Model.TrapsPerMinute());
  }
  rates.erase(rates.begin() + 9, rates.end() - 1);
  // 6.67 in three ticks, 2.5 in eight; the last one begins a new period.
  EXPECT_THAT(rates, ElementsAre(20, 10, 7, 5, 4, 3, 3, 3, 2, 20));
}

TEST_F(SystemsModelTest, NamesAreResolvedInTurnAndInBoundedNumber) {
  Model.Load();
  for (std::int32_t i = 1; i <= 100; ++i) {
    Library.Deliver(i, "10.0.0." + std::to_string(i), i);
  }
  Deliver(101, "named", 101);
  const auto ask = [this](int ticks) {
    Library.Asked.clear();
    for (int i = 0; i < ticks; ++i) {
      Model.ResolveNames();
    }
    return std::set<std::string>(Library.Asked.begin(), Library.Asked.end());
  };
  EXPECT_THAT(ask(1).size(), testing::AllOf(testing::Gt(0U), testing::Lt(100U)));
  EXPECT_EQ(ask(4).size(), 101U) << "in four ticks everybody's turn has come";
  // What was not known at first is written once it is, and not asked for again.
  Library.Names["10.0.0.50"] = "fifty";
  Library.Names["named"] = "10.7.7.7";
  ask(5);
  EXPECT_EQ(SystemNamed("fifty").Address, "10.0.0.50");
  EXPECT_EQ(SystemNamed("named").Address, "10.7.7.7");
  EXPECT_EQ(ask(5).size(), 99U);
  Deliver(102, "10.0.0.50", 102);
  EXPECT_EQ(TotalOf("fifty"), 2);
}

// Senders can invent sources as they like; a system of the table is found again all the same.
TEST_F(SystemsModelTest, SourcesBeyondTheBoundShareARow) {
  Store.AddSystem("core", "10.0.0.1");
  SystemList.LoadSystems(Connection);
  for (int i = 0; i < 100; ++i) {
    SystemList.SystemOfSource(std::string(500'000, 'x') + std::to_string(i));
  }
  EXPECT_THAT(SystemList.Count(), testing::AllOf(testing::Gt(15U), testing::Lt(70U)));
  for (const char* source : {"core", "late", "(further systems)", "CORE", "late"}) {
    Store.AddTrap({.EventTime = 1, .Source = source});
  }
  Store.AddTrap({.EventTime = 9, .Source = "core"});
  Model.Load();
  EXPECT_THAT(RowTexts(), ElementsAre("core 1", "(further systems) 4"));
  Model.ResolveNames();
  EXPECT_THAT(Library.Asked, testing::Each("core"));
  const intake::System& further = Model.SystemOfRow(1);
  const auto window = Open(traps::WindowKind::PerSystem, {}, &further);
  window->Reset();
  EXPECT_THAT(test::Numbers(window->Rows()), ElementsAre(2, 3, 4, 5));
  Prompt.WillAnswer(PromptAnswer::Yes);
  Acknowledge.Ask(further, further.Name, [] { return 5; });
  EXPECT_TRUE(window->Rows().Empty());
  EXPECT_EQ(Store.Number("SELECT SUM(SequenceNumber) FROM EventTrap WHERE EventAck = 0"), 1 + 6);
  SystemList.SaveSystems(Connection);
  EXPECT_EQ(Store.Number("SELECT COUNT(*) FROM System_Table"), SystemList.Count() - 1);
}

// Against the standard map, in orders that split blocks, empty them and insert before the first.
TEST(CountedTrapsTest, HoldsEveryNumberOnceInAnyOrder) {
  std::mt19937 random(7);
  std::vector<std::int32_t> order(10'000);
  std::iota(order.begin(), order.end(), -5'000);
  for (int run = 0; run < 2; ++run) {
    CountedTraps traps;
    std::map<std::int32_t, std::int32_t> expected;  // times by number
    for (const std::int32_t number : order) {
      EXPECT_TRUE(traps.Admit({.SequenceNumber = number, .EventTime = number / 2}));
      EXPECT_FALSE(traps.Admit({.SequenceNumber = number}));
      expected[number] = number / 2;
    }
    std::ranges::shuffle(order, random);  // the second run admits in this order
    for (std::size_t i = 0; i < 6'000; ++i) {
      ASSERT_NE(traps.Find(order[i]), nullptr);
      traps.Erase(order[i]);
      traps.Erase(order[i]);
      expected.erase(order[i]);
    }
    traps.EraseIf([](const CountedTrap& trap) { return trap.SequenceNumber > 4'000; });
    std::erase_if(expected, [](const auto& trap) { return trap.first > 4'000; });
    EXPECT_EQ(traps.Size(), expected.size());
    for (const auto& [number, time] : expected) {
      const CountedTrap* trap = traps.Find(number);
      ASSERT_TRUE(trap != nullptr && trap->SequenceNumber == number && trap->EventTime == time) << number;
    }
    EXPECT_TRUE(traps.Admit({.SequenceNumber = 5'000}));
  }
}

}  // namespace
}  // namespace korvane::systems
