// Which traps the Systems window has counted, so that none is counted twice and an acknowledged one leaves
// the count it is in.  Twelve bytes a trap, in blocks ordered by SequenceNumber: a trap that comes late finds
// its place by moving one block's part, a million that come in order are appended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace korvane::systems {

struct CountedTrap {
  std::int32_t SequenceNumber = 0;
  std::int32_t EventTime = 0;
  std::uint32_t System : 26 = 0;
  std::uint32_t Severity : 3 = 0;
};

class CountedTraps {
 public:
  // False when a trap of this number is already there.
  bool Admit(const CountedTrap& trap);
  // Null when there is none; valid until the next change.
  CountedTrap* Find(std::int32_t sequenceNumber);
  void Erase(std::int32_t sequenceNumber);

  // Removes what the predicate accepts.
  template <class Predicate>
  void EraseIf(Predicate accepts) {
    for (auto& block : blocks_) {
      size_ -= std::erase_if(block, accepts);
    }
    std::erase_if(blocks_, [](const auto& block) { return block.empty(); });
  }

  std::size_t Size() const { return size_; }

 private:
  using Block = std::vector<CountedTrap>;
  std::size_t BlockOf(std::int32_t sequenceNumber) const;

  std::vector<Block> blocks_;  // none is empty
  std::size_t size_ = 0;
};

}  // namespace korvane::systems
