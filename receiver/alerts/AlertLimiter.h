// How often an alert may act: a storm of traps must not become a storm of mails.  In a period each source of
// traps makes an alert act a few times, and all of them together somewhat more often, so that a system that
// chatters hides no other one; what comes beyond is counted by its source, and one summary acts at the end of
// the period.  An alert is known by its key in the store, so reading the rules anew changes no count.
//
// A sender can invent sources: those that find no room are counted together.  One thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "receiver/alerts/AlertFiring.h"

namespace korvane::receiver {

struct LimiterOptions {
  int PerSource = 10;  // times in a period
  int PerAlert = 50;   // of all sources together
  std::chrono::seconds Period{60};
  // A source that went beyond stays quiet while it goes on: one summary a period is all it gets.  Else each
  // period begins anew.
  bool StormsStayQuiet = true;
  std::size_t Bytes = std::size_t{1} << 20;  // of the sources of all alerts
  std::size_t SourcesTold = 10;              // by name, in a summary
};

class AlertLimiter {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Summaries = std::vector<std::pair<std::int32_t, AlertSummary>>;  // by the alert's key

  explicit AlertLimiter(LimiterOptions options = {}) : options_(options) {}

  // True: the alert acts now.  False: the trap is counted for the summary.
  bool Admit(std::int32_t alertId, std::string_view source, Time now);
  // Of the alerts whose period is over and that suppressed something.
  Summaries Due(Time now);
  // Of all that suppressed something so far, without an end to their period.
  Summaries Suppressed() const;
  // Lets those go that the rules do not hold any more.
  void KeepOnly(const std::function<bool(std::int32_t)>& alertIsThere);

 private:
  struct Source {
    int Acted = 0;
    std::uint64_t Suppressed = 0;
  };
  struct Alert {
    Time Start;
    int Acted = 0;
    std::uint64_t Suppressed = 0;
    std::unordered_map<std::string, Source> Sources = {};
    Source Others = {};  // that found no room
  };
  Source& SourceOf(Alert& alert, std::string_view source);
  AlertSummary SummaryOf(const Alert& alert) const;
  void BeginAnew(Alert& alert, Time now);
  void Forget(const Alert& alert);

  LimiterOptions options_;
  std::unordered_map<std::int32_t, Alert> alerts_;
  std::size_t bytes_ = 0;
};

}  // namespace korvane::receiver
