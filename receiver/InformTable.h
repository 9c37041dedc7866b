// Informs that wait for their answer, and which were answered lately.  A sender repeats an inform until it is
// answered; every copy is answered, but only the first is stored.  Used by the listening thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace korvane::receiver {

// What is needed to send one answer; the listener's own type behind it.
class Answer {
 public:
  virtual ~Answer() = default;
};

class InformTable {
 public:
  enum class Arrival {
    New,      // to be stored; answered later through its token
    Waiting,  // a copy of one that is on its way; answered together with it
    Answered  // a copy of one that is stored: to be answered at once
  };

  struct Result {
    Arrival What = Arrival::New;
    std::uint64_t Token = 0;
  };

  // How long an answered inform is remembered, and how many of them.
  static constexpr std::chrono::seconds kMemory{300};
  explicit InformTable(std::chrono::seconds memory = kMemory, std::size_t most = 50000)
      : memory_(memory), most_(most) {}

  // key: TrapRow's InformKey.  Takes the answer unless it is Answered.
  Result Arrived(std::uint64_t key, std::unique_ptr<Answer>& answer,
                 std::chrono::steady_clock::time_point now);
  // An inform that an earlier run stored or spooled, answered or not.
  void Remember(std::uint64_t key, std::chrono::steady_clock::time_point now);
  // The answers to send now that the trap is safe.
  std::vector<std::unique_ptr<Answer>> Safe(std::uint64_t token, std::chrono::steady_clock::time_point now);
  std::size_t Waiting() const { return waiting_.size(); }

 private:
  struct Inform {
    std::uint64_t Key = 0;
    std::vector<std::unique_ptr<Answer>> Answers;
  };

  void ForgetOld(std::chrono::steady_clock::time_point now);

  const std::chrono::seconds memory_;
  const std::size_t most_;
  std::uint64_t lastToken_ = 0;
  std::unordered_map<std::uint64_t, std::uint64_t> tokens_;  // by key; of answered ones too
  std::unordered_map<std::uint64_t, Inform> waiting_;
  std::deque<std::pair<std::chrono::steady_clock::time_point, std::uint64_t>> answered_;
};

}  // namespace korvane::receiver
