// How the link to the trap store is doing, as whoever follows it sees it: what the strip of the frame says of
// store and receivers is made from it.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <vector>

#include "store/DatabaseError.h"
#include "store/Heartbeats.h"

namespace korvane::intake {

struct StoreAway {
  store::DatabaseError Error;  // of the last try
  std::chrono::milliseconds For{0};
  std::optional<std::chrono::milliseconds> NextTryIn;  // nothing: it is being tried
};

// What the thread that follows the store has to tell of it.
struct Following {
  std::int64_t HighestNumber = 0;           // the largest SequenceNumber
  std::int64_t GivenUp = 0;                 // numbers that are not looked for any more, for want of room
  std::chrono::milliseconds MissingFor{0};  // see StoreFollower
};

struct LinkState {
  std::optional<StoreAway> Away;  // nothing while the store can be read
  // Of the receivers, as last read; empty for a store whose receivers show none.
  std::vector<store::Heartbeat> Receivers;
  std::uint64_t Looks = 0;                           // how often they were read
  std::optional<std::chrono::milliseconds> Waiting;  // for how long a call has not been answered yet
  // The store is not in the state that was read before: every number that is held is void, and it is followed
  // no further until the link is started again.
  bool Replaced = false;
  korvane::intake::Following Following;
};

// Written by the thread that follows the store, read by any.
class LinkBoard {
 public:
  void Works();
  // The next try begins after the pause.
  void Failed(const std::exception& error, std::chrono::milliseconds pause);
  void ReceiversRead(std::vector<store::Heartbeat> receivers);
  // Around whatever may wait for the store.
  void CallBegins();
  void CallEnds();
  void Followed(const Following& following);
  void Replaced();
  LinkState State() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Outage {
    store::DatabaseError Error;
    Clock::time_point Since;
    Clock::time_point NextTry;
  };

  mutable std::mutex mutex_;
  std::optional<Outage> outage_;
  std::vector<store::Heartbeat> receivers_;
  std::uint64_t looks_ = 0;
  std::optional<Clock::time_point> callSince_;
  bool replaced_ = false;
  Following following_;
};

}  // namespace korvane::intake
