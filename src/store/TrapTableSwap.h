// How a table of traps that was filled aside takes the place of EventTrap, on each engine.  Used by
// Renumbering alone, which calls in this order: MakeAside, Complete, Close, MakeRoom, Swap, TidyUp.
// Everything throws DatabaseError.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "store/Connection.h"

namespace korvane::store {

// The table aside.  While the traps are copied its numbers are those of the traps to be.
inline constexpr std::string_view kTrapsAside = "Renumber_New";

class TrapTableSwap {
 public:
  virtual ~TrapTableSwap() = default;

  struct Size {
    std::int64_t Bytes = 0;            // as the engine has it
    std::int64_t Needed = 0;           // during the work
    std::optional<std::int64_t> Free;  // of the disk, where that can be seen
  };
  virtual Size Measure() = 0;
  virtual std::int64_t LastGiven() = 0;  // the counter of the numbers
  virtual bool Unfinished() = 0;         // there is something of an earlier run
  // What else is in the way, in a sentence or two; empty: nothing.
  virtual std::string Obstacle() { return {}; }

  // An empty table aside with room for numbers up to the last, which will stand under that identity.
  virtual void MakeAside(std::int64_t last, const std::string& identity) = 0;
  // What is done at once when the traps are copied, and no longer with each of them.
  virtual void Complete() {}
  // From here on nobody writes to the traps, until Swap or TakeBack.  The table aside may have to hold
  // numbers up to the last by now.  The name under which the traps are to be read.
  virtual std::string Close() = 0;
  virtual void MakeRoom(std::int64_t last) = 0;
  // Writes the identity and puts the table in place, as far as that is one step.  last: the largest number in
  // it; the counter goes on there.
  virtual void Swap(const std::string& identity, std::int64_t last) = 0;
  // After Swap, when the traps have their new numbers whatever happens; again where it failed.
  virtual void TidyUp(const std::string& /*identity*/) {}
  // From wherever a run was broken off, also one of another process.
  virtual void TakeBack() = 0;
};

std::unique_ptr<TrapTableSwap> MakeTrapTableSwap(Connection& connection);

}  // namespace korvane::store
