#include "systems/CountedTraps.h"

#include <algorithm>
#include <iterator>

namespace korvane::systems {
namespace {

constexpr std::size_t kBlockTraps = 1024;

bool ComesBefore(const CountedTrap& trap, std::int32_t sequenceNumber) {
  return trap.SequenceNumber < sequenceNumber;
}

}  // namespace

// The last block that starts at or before the number, else the first; blocks_ is not empty.
std::size_t CountedTraps::BlockOf(std::int32_t sequenceNumber) const {
  const auto after = std::upper_bound(
      blocks_.begin(), blocks_.end(), sequenceNumber,
      [](std::int32_t number, const Block& block) { return number < block.front().SequenceNumber; });
  return after == blocks_.begin() ? 0 : static_cast<std::size_t>(std::distance(blocks_.begin(), after)) - 1;
}

bool CountedTraps::Admit(const CountedTrap& trap) {
  if (blocks_.empty() || blocks_.back().back().SequenceNumber < trap.SequenceNumber) {
    if (blocks_.empty() || blocks_.back().size() == kBlockTraps) {
      blocks_.emplace_back().reserve(kBlockTraps);
    }
    blocks_.back().push_back(trap);
    ++size_;
    return true;
  }
  std::size_t index = BlockOf(trap.SequenceNumber);
  auto place =
      std::lower_bound(blocks_[index].begin(), blocks_[index].end(), trap.SequenceNumber, ComesBefore);
  if (place != blocks_[index].end() && place->SequenceNumber == trap.SequenceNumber) {
    return false;
  }
  if (blocks_[index].size() == kBlockTraps) {
    Block upper(blocks_[index].begin() + kBlockTraps / 2, blocks_[index].end());
    upper.reserve(kBlockTraps);
    blocks_[index].resize(kBlockTraps / 2);
    const bool goesUp = trap.SequenceNumber > upper.front().SequenceNumber;
    blocks_.insert(blocks_.begin() + static_cast<std::ptrdiff_t>(index) + 1, std::move(upper));
    index += goesUp ? 1 : 0;
    place = std::lower_bound(blocks_[index].begin(), blocks_[index].end(), trap.SequenceNumber, ComesBefore);
  }
  blocks_[index].insert(place, trap);
  ++size_;
  return true;
}

CountedTrap* CountedTraps::Find(std::int32_t sequenceNumber) {
  if (blocks_.empty()) {
    return nullptr;
  }
  Block& block = blocks_[BlockOf(sequenceNumber)];
  const auto place = std::lower_bound(block.begin(), block.end(), sequenceNumber, ComesBefore);
  const bool found = place != block.end() && place->SequenceNumber == sequenceNumber;
  return found ? &*place : nullptr;
}

void CountedTraps::Erase(std::int32_t sequenceNumber) {
  if (blocks_.empty()) {
    return;
  }
  const std::size_t index = BlockOf(sequenceNumber);
  Block& block = blocks_[index];
  const auto place = std::lower_bound(block.begin(), block.end(), sequenceNumber, ComesBefore);
  if (place == block.end() || place->SequenceNumber != sequenceNumber) {
    return;
  }
  block.erase(place);
  --size_;
  if (block.empty()) {
    blocks_.erase(blocks_.begin() + static_cast<std::ptrdiff_t>(index));
  }
}

}  // namespace korvane::systems
