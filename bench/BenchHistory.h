// A store that grows: years of traps, all acknowledged but the newest, made by the engine itself.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "support/TestStore.h"

namespace korvane::bench {

inline constexpr std::int32_t kHistorySources = 5000;
inline constexpr std::int32_t kHistoryKinds = 300;

std::string SourceOf(std::int64_t trap);

class History {
 public:
  static constexpr std::int64_t kTrapsOfADay = 10'000;
  // At least one: none means never.
  static std::int32_t HoursOf(std::int64_t traps) {
    return static_cast<std::int32_t>(std::max<std::int64_t>(traps * 24 / kTrapsOfADay, 1));
  }
  static std::int32_t DaysOf(std::int64_t traps) { return static_cast<std::int32_t>(traps / kTrapsOfADay); }

  // Names and systems; the store must outlive it.
  History(test::TestStore& store, store::Engine engine, std::int32_t unacknowledged);

  // Adds traps until that many were ever added; what measurements have done is set right first.
  void GrowTo(std::int64_t traps);

  // Of the trap so far from the first one.
  std::int32_t TimeOf(std::int64_t trap) const;
  std::int32_t Now() const { return TimeOf(Traps); }
  double BytesOfATrap() const;  // on disk, with its entries of the indices

  std::int64_t Traps = 0;
  std::int64_t LastNumber = 0;
  std::int64_t Purged = 0;  // of them, by the measurements
  std::int32_t Unacknowledged;

 private:
  void Add(std::int64_t first, std::int64_t last);

  test::TestStore& store_;
  store::Engine engine_;
};

}  // namespace korvane::bench
