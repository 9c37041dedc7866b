// How often an alert may act: a storm of traps must not become a storm of mails.  The first few traps of a
// period act at once; what follows within the period is counted, and one summary acts at its end.  One
// thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace korvane::receiver {

struct LimiterOptions {
  int MostInAPeriod = 10;
  std::chrono::seconds Period{60};
};

class AlertLimiter {
 public:
  using Time = std::chrono::steady_clock::time_point;

  struct Summary {
    std::int32_t AlertId = 0;
    std::uint64_t Suppressed = 0;
  };

  explicit AlertLimiter(LimiterOptions options = {}) : options_(options) {}

  // True: the alert acts now.  False: the trap is counted for the summary.
  bool Admit(std::int32_t alertId, Time now);
  // The alerts whose period is over and that suppressed something; a summary begins a period of its own.
  std::vector<Summary> Due(Time now);

 private:
  struct State {
    Time Start;
    int Acted = 0;
    std::uint64_t Suppressed = 0;
  };

  LimiterOptions options_;
  std::unordered_map<std::int32_t, State> states_;
};

}  // namespace korvane::receiver
