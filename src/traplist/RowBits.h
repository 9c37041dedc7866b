// One bit for each row of a list, for sets that hold any share of very many rows: a million rows take 125 KB.
// Rows count from 0.  Not for sharing between threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace korvane::traplist {

class RowBits {
 public:
  RowBits() = default;
  RowBits(std::size_t size, bool set) { Append(size, set); }

  std::size_t Size() const { return size_; }
  std::size_t Count() const { return count_; }  // of the rows that are set

  bool Test(std::size_t row) const;  // false beyond the end
  void Set(std::size_t row);
  void Reset(std::size_t row);
  void Merge(const RowBits& other);  // of the same size

  void Append(std::size_t count, bool set);
  // The rows ascending, each once; those behind them move up.
  void Remove(std::span<const std::uint32_t> rows);

  std::optional<std::size_t> FirstFrom(std::size_t row) const;   // at it or behind it
  std::optional<std::size_t> LastBefore(std::size_t row) const;  // not at it
  std::size_t CountBefore(std::size_t row) const;

 private:
  std::vector<std::uint64_t> words_;  // bits beyond the size are 0
  std::size_t size_ = 0;
  std::size_t count_ = 0;
};

}  // namespace korvane::traplist
