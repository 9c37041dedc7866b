// Of the traps that two receivers got, which are the same: those that the other one has stored are told from
// those that it never got.  A multiset of what the store holds and this receiver has not matched yet.
//
// Every trap of one's own, whether one stored it or not, uses up one row: that of the same content which is
// nearest in time.  So of identical traps as many are passed over as the store has.  What can't be told: when
// identical traps follow each other within the margin, and each receiver misses another one of them, one trap
// may be taken for the other.  Where something is not known, a trap has no twin, and is stored twice rather
// than lost.  A plain value; times are seconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace korvane::receiver {

class TwinFilter {
 public:
  // How far the clocks of two receivers may be apart.
  static constexpr std::int32_t kMargin = 10;
  // For how long senders repeat an inform to a receiver that does not answer, while another one has it.
  static constexpr std::int32_t kRepeated = 60;

  // mostTimes: what is held at most, as contents of one second; some 64 bytes each.
  explicit TwinFilter(std::uint64_t seed, std::size_t mostTimes = 500'000)
      : seed_(seed), mostTimes_(mostTimes) {}

  struct Trap {
    std::uint64_t Content = 0;  // see ContentOf
    std::int32_t Time = 0;
    bool Inform = false;
    // When its twin can have come, beside the margin: this receiver was not there before and after, so what
    // came then is another trap.  The first does not hold for an inform.
    std::int32_t Earliest = std::numeric_limits<std::int32_t>::min();
    std::int32_t Latest = std::numeric_limits<std::int32_t>::max();
  };
  // Of the columns that every receiver makes alike of the same packet.  Nobody can foresee it without the
  // seed.
  std::uint64_t ContentOf(std::string_view source, std::string_view enterprise, std::int32_t generic,
                          std::int32_t specific, std::string_view bindings,
                          std::string_view moreBindings) const;

  // A trap of one's own whose row is still to be added.
  void AddOwn(const Trap& trap);
  void AddRow(const Trap& row);
  // The time of its twin, as far as rows are known, less that of the trap.
  std::optional<std::int32_t> TwinOf(const Trap& trap) const;
  // Uses the twin up, which there must be.
  void TakeTwin(const Trap& trap);

  bool Full() const { return rows_.size() + own_.size() >= mostTimes_; }
  void ForgetBefore(std::int32_t time);
  void Clear();

 private:
  using Times = std::map<std::pair<std::uint64_t, std::int32_t>, std::uint32_t>;  // how many of each

  static Times::const_iterator Nearest(const Times& times, const Trap& trap);
  static void TakeOne(Times& times, Times::const_iterator which);

  std::uint64_t seed_;
  std::size_t mostTimes_;
  Times rows_;
  Times own_;
};

}  // namespace korvane::receiver
