#include "traplist/RowBits.h"

#include <algorithm>
#include <bit>

namespace korvane::traplist {
namespace {

constexpr std::size_t kBits = 64;

std::uint64_t BitOf(std::size_t row) {
  return std::uint64_t{1} << (row % kBits);
}

// The bits of a word below that of the row.
std::uint64_t BitsBefore(std::size_t row) {
  return BitOf(row) - 1;
}

}  // namespace

bool RowBits::Test(std::size_t row) const {
  return row < size_ && (words_[row / kBits] & BitOf(row)) != 0;
}

void RowBits::Set(std::size_t row) {
  std::uint64_t& word = words_[row / kBits];
  count_ += (word & BitOf(row)) == 0 ? 1U : 0U;
  word |= BitOf(row);
}

void RowBits::Reset(std::size_t row) {
  std::uint64_t& word = words_[row / kBits];
  count_ -= (word & BitOf(row)) != 0 ? 1U : 0U;
  word &= ~BitOf(row);
}

void RowBits::Merge(const RowBits& other) {
  for (std::size_t i = 0; i < words_.size(); ++i) {
    count_ -= static_cast<std::size_t>(std::popcount(words_[i]));
    words_[i] |= other.words_[i];
    count_ += static_cast<std::size_t>(std::popcount(words_[i]));
  }
}

void RowBits::Append(std::size_t count, bool set) {
  const std::size_t before = size_;
  size_ += count;
  words_.resize((size_ + kBits - 1) / kBits, set ? ~std::uint64_t{0} : 0);
  if (!set) {
    return;
  }
  count_ += count;
  if (before % kBits != 0) {
    words_[before / kBits] |= ~BitsBefore(before);
  }
  if (size_ % kBits != 0) {
    words_.back() &= BitsBefore(size_);
  }
}

void RowBits::Remove(std::span<const std::uint32_t> rows) {
  if (rows.empty()) {
    return;
  }
  std::size_t kept = rows.front();
  auto next = rows.begin();
  for (std::size_t row = rows.front(); row < size_; ++row) {
    if (next != rows.end() && *next == row) {
      ++next;
      continue;
    }
    if (Test(row)) {
      Set(kept);
    } else {
      Reset(kept);
    }
    ++kept;
  }
  for (std::size_t row = kept; row < size_; ++row) {
    Reset(row);
  }
  size_ = kept;
  words_.resize((size_ + kBits - 1) / kBits);
}

std::optional<std::size_t> RowBits::FirstFrom(std::size_t row) const {
  if (row >= size_) {
    return std::nullopt;
  }
  std::size_t at = row / kBits;
  std::uint64_t word = words_[at] & ~BitsBefore(row);
  while (word == 0) {
    if (++at == words_.size()) {
      return std::nullopt;
    }
    word = words_[at];
  }
  return at * kBits + static_cast<std::size_t>(std::countr_zero(word));
}

std::optional<std::size_t> RowBits::LastBefore(std::size_t row) const {
  row = std::min(row, size_);
  if (row == 0) {
    return std::nullopt;
  }
  std::size_t at = (row - 1) / kBits;
  std::uint64_t word = words_[at];
  if (row % kBits != 0) {
    word &= BitsBefore(row);
  }
  while (word == 0) {
    if (at == 0) {
      return std::nullopt;
    }
    word = words_[--at];
  }
  return at * kBits + static_cast<std::size_t>(std::bit_width(word)) - 1;
}

std::size_t RowBits::CountBefore(std::size_t row) const {
  row = std::min(row, size_);
  std::size_t count = 0;
  for (std::size_t at = 0; at < row / kBits; ++at) {
    count += static_cast<std::size_t>(std::popcount(words_[at]));
  }
  if (row % kBits != 0) {
    count += static_cast<std::size_t>(std::popcount(words_[row / kBits] & BitsBefore(row)));
  }
  return count;
}

}  // namespace korvane::traplist
