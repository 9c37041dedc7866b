#include "receiver/alerts/AlertLimiter.h"

#include <algorithm>

namespace korvane::receiver {
namespace {

// A little more than what a source takes in its table.
std::size_t BytesOfSource(std::string_view source) {
  return source.size() + 128;
}

}  // namespace

bool AlertLimiter::Admit(std::int32_t alertId, std::string_view source, Time now) {
  Alert& alert = alerts_.try_emplace(alertId, Alert{.Start = now}).first->second;
  // While a summary is due, nothing overtakes it.
  if (alert.Suppressed == 0 && now - alert.Start >= options_.Period) {
    BeginAnew(alert, now);
  }
  Source& counts = SourceOf(alert, source);
  if (counts.Acted < options_.PerSource && alert.Acted < options_.PerAlert &&
      now - alert.Start < options_.Period) {
    ++counts.Acted;
    ++alert.Acted;
    return true;
  }
  ++counts.Suppressed;
  ++alert.Suppressed;
  return false;
}

AlertLimiter::Source& AlertLimiter::SourceOf(Alert& alert, std::string_view source) {
  std::string key(source);
  if (const auto found = alert.Sources.find(key); found != alert.Sources.end()) {
    return found->second;
  }
  if (bytes_ + BytesOfSource(source) > options_.Bytes) {
    return alert.Others;
  }
  bytes_ += BytesOfSource(source);
  return alert.Sources[std::move(key)];
}

AlertLimiter::Summaries AlertLimiter::Due(Time now) {
  Summaries due;
  for (auto entry = alerts_.begin(); entry != alerts_.end();) {
    Alert& alert = entry->second;
    if (now - alert.Start < options_.Period) {
      ++entry;
    } else if (alert.Suppressed == 0) {
      Forget(alert);
      entry = alerts_.erase(entry);
    } else {
      due.emplace_back(entry->first, SummaryOf(alert));
      BeginAnew(alert, now);
      ++entry;
    }
  }
  return due;
}

AlertLimiter::Summaries AlertLimiter::Suppressed() const {
  Summaries all;
  for (const auto& [id, alert] : alerts_) {
    if (alert.Suppressed > 0) {
      all.emplace_back(id, SummaryOf(alert));
    }
  }
  return all;
}

void AlertLimiter::KeepOnly(const std::function<bool(std::int32_t)>& alertIsThere) {
  std::erase_if(alerts_, [&](const auto& entry) {
    if (alertIsThere(entry.first)) {
      return false;
    }
    Forget(entry.second);
    return true;
  });
}

AlertSummary AlertLimiter::SummaryOf(const Alert& alert) const {
  AlertSummary summary{.Suppressed = alert.Suppressed, .Sources = {}, .OtherTraps = alert.Suppressed};
  for (const auto& [source, counts] : alert.Sources) {
    if (counts.Suppressed > 0) {
      summary.Sources.push_back({.Source = source, .Traps = counts.Suppressed});
    }
  }
  const std::size_t told = std::min(options_.SourcesTold, summary.Sources.size());
  std::partial_sort(summary.Sources.begin(), summary.Sources.begin() + static_cast<std::ptrdiff_t>(told),
                    summary.Sources.end(), [](const SourceCount& a, const SourceCount& b) {
                      return a.Traps != b.Traps ? a.Traps > b.Traps : a.Source < b.Source;
                    });
  summary.Sources.resize(told);
  for (const SourceCount& count : summary.Sources) {
    summary.OtherTraps -= count.Traps;
  }
  return summary;
}

// What went beyond in the period before begins this one at its limit.
void AlertLimiter::BeginAnew(Alert& alert, Time now) {
  const auto quiet = [&](const Source& source) { return options_.StormsStayQuiet && source.Suppressed > 0; };
  for (auto entry = alert.Sources.begin(); entry != alert.Sources.end();) {
    if (quiet(entry->second)) {
      entry->second = {.Acted = options_.PerSource};
      ++entry;
    } else {
      bytes_ -= BytesOfSource(entry->first);
      entry = alert.Sources.erase(entry);
    }
  }
  alert.Others = {.Acted = quiet(alert.Others) ? options_.PerSource : 0};
  alert.Acted = options_.StormsStayQuiet && alert.Suppressed > 0 && alert.Acted >= options_.PerAlert
                    ? options_.PerAlert
                    : 0;
  alert.Suppressed = 0;
  alert.Start = now;
}

void AlertLimiter::Forget(const Alert& alert) {
  for (const auto& [source, counts] : alert.Sources) {
    bytes_ -= BytesOfSource(source);
  }
}

}  // namespace korvane::receiver
