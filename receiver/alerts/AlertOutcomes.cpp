#include "receiver/alerts/AlertOutcomes.h"

#include <fmt/format.h>

#include <ctime>
#include <utility>

#include "common/Text.h"

namespace korvane::receiver {
namespace {

constexpr std::size_t kMostReasonBytes = 1000;

// Server replies and names of programs, for people to read.
std::string ReadableReason(std::string_view reason) {
  std::string text = VisibleText(reason);
  if (text.size() > kMostReasonBytes) {
    std::size_t end = kMostReasonBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
      --end;
    }
    text.resize(end);
    text += " ...";
  }
  return text;
}

}  // namespace

void AlertOutcomes::Expect(std::int32_t testId, int actions) {
  const std::lock_guard lock(mutex_);
  underWay_[testId] = {.Result = {}, .Left = actions};
}

void AlertOutcomes::Note(const AlertFiring& firing, std::string_view action, const std::string& failure) {
  const std::lock_guard lock(mutex_);
  if (firing.Test.Id != 0) {
    const auto test = underWay_.find(firing.Test.Id);
    if (test == underWay_.end()) {
      return;
    }
    test->second.Result += failure.empty() ? fmt::format("{}: done\n", action)
                                           : fmt::format("{}: failed: {}\n", action, ReadableReason(failure));
    --test->second.Left;
    news_.Tests[firing.Test.Id] = test->second;
    if (test->second.Left == 0) {
      underWay_.erase(test);
    }
    return;
  }
  AlertOutcome& outcome = news_.Alerts[firing.Rule->Id];
  const std::int64_t now = std::time(nullptr);
  if (failure.empty()) {
    outcome.Acted = now;
  } else {
    outcome.Failed = now;
    outcome.Reason = fmt::format("{}: {}", action, ReadableReason(failure));
  }
}

AlertNews AlertOutcomes::Take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(news_, {});
}

void AlertOutcomes::GiveBack(AlertNews news) {
  const std::lock_guard lock(mutex_);
  news_.Tests.merge(news.Tests);
  for (auto& [id, old] : news.Alerts) {
    AlertOutcome& outcome = news_.Alerts[id];
    outcome.Acted = outcome.Acted != 0 ? outcome.Acted : old.Acted;
    if (outcome.Failed == 0) {
      outcome.Failed = old.Failed;
      outcome.Reason = std::move(old.Reason);
    }
  }
}

}  // namespace korvane::receiver
