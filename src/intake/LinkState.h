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

struct LinkState {
  std::optional<StoreAway> Away;  // nothing while the store can be read
  // Of the receivers, as last read; empty for a store whose receivers show none.
  std::vector<store::Heartbeat> Receivers;
  std::uint64_t Looks = 0;  // how often they were read
};

// Written by the thread that follows the store, read by any.
class LinkBoard {
 public:
  void Works();
  // The next try begins after the pause.
  void Failed(const std::exception& error, std::chrono::milliseconds pause);
  void ReceiversRead(std::vector<store::Heartbeat> receivers);
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
};

}  // namespace korvane::intake
