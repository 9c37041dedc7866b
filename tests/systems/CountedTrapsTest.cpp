#include "systems/CountedTraps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <vector>

namespace korvane::systems {
namespace {

std::vector<std::int32_t> Numbers(const CountedTraps& traps) {
  std::vector<std::int32_t> numbers;
  traps.ForEach([&numbers](const CountedTrap& trap) { numbers.push_back(trap.SequenceNumber); });
  return numbers;
}

// Against the standard set, in orders that split blocks, empty them and insert before the first.
TEST(CountedTraps, HoldsEveryNumberOnceInAnyOrder) {
  std::mt19937 random(7);
  for (const bool shuffled : {false, true}) {
    std::vector<std::int32_t> order(10'000);
    std::iota(order.begin(), order.end(), -5'000);
    if (shuffled) {
      std::ranges::shuffle(order, random);
    }
    CountedTraps traps;
    for (const std::int32_t number : order) {
      EXPECT_TRUE(traps.Admit({.SequenceNumber = number, .EventTime = number / 2}));
      EXPECT_FALSE(traps.Admit({.SequenceNumber = number}));
    }
    std::set<std::int32_t> expected(order.begin(), order.end());
    std::ranges::shuffle(order, random);
    order.resize(6'000);
    for (const std::int32_t number : order) {
      ASSERT_NE(traps.Find(number), nullptr);
      EXPECT_EQ(traps.Find(number)->EventTime, number / 2);
      traps.Erase(number);
      traps.Erase(number);
      EXPECT_EQ(traps.Find(number), nullptr);
      expected.erase(number);
    }
    EXPECT_EQ(Numbers(traps), std::vector<std::int32_t>(expected.begin(), expected.end()));
    EXPECT_EQ(traps.Size(), expected.size());

    traps.EraseIf([](const CountedTrap& trap) { return trap.SequenceNumber < 4'000; });
    std::erase_if(expected, [](std::int32_t number) { return number < 4'000; });
    EXPECT_EQ(Numbers(traps), std::vector<std::int32_t>(expected.begin(), expected.end()));
    EXPECT_EQ(traps.Size(), expected.size());
    EXPECT_TRUE(traps.Admit({.SequenceNumber = -5'000}));
    EXPECT_EQ(Numbers(traps).front(), -5'000);
    traps.EraseIf([](const CountedTrap&) { return true; });
    EXPECT_EQ(traps.Find(1), nullptr);
    EXPECT_TRUE(traps.Admit({.SequenceNumber = 1}));
  }
}

}  // namespace
}  // namespace korvane::systems
