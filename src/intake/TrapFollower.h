// Finds the rows of the trap table that are new since a start, in the order of SequenceNumber, each once.
// Holds positions only, no rows and no connection, so it goes on where it was after the store was lost.
// Used by the store feeder on its thread.
//
// Numbers are given out in order, but a lower one may be committed after a higher one.  A number that was
// passed over is therefore looked for again for some time before it is given up as never used.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "intake/ReceiverLibrary.h"
#include "store/Connection.h"
#include "store/TrapRecord.h"

namespace korvane::intake {

struct TrapFollowerLimits {
  std::int32_t NumbersPerRead = 4000;            // most numbers one statement spans
  std::size_t BytesPerRead = 16U * 1024 * 1024;  // of texts; a read that passes it ends there
  std::int32_t LookBack = 1000;                  // numbers below the start that may still be committed
  std::size_t MostGaps = 256;                    // the lowest are given up first
  std::chrono::milliseconds GapLife = std::chrono::minutes(5);
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
  explicit TrapFollower(std::int32_t highWaterMark, TrapFollowerLimits limits = {},
                        std::int32_t knownNumber = std::numeric_limits<std::int32_t>::max());

  struct Progress {
    std::vector<ReceivedTrap> Traps;
    TrapNotes Notes;
    std::size_t Bytes = 0;  // of the traps' texts and notes
    std::int64_t Rows = 0;  // that were found, also those that are not new
    bool More = false;      // read on at once, there are more rows
  };

  // One step, of bounded size.  Throws DatabaseError; the position is then unchanged, so the next read
  // delivers what this one would have.  now never goes back; it ages the numbers that were passed over.
  Progress Read(store::Connection& connection, std::chrono::steady_clock::time_point now);

 private:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Duration = std::chrono::steady_clock::duration;

  // Numbers First to Last that were passed over, noticed at that Watched.
  struct Gap {
    std::int64_t First;
    std::int64_t Last;
    Duration Noticed;
  };

  // Rows up to Number that were there before, as far as their time tells.
  struct Known {
    std::int64_t Number;
    std::int64_t Time;
  };

  struct Position {
    bool Started = false;
    std::int64_t Last = 0;  // every number up to here was read, or is in a gap
    std::int32_t LastTime = 0;
    Known Before{std::numeric_limits<std::int64_t>::min(), 0};
    std::vector<Gap> Gaps;  // ascending
    TimePoint LastRead;
    Duration Watched{0};  // for how long the store was followed
  };

  void Start(store::Connection& connection, std::int64_t highest, TimePoint now);
  void ReadGaps(store::Connection& connection, Position& position, Progress& progress) const;
  // Puts what stays open into left; how many of the gaps are dealt with.
  std::size_t ReadSomeGaps(store::Connection& connection, std::span<const Gap> gaps, std::vector<Gap>& left,
                           Progress& progress) const;
  void ReadNew(store::Connection& connection, std::int64_t highest, Position& position,
               Progress& progress) const;

  // Rows above a number; false when there are none within reach of one statement.
  bool ReadRange(store::Connection& connection, std::int64_t above, std::int64_t highest, Position& position,
                 Progress& progress) const;

  std::int32_t highWaterMark_;
  std::int64_t knownNumber_;
  TrapFollowerLimits limits_;
  Position position_;
};

}  // namespace korvane::intake
