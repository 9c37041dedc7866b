// Informs that wait for their answer, and which were answered lately.  A sender repeats an inform until it is
// answered; only the first copy is stored, and one answer is kept, that to the newest copy.  Bounded in
// bytes: of too many answers the oldest, whose senders have long given up, are let go; too many informs end
// the reading of more (HasRoom).  Used by the listening thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace korvane::receiver {

// A finished response and where it goes; empty when there can be none.
struct Answer {
  std::size_t Socket = 0;  // of the listener's, in their order
  std::string Peer;        // the transport's own form of an address
  std::string Packet;
};

struct InformLimits {
  // How long an answered inform is remembered, and how many of them.
  std::chrono::seconds Memory{300};
  std::size_t Answered = 50'000;
  std::size_t AnswerBytes = std::size_t{16} << 20;
  std::size_t Waiting = 50'000;
};

class InformTable {
 public:
  enum class Arrival {
    New,      // to be stored; answered later through its token
    Waiting,  // a copy of one that is on its way; answered once for all of them
    Answered  // a copy of one that is stored: to be answered at once
  };

  struct Result {
    Arrival What = Arrival::New;
    std::uint64_t Token = 0;
  };

  explicit InformTable(InformLimits limits = {}) : limits_(limits) {}

  // key: TrapRow's InformKey.  Takes the answer unless it is Answered.
  Result Arrived(std::uint64_t key, Answer& answer, std::chrono::steady_clock::time_point now);
  // An inform that an earlier run stored or spooled, answered or not.
  void Remember(std::uint64_t key, std::chrono::steady_clock::time_point now);
  // The answer to send now that the trap is safe; nothing when it was let go.
  std::optional<Answer> Safe(std::uint64_t token, std::chrono::steady_clock::time_point now);
  bool HasRoom() const { return waiting_.size() < limits_.Waiting; }
  std::uint64_t LetGo() const { return letGo_; }

 private:
  struct Inform {
    std::uint64_t Key = 0;
    Answer Kept;
  };

  void Keep(std::map<std::uint64_t, Inform>::iterator inform, Answer& answer);
  void ForgetOld(std::chrono::steady_clock::time_point now);

  const InformLimits limits_;
  std::uint64_t lastToken_ = 0;
  std::unordered_map<std::uint64_t, std::uint64_t> tokens_;  // by key; of answered ones too
  std::map<std::uint64_t, Inform> waiting_;                  // by token, the oldest first
  std::deque<std::pair<std::chrono::steady_clock::time_point, std::uint64_t>> answered_;
  std::size_t answerBytes_ = 0;
  std::uint64_t oldestKept_ = 0;  // no answer is kept before this token
  std::uint64_t letGo_ = 0;
};

}  // namespace korvane::receiver
