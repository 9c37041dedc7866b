#include "intake/LinkWatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "common/Translation.h"
#include "store/EventTime.h"
#include "store/FailureWords.h"

namespace korvane::intake {
namespace {

// Between two looks no more than this counts: what is longer, the machine slept.
constexpr std::int64_t kLongestStep = 10'000;
constexpr std::int64_t kSecondsUntilDated = 20 * 3600;

}  // namespace

void LinkWatch::Look(const std::optional<FailedLoad>& failedLoad) {
  const LinkState state = library_.State();
  replaced_ = state.Replaced;
  LookAtStore(failedLoad, state);
  LookAtReceivers(state);
  LookAtLimits(state);
}

void LinkWatch::LookAtStore(const std::optional<FailedLoad>& failedLoad, const LinkState& state) {
  const bool wasAway = std::exchange(away_, state.Away.has_value());
  cameBack_ = wasAway && !away_;
  if (!state.Away && !failedLoad) {
    if (SayUnanswered(state) || SayMissing(state)) {
      return;
    }
    awaySince_.reset();
    desk_.Strip.Clear(StripKind::StoreAway);
    return;
  }
  const std::int64_t now = desk_.Clock.MonotonicMilliseconds();
  const std::int64_t utc = desk_.Clock.UtcSeconds();
  std::int64_t ago = failedLoad ? now - failedLoad->Since : 0;
  std::optional<std::int64_t> next = failedLoad ? std::optional(failedLoad->NextTry - now) : std::nullopt;
  if (state.Away) {
    ago = std::max<std::int64_t>(ago, state.Away->For.count());
    next = state.Away->NextTryIn ? std::optional<std::int64_t>(state.Away->NextTryIn->count()) : std::nullopt;
  }
  // Told once, so that a clock that is put right does not change it.
  awaySince_ = awaySince_.value_or(utc - ago / 1000);
  const store::DatabaseError& error = state.Away ? state.Away->Error : failedLoad->Error;
  const std::string reason = store::FailureInWords(error);
  const std::string since = TimeOf(*awaySince_);
  std::string note = Translated("Trying again");
  if (next && *next > 0) {
    // Rounded to the same second at every look.
    const std::int64_t at = utc + (*next + 999) / 1000;
    shownNext_ = std::abs(at - shownNext_) <= 1 ? shownNext_ : at;
    note = Phrase("Next try at {}", TimeOf(shownNext_, true));
  }
  desk_.Strip.Set(
      StripKind::StoreAway,
      {.Text = state.Away ? Phrase("The trap store has been out of reach since {}: {}. What is shown is "
                                   "as of then.",
                                   since, reason)
                          : Phrase("Traps could not be loaded at {}: {}.", since, reason),
       .Icon = PromptIcon::Critical,
       .Note = std::move(note),
       .Details = store::OnOneLine(error.what()),
       .Button = state.Away ? Translated("Try Now") : "",
       .Action = [this] { library_.TryNow(); }});
}

// A call that is under way.  It ends in time, with an answer or given up; until then this is all that is
// known.
bool LinkWatch::SayUnanswered(const LinkState& state) {
  if (!state.Waiting || state.Waiting->count() < kUnanswered) {
    return false;
  }
  const std::int64_t seconds = state.Waiting->count() / 1000;
  awaySince_ = awaySince_.value_or(desk_.Clock.UtcSeconds() - seconds);
  desk_.Strip.Set(StripKind::StoreAway,
                  {.Text = Phrase("The trap store has not answered since {}. What is shown is as of then.",
                                  TimeOf(*awaySince_, true)),
                   .Icon = PromptIcon::Exclamation,
                   .Note = Phrase("For {} seconds", desk_.WriteNumber(seconds)),
                   .Details = Translated("The store is busy, or its machine or the network stands still. The "
                                         "call is given up in time, and the store is tried again.")});
  return true;
}

// Either they come back, or everything is loaded again.
bool LinkWatch::SayMissing(const LinkState& state) {
  const std::int64_t missing = state.Following.MissingFor.count();
  if (missing < kMissing) {
    return false;
  }
  awaySince_ = awaySince_.value_or(desk_.Clock.UtcSeconds() - missing / 1000);
  desk_.Strip.Set(
      StripKind::StoreAway,
      {.Text = Phrase("The trap store has lacked traps that it held since {}. What is shown is as "
                      "of then.",
                      TimeOf(*awaySince_, true)),
       .Icon = PromptIcon::Exclamation,
       .Details = Translated("They were deleted, or the server is behind the one that was asked "
                             "before. When they do not come back within a minute, everything is "
                             "loaded again.")});
  return true;
}

void LinkWatch::TellReplaced() {
  desk_.Strip.Set(
      StripKind::Replaced,
      {.Text = Phrase("The trap store was found in another state at {}. Everything was loaded again.",
                      TimeOf(desk_.Clock.UtcSeconds())),
       .Icon = PromptIcon::Exclamation,
       .Details =
           Translated("A backup was restored, another server took its place, or its traps were deleted "
                      "or numbered anew. Reports that are open still show the state before."),
       .Button = Translated("Dismiss"),
       .Action = [this] { desk_.Strip.Clear(StripKind::Replaced); }});
}

void LinkWatch::LookAtReceivers(const LinkState& state) {
  if (state.Looks == looks_) {
    return;  // nothing was read since
  }
  looks_ = state.Looks;
  const std::int64_t now = desk_.Clock.MonotonicMilliseconds();
  if (lastLook_) {
    watched_ += std::min(now - *lastLook_, kLongestStep);
  }
  lastLook_ = now;
  firstLook_ = firstLook_.value_or(desk_.Clock.UtcSeconds());
  Take(state.Receivers);
  const bool another = std::ranges::any_of(
      receivers_, [this](const Receiver& receiver) { return receiver.Heard() && !IsSilent(receiver); });
  std::string all;
  for (const Receiver& receiver : receivers_) {
    const std::string sentence = Sentence(receiver, another);
    all += (all.empty() || sentence.empty() ? "" : " ") + sentence;
  }
  if (all.empty()) {
    desk_.Strip.Clear(StripKind::ReceiverSilent);
  } else {
    desk_.Strip.Set(
        StripKind::ReceiverSilent,
        {.Text = std::move(all),
         .Icon = PromptIcon::Exclamation,
         .Details = Translated(
             "Nothing is stored while no receiver runs: a quiet list does not mean a quiet network.")});
  }
}

// While the receiver's run lasts: a new one begins to count anew.
std::string LinkWatch::DroppedSentence(const Receiver& receiver) const {
  const store::ReceiverCondition& condition = receiver.Seen.Condition;
  if (condition.Dropped <= 0 || !receiver.Heard()) {
    return {};
  }
  const std::string count = desk_.WriteNumber(condition.Dropped);
  const std::string since = TimeOf(condition.DroppedSince);
  return condition.Dropped == 1
             ? Phrase("1 packet was dropped on {} at {}: the receiver was too busy to take it.",
                      receiver.Seen.Machine, since)
             : Phrase("{} packets were dropped on {} since {}: they came faster than they could be taken.",
                      count, receiver.Seen.Machine, since);
}

void LinkWatch::LookAtLimits(const LinkState& state) {
  std::string all;
  const auto add = [&all](const std::string& sentence) {
    all += (all.empty() || sentence.empty() ? "" : " ") + sentence;
  };
  for (const Receiver& receiver : receivers_) {
    add(DroppedSentence(receiver));
    if (receiver.Heard() && receiver.Seen.Condition.DiskUsed >= kDiskFull) {
      add(Phrase("The disk of the receiver on {} is {} % full. Make room before traps are lost.",
                 receiver.Seen.Machine, receiver.Seen.Condition.DiskUsed));
    }
  }
  if (state.Following.HighestNumber >= kNumbersEnd) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
    add(Phrase("The trap store has used {} % of its numbers. The administrator should run korvane-renumber.",
               std::min<std::int64_t>(state.Following.HighestNumber * 100 / kLargest, 100)));
  }
  if (all.empty()) {
    desk_.Strip.Clear(StripKind::Limits);
  } else {
    desk_.Strip.Set(StripKind::Limits,
                    {.Text = std::move(all),
                     .Icon = PromptIcon::Exclamation,
                     .Details = Translated("What to do stands in the administration manual, under \"When "
                                           "something comes to an end\".")});
  }
  if (state.Following.GivenUp > givenUp_) {
    desk_.DebugLog.TryWriteLog(
        fmt::format("{} trap numbers that may still come are no longer looked for; a trap that comes under "
                    "one of them is found by the count once a minute.",
                    state.Following.GivenUp - givenUp_));
  }
  givenUp_ = state.Following.GivenUp;
}

