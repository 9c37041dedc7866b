// Storage for many short texts in few allocations.  Texts are added one after the other and given back one by
// one; a chunk whose texts have all been given back is freed, so a list that drops its oldest rows gives
// their memory back.  Not for sharing between threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace korvane::traplist {

class TextArena {
 public:
  struct Stored {
    const char* Bytes = nullptr;
    std::uint32_t Size = 0;
    std::uint32_t Chunk = 0;  // what Release wants to know

    std::string_view View() const { return {Bytes, Size}; }
  };

  // The copy stays where it is until it is released.
  Stored Add(std::string_view text);
  void Release(const Stored& text);

  std::size_t LivingBytes() const { return living_; }

  // True when so much of it is holes that copying the living texts into a new arena pays.
  bool IsSparse() const { return allocated_ > 2 * living_ + 4 * kChunkBytes; }

 private:
  static constexpr std::size_t kChunkBytes = 65'536;
  static constexpr std::uint32_t kNoChunk = UINT32_MAX;

  struct Chunk {
    std::unique_ptr<char[]> Bytes;
    std::size_t Capacity = 0;
    std::size_t Used = 0;
    std::uint32_t Texts = 0;
  };

  std::uint32_t NewChunk(std::size_t capacity);
  void FreeChunk(std::uint32_t index);

  std::vector<Chunk> chunks_;
  std::vector<std::uint32_t> freeSlots_;
  std::unique_ptr<char[]> spare_;  // the last freed chunk: a full list frees and needs one in turn
  std::uint32_t current_ = kNoChunk;
  std::size_t allocated_ = 0;
  std::size_t living_ = 0;
};

}  // namespace korvane::traplist
