#include "receiver/spool/Spooler.h"

#include <fmt/format.h>

#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

namespace korvane::receiver {
namespace {

constexpr auto kWait = std::chrono::milliseconds(200);

}  // namespace

Spooler::Spooler(TrapQueue& queue, Spool& spool, ServiceLog& log,
                 std::function<void(const std::vector<std::uint64_t>&)> answer,
                 std::function<bool()> storeAvailable, SpoolerOptions options)
    : queue_(queue),
      spool_(spool),
      log_(log),
      answer_(std::move(answer)),
      storeAvailable_(std::move(storeAvailable)),
      options_(options) {}

void Spooler::Run() {
  while (!queue_.ClosedAndEmpty()) {
    if (spool_.UnwrittenBytes() > options_.UnwrittenBytes && !queue_.Closed()) {
      std::this_thread::sleep_for(kWait);
    } else {
      Take(queue_.Take(kWait));
    }
    if ((spool_.UnwrittenBytes() > 0 || !storeAvailable_()) && spool_.Sync()) {
      AnswerAll();
    }
    AnswerStored();
    NoteDisk();
  }
  if (spool_.Sync()) {
    AnswerAll();
  } else {
    log_.Error(fmt::format("{} bytes of traps could not be written to the spool", spool_.UnwrittenBytes()));
  }
}

void Spooler::Take(std::vector<QueuedTrap> traps) {
  if (traps.empty()) {
    return;
  }
  std::vector<TrapRow> rows;
  rows.reserve(traps.size());
  std::uint64_t number = spool_.LastNumber();
  bool informs = false;
  for (QueuedTrap& trap : traps) {
    ++number;
    if (trap.InformToken != 0) {
      AwaitAnswer(number, trap.InformToken);
      informs = true;
    }
    rows.push_back(std::move(trap.Row));
  }
  spool_.Append(rows);
  if (informs && spool_.Sync()) {
    AnswerAll();
  }
}

void Spooler::AwaitAnswer(std::uint64_t number, std::uint64_t token) {
  if (unanswered_.size() < options_.Unanswered) {
    unanswered_.emplace_back(number, token);
  } else if (neverAnswered_++ == 0) {
    log_.Error(fmt::format("{} informs wait until they are safe; further ones are stored and not answered",
                           unanswered_.size()));
  }
}

void Spooler::AnswerAll() {
  std::vector<std::uint64_t> tokens;
  for (const auto& [number, token] : unanswered_) {
    tokens.push_back(token);
  }
  unanswered_.clear();
  if (!tokens.empty()) {
    answer_(tokens);
  }
}

void Spooler::AnswerStored() {
  std::vector<std::uint64_t> tokens;
  while (!unanswered_.empty() && unanswered_.front().first <= spool_.StoredNumber()) {
    tokens.push_back(unanswered_.front().second);
    unanswered_.pop_front();
  }
  if (!tokens.empty()) {
    answer_(tokens);
  }
}

void Spooler::NoteDisk() {
  const int error = spool_.LastError();
  if (error == reportedError_) {
    return;
  }
  reportedError_ = error;
  if (error != 0) {
    log_.Error(fmt::format("the spool can't be written, traps wait in memory: {}",
                           std::generic_category().message(error)));
  } else {
    log_.Info("the spool can be written again");
    if (neverAnswered_ > 0) {
      log_.Warning(fmt::format("{} informs were stored and not answered", std::exchange(neverAnswered_, 0)));
    }
  }
}

}  // namespace korvane::receiver
