// One trap of a list, followed while traps come and go around it.  When it leaves the list itself, the place
// where it stood is kept between those that were its neighbours, so that whoever shows it can still go on
// from there.  A plain value; user-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "traplist/ShownTraps.h"

namespace korvane::traps {

class FollowedTrap {
 public:
  FollowedTrap() = default;
  FollowedTrap(const traplist::ShownTraps& list, std::size_t position);

  // To be called after every change of the list.
  void ListChanged(const traplist::ShownTraps& list);

  // The traps of the list are others from now on, whatever their numbers: it has left, and so have its
  // neighbours.
  void Lose();

  // Positions of the list as it was at the last change.  A trap that left has none.
  std::optional<std::size_t> Position() const;
  std::optional<std::size_t> Above() const;
  std::optional<std::size_t> Below() const;
  std::size_t ListCount() const { return count_; }

 private:
  void Take(const traplist::ShownTraps& list, std::size_t position);
  std::size_t PlaceBetweenNeighbours(const traplist::ShownTraps& list) const;

  std::int32_t sequenceNumber_ = 0;
  bool inList_ = false;
  bool lost_ = false;
  std::size_t place_ = 0;  // its position; of one that left, that of the first trap below it
  std::size_t count_ = 0;
  std::vector<std::int32_t> above_;  // SequenceNumbers, the nearest first
  std::vector<std::int32_t> below_;
};

}  // namespace korvane::traps
