#include "intake/NumberGaps.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>

#include "store/Statements.h"
#include "store/TrapReader.h"

namespace korvane::intake {
namespace {

constexpr int kNumbersOfAWord = 64;
constexpr int kWordShift = 6;
// Known numbers that are read along rather than told apart by one range more.
constexpr std::int64_t kReadAlong = 64;
constexpr std::size_t kRangesAtOnce = 64;

std::uint32_t SecondsOf(NumberGaps::Watched time) {
  return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(time).count());
}

std::uint64_t BitOf(std::int64_t number) {
  return std::uint64_t{1} << static_cast<unsigned>(number & (kNumbersOfAWord - 1));
}

std::uint64_t BitsBetween(unsigned first, unsigned last) {
  const std::uint64_t upTo = last == kNumbersOfAWord - 1 ? ~std::uint64_t{0} : (std::uint64_t{2} << last) - 1;
  return upTo & ~((std::uint64_t{1} << first) - 1);
}

}  // namespace

void NumberGaps::Open(std::int64_t first, std::int64_t last, Watched now) {
  first = std::max<std::int64_t>(first, std::numeric_limits<std::int32_t>::min());
  for (std::int64_t index = first >> kWordShift; index <= last >> kWordShift; ++index) {
    const std::int64_t begin = index * kNumbersOfAWord;
    const auto from = static_cast<unsigned>(std::max<std::int64_t>(first - begin, 0));
    const auto to = static_cast<unsigned>(std::min<std::int64_t>(last - begin, kNumbersOfAWord - 1));
    if (words_.empty() || words_.back().Index != index) {
      words_.push_back({.Index = static_cast<std::int32_t>(index), .Noticed = 0, .Open = 0});
    }
    Word& word = words_.back();
    word.Noticed = SecondsOf(now);
    open_ += std::popcount(BitsBetween(from, to) & ~word.Open);
    word.Open |= BitsBetween(from, to);
  }
  while (Bytes() > limits_.MostBytes) {
    const int lost = std::popcount(words_.front().Open);
    givenUp_ += lost;
    open_ -= lost;
    words_.pop_front();
    round_ -= round_ > 0 ? 1 : 0;
  }
}

NumberGaps::Words::const_iterator NumberGaps::WordOf(std::int32_t number) const {
  const std::int32_t index = number >> kWordShift;
  const auto found = std::ranges::lower_bound(words_, index, {}, &Word::Index);
  return found != words_.end() && found->Index == index ? found : words_.end();
}

void NumberGaps::Close(std::int32_t number) {
  const auto place = WordOf(number);
  if (place == words_.end() || (place->Open & BitOf(number)) == 0) {
    return;
  }
  words_[static_cast<std::size_t>(place - words_.begin())].Open &= ~BitOf(number);
  --open_;
}

void NumberGaps::CloseAbove(std::int32_t number) {
  const std::int32_t index = number >> kWordShift;
  while (!words_.empty() && words_.back().Index >= index) {
    Word& word = words_.back();
    const std::uint64_t stays =
        word.Index == index ? BitsBetween(0, static_cast<unsigned>(number & (kNumbersOfAWord - 1))) : 0;
    open_ -= std::popcount(word.Open & ~stays);
    word.Open &= stays;
    if (word.Index == index) {
      break;
    }
    words_.pop_back();
  }
  round_ = std::min(round_, words_.size());
}

bool NumberGaps::Contains(std::int32_t number) const {
  const auto word = WordOf(number);
  return word != words_.end() && (word->Open & BitOf(number)) != 0;
}

std::size_t NumberGaps::FirstYoung(std::uint32_t now) const {
  const std::uint32_t young = SecondsOf(limits_.Young);
  const auto first =
      std::ranges::partition_point(words_, [&](const Word& word) { return now - word.Noticed >= young; });
  const std::size_t newest = words_.size() > WordsPerLook() ? words_.size() - WordsPerLook() : 0;
  return std::max(newest, static_cast<std::size_t>(first - words_.begin()));
}

