// What the systems ask of the database, on every engine: the statements that only they send, and the rows
// that an engine may refuse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "store/DatabaseError.h"
#include "support/World.h"

namespace korvane::systems {
namespace {

struct SystemsEnginesTest : testing::TestWithParam<store::Engine>, test::World {
  SystemsEnginesTest() : World(GetParam()) { State.gMaxViewTraps = 10; }
};

TEST_P(SystemsEnginesTest, ASecondWithMoreTrapsThanTheLimitIsLoadedWhole) {
  AddStored(1, 1);
  AddStored(5, 101);
  Store.AddTraps(std::vector<test::StoredTrap>(20, {.EventTime = 50}));
  Model.Load();
  EXPECT_THAT(Question.Asked, testing::ElementsAre(testing::Pair(26, 10)));
  EXPECT_EQ(Bounds.StartMark, 105);
  EXPECT_EQ(Bounds.LowerBound, 49);
  const auto all = Open();
  all->Reset();
  EXPECT_EQ(TotalOf("router1"), 24) << "all but the old one and the one at the mark";
  EXPECT_EQ(all->Rows().Count(), 10U) << "the newest of what is counted";
  EXPECT_EQ(all->Rows().EventTimeAt(0), 50);
  EXPECT_EQ(all->Rows().SequenceNumberAt(9), 104);
}

// Sources come from the network: whatever an engine refuses must cost that one row and no other.
TEST_P(SystemsEnginesTest, SavesEverySystemThatTheEngineTakes) {
  Model.Load();
  EXPECT_EQ(Library.StartedAt, 0) << "the mark of an empty store";
  Store.AddSystem("10.0.0.2", "10.0.0.2", "Manual");
  SystemList.LoadSystems(Connection);
  SystemList.Rename(SystemList.FindSystem("10.0.0.2"), "two");
  for (const std::string& source :
       {std::string("it's \"quoted\" \\ ; --"), std::string("Router"), std::string(70'000, 'x'),
        std::string("broken \xC3\x28 bytes"), std::string("последний 🖧")}) {
    SystemList.SystemOfSource(source);
  }
  try {
    SystemList.SaveSystems(Connection);
  } catch (const store::DatabaseError& error) {
    EXPECT_NE(std::string(error.what()), "");
  }
  EXPECT_FALSE(Connection.InTransaction());
  intake::Systems again;
  again.LoadSystems(Connection);
  for (const char* name : {"two", "it's \"quoted\" \\ ; --", "router", "последний 🖧"}) {
    ASSERT_NE(again.FindSystem(name), intake::Systems::kNone) << name;
    EXPECT_EQ(again.At(again.FindSystem(name)).Type, intake::kManualSystemType);
  }
  EXPECT_EQ(again.At(again.FindSystem("two")).Address, "10.0.0.2");
}

INSTANTIATE_TEST_SUITE_P(, SystemsEnginesTest, testing::ValuesIn(test::kEngines),
                         [](const auto& engine) { return test::EngineName(engine.param); });

}  // namespace
}  // namespace korvane::systems
