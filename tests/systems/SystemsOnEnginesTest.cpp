// What the systems ask of the database, on every engine: the statements that only they send, and the rows
// that an engine may refuse.
#include <gtest/gtest.h>

#include "store/DatabaseError.h"
#include "support/World.h"

namespace korvane::systems {
namespace {

struct SystemsOnEnginesTest : testing::Test, test::World, testing::WithParamInterface<store::Engine> {
  SystemsOnEnginesTest() : World(GetParam()) { State.gMaxViewTraps = 10; }
};

TEST_P(SystemsOnEnginesTest, LoadsWithinTheBounds) {
  AddStored(15);
  Model.Load();
  ASSERT_EQ(Question.Asked.size(), 1U);
  EXPECT_EQ(Question.Asked[0].first, 15);
  EXPECT_EQ(Bounds.StartMark, 15);
  EXPECT_EQ(Bounds.LowerBound, 4);
  EXPECT_EQ(TotalOf("router1"), 10);
  Library.Deliver(15, "router1", 15);
  Model.CheckTraps();
  Model.Reset();
  EXPECT_EQ(TotalOf("router1"), 11);
}

TEST_P(SystemsOnEnginesTest, AnEmptyStoreHasTheMarkZero) {
  Question.Answer = intake::ViewOption::ShowOnlyNewTraps;
  Model.Load();
  EXPECT_EQ(Library.StartedAt, 0);
  EXPECT_EQ(Model.RowCount(), 0U);
}

// Sources come from the network: whatever an engine refuses must cost that one row and no other.
TEST_P(SystemsOnEnginesTest, SavesEverySystemThatTheEngineTakes) {
  Store.AddSystem("10.0.0.2", "10.0.0.2", "Manual");
  ASSERT_TRUE(SystemList.LoadSystems(Connection));
  SystemList.Rename(SystemList.FindSystem("10.0.0.2"), "two");
  SystemList.SystemOfSource("it's \"quoted\" \\ ; --");
  SystemList.SystemOfSource("Router");
  SystemList.SystemOfSource(std::string(70'000, 'x'));
  SystemList.SystemOfSource("broken \xC3\x28 bytes");
  SystemList.SystemOfSource("последний 🖧");
  try {
    SystemList.SaveSystems(Connection);
  } catch (const store::DatabaseError& error) {
    EXPECT_NE(std::string(error.what()), "");
  }
  EXPECT_FALSE(Connection.InTransaction());
  intake::Systems again;
  ASSERT_TRUE(again.LoadSystems(Connection));
  for (const char* name : {"two", "it's \"quoted\" \\ ; --", "router", "последний 🖧"}) {
    ASSERT_NE(again.FindSystem(name), intake::Systems::kNone) << name;
    EXPECT_EQ(again.At(again.FindSystem(name)).Type, intake::kManualSystemType);
  }
  EXPECT_EQ(again.At(again.FindSystem("two")).Address, "10.0.0.2");
}

INSTANTIATE_TEST_SUITE_P(, SystemsOnEnginesTest, testing::ValuesIn(test::kEngines),
                         [](const auto& engine) { return test::EngineName(engine.param); });

}  // namespace
}  // namespace korvane::systems
