#include "traps/FollowedTrap.h"

#include <algorithm>

namespace korvane::traps {
namespace {

// The usual view limit: such a list is known from end to end.
constexpr std::size_t kNeighbours = 1000;

std::optional<std::size_t> PositionOf(const traplist::ShownTraps& list, std::int32_t sequenceNumber) {
  const auto row = list.Rows.Find(sequenceNumber);
  return row ? std::optional(list.Order.PositionOf(*row)) : std::nullopt;
}

std::optional<std::size_t> NearestPosition(const traplist::ShownTraps& list,
                                           const std::vector<std::int32_t>& sequenceNumbers) {
  const auto nearest = std::ranges::find_if(
      sequenceNumbers, [&](std::int32_t number) { return list.Rows.Find(number).has_value(); });
  return nearest != sequenceNumbers.end() ? PositionOf(list, *nearest) : std::nullopt;
}

}  // namespace

FollowedTrap::FollowedTrap(const traplist::ShownTraps& list, std::size_t position)
    : sequenceNumber_(list.Rows.SequenceNumberAt(list.RowAt(position))) {
  Take(list, position);
}

void FollowedTrap::Take(const traplist::ShownTraps& list, std::size_t position) {
  const auto numberAt = [&](std::size_t at) { return list.Rows.SequenceNumberAt(list.RowAt(at)); };
  const auto begins = [](const std::vector<std::int32_t>& known, std::optional<std::int32_t> nearest) {
    return known.empty() ? !nearest : nearest == known.front();
  };
  inList_ = true;
  place_ = position;
  count_ = list.Count();
  // Mostly traps come and go far from it.
  if (begins(above_, position > 0 ? std::optional(numberAt(position - 1)) : std::nullopt) &&
      begins(below_, position + 1 < count_ ? std::optional(numberAt(position + 1)) : std::nullopt)) {
    return;
  }
  above_.clear();
  below_.clear();
  for (std::size_t i = 1; i <= std::min(position, kNeighbours); ++i) {
    above_.push_back(numberAt(position - i));
  }
  for (std::size_t i = 1; i <= std::min(count_ - 1 - position, kNeighbours); ++i) {
    below_.push_back(numberAt(position + i));
  }
}

void FollowedTrap::Lose() {
  lost_ = true;
  inList_ = false;
  place_ = count_ = 0;
  above_.clear();
  below_.clear();
}

void FollowedTrap::ListChanged(const traplist::ShownTraps& list) {
  if (lost_) {
    count_ = list.Count();
    return;
  }
  // Mostly it stays where it was; looking for it would make the rows keep an index from then on.
  const bool unmoved =
      inList_ && place_ < list.Count() && list.Rows.SequenceNumberAt(list.RowAt(place_)) == sequenceNumber_;
  if (const auto position = unmoved ? std::optional(place_) : PositionOf(list, sequenceNumber_)) {
    Take(list, *position);
    return;
  }
  inList_ = false;
  count_ = list.Count();
  place_ = PlaceBetweenNeighbours(list);
}

std::size_t FollowedTrap::PlaceBetweenNeighbours(const traplist::ShownTraps& list) const {
  if (const auto below = NearestPosition(list, below_)) {
    return *below;
  }
  const auto above = NearestPosition(list, above_);
  // Without any neighbour left it stood before all there is: lists lose their oldest traps first.
  return above ? *above + 1 : 0;
}

std::optional<std::size_t> FollowedTrap::Position() const {
  return inList_ ? std::optional(place_) : std::nullopt;
}

std::optional<std::size_t> FollowedTrap::Above() const {
  return place_ > 0 ? std::optional(place_ - 1) : std::nullopt;
}

std::optional<std::size_t> FollowedTrap::Below() const {
  const std::size_t below = inList_ ? place_ + 1 : place_;
  return below < count_ ? std::optional(below) : std::nullopt;
}

}  // namespace korvane::traps
