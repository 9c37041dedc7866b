#include "receiver/alerts/AlertLimiter.h"

namespace korvane::receiver {

bool AlertLimiter::Admit(std::int32_t alertId, Time now) {
  State& state = states_.try_emplace(alertId, State{.Start = now}).first->second;
  // While a summary is due, nothing overtakes it.
  if (state.Suppressed == 0 && now - state.Start >= options_.Period) {
    state = {.Start = now};
  }
  if (state.Acted < options_.MostInAPeriod && state.Suppressed == 0) {
    ++state.Acted;
    return true;
  }
  ++state.Suppressed;
  return false;
}

std::vector<AlertLimiter::Summary> AlertLimiter::Due(Time now) {
  std::vector<Summary> due;
  for (auto entry = states_.begin(); entry != states_.end();) {
    State& state = entry->second;
    if (now - state.Start < options_.Period) {
      ++entry;
    } else if (state.Suppressed == 0) {
      entry = states_.erase(entry);
    } else {
      due.push_back({.AlertId = entry->first, .Suppressed = state.Suppressed});
      // In a lasting storm one summary a period is enough.
      state = {.Start = now, .Acted = options_.MostInAPeriod};
      ++entry;
    }
  }
  return due;
}

}  // namespace korvane::receiver
