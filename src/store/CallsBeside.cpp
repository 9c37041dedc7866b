#include "store/CallsBeside.h"

#include <optional>
#include <utility>

#include "common/Translation.h"

namespace korvane::store {

CallsBeside::CallsBeside(BusyIndicator& busy, std::function<void()> giveUp)
    : busy_(busy), giveUp_(std::move(giveUp)), thread_([this](std::stop_token stop) { Serve(stop); }) {}

bool CallsBeside::Waits() const {
  return std::this_thread::get_id() != thread_.get_id() && waits_ > 0;
}

void CallsBeside::Run(const std::function<void()>& work) {
  if (std::this_thread::get_id() == thread_.get_id()) {
    work();
    return;
  }
  const Clock::time_point begun = Clock::now();
  Job job{.Work = work, .Failure = {}};
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(&job);
  }
  asked_.notify_one();
  if (!DoneWithin(job, kUnnoticed)) {
    ++waits_;
    StandBy(job, begun);
    --waits_;
  }
  if (job.Failure) {
    std::rethrow_exception(job.Failure);
  }
}

bool CallsBeside::DoneWithin(const Job& job, std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return done_.wait_for(lock, time, [&job] { return job.Done; });
}

// A Stop of a text that stood there before is for the work around this call, which hears of it afterwards.
void CallsBeside::StandBy(const Job& job, Clock::time_point begun) {
  std::optional<BusyScope> said;
  bool gaveUp = false;
  do {
    if (!said && Clock::now() - begun >= kToBeSaid) {
      said.emplace(busy_, Translated("Waiting for the Trap Store"));
      busy_.OfferStop();
    }
    if (!busy_.GoOn() && said && !std::exchange(gaveUp, true)) {
      giveUp_();
    }
  } while (!DoneWithin(job, kUnnoticed));
}

void CallsBeside::Serve(std::stop_token stop) {
  std::unique_lock lock(mutex_);
  while (asked_.wait(lock, stop, [this] { return !jobs_.empty(); })) {
    Job& job = *jobs_.front();
    jobs_.pop_front();
    lock.unlock();
    try {
      job.Work();
    } catch (...) {
      job.Failure = std::current_exception();
    }
    lock.lock();
    job.Done = true;
    done_.notify_all();
  }
}

}  // namespace korvane::store
