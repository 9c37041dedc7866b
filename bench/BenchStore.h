// A store with many traps, for the measurements.
#pragma once

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "support/TestStore.h"

namespace korvane::bench {

// Unacknowledged traps of 200 sources and 40 kinds, with bindings of the length that routers send.
inline void FillWithTraps(test::TestStore& source, std::int32_t count) {
  constexpr std::int32_t kBlock = 10'000;
  std::vector<test::StoredTrap> traps;
  traps.reserve(kBlock);
  for (std::int32_t first = 0; first < count; first += kBlock) {
    traps.clear();
    for (std::int32_t i = first; i < std::min(count, first + kBlock); ++i) {
      traps.push_back({.EventTime = 1'000'000 + i / 50,
                       .Source = fmt::format("10.{}.{}.1", i % 8, i % 25),
                       .EnterpriseOid = fmt::format("1.3.6.1.4.1.{}", 9000 + i % 10),
                       .SpecificTrap = 1 + i % 4,
                       .EventDescription = fmt::format("1.3.6.1.2.1.2.2.1.1.{0} = {0}", i % 48),
                       .Event_ExtDescr = ", 1.3.6.1.2.1.2.2.1.2 = TenGigE0/0/12, 1.3.6.1.2.1.2.2.1.8 = 2"});
    }
    source.AddTraps(traps);
  }
}

}  // namespace korvane::bench