void LinkWatch::Take(const std::vector<store::Heartbeat>& read) {
  std::vector<Receiver> taken;
  for (const store::Heartbeat& beat : read) {
    const auto before = std::ranges::find_if(
        receivers_, [&](const Receiver& receiver) { return receiver.Seen.SpoolId == beat.SpoolId; });
    Receiver receiver = before != receivers_.end() ? *before : Receiver{.Seen = beat, .MovedAt = watched_};
    if (receiver.Seen.Beats != beat.Beats) {
      receiver.MovedAt = watched_;
      receiver.HeardAt = desk_.Clock.UtcSeconds();
    }
    receiver.Seen = beat;
    taken.push_back(std::move(receiver));
  }
  receivers_ = std::move(taken);
}

std::string LinkWatch::Sentence(const Receiver& receiver, bool another) const {
  const std::string& machine = receiver.Seen.Machine;
  if (!receiver.HeardAt) {
    if (another || (!receiver.Seen.Stopped && !IsSilent(receiver))) {
      return {};
    }
    return receiver.Seen.Stopped ? Phrase("The receiver on {} is stopped.", machine)
                                 : Phrase("The receiver on {} has not been heard of since before {}.",
                                          machine, TimeOf(*firstLook_));
  }
  if (receiver.Seen.Stopped) {
    return Phrase("The receiver on {} was stopped at {}.", machine, TimeOf(*receiver.HeardAt));
  }
  return IsSilent(receiver) ? Phrase("The receiver on {} has not been heard of since {}.", machine,
                                     TimeOf(*receiver.HeardAt))
                            : std::string();
}

std::string LinkWatch::TimeOf(std::int64_t utcSeconds, bool seconds) const {
  const store::LocalDateTime local = store::EventTimeToLocal(utcSeconds, desk_.State.gTimeZoneBias);
  std::string text = fmt::format("{:02}:{:02}", local.Hour, local.Minute);
  if (seconds) {
    text += fmt::format(":{:02}", local.Second);
  }
  if (desk_.Clock.UtcSeconds() - utcSeconds > kSecondsUntilDated) {
    text += Phrase(" on {:04}-{:02}-{:02}", local.Year, local.Month, local.Day);
  }
  return text;
}

}  // namespace korvane::intake
