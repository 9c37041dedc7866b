#include "InformTable.h"

namespace korvane::receiver {
namespace {

// Copies of one inform that wait; a sender gives up long before.
constexpr std::size_t kMostCopies = 16;

}  // namespace

InformTable::Result InformTable::Arrived(std::uint64_t key, std::unique_ptr<Answer>& answer,
                                         std::chrono::steady_clock::time_point now) {
  ForgetOld(now);
  const auto [found, isNew] = tokens_.try_emplace(key, lastToken_ + 1);
  const std::uint64_t token = found->second;
  if (isNew) {
    ++lastToken_;
    Inform& inform = waiting_[token];
    inform.Key = key;
    inform.Answers.push_back(std::move(answer));
    return {Arrival::New, token};
  }
  const auto inform = waiting_.find(token);
  if (inform == waiting_.end()) {
    return {Arrival::Answered, token};
  }
  if (inform->second.Answers.size() < kMostCopies) {
    inform->second.Answers.push_back(std::move(answer));
  }
  answer.reset();
  return {Arrival::Waiting, token};
}

std::vector<std::unique_ptr<Answer>> InformTable::Safe(std::uint64_t token,
                                                       std::chrono::steady_clock::time_point now) {
  const auto found = waiting_.find(token);
  if (found == waiting_.end()) {
    return {};
  }
  Inform inform = std::move(found->second);
  waiting_.erase(found);
  answered_.emplace_back(now, inform.Key);
  return std::move(inform.Answers);
}

void InformTable::Remember(std::uint64_t key, std::chrono::steady_clock::time_point now) {
  if (tokens_.try_emplace(key, ++lastToken_).second) {
    answered_.emplace_back(now, key);
  }
}

void InformTable::ForgetOld(std::chrono::steady_clock::time_point now) {
  while (!answered_.empty() && (answered_.size() > most_ || now - answered_.front().first > memory_)) {
    tokens_.erase(answered_.front().second);
    answered_.pop_front();
  }
}

}  // namespace korvane::receiver
