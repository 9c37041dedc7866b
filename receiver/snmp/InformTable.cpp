#include "receiver/snmp/InformTable.h"

#include <algorithm>

namespace korvane::receiver {
namespace {

std::size_t BytesOf(const Answer& answer) {
  return answer.Peer.size() + answer.Packet.size();
}

}  // namespace

InformTable::Result InformTable::Arrived(std::uint64_t key, Answer& answer,
                                         std::chrono::steady_clock::time_point now) {
  ForgetOld(now);
  const auto [found, isNew] = tokens_.try_emplace(key, lastToken_ + 1);
  const std::uint64_t token = found->second;
  if (isNew) {
    ++lastToken_;
    Keep(waiting_.emplace_hint(waiting_.end(), token, Inform{.Key = key, .Kept = {}}), answer);
    return {Arrival::New, token};
  }
  const auto inform = waiting_.find(token);
  if (inform == waiting_.end()) {
    return {Arrival::Answered, token};
  }
  Keep(inform, answer);
  return {Arrival::Waiting, token};
}

void InformTable::Keep(std::map<std::uint64_t, Inform>::iterator inform, Answer& answer) {
  answerBytes_ -= BytesOf(inform->second.Kept);
  inform->second.Kept = std::exchange(answer, {});
  answerBytes_ += BytesOf(inform->second.Kept);
  oldestKept_ = std::min(oldestKept_, inform->first);
  auto oldest = waiting_.lower_bound(oldestKept_);
  while (answerBytes_ > limits_.AnswerBytes && oldest != waiting_.end()) {
    answerBytes_ -= BytesOf(oldest->second.Kept);
    letGo_ += oldest->second.Kept.Packet.empty() ? 0 : 1;
    const Answer gone = std::move(oldest->second.Kept);  // an assignment would keep the memory
    oldestKept_ = oldest->first + 1;
    ++oldest;
  }
}

std::optional<Answer> InformTable::Safe(std::uint64_t token, std::chrono::steady_clock::time_point now) {
  const auto found = waiting_.find(token);
  if (found == waiting_.end()) {
    return std::nullopt;
  }
  Inform inform = std::move(found->second);
  waiting_.erase(found);
  answerBytes_ -= BytesOf(inform.Kept);
  answered_.emplace_back(now, inform.Key);
  return inform.Kept.Packet.empty() ? std::nullopt : std::optional(std::move(inform.Kept));
}

void InformTable::Remember(std::uint64_t key, std::chrono::steady_clock::time_point now) {
  if (tokens_.try_emplace(key, ++lastToken_).second) {
    answered_.emplace_back(now, key);
  }
  ForgetOld(now);
}

void InformTable::ForgetOld(std::chrono::steady_clock::time_point now) {
  while (!answered_.empty() &&
         (answered_.size() > limits_.Answered || now - answered_.front().first > limits_.Memory)) {
    tokens_.erase(answered_.front().second);
    answered_.pop_front();
  }
}

}  // namespace korvane::receiver