// Of the words from one to the other.
void NumberGaps::TakeWords(std::size_t from, std::size_t end, std::vector<store::NumberRange>& ranges) const {
  for (; from < end; ++from) {
    const Word& word = words_[from];
    if (word.Open == 0) {
      continue;
    }
    const std::int64_t begin = std::int64_t{word.Index} * kNumbersOfAWord;
    const auto first = static_cast<std::int32_t>(begin + std::countr_zero(word.Open));
    const auto last = static_cast<std::int32_t>(begin + kNumbersOfAWord - 1 - std::countl_zero(word.Open));
    if (!ranges.empty() && std::int64_t{first} - ranges.back().Last <= kReadAlong) {
      ranges.back().Last = last;
    } else {
      ranges.push_back({first, last});
    }
  }
}

NumberGaps::Look NumberGaps::Next(Watched now) const {
  Look look;
  if (open_ == 0) {
    return look;
  }
  const std::size_t young = FirstYoung(SecondsOf(now));
  look.Older = round_ > 0 || now >= nextRound_;
  if (look.Older) {
    const std::size_t from = std::min(round_, young);
    look.RoundEnd = std::min(young, from + WordsPerLook());
    TakeWords(from, look.RoundEnd, look.Ranges);
  }
  TakeWords(young, words_.size(), look.Ranges);
  return look;
}

void NumberGaps::Looked(const Look& look, Watched now) {
  if (open_ == 0) {
    words_.clear();
    round_ = 0;
    return;
  }
  if (!look.Older) {
    return;
  }
  const std::uint32_t seconds = SecondsOf(now);
  const std::uint32_t life = SecondsOf(limits_.Life);
  const std::size_t young = FirstYoung(seconds);
  const auto at = [this](std::size_t place) { return words_.begin() + static_cast<std::ptrdiff_t>(place); };
  const std::size_t from = std::min(round_, look.RoundEnd);
  const bool wasLast = look.RoundEnd >= young;
  if (round_ == 0) {
    nextRound_ = now + limits_.RoundEvery;
  }
  const auto gone = std::remove_if(at(from), at(look.RoundEnd), [&](const Word& word) {
    const bool old = seconds - word.Noticed >= life;
    open_ -= old ? std::popcount(word.Open) : 0;
    return old || word.Open == 0;
  });
  const auto dropped = static_cast<std::size_t>(at(look.RoundEnd) - gone);
  words_.erase(gone, at(look.RoundEnd));
  round_ = wasLast ? 0 : look.RoundEnd - dropped;
}

std::vector<std::int32_t> FindMissed(store::Connection& connection, std::string_view table,
                                     std::string_view column, const NumberGaps& gaps,
                                     std::span<const store::NumberRange> ranges, std::int64_t& read) {
  std::vector<std::int32_t> found;
  while (!ranges.empty()) {
    const auto some = ranges.first(std::min(ranges.size(), kRangesAtOnce));
    ranges = ranges.subspan(some.size());
    store::TrapReader reader(connection, fmt::format("SELECT {} AS SequenceNumber FROM {} WHERE {}", column,
                                                     table, store::NumbersCondition(some, column)));
    store::IncomingTrap row;
    while (reader.Next(row)) {
      ++read;
      if (gaps.Contains(row.SequenceNumber)) {
        found.push_back(row.SequenceNumber);
      }
    }
  }
  std::ranges::sort(found);  // an engine that reads by several ranges would sort all of them
  return found;
}

NumberGaps GapsBetween(store::Connection& connection, std::string_view table, std::string_view column,
                       std::int64_t first, std::int64_t last, NumberGapsLimits limits) {
  NumberGaps gaps(limits);
  if (first <= last) {
    gaps.Open(first, last, {});
    const store::NumberRange all{static_cast<std::int32_t>(first), static_cast<std::int32_t>(last)};
    std::int64_t read = 0;
    for (const std::int32_t number : FindMissed(connection, table, column, gaps, std::span(&all, 1), read)) {
      gaps.Close(number);
    }
  }
  return gaps;
}

}  // namespace korvane::intake
