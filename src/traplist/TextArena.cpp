#include "traplist/TextArena.h"

#include <cstring>
#include <utility>

namespace korvane::traplist {

TextArena::Stored TextArena::Add(std::string_view text) {
  if (text.empty()) {
    return {.Bytes = "", .Size = 0, .Chunk = kNoChunk};
  }
  std::uint32_t index = current_;
  // A long text gets a chunk of its own, so that it neither wastes the rest of one nor outlives its row.
  if (text.size() > kChunkBytes / 4) {
    index = NewChunk(text.size());
  } else if (current_ == kNoChunk || chunks_[current_].Capacity - chunks_[current_].Used < text.size()) {
    index = current_ = NewChunk(kChunkBytes);
  }
  Chunk& chunk = chunks_[index];
  char* bytes = chunk.Bytes.get() + chunk.Used;
  std::memcpy(bytes, text.data(), text.size());
  chunk.Used += text.size();
  ++chunk.Texts;
  living_ += text.size();
  return {.Bytes = bytes, .Size = static_cast<std::uint32_t>(text.size()), .Chunk = index};
}

void TextArena::Release(const Stored& text) {
  if (text.Chunk == kNoChunk) {
    return;
  }
  living_ -= text.Size;
  Chunk& chunk = chunks_[text.Chunk];
  if (--chunk.Texts > 0) {
    return;
  }
  if (text.Chunk == current_) {
    chunk.Used = 0;
  } else {
    FreeChunk(text.Chunk);
  }
}

std::uint32_t TextArena::NewChunk(std::size_t capacity) {
  std::uint32_t index = static_cast<std::uint32_t>(chunks_.size());
  if (freeSlots_.empty()) {
    chunks_.emplace_back();
  } else {
    index = freeSlots_.back();
    freeSlots_.pop_back();
  }
  Chunk& chunk = chunks_[index];
  chunk.Bytes = capacity == kChunkBytes && spare_ ? std::move(spare_)
                                                  : std::make_unique_for_overwrite<char[]>(capacity);
  chunk.Capacity = capacity;
  chunk.Used = 0;
  chunk.Texts = 0;
  allocated_ += capacity;
  return index;
}

void TextArena::FreeChunk(std::uint32_t index) {
  Chunk& chunk = chunks_[index];
  allocated_ -= chunk.Capacity;
  if (chunk.Capacity == kChunkBytes) {
    spare_ = std::move(chunk.Bytes);
  }
  chunk.Bytes.reset();
  freeSlots_.push_back(index);
}

}  // namespace korvane::traplist
