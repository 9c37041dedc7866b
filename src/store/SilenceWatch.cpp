#include "store/SilenceWatch.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <utility>

namespace korvane::store {

namespace {

constexpr int kLooksPerSilence = 16;

}  // namespace

// Shared with the thread that may hang in it.
struct SilenceWatch::TrialRun {
  Clock::time_point Begun;
  std::atomic<bool> Over = false;
  std::atomic<bool> Answered = false;
};

SilenceWatch::SilenceWatch(SilenceLimits limits, Trial trial)
    : limits_(limits),
      trial_(std::move(trial)),
      thread_([this](std::stop_token stop) { Watch(std::move(stop)); }) {}

SilenceWatch::~SilenceWatch() = default;

void SilenceWatch::Use(std::vector<platform::OpenSocket> sockets) {
  const std::lock_guard lock(mutex_);
  sockets_ = std::move(sockets);
  gaveUpAfter_.reset();
}

void SilenceWatch::CallBegins() {
  const std::lock_guard lock(mutex_);
  if (calls_++ == 0) {
    since_ = Clock::now();
    answered_.reset();
    changed_.notify_one();
  }
}

void SilenceWatch::CallEnds() {
  const std::lock_guard lock(mutex_);
  --calls_;
}

std::chrono::milliseconds SilenceWatch::SinceLastCall() const {
  const std::lock_guard lock(mutex_);
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since_);
}

std::optional<std::chrono::seconds> SilenceWatch::GaveUpAfter() const {
  const std::lock_guard lock(mutex_);
  return gaveUpAfter_;
}

void SilenceWatch::Watch(std::stop_token stop) {
  std::unique_lock lock(mutex_);
  while (changed_.wait(lock, stop, [this] { return calls_ > 0; })) {
    // Most calls are over by then.
    changed_.wait_for(lock, stop, limits_.Silence / kLooksPerSilence, [] { return false; });
    if (!stop.stop_requested() && calls_ > 0 && !sockets_.empty() && !gaveUpAfter_) {
      Look(Clock::now());
    }
  }
}

void SilenceWatch::Look(Clock::time_point now) {
  if (Silence(now) < limits_.Silence) {
    return;
  }
  if (!run_) {
    StartTrial(now);
  } else if (run_->Over) {
    if (!run_->Answered || now - since_ >= limits_.Longest) {
      GiveUp(now);
    }
    answered_ = now;
    run_.reset();
  } else if (now - run_->Begun >= limits_.Trial) {
    GiveUp(now);  // also of a later call, while the trial of an earlier one hangs
  }
}

std::chrono::milliseconds SilenceWatch::Silence(Clock::time_point now) const {
  auto silence = std::chrono::duration_cast<std::chrono::milliseconds>(now - answered_.value_or(since_));
  for (const platform::OpenSocket& socket : sockets_) {
    silence = std::min(silence, platform::SilentFor(socket).value_or(silence));
  }
  return silence;
}

void SilenceWatch::StartTrial(Clock::time_point now) {
  run_ = std::make_shared<TrialRun>();
  run_->Begun = now;
  try {
    std::thread([run = run_, trial = trial_] {
      run->Answered = trial();
      run->Over = true;
    }).detach();
  } catch (const std::system_error&) {
    run_.reset();  // no thread to be had: the next look tries again
  }
}

void SilenceWatch::GiveUpNow() {
  const std::lock_guard lock(mutex_);
  if (calls_ > 0 && !sockets_.empty() && !gaveUpAfter_) {
    GiveUp(Clock::now());
  }
}

void SilenceWatch::GiveUp(Clock::time_point now) {
  gaveUpAfter_ = std::chrono::duration_cast<std::chrono::seconds>(now - since_);
  std::ranges::for_each(sockets_, platform::BreakOff);
}

}  // namespace korvane::store
