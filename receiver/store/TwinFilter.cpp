#include "receiver/store/TwinFilter.h"

#include <cstdlib>

namespace korvane::receiver {
namespace {

// FNV-1a, 64 bits.
constexpr std::uint64_t kPrime = 0x100000001b3;

void Mix(std::uint64_t& hash, std::string_view text) {
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
  }
  hash = (hash ^ 0x100U) * kPrime;  // no octet: where the text ends
}

}  // namespace

std::uint64_t TwinFilter::ContentOf(std::string_view source, std::string_view enterprise,
                                    std::int32_t generic, std::int32_t specific, std::string_view bindings,
                                    std::string_view moreBindings) const {
  std::uint64_t hash = seed_;
  for (const std::string_view text : {source, enterprise, bindings, moreBindings}) {
    Mix(hash, text);
  }
  for (const std::int32_t number : {generic, specific}) {
    hash = (hash ^ static_cast<std::uint32_t>(number)) * kPrime;
  }
  return hash;
}

void TwinFilter::AddOwn(const Trap& trap) {
  if (!Full()) {
    ++own_[{trap.Content, trap.Time}];
  }
}

void TwinFilter::AddRow(const Trap& row) {
  if (const auto own = Nearest(own_, row); own != own_.end()) {
    TakeOne(own_, own);
  } else {
    ++rows_[{row.Content, row.Time}];
  }
}

std::optional<std::int32_t> TwinFilter::TwinOf(const Trap& trap) const {
  const auto found = Nearest(rows_, trap);
  return found == rows_.end() ? std::nullopt : std::optional(found->first.second - trap.Time);
}

void TwinFilter::TakeTwin(const Trap& trap) {
  TakeOne(rows_, Nearest(rows_, trap));
}

// Of the same content and near enough; the earlier one of two that are as near.
TwinFilter::Times::const_iterator TwinFilter::Nearest(const Times& times, const Trap& trap) {
  const auto apart = [&trap](Times::const_iterator which) {
    return std::abs(std::int64_t{which->first.second} - trap.Time);
  };
  auto nearest = times.end();
  const auto after = times.lower_bound({trap.Content, trap.Time});
  if (after != times.end() && after->first.first == trap.Content && apart(after) <= kMargin &&
      after->first.second <= trap.Latest) {
    nearest = after;
  }
  if (after != times.begin()) {
    const auto before = std::prev(after);
    const bool inTime = trap.Inform ? apart(before) <= kRepeated
                                    : apart(before) <= kMargin && before->first.second >= trap.Earliest;
    if (before->first.first == trap.Content && inTime &&
        (nearest == times.end() || apart(before) <= apart(nearest))) {
      nearest = before;
    }
  }
  return nearest;
}

void TwinFilter::TakeOne(Times& times, Times::const_iterator which) {
  const auto own = times.erase(which, which);  // the same place, to be changed
  if (--own->second == 0) {
    times.erase(own);
  }
}

void TwinFilter::ForgetBefore(std::int32_t time) {
  const auto old = [time](const Times::value_type& entry) { return entry.first.second < time; };
  std::erase_if(rows_, old);
  std::erase_if(own_, old);
}

void TwinFilter::Clear() {
  rows_.clear();
  own_.clear();
}

}  // namespace korvane::receiver
