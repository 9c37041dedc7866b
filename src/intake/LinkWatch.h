// Says in the strip what the windows can't: that the trap store is out of reach, since when, why, and when it
// is tried again, or that it has not answered for a while; that a receiver is not heard of, since a quiet
// network looks the same otherwise; and what is lost or comes to an end: packets, disks, numbers.
// Asked with every tick of the Systems window.  User-interface thread.
//
// A receiver is judged by whether its counter moves while the store can be read, by this machine's monotonic
// clock.  One that was silent or stopped already when the console came is of interest only while no other one
// is heard: a store keeps the rows of receivers that are gone for good.  A store without any row has
// receivers that show none, and nothing is said of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/Desk.h"
#include "intake/LinkState.h"
#include "intake/ReceiverLibrary.h"
#include "store/DatabaseError.h"

namespace korvane::intake {

// A load of the shared connection that failed and is not made up for yet.
struct FailedLoad {
  store::DatabaseError Error;
  std::int64_t Since = 0;  // monotonic milliseconds of the platform's clock
  std::int64_t NextTry = 0;
};

class LinkWatch {
 public:
  static constexpr std::int64_t kSilence =
      30'000;  // milliseconds; receivers show themselves every five seconds
  static constexpr std::int64_t kUnanswered = 5'000;          // milliseconds; of one call to the store
  static constexpr std::int64_t kMissing = 5'000;             // milliseconds
  static constexpr std::int32_t kDiskFull = 90;               // per cent
  static constexpr std::int64_t kNumbersEnd = 1'932'735'282;  // nine tenths of the largest

  // Both outlive it.
  LinkWatch(Desk& desk, ReceiverLibrary& library) : desk_(desk), library_(library) {}

  void Look(const std::optional<FailedLoad>& failedLoad);

  // As the last look found it.
  bool StoreAway() const { return away_; }
  // The store can be read again, which the look before did not find.
  bool CameBack() const { return cameBack_; }
  // It is in another state than the one that was loaded.
  bool StoreReplaced() const { return replaced_; }
  // To be said once everything is loaded anew.
  void TellReplaced();

 private:
  struct Receiver {
    store::Heartbeat Seen;
    std::int64_t MovedAt = 0;                  // of watched_
    std::optional<std::int64_t> HeardAt = {};  // UTC seconds; nothing: not since the console came
    bool Heard() const { return HeardAt && !Seen.Stopped; }
  };

  void LookAtStore(const std::optional<FailedLoad>& failedLoad, const LinkState& state);
  void LookAtReceivers(const LinkState& state);
  void LookAtLimits(const LinkState& state);
  bool SayUnanswered(const LinkState& state);
  bool SayMissing(const LinkState& state);
  void Take(const std::vector<store::Heartbeat>& read);
  bool IsSilent(const Receiver& receiver) const { return watched_ - receiver.MovedAt >= kSilence; }
  std::string Sentence(const Receiver& receiver, bool another) const;
  std::string DroppedSentence(const Receiver& receiver) const;
  std::string TimeOf(std::int64_t utcSeconds, bool seconds = false) const;

  Desk& desk_;
  ReceiverLibrary& library_;
  bool away_ = false;
  bool cameBack_ = false;
  bool replaced_ = false;
  std::optional<std::int64_t> awaySince_;  // UTC seconds
  std::int64_t shownNext_ = 0;             // UTC seconds
  std::vector<Receiver> receivers_;
  std::uint64_t looks_ = 0;
  std::optional<std::int64_t> lastLook_;   // monotonic milliseconds
  std::int64_t watched_ = 0;               // milliseconds for which the receivers could be watched
  std::optional<std::int64_t> firstLook_;  // UTC seconds
  std::int64_t givenUp_ = 0;               // numbers, as told last
};

}  // namespace korvane::intake
