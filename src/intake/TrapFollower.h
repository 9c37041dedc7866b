// Finds the rows of the trap table that are new since a start, in the order of SequenceNumber, each once.
// Holds positions only, no rows and no connection, so it goes on where it was after the store was lost.
// Used by the store feeder on its thread.
//
// Numbers are given out in order, but a lower one may be committed after a higher one.  A number that was
// passed over is therefore looked for again for some time before it is given up as never used: NumberGaps.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "intake/NumberGaps.h"
#include "intake/ReceiverLibrary.h"
#include "intake/StoreAnchor.h"
#include "store/Connection.h"
#include "store/TrapRecord.h"

namespace korvane::intake {

struct TrapFollowerLimits {
  std::int32_t NumbersPerRead = 4000;            // most numbers one statement spans, to begin with
  std::int32_t LongestRead = 8000;               // the same while many wait and their texts are short
  std::size_t BytesPerRead = 16U * 1024 * 1024;  // of texts; a read that passes it ends there
  std::int32_t LookBack = 1000;                  // numbers below the start whose rows are read once more
  // So many numbers below the start, and before a row that comes, may still be committed: several batches of
  // a receiver, times the nodes of a cluster.
  std::int32_t LongestGap = 65'536;
  NumberGapsLimits Gaps;
  std::chrono::milliseconds LookEvery{500};  // at most this often for what was passed over
  // Between two reads no more than this counts: what is longer, the store or the console was away.
  std::chrono::milliseconds LongestStep = std::chrono::seconds(10);
};

// The notes of traps beside their records, by SequenceNumber; few traps have any.
using TrapNotes = std::unordered_map<std::int32_t, std::string>;

class TrapFollower {
 public:
  // New are the rows with an EventTime at or after the mark when the first read begins, and every row that
  // appears later whatever its time; rows that are acknowledged already are not.
  // knownNumber: the largest SequenceNumber before the console loaded what was there; of the rows behind it
  // those are new too that were stored between that load and the first read with an older time.
  // anchor: what the store was like at that moment.
  explicit TrapFollower(std::int32_t highWaterMark, TrapFollowerLimits limits = {},
                        std::int32_t knownNumber = std::numeric_limits<std::int32_t>::max(),
                        StoreAnchor anchor = {});

  struct Progress {
    std::vector<ReceivedTrap> Traps;
    TrapNotes Notes;
    std::size_t Bytes = 0;    // of the traps' texts and notes
    std::int64_t Rows = 0;    // that were found, also those that are not new
    bool More = false;        // read on at once, there are more rows
    std::int64_t Looked = 0;  // numbers that were read to find those that were passed over
  };

  // One step, of bounded size.  Throws DatabaseError; the position is then unchanged, so the next read
  // delivers what this one would have.  now never goes back; it ages the numbers that were passed over.
  Progress Read(store::Connection& connection, std::chrono::steady_clock::time_point now);

  // Whether the store is in the state that was read; to be asked before each read.  Throws DatabaseError.
  StoreAnchor::Finding Check(store::Connection& connection) { return anchor_.Check(connection); }
  // What it found missing was deleted by somebody who says nothing.
  void ForgetMissing() { anchor_.ForgetMissing(); }
  // Somebody has deleted these, and said so.
  void Purged(const store::TrapSelection& traps) { anchor_.Forget(traps); }

  // How many numbers had to be given up unread, for want of room.
  std::int64_t GivenUp() const { return position_.Gaps.GivenUp(); }
  std::int64_t HighestNumber() const { return highest_; }  // at the last read; below all numbers: none
  std::size_t GapBytes() const { return position_.Gaps.Bytes(); }

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Position {
    bool Started = false;
    std::int64_t Last = 0;  // every number up to here was read, or is in a gap
    std::int64_t Span = 0;  // of the next read
    // Rows up to this number were there before, as far as their time tells.
    std::int64_t Before = std::numeric_limits<std::int64_t>::min();
    NumberGaps Gaps;
    TimePoint LastRead;
    NumberGaps::Watched Watched{0};  // for how long the store was followed
    TimePoint NextLook;
  };
  // What a read has found, for the position once all of it has gone well.
  struct Step {
    std::vector<std::int32_t> Closed;
    std::vector<std::pair<std::int64_t, std::int64_t>> Opened;  // first and last
    NumberGaps::Look Look;
    bool LookedAtAll = false;  // of Look
    std::int64_t Last = 0;
    std::int64_t Span = 0;
    StoreAnchor Anchor;
  };

  void Start(store::Connection& connection, TimePoint now);
  void LookBack(store::Connection& connection, TimePoint now, Step& step, Progress& progress) const;
  void ReadNew(store::Connection& connection, Step& step, Progress& progress) const;

  // Rows above a number; false when there are none within reach of one statement.
  bool ReadRange(store::Connection& connection, std::int64_t above, Step& step, Progress& progress) const;
  void Commit(Step step, TimePoint now);

  std::int32_t highWaterMark_;
  std::int64_t knownNumber_;
  TrapFollowerLimits limits_;
  Position position_;
  StoreAnchor anchor_;
  std::int64_t highest_ = 0;
};

}  // namespace korvane::intake
